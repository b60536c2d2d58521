// Dyn3 Compressor/Limiter as ReaComp, and Dyn3 Expander/Gate as ReaGate or
// the JS Downward Expander, through curves measured against both.
#pragma once

#include <vector>

#include "standins/reaper_slots.h"
#include "standins/standin.h"

constexpr std::size_t kDyn3CompressorValues = 14;
constexpr std::size_t kDyn3GateValues = 15;

// All slots of one Dyn3 instance. values: its control values; the caller has
// checked the count (14 for the compressor, 15 for the expander/gate).
StandinResult writeDyn3(const std::vector<float>& values, bool compressor, const StandinPlace& place);
