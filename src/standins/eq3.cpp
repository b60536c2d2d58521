#include "standins/eq3.h"

#include <algorithm>
#include <cmath>

#include "project/text.h"
#include "standins/control_values.h"

namespace {

constexpr double kNotchQFactor = 1.5538;
constexpr double kGainRange = 18.0;      // dB either way, of every EQ3 gain control
constexpr double kShelfGainRange = 12.0; // what ReaEQ's shelf is given
constexpr double kShelfQTop = 2.0;
constexpr double kReachNoteError = 0.5;  // dB
constexpr const char* kReachNote =
    "EQ3 band beyond REAPER's reach near the top of the range (worst of these below)";

struct Limits {
    double low, high;
};
// High-pass, LF, LMF, MF, HMF, HF, low-pass.
const Limits kSevenBandFrequencies[7] = {{20, 8000}, {20, 500}, {40, 1000}, {125, 8000},
                                         {1, 18000}, {1800, 20000}, {120, 20000}};

int orderOfSlope(double slope) { return std::clamp(int(std::floor(slope + 0.5)) + 1, 1, 4); }

double rateOf(double sampleRate) { return sampleRate > 0 ? sampleRate : 48000.0; }

// High-pass (base 5) or low-pass (base 32) of the 7-Band.
EqBandPlan readPassBand(ControlReader& reader, size_t base, bool highSide, const Limits& limits, bool& in) {
    EqBandPlan plan;
    const bool filter = reader.on(base);
    in = reader.on(base + 1);
    plan.frequency = reader.get(base + 4, limits.low, limits.high, limits.low);
    plan.highSide = highSide;
    if (filter) {
        plan.kind = 2;
        plan.order = orderOfSlope(reader.get(base + 3, 0.0, 3.0, 1.0));
    } else {
        plan.kind = 3;
        plan.q = reader.get(base + 2, 0.1, 10.0, 1.0) * kNotchQFactor;
    }
    return plan;
}

// LF to HF of the 7-Band: in, gain, frequency, Q from base; shelf at shelfIndex (0 for none).
EqBandPlan readEqBand(ControlReader& reader, size_t base, size_t shelfIndex, bool highSide, const Limits& limits,
                      bool& in) {
    EqBandPlan plan;
    in = reader.on(base);
    const double gain = reader.get(base + 1, -kGainRange, kGainRange, 0.0);
    plan.frequency = reader.get(base + 2, limits.low, limits.high, limits.low);
    const double q = reader.get(base + 3, 0.1, 10.0, 1.0);
    if (shelfIndex != 0 && reader.on(shelfIndex)) {
        plan.kind = 1;
        plan.highSide = highSide;
        plan.gainDb = std::clamp(gain, -kShelfGainRange, kShelfGainRange);
        plan.q = std::min(q, kShelfQTop);
    } else {
        plan.kind = 0;
        plan.gainDb = gain;
        plan.q = measuredBellQ(q, gain);
    }
    return plan;
}

// Plans a band and fits it when it asks for a fit; adds to the run's tallies.
// Plans a band; true when it is to be fitted: a band that is in, not flat, and not a notch.
bool planForFit(EqBandPlan& plan, bool in, double sampleRate) {
    const bool flat = (plan.kind == 0 || plan.kind == 1) && std::fabs(plan.gainDb) < 1e-6;
    planBand(plan, sampleRate, in && !flat);
    return in && !flat && plan.kind != 3;
}

void planAndFit(EqBandPlan& plan, bool in, double sampleRate, EqFitRun& run, StandinResult& result) {
    if (!planForFit(plan, in, sampleRate)) return;
    fitBand(plan, sampleRate, run);
    if (plan.fitted) {
        ++run.fittedBands;
        run.extraBands += plan.extraBands;
    }
    run.worstError = std::max(run.worstError, plan.worstError);
    if (plan.worstError > kReachNoteError) addNote(result, kReachNote);
}

std::string firstOrderTitle(const std::string& pluginName, const EqBandPlan& plan) {
    return slotTitle(pluginName + (plan.highSide ? " high-pass " : " low-pass ") +
                         (plan.order == 3 ? "6 of 18 dB/oct" : "6 dB/oct"),
                     "Simple 1-Pole Filter");
}

std::string firstOrderParameters(const EqBandPlan& plan) {
    const double f1 = plan.firstOrderFrequency;
    const double slider = std::clamp(
        (std::log((f1 + 0.5) / 8.17742) / 0.05732506661926935 - 16.0) / 1.20103, 0.0, 100.0);
    return std::string("0 ") + (plan.highSide ? "1" : "0") + " " + fixedText(slider, 6) + " 0";
}

}  // namespace

Eq3Bands readEq3(const std::vector<float>& values, bool sevenBand, double sampleRate) {
    Eq3Bands bands;
    ControlReader reader{values};
    const double rate = rateOf(sampleRate);
    if (sevenBand) {
        bands.outputGainDb = reader.get(2, -kGainRange, kGainRange, 0.0) + reader.get(3, -kGainRange, kGainRange, 0.0);
        bands.polarity = reader.on(4);
        bool in = false;
        bands.plans.push_back(readPassBand(reader, 5, true, kSevenBandFrequencies[0], in));
        bands.in.push_back(in);
        const size_t bases[5] = {10, 15, 19, 23, 27};
        const size_t shelves[5] = {14, 0, 0, 0, 31};
        for (int k = 0; k < 5; ++k) {
            bands.plans.push_back(readEqBand(reader, bases[k], shelves[k], k == 4, kSevenBandFrequencies[k + 1], in));
            bands.in.push_back(in);
        }
        bands.plans.push_back(readPassBand(reader, 32, false, kSevenBandFrequencies[6], in));
        bands.in.push_back(in);
    } else {
        const double gain = reader.get(1, -kGainRange, kGainRange, 0.0);
        const double frequency = reader.get(2, 20.0, 20000.0, 1000.0);
        const double q = reader.get(3, 0.1, 10.0, 1.0);
        const double slope = reader.get(4, 0.0, 3.0, 1.0);
        const int type = std::clamp(int(std::floor(reader.get(5, 0.0, 5.0, 3.0) + 0.5)), 0, 5);
        bands.outputGainDb = reader.get(6, -kGainRange, kGainRange, 0.0);
        bands.polarity = std::fabs(reader.get(7, -1e9, 1e9, 0.0)) >= 0.5;
        EqBandPlan plan;
        plan.frequency = frequency;
        if (type == 0 || type == 5) {
            plan.kind = 2;
            plan.highSide = type == 0;
            plan.order = orderOfSlope(slope);
        } else if (type == 1 || type == 4) {
            plan.kind = 1;
            plan.highSide = type == 4;
            plan.gainDb = std::clamp(gain, -kShelfGainRange, kShelfGainRange);
            plan.q = std::min(q, kShelfQTop);
        } else if (type == 3) {
            plan.kind = 0;
            plan.gainDb = gain;
            plan.q = measuredBellQ(q, gain);
        } else {
            bands.oneBandNotch = true;
            bands.notchBand.type = 6;
            bands.notchBand.frequency = frequency;
            bands.notchBand.gainDb = 0.0;
            bands.notchBand.width = bellWidth(frequency, q * kNotchQFactor, rate);
        }
        if (!bands.oneBandNotch) {
            bands.plans.push_back(plan);
            bands.in.push_back(true);
        }
    }
    bands.held = reader.held;
    return bands;
}

std::vector<EqBandPlan> eq3BandsToFit(const std::vector<float>& values, bool sevenBand, double sampleRate) {
    Eq3Bands bands = readEq3(values, sevenBand, sampleRate);
    std::vector<EqBandPlan> plans;
    for (size_t k = 0; k < bands.plans.size(); ++k) {
        if (planForFit(bands.plans[k], bands.in[k], rateOf(sampleRate))) plans.push_back(bands.plans[k]);
    }
    return plans;
}

StandinResult writeEq3(const std::vector<float>& values, bool sevenBand, const StandinPlace& place, EqFitRun& run) {
    StandinResult result;
    result.slotCount = place.slotCount;
    const std::string name = sevenBand ? "EQ3 7-Band" : "EQ3 1-Band";
    const double rate = rateOf(place.sampleRate);
    Eq3Bands bands = readEq3(values, sevenBand, place.sampleRate);
    if (bands.held) addNote(result, heldValuesNote(name));

    SlotPlace slot;
    slot.depth = place.depth;
    slot.bypassed = place.bypassed;
    if (bands.polarity) {
        slot.seed = place.seedBase + uint32_t(result.slotCount);
        slot.title = slotTitle(name + " polarity", "Channel Polarity Control");
        slot.preset = sevenBand ? "EQ3 input polarity" : "EQ3 polarity";
        result.text += writeJsSlot("IX/StereoPhaseInvert", "3", 1, slot);
        ++result.slotCount;
    }

    std::vector<ReaEqBand> reaBands;
    if (bands.oneBandNotch) reaBands.push_back(bands.notchBand);
    for (size_t k = 0; k < bands.plans.size(); ++k) {
        planAndFit(bands.plans[k], bands.in[k], rate, run, result);
        for (const EqSubBand& sub : bands.plans[k].subBands) reaBands.push_back(reaEqBandOf(sub, bands.in[k], rate));
    }
    const int countBefore = result.slotCount;
    slot.seed = place.seedBase + uint32_t(countBefore);
    slot.title = slotTitle(name, "ReaEQ");
    slot.preset = name;
    result.text += writeReaEqSlot(reaBands, bands.outputGainDb, slot);
    ++result.slotCount;
    result.products.push_back("ReaEQ");

    for (size_t k = 0; k < bands.plans.size(); ++k) {
        const EqBandPlan& plan = bands.plans[k];
        if (plan.firstOrderFrequency <= 0 || !bands.in[k]) continue;
        slot.seed = place.seedBase + uint32_t(countBefore) + (sevenBand ? 900 + uint32_t(k) : 901);
        slot.title = firstOrderTitle(name, plan);
        slot.preset = plan.highSide ? "EQ3 high-pass, first-order part" : "EQ3 low-pass, first-order part";
        result.text += writeJsSlot("Liteon/simplelp6db", firstOrderParameters(plan), 4, slot);
        ++run.firstOrderSlots;
    }
    return result;
}
