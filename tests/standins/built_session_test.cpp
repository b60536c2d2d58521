// An EQ3 7-Band and a Dyn3 Compressor/Limiter on a track of a built session:
// REAPER's own plug-ins in the track's chain, or under --no-stand-ins the
// marked slots of plug-ins that exist only as AAX.
#include <gtest/gtest.h>

#include <cstring>

#include "standins/slot_reading.h"
#include "support/run_capture.h"
#include "support/session_builder.h"

namespace {

// Control values as a session stores them: "d_", two zero bytes, a big-endian double.
std::vector<uint8_t> controlValueBytes(const std::vector<double>& values) {
    std::vector<uint8_t> bytes;
    for (double value : values) {
        uint64_t bits;
        std::memcpy(&bits, &value, 8);
        bytes.insert(bytes.end(), {'d', '_', 0, 0});
        for (int k = 7; k >= 0; --k) bytes.push_back(uint8_t(bits >> (8 * k)));
    }
    return bytes;
}

// The slots of the converted session's first track chain.
std::vector<ReadSlot> chainSlots(const BuiltSession& session, bool noStandIns) {
    const std::string folder = makeTempFolder("standins");
    ConvertOptions options = optionsFor(buildSession(session).writeFile(folder, "session.ptx"));
    options.noStandIns = noStandIns;
    EXPECT_EQ(runConvert(options).code, 0);
    const std::string project = readFileText(folder + "/session.rpp");
    const size_t from = project.find("      BYPASS", project.find("<FXCHAIN"));
    return readSlots(from == std::string::npos ? "" : project.substr(from, project.find("\n    >\n", from) - from));
}

}  // namespace

TEST(StandinsInABuiltSession, Eq3AndDyn3BecomeReaEqAndReaCompOrStayInTheirSlots) {
    // EQ3: high-pass 80 Hz 12 dB/oct; LF, HMF and HF in at 0 dB; LMF -4 dB at 1 kHz, Q 2;
    // MF +3 dB out; low-pass 20 kHz out. None is fitted: seven plain ReaEQ bands.
    std::vector<double> eq(38, 0.0);
    for (auto [index, value] : std::vector<std::pair<int, double>>{
             {5, 1}, {6, 1}, {7, 1}, {8, 1}, {9, 80}, {10, 1}, {12, 100}, {13, 1}, {15, 1}, {16, -4}, {17, 1000},
             {18, 2}, {20, 3}, {21, 2000}, {22, 1}, {23, 1}, {25, 5000}, {26, 1}, {27, 1}, {29, 10000}, {30, 1},
             {32, 1}, {34, 1}, {35, 1}, {36, 20000}})
        eq[size_t(index)] = value;
    // Dyn3: knee 0, 4:1, attack 10 ms, release 100 ms, gain +3 dB, threshold -20 dB.
    const std::vector<double> comp = {0, 4, 0.01, 0.1, 3, -20, 0, 0, 0, 0, 0, 0, 0, 0};
    BuiltSession s;
    s.tracks = {{"Keys", 0, 0, 0, false, {}, 2}};
    s.tracks[0].plugins = {{"EQ3 7-Band", -1, "Digi47e3", 1, controlValueBytes(eq)},
                           {"Dyn3 Compressor/Limiter", -1, "Digidn3c", 1, controlValueBytes(comp)}};

    const std::vector<ReadSlot> slots = chainSlots(s, false);
    ASSERT_EQ(slots.size(), 2u);
    EXPECT_EQ(slots[0].open, "<VST \"VST: ReaEQ (Cockos)\" reaeq.dll 0 \"EQ3 7-Band (ReaEQ)\" "
                             "1919247729<56535472656571726561657100000000> \"\"");
    EXPECT_EQ(wordAt(slots[0].state, 4), 7u);
    // LMF, the third band: a bell at 1 kHz, 10^(-4/20); Q 2 x 0.99101 of the measured
    // map is 1.98202, which at 48 kHz is 0.71833 octaves (2/ln 2 asinh(1/2Q) sin w / w).
    const size_t lmf = 8 + 33 * 2;
    EXPECT_EQ(wordAt(slots[0].state, lmf), 8u);
    EXPECT_DOUBLE_EQ(doubleAt(slots[0].state, lmf + 8), 1000.0);
    EXPECT_NEAR(doubleAt(slots[0].state, lmf + 16), 0.6309573, 1e-7);
    EXPECT_NEAR(doubleAt(slots[0].state, lmf + 24), 0.71833, 1e-5);
    EXPECT_EQ(wordAt(slots[0].state, 8 + 33 * 3 + 4), 0u);  // MF is out: written off
    EXPECT_EQ(slots[1].preset, "\"Dyn3 Compressor/Limiter 4:1\"");
    // Threshold -20 + 0.337 dB as a factor; (4 - 1) / 99; 10 ms x 0.584 / 500;
    // 100 ms x 0.4134 / 5000; gain 10^(3/20).
    const float comp0[] = {0.1039561f, 0.0303030f, 0.01168f, 0.008268f};
    for (size_t k = 0; k < 4; ++k) EXPECT_NEAR(floatAt(slots[1].state, 8 + 4 * k), comp0[k], 1e-6) << k;
    EXPECT_NEAR(floatAt(slots[1].state, 8 + 4 * 11), 1.4125375f, 1e-6);

    const std::vector<ReadSlot> kept = chainSlots(s, true);
    ASSERT_EQ(kept.size(), 2u);
    EXPECT_EQ(kept[0].open, "<VST \"VST3: EQ3 7-Band\" \"\" 0 \"\" 3790509539{44696769343765337E4CA87BCF191431} \"\"");
    for (const ReadSlot& slot : kept) EXPECT_EQ(slot.preset, "\"** Pro Tools only - no VST exists - replace me here\"");
}
