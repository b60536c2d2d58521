// The mixer's strip rows: fader, pan and mute of each track in the track list,
// and the sends that follow a track's own row.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "session/automation.h"
#include "session/blocks.h"

// One send of a track. The strip reader fills busName and levelDb; the routing
// reader fills the rest.
struct SendRecord {
    std::string busName;
    double levelDb = 0;
    uint8_t postFader = 0;  // 0 is pre-fader
    AutomationLane levelLane;
    AutomationLane muteLane;
    AutomationLane panLane;
    AutomationLane rightPanLane;
    int32_t panLeft = 0;    // -100 to 100
    int32_t panRight = 0;
    int32_t channels = 0;
    uint32_t slot = 0;      // the send's place in the track
};

// The surround panner's numbers in the strip's row, as stored: each channel's
// front X, rear X, Y, front and rear divergence and divergence cap in percent,
// then a seventh word (the left's is the center percent). Words the row does
// not reach stay 0.
struct PannerWords {
    int32_t left[7] = {};
    int32_t right[7] = {};
    bool hasRight = false;
    int32_t side = 0;  // side percent times 6553600
    bool hasSide = false;
};

// The strip of one entry of the track list.
struct StripRow {
    std::string name;     // the track name it was built for
    double faderDb = 0;
    int32_t panLeft = 0;  // mono pan or the left channel's, -100 to 100
    int32_t panRight = 0;
    uint8_t muted = 0;
    uint8_t present = 0;  // a row was found for this entry
    std::vector<SendRecord> sends;
    uint64_t position = 0;  // image position of the fader value: the row's "Z" + 10
    PannerWords panner;

    // Automation, filled by readStripLanes.
    AutomationLane volumeLane;
    AutomationLane muteLane;
    AutomationLane panLane;       // mono pan, or the left channel's pan
    AutomationLane rightPanLane;  // the right channel's pan of a stereo strip
    AutomationLane trimLane;
    uint8_t stereoLanes = 0;      // the strip has five lanes
    int32_t controlSlots = 0;     // lanes in the final order
    int32_t dualPanPoints = 0;
    AutomationLane dualPanLeftLane;  // the left pan lane, moved here when the two pans are real
    AutomationLane pannerExtraLane;
    uint8_t hasPannerExtraLane = 0;
    std::vector<AutomationLane> surroundLanes[2];  // each empty or of seven lanes
};

// One StripRow per entry of names (the track list), in that order. busNames
// are the session's bus names, by which sends are named.
std::vector<StripRow> readStripRows(const SessionImage& image, const std::vector<std::string>& names,
                                    const std::vector<std::string>& busNames);

// The strip's pan from -1 to 1: the mean of both knobs for a stereo strip.
double stripPan(const StripRow& strip, bool stereo);
