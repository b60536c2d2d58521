// Automation lanes: one small block (0x260A) per automated control of a strip,
// with the control's resting value and its breakpoints. The session does not
// name a lane's control; its place among its neighbours says which it is.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "session/blocks.h"
#include "session/tracks.h"

struct StripRow;

// Values are in the session's units: volume and trim in tenths of a dB, mute 1
// for muted, pan -100 (left) to 100 (right).
struct AutomationLane {
    std::vector<std::pair<double, double>> points;  // (position, value), in stored order
    double initial = 0;  // the resting value, also the value before the first point
    uint8_t inTicks = 0;  // 1: positions are ticks; 0: samples
};

// Reads the lane block at position into lane. A block that fails the size
// tests leaves the lane as it was; points are read only when all of them fit.
void readLane(const ImageView& image, uint64_t position, AutomationLane& lane);

// The lanes of a range: those inside a panner group (0x260C), one list per
// group in file order (also an empty one), and the others.
struct LaneGroups {
    std::vector<uint64_t> ungrouped;
    std::vector<std::vector<uint64_t>> groups;
    bool multiLane = false;  // some group holds more than one lane
};
LaneGroups groupLanes(const SessionImage& image, uint64_t rangeStart, uint64_t rangeEnd);

// How many pans a track block has when its lanes do not say: 0, 1 or 2.
// Only what lies before ownEnd (where the next block of its type starts) counts.
int trackWidthCode(const SessionImage& image, uint64_t blockStart, uint64_t blockEnd, uint64_t ownEnd);

// Fills the lane fields of each present strip with a position, and takes a
// strip's fader from its volume lane's resting value when that lane has no
// points. Under PTX_DUMP_LANES prints the LANES lines to standard error.
void readStripLanes(const SessionImage& image, std::vector<StripRow>& strips);

// The MIDI state of one MIDI track (0x2620), by effective track name.
struct MidiTrackState {
    uint8_t muted = 0;
    uint8_t hasMuteLane = 0;
    uint8_t otherLanes = 0;  // a lane that is not a 0/1 mute lane
    AutomationLane muteLane;
};
std::map<std::string, MidiTrackState> readMidiTrackStates(const SessionImage& image,
                                                          const std::vector<SessionTrack>& tracks);
