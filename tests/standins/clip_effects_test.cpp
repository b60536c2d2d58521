// Clip Effects stored in a built session arrive as take FX of REAPER's own
// plug-ins and as take polarity, with their console notes.
#include <gtest/gtest.h>

#include <cstring>

#include "project/text.h"
#include "standins/slot_reading.h"
#include "support/run_capture.h"
#include "support/session_builder.h"

namespace {

using Bytes = std::vector<uint8_t>;

void putLe(Bytes& out, uint64_t value, int count) {
    for (int k = 0; k < count; ++k) out.push_back(uint8_t(value >> (8 * k)));
}

// One stored list: the id's halves, four bytes, the payload's size, then a
// "px" record per control.
Bytes effectsList(uint32_t id, const std::vector<std::pair<std::string, double>>& controls) {
    Bytes payload;
    for (const auto& [name, value] : controls) {
        payload.insert(payload.end(), {'p', 'x', 1, 0});
        putLe(payload, name.size() + 12, 4);
        putLe(payload, name.size(), 4);
        payload.insert(payload.end(), name.begin(), name.end());
        uint64_t bits;
        std::memcpy(&bits, &value, 8);
        putLe(payload, bits, 8);
    }
    Bytes out;
    putLe(out, id, 4);
    putLe(out, 0, 8);
    putLe(out, payload.size(), 4);
    out.insert(out.end(), payload.begin(), payload.end());
    return out;
}

// Behind a clip's record: its list's id, then the block that marks it.
Bytes effectsMark(uint32_t id) {
    Bytes out;
    putLe(out, id, 8);
    out.insert(out.end(), {'Z', 1, 0, 3, 0, 0, 0, 0x03, 0x44, 0});
    return out;
}

}  // namespace

TEST(ClipEffects, StoredListsBecomeTakeFxAndTakePolarity) {
    BuiltSession s;
    s.files = {{"a.wav", 480000}};
    s.clips = {{"fx", 0, 0, 48000}, {"flip", 0, 48000, 48000}, {"plain", 0, 96000, 48000}};
    for (uint32_t k = 0; k < 3; ++k) s.clips[k].araUid = effectsMark(7 + k);
    s.tracks = {{"Vox", 0, 0, 0, false, {{"", false, {{0, 0}, {1, 48000}, {2, 96000}}}}, 1}};
    ImageBuilder b = buildSession(s);
    b.openBlock(0x4400);
    b.u32(3);
    // +12 dB on the Low-Mid bell, 4:1 at -30 dB, polarity on, the clip fader moved.
    b.bytes(effectsList(7, {{"EQ Low-Mid Gain", 0.75}, {"Cmp Ratio", 0.3359375}, {"Cmp Threshold", 0.5},
                            {"Phase Switch In/Out", 1}, {"Fader Volume", 0.5}}));
    b.bytes(effectsList(8, {{"Phase Switch In/Out", 1}}));
    b.bytes(effectsList(9, {{"EQ Low Gain", 0.5}, {"Cmp Threshold", 0.6}}));  // the defaults
    b.closeBlock();
    const std::string folder = makeTempFolder("clipfx");
    const CapturedRun run = runConvert(optionsFor(b.writeFile(folder, "fx.ptx")));
    ASSERT_EQ(run.code, 0) << run.console;
    const std::string project = readFileText(folder + "/fx.rpp");
    EXPECT_EQ(checkProjectText(project), std::nullopt);

    const size_t takeFx = project.find("      <TAKEFX\n");
    ASSERT_NE(takeFx, std::string::npos) << project;
    EXPECT_EQ(takeFx + 6, project.rfind("<TAKEFX"));  // only the first clip's
    const std::string block = project.substr(takeFx, project.find("\n      >\n", takeFx) - takeFx);
    EXPECT_NE(block.find("\n        BYPASS 0 0 0\n        <VST \"VST: ReaEQ (Cockos)\" reaeq.dll 0 \"Clip Effects EQ (ReaEQ)\""),
              std::string::npos) << block;
    const std::vector<ReadSlot> slots = readSlots(block.substr(block.find("BYPASS")));
    ASSERT_EQ(slots.size(), 2u);
    EXPECT_EQ(slots[0].fxid, makeGuid(0x43460000));  // the first item's seed
    EXPECT_EQ(slots[1].fxid, makeGuid(0x43460001));
    EXPECT_NEAR(doubleAt(slots[0].state, 8 + 33 + 16), 3.9810717, 1e-6);  // +12 dB
    EXPECT_EQ(slots[1].preset, "\"Clip Effects Comp/Lim 4:1\"");
    // Threshold 10^(-30/20); ratio (4 - 1) / 99; attack 0.1 ms / 500; release 200 ms / 5000;
    // side-chain high-pass 20 Hz / 20000; the peak detector.
    const std::pair<int, float> floats[] = {{0, 0.0316228f}, {1, 3.0f / 99}, {2, 0.0002f}, {3, 0.04f},
                                            {6, 1},          {7, 0.001f},    {13, 0.05f},  {17, 0.25f}};
    for (auto [index, value] : floats) EXPECT_NEAR(floatAt(slots[1].state, 8 + 4 * index), value, 1e-6) << index;
    size_t flipped = 0;
    for (size_t at = project.find("VOLPAN 1.000000000 0 -1 -1"); at != std::string::npos;
         at = project.find("VOLPAN 1.000000000 0 -1 -1", at + 1))
        ++flipped;
    EXPECT_EQ(flipped, 2u);
    EXPECT_EQ(project.find("VOLPAN 1.000000000 0 1"), std::string::npos);
    for (const char* line :
         {"  2 clip(s) had Clip Effects POLARITY switched on: carried as REAPER take\n",
          "  1 clip(s) carry Pro Tools Clip Effects, written as take FX on the item\n"
          "      with REAPER's own plug-ins (EQ, compressor).\n",
          "  Clip Effects approximated or left out:\n",
          "      clip fader not carried (its scale is unmeasured) (1 clip(s))\n",
          "      EQ written as Channel Strip plays it (measured 26 Sep); checked on a Clip Effects bell, which matches "
          "Pro Tools to -109 dB (1 clip(s))\n"})
        EXPECT_NE(run.console.find(line), std::string::npos) << line << run.console;
}
