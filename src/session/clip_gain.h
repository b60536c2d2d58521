// Clip gain: the list of gain curves (0x2637) and, in each clip's name block
// (0x2628), the number of the curve the clip plays with.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "session/blocks.h"

struct ClipGainPoint {
    uint32_t position = 0;  // samples into the clip's file
    double gainDb = 0;
};
using ClipGainCurve = std::vector<ClipGainPoint>;

struct ClipGainList {
    std::vector<ClipGainCurve> curves;  // in file order; each holds at least one point
    int countDisagreements = 0;         // records whose stored point count differs from their size
};

// The first gain list of the image whose count is at most 100000. A record out
// of shape ends the list; the curves before it stand.
ClipGainList readClipGains(const SessionImage& image);

// The gain of each named clip (or clip group): its curve's first point, and,
// for a curve of two points or more, the whole curve. A later block of the
// same name replaces an earlier one.
struct ClipGainsOfNames {
    std::map<std::string, double> gainOfName;
    std::map<std::string, ClipGainCurve> curveOfName;
};
ClipGainsOfNames bindClipGains(const SessionImage& image, const std::vector<ClipGainCurve>& curves);
