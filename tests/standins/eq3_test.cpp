#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstring>

#include "standins/eq3.h"
#include "standins/slot_reading.h"
#include "support/run_capture.h"
#include "support/session_builder.h"

namespace {

using Complex = std::complex<double>;
constexpr double kPi = 3.14159265358979323846;

enum Type { HighPass = 0, LowShelf = 1, Bell = 3, HighShelf = 4, LowPass = 5 };

// The curve EQ3 draws, in dB: the analogue prototypes, Butterworth for the
// pass filters (|H|^2 = 1 / (1 + x^2n)). q is the Q that the curve has.
double eq3Db(Type type, double f, double f0, double gainDb, double q, int order) {
    const double a = std::pow(10.0, gainDb / 40.0);
    const Complex s(0.0, f / f0);
    Complex h;  // the pass filters return at once
    switch (type) {
    case Bell: h = (s * s + s * (a / q) + 1.0) / (s * s + s / (a * q) + 1.0); break;
    case LowShelf: h = a * (s * s + s * (std::sqrt(a) / q) + a) / (a * s * s + s * (std::sqrt(a) / q) + 1.0); break;
    case HighShelf: h = a * (a * s * s + s * (std::sqrt(a) / q) + 1.0) / (s * s + s * (std::sqrt(a) / q) + a); break;
    case HighPass: return -10.0 * std::log10(1.0 + std::pow(f0 / f, 2 * order));
    case LowPass: return -10.0 * std::log10(1.0 + std::pow(f / f0, 2 * order));
    }
    return 20.0 * std::log10(std::abs(h));
}

// What ReaEQ draws for the bands of its written state, in dB at f: each band
// an Audio EQ Cookbook biquad. The third control is octaves of bandwidth (the
// cookbook's BW, its sin(w)/w taken at w = pi/2 above a quarter of the rate),
// or for a shelf the width 1/sqrt(S) of the cookbook's slope S.
double reaEqDb(const std::vector<uint8_t>& state, double f, double rate) {
    const uint32_t count = wordAt(state, 4);
    const Complex z1 = std::polar(1.0, -2.0 * kPi * f / rate);
    Complex h(1.0, 0.0);
    for (uint32_t k = 0; k < count; ++k) {
        const size_t at = 8 + 33 * k;
        const uint32_t type = wordAt(state, at);
        const double f0 = doubleAt(state, at + 8), a = std::sqrt(doubleAt(state, at + 16)), width = doubleAt(state, at + 24);
        const double w = 2.0 * kPi * f0 / rate, c = std::cos(w), wc = std::min(w, kPi / 2);
        double alpha = std::sin(w) * std::sinh(std::log(2.0) / 2.0 * width * wc / std::sin(wc));
        if (type == 0 || type == 1) alpha = std::sin(w) / 2.0 * std::sqrt((a + 1 / a) * (width * width - 1) + 2);
        const double r = 2 * std::sqrt(a) * alpha;
        double b[3], d[3];
        switch (type) {
        case 8: b[0] = 1 + alpha * a, b[1] = -2 * c, b[2] = 1 - alpha * a, d[0] = 1 + alpha / a, d[1] = -2 * c, d[2] = 1 - alpha / a; break;
        case 0: b[0] = a * (a + 1 - (a - 1) * c + r), b[1] = 2 * a * (a - 1 - (a + 1) * c), b[2] = a * (a + 1 - (a - 1) * c - r);
                d[0] = a + 1 + (a - 1) * c + r, d[1] = -2 * (a - 1 + (a + 1) * c), d[2] = a + 1 + (a - 1) * c - r; break;
        case 1: b[0] = a * (a + 1 + (a - 1) * c + r), b[1] = -2 * a * (a - 1 + (a + 1) * c), b[2] = a * (a + 1 + (a - 1) * c - r);
                d[0] = a + 1 - (a - 1) * c + r, d[1] = 2 * (a - 1 - (a + 1) * c), d[2] = a + 1 - (a - 1) * c - r; break;
        case 3: b[0] = (1 - c) / 2, b[1] = 1 - c, b[2] = (1 - c) / 2, d[0] = 1 + alpha, d[1] = -2 * c, d[2] = 1 - alpha; break;
        case 4: b[0] = (1 + c) / 2, b[1] = -(1 + c), b[2] = (1 + c) / 2, d[0] = 1 + alpha, d[1] = -2 * c, d[2] = 1 - alpha; break;
        default: b[0] = 1, b[1] = -2 * c, b[2] = 1, d[0] = 1 + alpha, d[1] = -2 * c, d[2] = 1 - alpha; break;
        }
        if (wordAt(state, at + 4) == 1) h *= (b[0] + b[1] * z1 + b[2] * z1 * z1) / (d[0] + d[1] * z1 + d[2] * z1 * z1);
    }
    return 20.0 * std::log10(std::abs(h)) + 20.0 * std::log10(doubleAt(state, 8 + 33 * count + 8));
}

// The JS one-pole filter of a "Liteon/simplelp6db" slot, from its slider, in dB.
double onePoleDb(const std::string& parameters, double f, double rate) {
    int highPass = 0;
    double slider = 0;
    std::sscanf(parameters.c_str(), "0 %d %lf", &highPass, &slider);
    const double f1 = 8.17742 * std::exp(0.05732506661926935 * (slider * 1.20103 + 16.0)) - 0.5;
    const double w1 = 2 * kPi * f1, c = 1 / (w1 + 3 * rate), p = (3 * rate - w1) * c;
    const Complex low = 2 * w1 * c / (1.0 - p * std::polar(1.0, -2 * kPi * f / rate));
    return 20.0 * std::log10(std::abs(highPass ? 1.0 - low : low));
}

struct Setting {
    const char* what;
    Type type;
    double frequency, gainDb, q;
    int slope;        // 0 to 3: 6 to 24 dB/oct
    double rate;
    double curveQ;    // the Q EQ3's curve has: a bell's Q times the measured map's factor
    double reach;     // the worst distance the fit reaches, in dB
};

// The worst distance between EQ3's curve and the written chain on 20 Hz to 20 kHz,
// at 1/100 octave, by the fit's rule: dB where the curve is at -20 dB or above,
// 25 times the amplitude difference below that, nothing below -50 dB.
template <typename Curve>
double worstDistance(Curve eq3, const std::vector<ReadSlot>& slots, double rate) {
    double worst = 0.0;
    for (int i = 0; i <= 1000; ++i) {
        const double f = 20.0 * std::pow(1000.0, i / 1000.0);
        const double t = eq3(f);
        double m = 0.0;
        for (const ReadSlot& slot : slots) {
            if (slot.open.find("ReaEQ") != std::string::npos) m += reaEqDb(slot.state, f, rate);
            if (slot.open.find("simplelp6db") != std::string::npos) m += onePoleDb(slot.parameters, f, rate);
        }
        if (t < -50.0) continue;
        const double e = t >= -20.0 ? std::fabs(m - t) : 25.0 * std::fabs(std::pow(10, t / 20) - std::pow(10, m / 20));
        worst = std::max(worst, e);
    }
    return worst;
}

}  // namespace

// Real-world settings of every band type, and extreme ones near the top of the
// range where ReaEQ's digital bands cannot follow the analogue curve.
TEST(Eq3Fit, WrittenReaEqMeetsTheEq3CurveWithin005Db) {
    const Setting settings[] = {
        {"bell 100 Hz +6 Q1", Bell, 100, 6, 1, 2, 48000, 1 * 0.99991, 0.05},
        {"bell 1 kHz -4 Q2", Bell, 1000, -4, 2, 2, 44100, 2 * 0.99101, 0.05},
        {"bell 3 kHz +12 Q1", Bell, 3000, 12, 1, 2, 48000, 1 * 0.49834, 0.05},
        {"bell 8 kHz +6 Q0.5", Bell, 8000, 6, 0.5, 2, 44100, 0.5 * 0.9896, 0.05},
        {"bell 12 kHz -9 Q4", Bell, 12000, -9, 4, 2, 48000, 4 * 0.61813, 0.05},
        {"bell 16 kHz +6 Q2", Bell, 16000, 6, 2, 2, 44100, 2 * 0.99159, 0.05},
        {"bell 60 Hz +18 Q10", Bell, 60, 18, 10, 2, 48000, 10 * 0.99992, 0.05},
        // Under 1 dB the map's factor is its 1 dB column scaled by the gain: (0.99318 - 1) * 0.8 + 1.
        {"bell 2 kHz -0.8 Q4.5", Bell, 2000, -0.8, 4.5, 2, 48000, 4.5 * 0.994544, 0.05},
        // Beyond reach: near the top at 44.1 kHz ReaEQ cannot follow this narrow cut;
        // it comes within 2.1 dB, and the fit says so.
        {"bell 18 kHz -18 Q10", Bell, 18000, -18, 10, 2, 44100, 10 * 0.99992, 2.2},
        {"low shelf 80 Hz +6 Q0.7", LowShelf, 80, 6, 0.7, 2, 48000, 0.7, 0.05},
        {"low shelf 200 Hz -12 Q2", LowShelf, 200, -12, 2, 2, 44100, 2, 0.05},
        {"high shelf 10 kHz +4 Q1", HighShelf, 10000, 4, 1, 2, 48000, 1, 0.05},
        {"high shelf 16 kHz -12 Q2", HighShelf, 16000, -12, 2, 2, 44100, 2, 0.05},
        {"high-pass 80 Hz 12 dB/oct", HighPass, 80, 0, 1, 1, 48000, 1, 0.05},
        {"high-pass 40 Hz 24 dB/oct", HighPass, 40, 0, 1, 3, 44100, 1, 0.05},
        {"high-pass 100 Hz 18 dB/oct", HighPass, 100, 0, 1, 2, 48000, 1, 0.05},
        {"high-pass 300 Hz 6 dB/oct", HighPass, 300, 0, 1, 0, 48000, 1, 0.05},
        // Beyond reach by a little: three extra bands bring it to about 0.1 dB.
        {"low-pass 10 kHz 12 dB/oct", LowPass, 10000, 0, 1, 1, 48000, 1, 0.12},
        {"low-pass 2.7 kHz 18 dB/oct", LowPass, 2728.67, 0, 1, 2, 44100, 1, 0.05},
        {"low-pass 18 kHz 24 dB/oct", LowPass, 18000, 0, 1, 3, 44100, 1, 0.05},
        {"low-pass 20 kHz 18 dB/oct", LowPass, 20000, 0, 1, 2, 44100, 1, 0.05},
    };
    for (const Setting& s : settings) {
        EqFitRun run;
        const std::vector<float> values = {0, float(s.gainDb), float(s.frequency), float(s.q), float(s.slope),
                                           float(s.type), 0, 0};
        const StandinResult result = writeEq3(values, false, {3, 0, 0, false, false, 0, 2, s.rate}, run);
        const auto curve = [&](double f) { return eq3Db(s.type, f, s.frequency, s.gainDb, s.curveQ, s.slope + 1); };
        const double worst = worstDistance(curve, readSlots(result.text), s.rate);
        EXPECT_LE(worst, s.reach) << s.what;
        // The distance the fit tells is the true one, narrow cuts near the top included.
        EXPECT_NEAR(run.worstError, worst, 0.03 * worst + 0.002) << s.what;
        // Past 0.5 dB the fit says it cannot reach, in a note.
        EXPECT_EQ(result.notes.size(), run.worstError > 0.5 ? 1u : 0u) << s.what;
    }
}

// A whole 7-Band as a real session holds it: 18 dB/oct high-pass at 304 Hz and
// low-pass at 2729 Hz, MF +6 dB at 1.5 kHz, the other bands in at 0 dB.
TEST(Eq3Fit, SevenBandBecomesReaEqAndItsFirstOrderParts) {
    const std::vector<float> values = {0, 0, 0, 0, 0, 1, 1, 1, 2, 304.087f, 1, 0, 100, 1, 1, 1, 0, 200, 1,
                                       1, 6, 1500, 1, 1, 0, 2000, 1, 1, 0, 6000, 1, 1, 1, 1, 1, 2, 2728.67f, 0};
    EqFitRun run;
    const StandinResult result = writeEq3(values, true, {3, 0x53540010, 0, false, false, 0, 2, 44100}, run);
    const std::vector<ReadSlot> slots = readSlots(result.text);
    ASSERT_EQ(slots.size(), 3u);
    EXPECT_EQ(slots[0].open.rfind("<VST \"VST: ReaEQ (Cockos)\" reaeq.dll 0 \"EQ3 7-Band (ReaEQ)\"", 0), 0u);
    EXPECT_EQ(slots[1].open, "<JS Liteon/simplelp6db \"EQ3 7-Band high-pass 6 of 18 dB/oct (Simple 1-Pole Filter)\"");
    EXPECT_EQ(slots[2].preset, "\"EQ3 low-pass, first-order part\"");
    // Seeds: the ReaEQ at the base, the first-order parts at 900 plus the band's place.
    for (auto [slot, seed] : {std::pair{0, 0x53540010u}, {1, 0x53540010u + 900}, {2, 0x53540010u + 906}})
        EXPECT_EQ(slots[size_t(slot)].fxid, makeGuid(seed));
    EXPECT_EQ(run.firstOrderSlots, 2);
    const auto curve = [](double f) {
        return eq3Db(HighPass, f, 304.087, 0, 1, 3) + eq3Db(LowPass, f, 2728.67, 0, 1, 3) +
               eq3Db(Bell, f, 1500, 6, 1 * 0.99991, 2);
    };
    // Each fitted band is within 0.05 dB of its curve; where two overlap their
    // distances may add.
    EXPECT_LE(worstDistance(curve, slots, 44100), 0.1);
    // The same EQ again is fitted from the run's cache and counted again.
    const int fitted = run.fittedBands;
    writeEq3(values, true, {3, 0x53540010, 0, false, false, 0, 2, 44100}, run);
    // A 1-Band notch is one ReaEQ notch band, with no fit.
    const std::vector<ReadSlot> notch = readSlots(writeEq3({0, 0, 1000, 2, 1, 2, 0, 0}, false, {}, run).text);
    EXPECT_TRUE(wordAt(notch.at(0).state, 4) == 1 && wordAt(notch[0].state, 8) == 6);
    EXPECT_EQ(run.fittedBands, 2 * fitted);
    // Fitted beforehand on several threads, the same EQ is written byte for byte alike.
    EqFitRun prefitted;
    prefitBands(eq3BandsToFit(values, true, 44100), 44100, prefitted, 4);
    EXPECT_EQ(prefitted.cache.size(), 3u);  // high-pass, MF bell, low-pass
    EXPECT_EQ(writeEq3(values, true, {3, 0x53540010, 0, false, false, 0, 2, 44100}, prefitted).text, result.text);
}

// EQ3 7-Bands and Dyn3 compressors on tracks of a built session arrive as ReaEQ and ReaComp,
// or under --no-stand-ins as marked AAX slots; the notes count them, each note by its plug-ins.
TEST(StandinsInABuiltSession, Eq3AndDyn3BecomeReaEqAndReaCompOrStayInTheirSlots) {
    // Keys' EQ3: all out but LMF, -4 dB at 1 kHz (filters: 6 dB/oct, out); Bass': high-pass 6 dB/oct at 100 Hz.
    std::vector<double> eq(38, 0.0), highPass(38, 0.0), comp = {0, 4, 0.01, 0.1, 3, -20, 0, 0, 0, 0, 0, 0, 0, 0};
    eq[5] = eq[32] = eq[15] = 1, eq[16] = -4, eq[17] = 1000, eq[18] = 2;
    highPass[5] = highPass[6] = 1, highPass[9] = 100;
    BuiltSession s;
    s.tracks = {{"Keys", 0, 0, 0, false, {}, 2}, {"Bass", 0, 0, 0, false, {}, 2}};
    for (const auto& [track, values] : {std::pair{0, eq}, {0, comp}, {1, highPass}, {1, comp}}) {
        std::vector<uint8_t> bytes;  // each value: "d_", two zeros, a big-endian double
        for (double value : values) {
            uint64_t bits;
            std::memcpy(&bits, &value, 8);
            bytes.insert(bytes.end(), {'d', '_', 0, 0});
            for (int k = 7; k >= 0; --k) bytes.push_back(uint8_t(bits >> (8 * k)));
        }
        s.tracks[size_t(track)].plugins.push_back({"", -1, values.size() == 38 ? "Digi47e3" : "Digidn3c", 1, bytes});
    }
    for (bool kept : {false, true}) {
        const std::string folder = makeTempFolder("standins");
        ConvertOptions options = optionsFor(buildSession(s).writeFile(folder, "session.ptx"));
        options.noStandIns = kept;
        const CapturedRun run = runConvert(options);
        ASSERT_EQ(run.code, 0);
        // Said of four stand-ins (each held note by both instances that hold it), and of none under the switch.
        for (const char* text : {"  4 Avid plug-in(s) arrive as REAPER's own equivalents, in the same\n      slot with "
                                 "the same settings (Dyn3 Compressor/Limiter as ReaComp, EQ3 7-Band as ReaEQ). No VST",
                                 "      EQ3: 1 high-pass or low-pass filter(s) set to 6 or 18 dB/oct use\n",
                                 "number, held to their range (2 plug-in(s))\n      EQ3 7-Band control values outside "
                                 "their range, infinite or not a number, held to their range (2 plug-in(s))\n",
                                 "\n4 Avid plug-in(s) written as REAPER's own equivalents (stand-ins;\n",
                                 "\n1 EQ3 high-pass or low-pass filter(s) set to 6 or 18 dB/oct use\n"}) {
            EXPECT_EQ(kept, (run.console + run.result.reportText).find(text) == std::string::npos) << text;
        }
        const std::string project = readFileText(folder + "/session.rpp");
        const size_t from = project.find("      BYPASS", project.find("<FXCHAIN"));
        const std::vector<ReadSlot> slots = readSlots(project.substr(from, project.find("\n    >\n", from) - from));
        ASSERT_EQ(slots.size(), 2u);
        EXPECT_EQ(slots[1].open.substr(0, 20), kept ? "<VST \"VST3: Dyn3 Com" : "<VST \"VST: ReaComp (");
        EXPECT_EQ(slots[0].preset, kept ? "\"** Pro Tools only - no VST exists - replace me here\"" : "\"EQ3 7-Band\"");
        if (kept) continue;
        // LMF, the second of five bands: 10^(-4/20). Threshold 10^((-20 + 0.337) / 20).
        EXPECT_NEAR(doubleAt(slots[0].state, 8 + 33 + 16), 0.6309573, 1e-7);
        EXPECT_NEAR(floatAt(slots[1].state, 8), 0.1039561f, 1e-6);
    }
}
