#include "standins/dyn3.h"

#include <algorithm>
#include <cmath>

#include "project/text.h"
#include "standins/control_values.h"

namespace {

// Fixed detector values, by their bits.
constexpr uint32_t kKeyPinsBits = 0x3AF1D48C;   // the detector reads the key pins
constexpr uint32_t kSmallBits = 0x3307D1A3;     // 3.16228e-08
constexpr uint32_t kPreOpenBits = 0x3C03126F;   // 0.008
constexpr uint32_t kGateLastBits = 0x3F0B162B;  // 0.5433
constexpr double kUnityGainTop = 6.0206;        // dB that ReaComp's own gain carries
// From this ratio on an expander is a gate; compared as the stored float.
constexpr float kGateRatio = 9.99f;

// The ranges a Dyn3 control value is held to: wide enough for every setting
// the plug-in offers, so that only a broken value is changed.
constexpr double kTimeTop = 10.0;        // s
constexpr double kThresholdLow = -120.0; // dB
constexpr double kThresholdHigh = 24.0;
constexpr double kFilterLow = 10.0;      // Hz
constexpr double kFilterHigh = 20000.0;

constexpr const char* kBandFilterNote =
    "Dyn3 side-chain band filter not carried (REAPER's detector filters are high and low pass only)";

double linear(double db) { return std::pow(10.0, db / 20.0); }

// The detector filter value of the side-chain filter at base (frequency,
// shape, enable); the default when it is off or a band filter.
double sideChainFilter(ControlReader& reader, size_t base, bool lowPass, StandinResult& result) {
    const double frequency = reader.get(base, kFilterLow, kFilterHigh, lowPass ? kFilterHigh : kFilterLow);
    const bool shaped = reader.on(base + 1);
    const bool enabled = reader.on(base + 2);
    if (enabled && !shaped) {
        addNote(result, kBandFilterNote);
        return lowPass ? 1.0 : 0.0;
    }
    if (enabled && shaped) return lowPass ? std::min(frequency / 20000.0, 1.0) : frequency / 20000.0;
    return lowPass ? 1.0 : 0.0;
}

void polaritySlot(const std::string& name, const StandinPlace& place, StandinResult& result) {
    SlotPlace slot;
    slot.depth = place.depth;
    slot.bypassed = place.bypassed;
    slot.seed = place.seedBase + uint32_t(result.slotCount);
    slot.title = slotTitle(name + " polarity", "Channel Polarity Control");
    slot.preset = "Dyn3 polarity";
    result.text += writeJsSlot("IX/StereoPhaseInvert", "3", 1, slot);
    ++result.slotCount;
}

SlotPlace nextSlot(const StandinPlace& place, const StandinResult& result, const std::string& title,
                   const std::string& preset) {
    SlotPlace slot;
    slot.depth = place.depth;
    slot.bypassed = place.bypassed;
    slot.seed = place.seedBase + uint32_t(result.slotCount);
    slot.title = title;
    slot.preset = preset;
    return slot;
}

void writeCompressor(ControlReader& reader, const StandinPlace& place, StandinResult& result) {
    const std::string name = "Dyn3 Compressor/Limiter";
    const double kneeDb = reader.get(0, 0.0, 100.0, 0.0) * 0.3575;
    const double ratio = reader.get(1, 1.0, 100.0, 1.0);
    double attackMs = reader.get(2, 0.0, kTimeTop, 0.0) * 1000.0 * 0.584;
    double releaseMs = reader.get(3, 0.0, kTimeTop, 0.0) * 1000.0 * 0.4134;
    const double gainDb = std::max(reader.get(4, -100.0, 100.0, 0.0), 0.0);
    const double thresholdDb = reader.get(5, kThresholdLow, kThresholdHigh, 0.0) + 0.337;
    const bool polarity = reader.on(6);
    const double lowPass = sideChainFilter(reader, 7, true, result);
    const double highPass = sideChainFilter(reader, 10, false, result);
    const bool externalKey = reader.on(13);

    if (polarity) polaritySlot(name, place, result);
    if (attackMs > 500.0 || releaseMs > 5000.0) {
        addNote(result, "compressor time past ReaComp's range held at its top (attack 500 ms, release 5 s)");
        attackMs = std::min(attackMs, 500.0);
        releaseMs = std::min(releaseMs, 5000.0);
    }
    double knee = kneeDb;
    if (knee > 24.0) {
        addNote(result, "compressor knee past ReaComp's 24 dB held at 24");
        knee = 24.0;
    }
    DetectorState detector;
    float* f = detector.values;
    f[0] = float(linear(thresholdDb));
    f[1] = float(std::clamp((ratio - 1.0) / 99.0, 0.0, 1.0));
    f[2] = float(std::min(attackMs / 500.0, 1.0));
    f[3] = float(std::min(releaseMs / 5000.0, 1.0));
    f[6] = float(lowPass);
    f[7] = float(highPass);
    if (externalKey) {
        if (place.keyWired) {
            f[8] = floatFromBits(kKeyPinsBits);
        } else if (place.trackChannels == 2) {
            f[8] = floatFromBits(kKeyPinsBits);
            addNote(result, "Dyn3 External Key on with no key input: Pro Tools hears silence there, so the "
                            "compressor never acts (its gain still applies); REAPER's does the same, keyed from "
                            "the track's empty channels 3/4");
        } else {
            addNote(result, "Dyn3 External Key on with no key input, on a track wider than stereo: Pro Tools "
                            "hears silence there and never acts; here it detects on its own signal");
        }
    }
    f[10] = floatFromBits(kSmallBits);
    const bool separateGain = gainDb > kUnityGainTop;
    f[11] = separateGain ? 1.0f : float(linear(gainDb));
    f[14] = float(std::min(knee / 24.0, 1.0));
    f[17] = 0.25f;
    result.text += writeDetectorSlot(false, detector, place.keyPair,
                                     nextSlot(place, result, slotTitle(name, "ReaComp"),
                                              name + " " + generalText(ratio, 3) + ":1"));
    ++result.slotCount;
    result.products.push_back("ReaComp");
    if (separateGain) {
        const std::string preset = "Dyn3 gain +" + fixedText(gainDb, 1) + " dB";
        result.text += writeVolumeSlot(
            gainDb, nextSlot(place, result, slotTitle(name + " gain", "Volume Adjustment"), preset));
        ++result.slotCount;
    }
}

void writeExpanderGate(ControlReader& reader, const StandinPlace& place, StandinResult& result) {
    const std::string name = "Dyn3 Expander/Gate";
    const double range = reader.get(0, -200.0, 0.0, -100.0);
    const double ratio = reader.get(1, 1.0, 100.0, 1.0);
    const double attackMs = reader.get(2, 0.0, kTimeTop, 0.0) * 1000.0;
    const double releaseMs = reader.get(3, 0.0, kTimeTop, 0.0) * 1000.0;
    const double holdMs = reader.get(4, 0.0, kTimeTop, 0.0) * 1000.0;
    const double thresholdDb = reader.get(5, kThresholdLow, kThresholdHigh, -60.0);
    const bool polarity = reader.on(6);
    const bool lookAhead = reader.on(7);
    const double lowPass = sideChainFilter(reader, 8, true, result);
    const double highPass = sideChainFilter(reader, 11, false, result);
    const bool externalKey = reader.on(14);

    if (polarity) polaritySlot(name, place, result);
    const std::string preset = name + " " + generalText(ratio, 3) + ":1";
    // With the key on and nothing wired to it, Pro Tools' gate stays shut.
    const bool silentKey = externalKey && !place.keyWired && place.trackChannels == 2;
    if (externalKey && !place.keyWired) {
        addNote(result, silentKey
                            ? "Dyn3 Expander/Gate External Key on with no key input: Pro Tools hears silence "
                              "there, so it stays shut at its range; REAPER's gate does the same, keyed from the "
                              "track's empty channels 3/4"
                            : "Dyn3 Expander/Gate External Key on with no key input, on a track wider than "
                              "stereo: Pro Tools keeps it shut at its range; here it detects on its own signal");
    }
    const bool keyed = externalKey && place.keyWired;
    if (!silentKey && ratio < double(kGateRatio)) {
        if (range > -100.0) addNote(result, "expander depth (its floor) not carried: REAPER's Downward Expander has none");
        if (holdMs >= 0.5) addNote(result, "expander hold not carried: REAPER's Downward Expander has none");
        if (lookAhead) addNote(result, "Dyn3 look-ahead not carried on an expander (REAPER's Downward Expander has none)");
        if (lowPass < 1.0 || highPass > 0.0) addNote(result, "expander side-chain filter not carried");
        const std::string parameters = fixedText(thresholdDb, 3) + " " + fixedText(ratio, 4) + " 0 " +
                                       (keyed ? "1" : "0") + " 2 " + fixedText(attackMs, 4) + " " +
                                       fixedText(releaseMs, 4);
        result.text += writeJsSlot("sstillwell/expander", parameters, 7,
                                   nextSlot(place, result, slotTitle(name, "Downward Expander"), preset));
        ++result.slotCount;
        result.products.push_back("Downward Expander");
        return;
    }
    const double depth = std::fabs(range);
    double attack = attackMs;
    double release = releaseMs;
    if (depth / 20.0 > 1.0) attack *= depth / 20.0;
    if (depth > 0.0 && 22.0 / depth < 1.0) release *= 22.0 / depth;
    if (attackMs > 500.0 || releaseMs > 5000.0 || holdMs > 1000.0)
        addNote(result, "gate time past ReaGate's range held at its top (attack 500 ms, release 5 s, hold 1 s)");
    const double floor = range <= -100.0 ? 0.0 : linear(range);
    DetectorState detector;
    float* f = detector.values;
    f[0] = float(linear(thresholdDb));
    f[1] = float(std::min(attack / 500.0, 1.0));
    f[2] = float(std::min(release / 5000.0, 1.0));
    if (lookAhead) {
        f[3] = floatFromBits(kPreOpenBits);
        addNote(result, "Dyn3 look-ahead written as a 2 ms pre-open (its length is not measured)");
    }
    f[4] = float(std::min(holdMs / 1000.0, 1.0));
    f[5] = float(lowPass);
    f[6] = float(highPass);
    if (keyed || silentKey) f[7] = floatFromBits(kKeyPinsBits);
    f[9] = float(floor);
    f[10] = float(1.0 - floor);
    f[11] = floatFromBits(kSmallBits);
    f[12] = 1.0f;
    f[16] = floatFromBits(kGateLastBits);
    if (ratio < 50.0 && !silentKey)
        addNote(result, "expander at 1:10 or more written as a gate, with Pro Tools' depth as its floor");
    result.text += writeDetectorSlot(true, detector, place.keyPair,
                                     nextSlot(place, result, slotTitle(name, "ReaGate"), preset));
    ++result.slotCount;
    result.products.push_back("ReaGate");
}

}  // namespace

StandinResult writeDyn3(const std::vector<float>& values, bool compressor, const StandinPlace& place) {
    StandinResult result;
    result.slotCount = place.slotCount;
    ControlReader reader{values};
    if (compressor)
        writeCompressor(reader, place, result);
    else
        writeExpanderGate(reader, place, result);
    if (reader.held) addNote(result, heldValuesNote(compressor ? "Dyn3 Compressor/Limiter" : "Dyn3 Expander/Gate"));
    return result;
}
