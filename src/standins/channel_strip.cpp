#include "standins/channel_strip.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "project/text.h"
#include "standins/control_values.h"
#include "standins/eq_fit.h"
#include "standins/reaper_slots.h"

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr const char* kBandNames[4] = {"EQ Low", "EQ Low-Mid", "EQ High-Mid", "EQ High"};
constexpr const char* kFilterNames[2] = {"Filter 1", "Filter 2"};
constexpr const char* kBandSuffixes[] = {" In/Out", " Type", " Gain", " Frequency", " Q"};
constexpr const char* kFilterSuffixes[] = {" In/Out", " Type", " Frequency", " Q", " Slope 12/24dB"};

// Fixed detector values, by their bits.
constexpr uint32_t kKeyPinsBits = 0x3AF1D48C;   // the detector reads the key pins
constexpr uint32_t kSmallBits = 0x3307D1A3;     // 3.16228e-08
constexpr uint32_t kGateLastBits = 0x3F0B162B;  // 0.5433
constexpr uint64_t kShelfWidthBits = 0x3FF6A09E65DC27DFull;  // 1.41421356
constexpr double kUnityGainTop = 6.0206;        // dB that ReaComp's own gain carries
constexpr double kChanged = 0.0001;             // a Clip Effects control differs from its default

struct Default {
    const char* name;
    double value;
};

// Clip Effects' controls and their defaults, all normalised.
constexpr Default kClipDefaults[] = {
    {"Phase Switch In/Out", 0},      {"EQ On/Off", 1},
    {"Filters On/Off", 1},           {"Dynamics On/Off", 1},
    {"Input Trim", 0.5},             {"Dynamics Range", 0},
    {"EQ Range", 0},                 {"EQ Low In/Out", 1},
    {"EQ Low Type", 0},              {"EQ Low Gain", 0.5},
    {"EQ Low Frequency", 0.103889},  {"EQ Low Q", 0.147441},
    {"EQ Low-Mid In/Out", 1},        {"EQ Low-Mid Gain", 0.5},
    {"EQ Low-Mid Frequency", 0.402545}, {"EQ Low-Mid Q", 0.147441},
    {"EQ High-Mid In/Out", 1},       {"EQ High-Mid Gain", 0.5},
    {"EQ High-Mid Frequency", 0.701355}, {"EQ High-Mid Q", 0.147441},
    {"EQ High In/Out", 1},           {"EQ High Type", 0},
    {"EQ High Gain", 0.5},           {"EQ High Frequency", 0.90036},
    {"EQ High Q", 0.147441},         {"Filter 1 In/Out", 0},
    {"Filter 1 Type", 0},            {"Filter 1 Frequency", 0.0042},
    {"Filter 1 Q", 0.147441},        {"Filter 1 Slope 12/24dB", 0},
    {"Filter 2 In/Out", 0},          {"Filter 2 Type", 0.333333},
    {"Filter 2 Frequency", 1},       {"Filter 2 Q", 0.147441},
    {"Filter 2 Slope 12/24dB", 0},   {"Cmp In/Out", 1},
    {"Cmp Ratio", 0},                {"Cmp Knee", 0},
    {"Cmp Attack Time", 0},          {"Cmp Release Time", 0.575257},
    {"Cmp Gain Makeup", 0},          {"Cmp Threshold", 0.6},
    {"Cmp Depth", 0.666667},         {"Exp In/Out", 1},
    {"Exp Ratio", 0},                {"Exp Knee", 0},
    {"Exp Attack Time", 0},          {"Exp Release Time", 0.575257},
    {"Exp Threshold", 0.314286},     {"Exp Depth", 0.666667},
    {"Exp Hold Time", 0},            {"Exp Hysteresis", 0},
    {"Sc Filter In/Out", 1},         {"Sc Filter Type", 0},
    {"Sc Filter Frequency", 0},      {"Sc Source", 0},
    {"Sc Detector Type Avg/Pk", 1},  {"Fader Volume", 0.888889},
    {"Fader Volume Pre/Post", 0},    {"Fader Volume On/Off", 1},
};

double linear(double db) { return std::pow(10.0, db / 20.0); }
bool onAt(double value) { return value >= 0.5; }
int wholeOf(double value) { return int(std::floor(std::clamp(value + 0.5, -1e6, 1e6))); }

// "%+.1f" of a gain.
std::string signedTenths(double value) { return (std::signbit(value) ? "" : "+") + fixedText(value, 1); }

// Straight lines through (x, y) knots; held at the ends.
double throughKnots(const double (*knots)[2], size_t count, double x) {
    if (x <= knots[0][0]) return knots[0][1];
    for (size_t k = 1; k < count; ++k) {
        if (x <= knots[k][0]) {
            const double* a = knots[k - 1];
            const double* b = knots[k];
            return a[1] + (b[1] - a[1]) * (x - a[0]) / (b[0] - a[0]);
        }
    }
    return knots[count - 1][1];
}

// A ratio from its normalised control: linear in the ratio's logarithm between
// knots (x, ratio), the last segment carried on past its end.
double ratioOf(const double (*knots)[2], size_t count, double x) {
    if (x <= 0.0) return 1.0;
    size_t k = 1;
    while (k + 1 < count && x > knots[k][0]) ++k;
    const double* a = knots[k - 1];
    const double* b = knots[k];
    const double logRatio = std::log(a[1]) + (std::log(b[1]) - std::log(a[1])) * (x - a[0]) / (b[0] - a[0]);
    return std::exp(std::min(logRatio, 700.0));
}

// The Q of ReaEQ's bell for a Channel Strip bell, by its measured curves.
double measuredStripQ(double q, double gainDb, double frequency, double sampleRate) {
    static const double kGain[][2] = {{3, 0.6716}, {6, 0.8474}, {9, 0.9508}, {12, 1.0}, {18, 0.9911}};
    static const double kFrequency[][2] = {{2.0, 1.0297},    {2.4771, 1.0225}, {3.0, 1.0},      {3.4771, 0.9394},
                                           {3.7782, 0.8556}, {4.0, 0.7463},    {4.1761, 0.5908}, {4.301, 0.3603}};
    const double a = std::fabs(gainDb);
    const double g = a < 0.05 ? 1.0 : a < 3.0 ? 0.6716 * std::pow(a / 3.0, 0.25) : throughKnots(kGain, 5, a);
    const double l = std::log10(48000.0 * std::max(frequency, 1e-9) / sampleRate);
    const double f = throughKnots(kFrequency, 8, l);
    return std::max(0.2, q) * 0.4044 * g * f;
}

ReaEqBand stripBand(const StripBand& band, bool high, bool edge, double rate) {
    ReaEqBand out;
    out.enabled = band.in;
    out.gainDb = band.gainDb;
    out.frequency = band.frequency;
    if (edge && band.shelf) {
        double a = std::pow(10.0, std::fabs(band.gainDb) / 40.0);
        if (high) a = 1.0 / a;
        const double t = std::tan(std::min(band.frequency, 0.49 * rate) * kPi / rate);
        out.type = high ? 1 : 0;
        std::memcpy(&out.width, &kShelfWidthBits, 8);
        out.frequency = std::atan(t * a) * rate / kPi;
        return out;
    }
    out.type = 8;
    out.width = bellWidth(band.frequency, measuredStripQ(band.q, band.gainDb, band.frequency, rate), rate);
    return out;
}

void addFilterBands(const StripFilter& filter, double rate, std::vector<ReaEqBand>& bands) {
    ReaEqBand out;
    out.enabled = filter.in;
    out.frequency = filter.frequency;
    out.gainDb = 0.0;
    if (filter.type >= 2) {
        out.type = filter.type == 2 ? 7 : 6;
        out.width = bellWidth(filter.frequency, filter.q, rate);
        bands.push_back(out);
        return;
    }
    const double w = 2.0 * kPi * filter.frequency / rate;
    out.type = filter.type == 0 ? 4 : 3;
    out.width = w > kPi / 2 ? 1.2095575965759668 : std::sin(w) * 1.8999686297483922 / w;
    bands.push_back(out);
    if (filter.slope24) bands.push_back(out);
}

// The detector's side-chain filter, read for the expander, gate and compressor.
struct SideChain {
    double lowPass = 1.0;
    double highPass = 0.0;
    bool band = false;
    bool keyUsed = false;
};

SideChain sideChainOf(const ChannelStripSettings& strip, bool keyWired) {
    SideChain chain;
    if (strip.scFilterIn) {
        if (strip.scFilterType == 0) chain.highPass = strip.scFilterHz / 20000.0;
        else if (strip.scFilterType == 1) chain.lowPass = strip.scFilterHz > 20000.0 ? 1.0 : strip.scFilterHz / 20000.0;
        else chain.band = true;
    }
    chain.keyUsed = strip.scSource == 1 && keyWired;
    return chain;
}

// Holds each value to a range wide enough for every setting the processor
// offers, so that only a damaged value changes; a change sets held.
void holdToRanges(ChannelStripSettings& s) {
    auto hold = [&](double& value, double low, double high) {
        if (value >= low && value <= high) return;
        value = value < low ? low : high;
        s.held = true;
    };
    hold(s.inputTrimDb, -100, 100);
    for (StripBand& band : s.bands) {
        hold(band.gainDb, -100, 100);
        hold(band.frequency, 1, 100000);
        hold(band.q, 0.01, 100);
    }
    for (StripFilter& filter : s.filters) {
        hold(filter.frequency, 1, 100000);
        hold(filter.q, 0.01, 100);
    }
    for (double* ratio : {&s.expRatio, &s.cmpRatio}) hold(*ratio, 1, 1e6);
    for (double* db : {&s.expThresholdDb, &s.cmpThresholdDb}) hold(*db, -200, 40);
    for (double* ms : {&s.expAttackMs, &s.expReleaseMs, &s.expHoldMs, &s.cmpAttackMs, &s.cmpReleaseMs})
        hold(*ms, 0, 1e7);
    for (double* db : {&s.expKneeDb, &s.cmpKneeDb}) hold(*db, 0, 100);
    hold(s.expDepthDb, -300, 0);
    hold(s.expHysteresisDb, -100, 100);
    hold(s.cmpMakeupDb, -100, 100);
    hold(s.scFilterHz, 1, 100000);
    hold(s.faderDb, -200, 100);
}

// Writes the strip's slots in order, each on the next seed.
struct StripWriter {
    const ChannelStripSettings& strip;
    const StandinPlace& place;
    StandinResult& result;
    std::vector<std::string>& sections;

    SlotPlace slot(const std::string& title, const std::string& preset, bool bypassed) const {
        SlotPlace at;
        at.depth = place.depth;
        at.bypassed = bypassed || place.bypassed;
        at.seed = place.seedBase + uint32_t(result.slotCount);
        at.title = title;
        at.preset = preset;
        return at;
    }
    void add(const std::string& text) {
        result.text += text;
        ++result.slotCount;
    }
    void section(const char* name) { sections.push_back(name); }
    void note(const char* text) { addNote(result, text); }
    void volume(const std::string& what, double gainDb, bool bypassed) {
        const std::string name = strip.name + " " + what;
        add(writeVolumeSlot(gainDb, slot(slotTitle(name, "Volume Adjustment"), name + " " + signedTenths(gainDb) + " dB",
                                         bypassed)));
    }

    void equaliser(double rate) {
        std::vector<ReaEqBand> bands;
        bool gained = false;
        for (int b = 0; b < 4; ++b) {
            bands.push_back(stripBand(strip.bands[b], b == 3, b == 0 || b == 3, rate));
            gained = gained || (strip.bands[b].in && std::fabs(strip.bands[b].gainDb) >= 0.05);
        }
        const std::string name = strip.name + " EQ";
        add(writeReaEqSlot(bands, 0.0, slot(slotTitle(name, "ReaEQ"), name, !strip.eqOn)));
        section("EQ");
        if (strip.name == "Clip Effects" && gained) {
            note("EQ written as Channel Strip plays it (measured 26 Sep); checked on a Clip Effects bell, which "
                 "matches Pro Tools to -109 dB");
        }
    }

    void filterSlot(double rate) {
        std::vector<ReaEqBand> bands;
        for (const StripFilter& filter : strip.filters) addFilterBands(filter, rate, bands);
        const std::string name = strip.name + " Filters";
        add(writeReaEqSlot(bands, 0.0, slot(slotTitle(name, "ReaEQ"), name, !strip.filtersOn)));
        section("filters");
    }

    bool expanderOrGate(const SideChain& chain) {
        if (strip.expRatio <= 1.0001) return false;
        const bool bypassed = !strip.dynamicsOn || !strip.expIn;
        if (strip.expRatioBeyond) note("expander ratio past 1:10 extrapolated (unsampled)");
        if (strip.expKneeDb >= 0.05) note("expander/gate knee not carried (no knee in REAPER's gate or expander)");
        if (strip.expHysteresisLost) note("gate hysteresis not carried (its Pro Tools scale is unmeasured)");
        const std::string name = strip.name + " Exp/Gate";
        const std::string ratio = generalText(strip.expRatio, 3);
        if (strip.expRatio < 9.99) {
            const std::string parameters = fixedText(strip.expThresholdDb, 3) + " " + fixedText(strip.expRatio, 4) +
                                           " 0 " + (chain.keyUsed ? "1" : "0") + (strip.scDetector ? " 3 " : " 2 ") +
                                           fixedText(strip.expAttackMs, 4) + " " + fixedText(strip.expReleaseMs, 4);
            add(writeJsSlot("sstillwell/expander", parameters, 7,
                            slot(slotTitle(name, "Downward Expander"), strip.name + " Expander 1:" + ratio, bypassed)));
            section("expander");
            if (strip.expDepthDb > -100.0)
                note("expander depth (its floor) not carried: REAPER's Downward Expander has none");
            if (strip.expHoldSet) note("expander hold not carried: REAPER's Downward Expander has none");
            if (std::fabs(chain.lowPass - 1.0) > 1e-6 || chain.highPass > 0.0011 || chain.band)
                note("expander side-chain filter not carried");
            return true;
        }
        if (strip.expAttackMs > 500.0 || strip.expReleaseMs > 5000.0 || strip.expHoldMs > 1000.0)
            note("gate time past ReaGate's range held at its top (attack 500 ms, release 5 s, hold 1 s)");
        if (chain.band) note("side-chain band-pass/notch filter not carried");
        if (strip.expRatio < 50.0) note("expander at 1:10 or more written as a gate, with Pro Tools' depth as its floor");
        const double floor = linear(strip.expDepthDb);
        DetectorState detector;
        float* f = detector.values;
        f[0] = float(linear(strip.expThresholdDb));
        f[1] = float(std::clamp(strip.expAttackMs / 500.0, 0.0, 1.0));
        f[2] = float(std::clamp(strip.expReleaseMs / 5000.0, 0.0, 1.0));
        f[4] = float(std::clamp(strip.expHoldMs / 1000.0, 0.0, 1.0));
        f[5] = float(chain.lowPass);
        f[6] = float(chain.highPass);
        if (chain.keyUsed) f[7] = floatFromBits(kKeyPinsBits);
        f[9] = float(floor);
        f[10] = float(1.0 - floor);
        f[11] = floatFromBits(kSmallBits);
        f[12] = strip.expHysteresisKnown ? float(linear(-strip.expHysteresisDb)) : 1.0f;
        f[14] = strip.scDetector ? 0.05f : 0.0f;
        f[16] = floatFromBits(kGateLastBits);
        add(writeDetectorSlot(true, detector, place.keyPair,
                              slot(slotTitle(name, "ReaGate"), strip.name + " Exp/Gate 1:" + ratio, bypassed)));
        section("gate");
        return true;
    }

    bool compressor(const SideChain& chain) {
        if (strip.cmpRatio <= 1.0001 && strip.cmpMakeupDb < 0.05) return false;
        const bool bypassed = !strip.dynamicsOn || !strip.cmpIn;
        if (strip.cmpAttackMs > 500.0 || strip.cmpReleaseMs > 5000.0)
            note("compressor time past ReaComp's range held at its top (attack 500 ms, release 5 s)");
        if (strip.cmpKneeDb > 24.0) note("compressor knee past ReaComp's 24 dB held at 24");
        if (strip.cmpDepthSet) note("compressor depth (a gain-reduction limit) not carried: ReaComp has none");
        if (strip.cmpRatioBeyond) note("compressor ratio past 10:1 extrapolated (unsampled)");
        if (chain.band) note("side-chain band-pass/notch filter not carried");
        const bool separateGain = strip.cmpMakeupDb > kUnityGainTop;
        DetectorState detector;
        float* f = detector.values;
        f[0] = float(linear(strip.cmpThresholdDb));
        f[1] = float(std::clamp((strip.cmpRatio - 1.0) / 99.0, 0.0, 1.0));
        f[2] = float(std::clamp(strip.cmpAttackMs / 500.0, 0.0, 1.0));
        f[3] = float(std::clamp(strip.cmpReleaseMs / 5000.0, 0.0, 1.0));
        f[6] = float(chain.lowPass);
        f[7] = float(chain.highPass);
        if (chain.keyUsed) f[8] = floatFromBits(kKeyPinsBits);
        f[10] = floatFromBits(kSmallBits);
        f[11] = separateGain ? 1.0f : float(linear(strip.cmpMakeupDb));
        f[13] = strip.scDetector ? 0.05f : 0.0f;
        f[14] = float(std::clamp(strip.cmpKneeDb / 24.0, 0.0, 1.0));
        f[17] = 0.25f;
        const std::string name = strip.name + " Comp/Lim";
        add(writeDetectorSlot(false, detector, place.keyPair,
                              slot(slotTitle(name, "ReaComp"),
                                   name + " " + generalText(strip.cmpRatio, 3) + ":1", bypassed)));
        if (separateGain) volume("makeup", strip.cmpMakeupDb, bypassed);
        section("compressor");
        return true;
    }
};

}  // namespace

StripControls parseElckControls(const uint8_t* data, size_t size) {
    StripControls controls;
    if (data == nullptr || size < 12) return controls;
    size_t at = 4;
    while (size - at >= 8) {
        const bool isDouble = data[at] == 'd' && data[at + 1] == '_';
        if (!isDouble && !(data[at] == 'l' && data[at + 1] == '_')) break;
        const void* zero = std::memchr(data + at + 2, 0, size - at - 2);
        if (zero == nullptr) break;
        const size_t nameLength = size_t(static_cast<const uint8_t*>(zero) - (data + at + 2));
        const size_t value = at + ((nameLength + 2 + 4) & ~size_t(3));
        const size_t valueSize = isDouble ? 8 : 4;
        if (value > size || size - value < valueSize) break;
        uint64_t bits = 0;
        for (size_t k = 0; k < valueSize; ++k) bits = bits << 8 | data[value + k];
        double number;
        if (isDouble) {
            std::memcpy(&number, &bits, 8);
        } else {
            number = double(int32_t(uint32_t(bits)));
        }
        const std::string name(reinterpret_cast<const char*>(data + at + 2), nameLength);
        if (std::isfinite(number)) controls[name] = number;
        at = value + valueSize;
    }
    return controls;
}

bool isChannelStripState(const StripControls& controls) {
    for (const char* name : {"Cmp Ratio", "EQ Low Gain", "Filter 2 Type", "Sc Source"})
        if (!controls.count(name)) return false;
    return true;
}

bool clipEffectsDefault(const std::string& name, double& value) {
    for (const Default& row : kClipDefaults) {
        if (name == row.name) {
            value = row.value;
            return true;
        }
    }
    return false;
}

ClipEffectsUse clipEffectsUse(const ClipEffectsList& list) {
    ClipEffectsUse use;
    for (const auto& [name, value] : list) {
        double fallback = 0.0;
        if (!clipEffectsDefault(name, fallback)) {
            use.effects = use.effects || (name == "Process Order" && std::fabs(value) >= kChanged);
        } else if (name == "Phase Switch In/Out") {
            use.polarity = onAt(value);
        } else {
            use.effects = use.effects || std::fabs(value - fallback) >= kChanged;
        }
    }
    return use;
}

ChannelStripSettings readChannelStrip(const StripControls& controls) {
    auto get = [&](const std::string& name, double fallback) {
        const auto found = controls.find(name);
        return found == controls.end() ? fallback : found->second;
    };
    ChannelStripSettings s;
    s.phaseOn = onAt(get("Phase Switch In/Out", 0));
    s.inputTrimDb = get("Input Trim", 0);
    s.eqOn = onAt(get("EQ On/Off", 1));
    s.filtersOn = onAt(get("Filters On/Off", 1));
    s.dynamicsOn = onAt(get("Dynamics On/Off", 1));
    for (int b = 0; b < 4; ++b) {
        const std::string name = kBandNames[b];
        StripBand& band = s.bands[b];
        band.in = onAt(get(name + " In/Out", 1));
        if (b == 0 || b == 3) band.shelf = wholeOf(get(name + " Type", 0)) != 0;
        band.gainDb = get(name + " Gain", 0);
        band.frequency = get(name + " Frequency", 1000);
        band.q = get(name + " Q", 1);
    }
    for (int k = 0; k < 2; ++k) {
        const std::string name = kFilterNames[k];
        StripFilter& filter = s.filters[k];
        filter.in = onAt(get(name + " In/Out", 0));
        filter.type = wholeOf(get(name + " Type", 0));
        filter.frequency = get(name + " Frequency", 1000);
        filter.q = get(name + " Q", 1);
        filter.slope24 = onAt(get(name + " Slope 12/24dB", 0));
    }
    s.expIn = onAt(get("Exp In/Out", 1));
    s.expRatio = get("Exp Ratio", 1);
    s.expThresholdDb = get("Exp Threshold", -80);
    s.expAttackMs = get("Exp Attack Time", 0) * 1000.0;
    s.expReleaseMs = get("Exp Release Time", 0.2) * 1000.0;
    s.expHoldMs = get("Exp Hold Time", 1);
    s.expKneeDb = get("Exp Knee", 0);
    s.expDepthDb = get("Exp Depth", -36);
    s.expHysteresisDb = get("Exp Hysteresis", 0);
    s.expHoldSet = s.expHoldMs > 1.05;
    s.cmpIn = onAt(get("Cmp In/Out", 1));
    s.cmpRatio = get("Cmp Ratio", 1);
    s.cmpThresholdDb = get("Cmp Threshold", -24);
    s.cmpAttackMs = get("Cmp Attack Time", 0) * 1000.0;
    s.cmpReleaseMs = get("Cmp Release Time", 0.2) * 1000.0;
    s.cmpKneeDb = get("Cmp Knee", 0);
    s.cmpMakeupDb = get("Cmp Gain Makeup", 0);
    s.cmpDepthSet = std::fabs(get("Cmp Depth", -36) + 36.0) >= 0.05;
    s.scFilterIn = onAt(get("Sc Filter In/Out", 1));
    s.scFilterType = wholeOf(get("Sc Filter Type", 0));
    s.scFilterHz = get("Sc Filter Frequency", 20);
    s.scSource = wholeOf(get("Sc Source", 0));
    s.scDetector = onAt(get("Sc Detector Type Avg/Pk", 1));
    s.faderDb = get("Fader Volume", 0);
    s.faderActive = onAt(get("Fader Volume On/Off", 1)) && std::fabs(s.faderDb) >= 0.005;
    s.orderChanged = std::fabs(get("Process Order", 0)) >= 0.5;
    s.rangeChanged = std::fabs(get("EQ Range", 0)) >= 0.5 || std::fabs(get("Dynamics Range", 0)) >= 0.5;
    holdToRanges(s);
    return s;
}

ChannelStripSettings readClipEffects(const ClipEffectsList& list) {
    std::map<std::string, double> stored(list.begin(), list.end());
    auto get = [&](const std::string& name) {
        const auto found = stored.find(name);
        if (found != stored.end()) return found->second;
        double value = 0.0;
        clipEffectsDefault(name, value);
        return value;
    };
    auto changed = [&](const std::string& name) {
        double fallback = 0.0;
        clipEffectsDefault(name, fallback);
        return std::fabs(get(name) - fallback) >= kChanged;
    };
    auto frequencyOf = [](double x) { return 20.0 * std::pow(1050.0, x); };
    auto qOf = [](double x) { return 0.2 * std::pow(500.0, x); };
    auto typeOf = [](double x) { return wholeOf(x * 3.0); };
    static const double kExpKnots[][2] = {{0, 1}, {0.614583, 3}, {0.909404, 10}};
    static const double kCmpKnots[][2] = {{0, 1}, {0.171875, 2}, {0.253906, 3}, {0.3359375, 4}, {0.593715, 10}};

    ChannelStripSettings s;
    s.name = "Clip Effects";
    s.expHysteresisKnown = false;
    s.hasEq = false;
    s.hasFilters = false;
    s.inputTrimDb = (get("Input Trim") - 0.5) * 72.0;
    s.eqOn = onAt(get("EQ On/Off"));
    s.filtersOn = onAt(get("Filters On/Off"));
    s.dynamicsOn = onAt(get("Dynamics On/Off"));
    for (int b = 0; b < 4; ++b) {
        const std::string name = kBandNames[b];
        StripBand& band = s.bands[b];
        band.in = onAt(get(name + " In/Out"));
        if (b == 0 || b == 3) band.shelf = wholeOf(get(name + " Type")) != 0;
        band.gainDb = (get(name + " Gain") - 0.5) * 48.0;
        band.frequency = frequencyOf(get(name + " Frequency"));
        band.q = qOf(get(name + " Q"));
        for (const char* suffix : kBandSuffixes) s.hasEq = s.hasEq || changed(name + suffix);
    }
    for (int k = 0; k < 2; ++k) {
        const std::string name = kFilterNames[k];
        StripFilter& filter = s.filters[k];
        filter.in = onAt(get(name + " In/Out"));
        filter.type = typeOf(get(name + " Type"));
        filter.frequency = frequencyOf(get(name + " Frequency"));
        filter.q = qOf(get(name + " Q"));
        filter.slope24 = onAt(get(name + " Slope 12/24dB"));
        for (const char* suffix : kFilterSuffixes) s.hasFilters = s.hasFilters || changed(name + suffix);
    }
    const double expRatio = get("Exp Ratio");
    s.expIn = onAt(get("Exp In/Out"));
    s.expRatio = ratioOf(kExpKnots, 3, expRatio);
    s.expRatioBeyond = expRatio > 0.909405;
    s.expThresholdDb = get("Exp Threshold") * 70.0 - 80.0;
    s.expAttackMs = 0.02 * std::pow(10.0, 5.0 * get("Exp Attack Time"));
    s.expReleaseMs = std::pow(10.0, 4.0 * get("Exp Release Time"));
    s.expHoldMs = std::pow(10.0, 4.0 * get("Exp Hold Time"));
    s.expKneeDb = get("Exp Knee") * 30.0;
    s.expDepthDb = (1.0 - get("Exp Depth")) * -108.0;
    s.expHoldSet = changed("Exp Hold Time");
    s.expHysteresisLost = changed("Exp Hysteresis");
    const double cmpRatio = get("Cmp Ratio");
    s.cmpIn = onAt(get("Cmp In/Out"));
    s.cmpRatio = ratioOf(kCmpKnots, 5, cmpRatio);
    s.cmpRatioBeyond = cmpRatio > 0.593716;
    s.cmpThresholdDb = get("Cmp Threshold") * 60.0 - 60.0;
    s.cmpAttackMs = 0.1 * std::pow(10.0, 4.0 * get("Cmp Attack Time"));
    s.cmpReleaseMs = std::pow(10.0, 4.0 * get("Cmp Release Time"));
    s.cmpKneeDb = get("Cmp Knee") * 30.0;
    s.cmpMakeupDb = get("Cmp Gain Makeup") * 30.0;
    s.cmpDepthSet = changed("Cmp Depth");
    s.scFilterIn = onAt(get("Sc Filter In/Out"));
    s.scFilterType = typeOf(get("Sc Filter Type"));
    s.scFilterHz = frequencyOf(get("Sc Filter Frequency"));
    s.scSource = onAt(get("Sc Source")) ? 2 : 0;
    s.scDetector = onAt(get("Sc Detector Type Avg/Pk"));
    s.clipFaderSet = changed("Fader Volume");
    s.orderChanged = std::fabs(get("Process Order")) >= kChanged;
    s.rangeChanged = std::fabs(get("EQ Range")) >= kChanged || std::fabs(get("Dynamics Range")) >= kChanged;
    holdToRanges(s);
    return s;
}

StandinResult writeChannelStrip(const ChannelStripSettings& strip, bool splitPair, const StandinPlace& place,
                                std::vector<std::string>& sections) {
    StandinResult result;
    result.slotCount = place.slotCount;
    StripWriter writer{strip, place, result, sections};
    const double rate = place.sampleRate > 0 ? place.sampleRate : 48000.0;
    if (strip.phaseOn) {
        const std::string name = strip.name + " polarity";
        writer.add(writeJsSlot("IX/StereoPhaseInvert", "3", 1,
                               writer.slot(slotTitle(name, "Channel Polarity Control"), name, false)));
        writer.section("polarity");
    }
    if (std::fabs(strip.inputTrimDb) >= 0.005) {
        writer.volume("input trim", strip.inputTrimDb, false);
        writer.section("input trim");
    }
    if (strip.hasEq) writer.equaliser(rate);
    if (strip.hasFilters) writer.filterSlot(rate);
    const SideChain chain = sideChainOf(strip, place.keyWired);
    const bool expander = writer.expanderOrGate(chain);
    const bool compressor = writer.compressor(chain);
    if (expander || compressor) {
        if (strip.scSource == 2 && splitPair)
            writer.note("side chain All-Linked not carried: each side of the stereo pair detects on its own");
        if (strip.scSource == 1 && !place.keyWired)
            writer.note("side chain set to Key with no key input wired: it detects on its own signal");
    }
    if (strip.faderActive) {
        writer.volume("fader", strip.faderDb, false);
        writer.section("fader");
    }
    if (strip.clipFaderSet) writer.note("clip fader not carried (its scale is unmeasured)");
    if (strip.orderChanged)
        writer.note("processing order other than EQ, filters, dynamics not carried (written in that order)");
    if (strip.rangeChanged)
        writer.note("EQ/Dynamics Range other than the default: gains read at the default range (unmeasured)");
    if (strip.held) addNote(result, heldValuesNote(strip.name));
    return result;
}

std::string clipEffectsSlots(const ClipEffectsList& list, bool splitPair, uint32_t seedBase, double sampleRate,
                             ClipEffectsTally& tally) {
    StandinPlace place;
    place.depth = 4;
    place.seedBase = seedBase;
    place.sampleRate = sampleRate;
    std::vector<std::string> sections;
    const StandinResult result = writeChannelStrip(readClipEffects(list), splitPair, place, sections);
    if (result.text.empty()) return std::string();
    ++tally.clips;
    for (const std::string& note : result.notes) ++tally.notes[note];
    for (const std::string& section : sections) ++tally.sections[section];
    return result.text;
}
