// The session's meter map, as Pro Tools stores it in its meter block.
#pragma once

#include <cstdint>
#include <vector>

#include "session/blocks.h"

struct MeterEvent {
    double position = 0;  // ticks, bias removed; 0 when the stored number is not biased
    uint32_t bar = 0;     // the bar the meter starts at, as the session numbers it
    uint32_t numerator = 4;    // 1 to 99
    uint32_t denominator = 4;  // 1 to 64
    uint32_t meterExtra = 0;   // kept, read by nobody
};

// The meter events of the first meter block, in stored order. One record out
// of range empties the whole list.
std::vector<MeterEvent> readMeterMap(const SessionImage& image);
