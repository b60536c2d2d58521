// The surround panner of a mono or stereo track that feeds a surround bus, as
// REAPER's ReaSurroundPan: one input per source channel, one speaker per leg
// of the bus, and the panner's lanes as parameter envelopes.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "session/automation.h"

struct SessionModel;

// One channel of the panner, in percent, in the order the strip stores them.
struct PannerChannel {
    int32_t frontX = 0;
    int32_t rearX = 0;
    int32_t y = 0;
    int32_t frontDivergence = 0;
    int32_t rearDivergence = 0;
    int32_t divergenceCap = 0;
};

struct SurroundPanner {
    int32_t outputs = 0;                // speakers: the width of the bus
    std::vector<std::string> speakers;  // in the bus's channel order
    bool stereo = false;
    PannerChannel left;
    PannerChannel right;
    int32_t centerPercent = 0;
    double sidePercent = 0;  // 0 to 1
    bool hasLfe = false;
    double lfeDb = 0;
    std::vector<AutomationLane> lanes;  // front X, rear X, Y, front and rear divergence, cap, center
    AutomationLane lfeLane;
};

// The plug-in's saved state and the header in front of it.
std::vector<uint8_t> surroundPanState(const SurroundPanner& panner);
std::vector<uint8_t> surroundPanHeader(const SurroundPanner& panner, uint32_t stateSize);

// The slot with its envelopes, and what went into them.
struct SurroundPanSlot {
    std::string text;      // six blanks in, for a track's chain
    int envelopes = 0;
    int points = 0;
    int lanesNotWritten = 0;  // lanes with points that no envelope carries
};
// seed: the track's index + 0x53555200. Lane times become seconds through
// the session's tempo map and sampleRate.
SurroundPanSlot writeSurroundPan(const SurroundPanner& panner, uint32_t seed, const SessionModel& model,
                                 double sampleRate);
