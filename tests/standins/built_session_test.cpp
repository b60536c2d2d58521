// An EQ3 7-Band and a Dyn3 compressor on a track of a built session arrive as
// ReaEQ and ReaComp in its chain, or under --no-stand-ins as marked AAX slots.
#include <gtest/gtest.h>

#include <cstring>

#include "standins/slot_reading.h"
#include "support/run_capture.h"
#include "support/session_builder.h"

TEST(StandinsInABuiltSession, Eq3AndDyn3BecomeReaEqAndReaCompOrStayInTheirSlots) {
    // EQ3: all out but LMF, -4 dB at 1 kHz; filters at 6 dB/oct (no ReaEQ band). Dyn3: 4:1 at -20 dB.
    std::vector<double> eq(38, 0.0), comp = {0, 4, 0.01, 0.1, 3, -20, 0, 0, 0, 0, 0, 0, 0, 0};
    eq[5] = eq[32] = 1, eq[15] = 1, eq[16] = -4, eq[17] = 1000, eq[18] = 2;
    BuiltSession s;
    s.tracks = {{"Keys", 0, 0, 0, false, {}, 2}};
    for (const auto& [name, values] : {std::pair{"EQ3 7-Band", eq}, {"Dyn3 Compressor/Limiter", comp}}) {
        std::vector<uint8_t> bytes;  // each value: "d_", two zeros, a big-endian double
        for (double value : values) {
            uint64_t bits;
            std::memcpy(&bits, &value, 8);
            bytes.insert(bytes.end(), {'d', '_', 0, 0});
            for (int k = 7; k >= 0; --k) bytes.push_back(uint8_t(bits >> (8 * k)));
        }
        s.tracks[0].plugins.push_back({name, -1, name[0] == 'E' ? "Digi47e3" : "Digidn3c", 1, bytes});
    }
    for (bool kept : {false, true}) {
        const std::string folder = makeTempFolder("standins");
        ConvertOptions options = optionsFor(buildSession(s).writeFile(folder, "session.ptx"));
        options.noStandIns = kept;
        ASSERT_EQ(runConvert(options).code, 0);
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
