#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "standins/channel_strip.h"
#include "standins/dyn3.h"
#include "standins/eq3.h"
#include "standins/slot_reading.h"

namespace {

struct Dyn3Case {
    const char* what;
    bool compressor;
    std::vector<float> values;
    bool keyWired;
    int channels;
    std::vector<const char*> slotKinds;           // parts of each slot's opening line
    std::vector<std::pair<int, float>> floats;    // index, value in the detector slot
    std::vector<const char*> notes;               // each note's start
    const char* preset;                           // of the detector or expander slot
};

float keyPins() { return floatFromBits(0x3AF1D48C); }

}  // namespace

TEST(Dyn3, SettingsMapOntoReaCompReaGateAndTheExpander) {
    const float off = 0;
    const Dyn3Case cases[] = {
        {"real compressor", true, {3, 4.48871f, 0.00297809f, 0.04f, 3, -20, 0, 20000, 1, 0, 20, 1, 0, 0}, false, 2,
         {"ReaComp"},
         // knee 3 * 0.3575 / 24; (ratio - 1) / 99; 2.97809 ms * 0.584 / 500; 40 ms * 0.4134 / 5000.
         {{0, std::pow(10.0f, (-20 + 0.337f) / 20)}, {1, 3.48871f / 99}, {2, 1.7392046f / 500}, {3, 16.536f / 5000},
          {6, 1}, {7, 0}, {8, 0}, {10, 3.16228e-08f}, {11, std::pow(10.0f, 3 / 20.0f)}, {14, 1.0725f / 24}, {17, 0.25f}},
         {}, "Dyn3 Compressor/Limiter 4.49:1"},
        {"compressor past its ranges", true, {80, 200, 1, 0.1f, 6.03f, -10, 1, 5000, 0, 1, 100, 1, 1, 1}, true, 2,
         {"StereoPhaseInvert", "ReaComp", "utility/volume"},
         {{1, 1}, {2, 1}, {6, 1}, {7, 0.005f}, {8, keyPins()}, {11, 1}, {14, 1}},
         {"Dyn3 side-chain band filter", "compressor time past", "compressor knee past", "Dyn3 Compressor/Limiter control values"},
         "Dyn3 Compressor/Limiter 100:1"},
        {"compressor keyed from nothing", true, {0, 2, 0.01f, 0.1f, -3, -10, 0, 20000, 1, 0, 20, 1, 0, 1}, false, 2,
         {"ReaComp"}, {{8, keyPins()}, {11, 1}}, {"Dyn3 External Key on with no key input: "}, "Dyn3 Compressor/Limiter 2:1"},
        {"compressor keyed from nothing, 5.1", true, {0, 2, 0.01f, 0.1f, 0, -10, 0, 20000, 1, 0, 20, 1, 0, 1}, false, 6,
         {"ReaComp"}, {{8, off}}, {"Dyn3 External Key on with no key input, on a track wider"}, nullptr},
        // Ratio 10, range -40: attack doubled, release 22/40 of itself, the floor -40 dB.
        {"gate", false, {-40, 10, 0.001f, 0.1f, 0.05f, -30, 0, 0, 20000, 1, 0, 20, 1, 0, 0}, false, 2, {"ReaGate"},
         {{0, 0.031622777f}, {1, 2.0f / 500}, {2, 55.0f / 5000}, {3, 0}, {4, 0.05f}, {9, 0.01f}, {10, 0.99f},
          {11, 3.16228e-08f}, {12, 1}, {16, 0.543307f}},
         {"expander at 1:10 or more written as a gate"}, "Dyn3 Expander/Gate 10:1"},
        {"gate at 9.99, range -20, look-ahead", false, {-20, 9.99f, 0.001f, 0.1f, 0, -30, 0, 1, 20000, 1, 0, 20, 1, 0, 0},
         false, 2, {"ReaGate"}, {{1, 1.0f / 500}, {2, 100.0f / 5000}, {3, 0.008f}},
         {"Dyn3 look-ahead written as a 2 ms pre-open", "expander at 1:10"}, "Dyn3 Expander/Gate 9.99:1"},
        {"gate keyed from nothing", false, {-80, 2, 0.001f, 0.1f, 0, -30, 0, 0, 20000, 1, 0, 20, 1, 0, 1}, false, 2,
         {"ReaGate"}, {{7, keyPins()}}, {"Dyn3 Expander/Gate External Key on with no key input: "}, "Dyn3 Expander/Gate 2:1"},
        {"expander at 9.98", false, {-40, 9.98f, 0.001f, 0.1f, 0.05f, -30, 0, 0, 20000, 1, 0, 20, 1, 0, 0}, false, 2,
         {"sstillwell/expander"}, {}, {"expander depth", "expander hold"}, "Dyn3 Expander/Gate 9.98:1"},
    };
    for (const Dyn3Case& c : cases) {
        SCOPED_TRACE(c.what);
        const StandinResult result = writeDyn3(c.values, c.compressor, {3, 0x53540000, 0, false, c.keyWired, 0, c.channels, 48000});
        const std::vector<ReadSlot> slots = readSlots(result.text);
        ASSERT_EQ(slots.size(), c.slotKinds.size());
        EXPECT_EQ(result.slotCount, int(slots.size()));
        for (size_t k = 0; k < slots.size(); ++k) {
            EXPECT_NE(slots[k].open.find(c.slotKinds[k]), std::string::npos) << slots[k].open;
            EXPECT_EQ(slots[k].fxid, makeGuid(0x53540000 + uint32_t(k)));
        }
        const ReadSlot& main = slots[slots[0].open.find("Phase") != std::string::npos ? 1 : 0];
        for (auto [index, value] : c.floats) EXPECT_NEAR(floatAt(main.state, 8 + 4 * index), value, 1e-6 * (1 + value)) << index;
        ASSERT_EQ(result.notes.size(), c.notes.size());
        for (size_t k = 0; k < c.notes.size(); ++k) EXPECT_EQ(result.notes[k].rfind(c.notes[k], 0), 0u) << result.notes[k];
        if (c.preset) {
            EXPECT_EQ(main.preset, std::string("\"") + c.preset + "\"");
        }
    }
    // A JS line always holds 64 parameters, "-" for those not given.
    const std::vector<ReadSlot> expander = readSlots(writeDyn3(cases[7].values, false, {}).text);
    EXPECT_EQ(expander.at(0).parameters.rfind("-30.000 9.9800 0 0 2 1.0000 100.0000 - -", 0), 0u);
    EXPECT_EQ(std::count(expander[0].parameters.begin(), expander[0].parameters.end(), ' '), 63);
    const StandinResult gain = writeDyn3(cases[1].values, true, {});
    EXPECT_NE(gain.text.find("PRESETNAME \"Dyn3 gain +6.0 dB\""), std::string::npos);
}

// Values out of range, infinite or not a number are held to their ranges with a
// note, and no "nan" or "inf" reaches the project.
TEST(Standins, BrokenValuesAreHeldWithANote) {
    const float nan = std::nanf(""), inf = HUGE_VALF;
    std::vector<float> sevenBand(38, nan);
    sevenBand[19] = 1, sevenBand[20] = inf, sevenBand[21] = -inf;  // MF in, gain +inf, frequency -inf
    EqFitRun run;
    const StandinResult eq = writeEq3(sevenBand, true, {}, run);
    const StandinResult comp = writeDyn3(std::vector<float>(14, inf), true, {});
    const StandinResult gate = writeDyn3(std::vector<float>(15, nan), false, {});
    std::vector<std::string> sections;
    const StandinResult strip = writeChannelStrip(
        readClipEffects({{"EQ Low Gain", 1e9}, {"EQ High Frequency", -1e9}, {"Filter 1 Frequency", -50},
                         {"Exp Ratio", 1e9}, {"Cmp Ratio", 1e9}, {"Cmp Threshold", 1e9}, {"Exp Release Time", 1e9}}),
        false, {}, sections);
    EXPECT_EQ(sections, (std::vector<std::string>{"EQ", "filters", "gate", "compressor"}));
    for (const StandinResult* r : {&eq, &comp, &gate, &strip}) {
        EXPECT_TRUE(std::any_of(r->notes.begin(), r->notes.end(),
                                [](const std::string& note) { return note.find("held to their range") != note.npos; }));
        EXPECT_FALSE(checkProjectText(r->text, 3).has_value());
        for (const ReadSlot& slot : readSlots(r->text)) {
            EXPECT_EQ(slot.parameters.find("nan"), std::string::npos);
            EXPECT_EQ(slot.parameters.find("inf"), std::string::npos);
            const bool eqState = slot.open.find("ReaEQ") != std::string::npos;
            for (size_t at = eqState ? 16 : 8; at + (eqState ? 24 : 4) <= slot.state.size(); at += eqState ? 33 : 4)
                EXPECT_TRUE(eqState ? std::isfinite(doubleAt(slot.state, at)) && std::isfinite(doubleAt(slot.state, at + 8)) &&
                                          std::isfinite(doubleAt(slot.state, at + 16))
                                    : std::isfinite(floatAt(slot.state, at)));
        }
    }
    // The MF bell (after the high-pass notch's two bands, LF and LMF) held at 125 Hz,
    // the lowest it offers, and +18 dB.
    const std::vector<ReadSlot> slots = readSlots(eq.text);
    ASSERT_EQ(slots.size(), 1u);
    EXPECT_EQ(wordAt(slots[0].state, 4), 9u);
    EXPECT_EQ(doubleAt(slots[0].state, 8 + 33 * 4 + 8), 125.0);
}
