// EQ3 bands rebuilt as ReaEQ bands: the plan of each band, and the fit that
// moves the ReaEQ bands until their digital curve meets the analogue curve
// that EQ3 draws, to within 0.05 dB up to 20 kHz or as close as it gets.
#pragma once

#include <string>
#include <unordered_map>
#include <vector>

#include "standins/reaper_slots.h"

struct EqSubBand {
    uint32_t type = 8;
    bool enabled = true;
    double frequency = 1000.0;
    double gainDb = 0.0;
    double q = 0.70710678;
    bool free = false;  // exempt from the limits around its start point
};

struct EqBandPlan {
    int kind = 0;  // 0 bell, 1 shelf, 2 pass filter, 3 notch
    double frequency = 1000.0;
    double gainDb = 0.0;
    double q = 1.0;
    bool highSide = false;  // high-pass or high shelf
    int order = 2;          // pass filter order, 1 to 4
    std::vector<EqSubBand> subBands;
    double firstOrderFrequency = 0.0;  // Hz of the first-order part outside ReaEQ; 0 for none
    double worstError = 0.0;           // dB
    int extraBands = 0;
    bool fitted = false;
};

// What the fits of a run add up to, and the fits already made, by band.
struct EqFitRun {
    int fittedBands = 0;
    int extraBands = 0;
    double worstError = 0.0;
    int firstOrderSlots = 0;
    std::unordered_map<std::string, EqBandPlan> cache;
};

constexpr double kFitTolerance = 0.05;  // dB

// Fits the planned bands that the run has not fitted yet, each distinct band
// once, on as many threads as the machine has cores (at most `threads`), into
// the run's cache: the writer then finds every fit made. The result is the
// same as fitting them one by one.
void prefitBands(const std::vector<EqBandPlan>& plans, double sampleRate, EqFitRun& run, unsigned threads);

// The ReaEQ bell's Q for an EQ3 bell of this Q and gain, by the measured map.
double measuredBellQ(double q, double gainDb);
// The largest Q that ReaEQ's shelf carries at this gain.
double shelfMaxQ(double gainDb);
// ReaEQ's third control for a shelf, and for a bell, pass filter or notch.
double shelfWidth(double gainDb, double q);
double bellWidth(double frequency, double q, double sampleRate);

// Fills subBands and firstOrderFrequency; allowSplit lets a steep shelf become
// a shelf and two bells.
void planBand(EqBandPlan& plan, double sampleRate, bool allowSplit);
// Moves subBands; fills worstError, extraBands and fitted. Uses and fills the cache.
void fitBand(EqBandPlan& plan, double sampleRate, EqFitRun& run);
// The sub-bands as ReaEQ writes them.
ReaEqBand reaEqBandOf(const EqSubBand& band, bool enabled, double sampleRate);
