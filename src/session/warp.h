// Elastic Audio: the warp map of a clip (0x2636 inside the clip's name block)
// and the pitch shift of a clip (behind the name block of its 0x2629), both
// keyed by the clip's name.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "session/blocks.h"

struct WarpPoint {
    double timelineTicks = 0;
    double sourceSamples = 0;
};

struct WarpMaps {
    std::map<std::string, std::vector<WarpPoint>> mapOfName;  // the last map read for a name stands
    int crossing = 0;  // maps that held points running back in time or source; those points were dropped
};

WarpMaps readWarpMaps(const SessionImage& image);
// Semitones by clip name; a shift of 0 or one outside -48 to 48 is not kept.
std::map<std::string, double> readPitchShifts(const SessionImage& image);
