// EQ3 7-Band and EQ3 1-Band as ReaEQ, with a polarity slot in front when the
// EQ inverts and a first-order JS filter behind for each slope ReaEQ lacks.
#pragma once

#include <vector>

#include "standins/eq_fit.h"
#include "standins/standin.h"

constexpr std::size_t kEq3SevenBandValues = 38;
constexpr std::size_t kEq3OneBandValues = 8;

struct Eq3Bands {
    std::vector<EqBandPlan> plans;  // in the order of writing
    std::vector<bool> in;           // each plan's in control
    double outputGainDb = 0.0;
    bool polarity = false;
    bool oneBandNotch = false;      // a 1-Band notch: one ReaEQ notch band, no plan
    ReaEqBand notchBand;
    bool held = false;              // a value was held to its range
};

// The bands of the stored control values (38 for 7-Band, 8 for 1-Band).
Eq3Bands readEq3(const std::vector<float>& values, bool sevenBand, double sampleRate);

// The planned bands of one EQ3 instance that its writing will fit.
std::vector<EqBandPlan> eq3BandsToFit(const std::vector<float>& values, bool sevenBand, double sampleRate);

// All slots of one EQ3 instance. values: its control values; the caller has
// checked the count (38 for 7-Band, 8 for 1-Band).
StandinResult writeEq3(const std::vector<float>& values, bool sevenBand, const StandinPlace& place, EqFitRun& run);
