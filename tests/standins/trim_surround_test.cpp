// Avid Trim and the surround panner, through whole runs of built sessions:
// Trim's gain in its slot, its polarity on the track or first in the chain,
// and ReaSurroundPan with its state and envelopes on a track panned into 5.1.
#include <gtest/gtest.h>

#include <cstring>

#include "project/text.h"
#include "support/run_capture.h"
#include "support/session_builder.h"

namespace {

struct BuiltRun {
    std::string project;
    std::string console;
    std::string report;
};

BuiltRun convertBuilt(const BuiltSession& session, ConvertOptions options = {}) {
    const std::string folder = makeTempFolder("trim-surround");
    options.sessionPath = buildSession(session).writeFile(folder, "session.ptx");
    options.programPath = "/nonexistent/trellum";
    CapturedRun run = runConvert(options);
    EXPECT_EQ(run.code, 0) << run.console;
    BuiltRun out{readFileText(folder + "/session.rpp"), run.console, run.result.reportText};
    EXPECT_EQ(checkProjectText(out.project), std::nullopt);
    return out;
}

// The block of the named track, up to the next track.
std::string trackText(const std::string& project, const std::string& name) {
    const size_t at = project.find("NAME \"" + name + "\"");
    return at == std::string::npos ? std::string() : project.substr(at, project.find("<TRACK", at) - at);
}

std::string dashes(int count) {
    std::string text;
    while (count-- > 0) text += " -";
    return text;
}

template <typename T>
T valueAt(const std::vector<uint8_t>& bytes, size_t at) {
    T value{};
    if (at + sizeof(T) <= bytes.size()) std::memcpy(&value, bytes.data() + at, sizeof(T));
    return value;
}

}  // namespace

// -300000000 lies 138361444 below the -12 dB point of the gain curve, on its
// first segment (6 dB per 625562196): -13.327076 dB, in the slot's units of
// 6.020599913279624 / 6 dB -13.281477.
TEST(TrimAndSurround, TrimGainAndPolarity) {
    BuiltSession s;
    BuiltTrack gtr{"Gtr", 0, -100, 100, false, {}, 2};
    gtr.plugins = {builtTrim({{1093684240, true}, {1093684240, false}})};  // unlinked: the left side flips
    BuiltTrack bass{"Bass", 0, 0, 0, false, {}, 1};
    bass.plugins = {builtTrim({{1093684240, true}}), builtTrim({{1093684240, true}})};  // two flips cancel
    BuiltTrack keys{"Keys", 0, 0, 0, false, {}, 1};
    keys.plugins = {builtTrim({{-300000000, true}}, true)};  // bypassed: its flip plays no part
    s.tracks = {gtr, bass, keys};

    const BuiltRun run = convertBuilt(s);
    const std::string gtrText = trackText(run.project, "Gtr");
    EXPECT_NE(gtrText.find("IPHASE 0\n"), std::string::npos);
    EXPECT_NE(gtrText.find("DOCKED 0\n      BYPASS 0 0 0\n"
                           "      <JS IX/StereoPhaseInvert \"Trim polarity, left channel (Channel Polarity Control)\"\n"
                           "        1" + dashes(63) + "\n"),
              std::string::npos)
        << gtrText;
    const std::string keysText = trackText(run.project, "Keys");
    EXPECT_NE(keysText.find("IPHASE 0\n"), std::string::npos);
    EXPECT_NE(keysText.find("BYPASS 1 0 0\n      <JS utility/volume \"Trim (Volume Adjustment)\"\n        -13.281477 150" +
                            dashes(62) + "\n      >\n      PRESETNAME \"Avid Trim -13.33 dB\"\n"),
              std::string::npos);
    for (const char* note : {"  1 track(s) carry an EVEN number of inverting Trims, which cancel:\n",
                             "      1 Trim gain(s) are below -12 dB, beyond the measured range:",
                             "  1 track(s) have Avid Trim polarity on ONE channel only",
                             "  1 Avid Trim(s) had polarity switched on but were BYPASSED or\n"}) {
        EXPECT_NE(run.console.find(note), std::string::npos) << note << run.console;
    }

    // --no-stand-ins: the Trims stay Pro Tools-only slots, the one-sided flip is dropped.
    ConvertOptions plain;
    plain.noStandIns = true;
    const BuiltRun kept = convertBuilt(s, plain);
    EXPECT_EQ(kept.project.find("utility/volume"), std::string::npos);
    EXPECT_EQ(kept.project.find("StereoPhaseInvert"), std::string::npos);
    EXPECT_NE(kept.console.find("      1 track(s) where a Trim flips one side only play both sides\n"),
              std::string::npos)
        << kept.console;
    EXPECT_NE(kept.report.find("\"Replace Avid plug-ins with REAPER's\" is off: 4 Avid plug-in(s) left\nas named, "
                               "switched-off slots instead of REAPER's own;\none-sided Trim polarity not carried\n"),
              std::string::npos)
        << kept.report;
}

// A mono track panned into a 5.1 bus: Y 50 puts it three quarters of the way to
// the front (t = 0.75). X = ((-50 - 50) * 0.75 + 50) / 100 = -0.25; divergence
// min((100 - 60) * 0.75 + 60, 90) = 90 stored as 0.1; center 30 % is 0.3; the
// LFE lane rests at -60 (-6 dB): 10^(-6/20) = 0.501187. The front X lane moves
// from its resting -50 to -100 at 1 s and 0 at 2 s; "in 1 X" is (X + 1) / 2:
// 0.375 at 0, ((-150 * 0.75 + 50) / 100 + 1) / 2 = 0.1875, then 0.5625.
TEST(TrimAndSurround, MonoSourcePannedIntoFivePointOne) {
    BuiltSession s;
    s.paths = {{"Out 1-2", 1, {1, 2}, 5}, {"Surround", 2, {9, 10, 11, 12, 13, 14}, 40}};
    BuiltTrack fly{"Fly", 0, 0, 0, false, {}, 1};
    fly.output = "Surround";
    fly.panner = {-50, 50, 50, 100, 60, 90, 30};
    fly.lanes = {{0, {}}, {0, {}}, {-60, {}}};  // volume, mute, the LFE
    fly.laneGroups = {{{-50, {{48000, -100}, {96000, 0}}}, {50, {}}, {50, {}}, {100, {}}, {60, {}}, {90, {}}, {30, {}}}};
    BuiltTrack aux{"Surround Aux", 0, 0, 0, false, {}, 1};
    aux.output = "Out 1-2";
    aux.inputId = 40;
    s.tracks = {fly, aux};

    const std::string flyText = trackText(convertBuilt(s).project, "Fly");
    const std::string head = "<VST \"VST: ReaSurroundPan (Cockos)\" reasurround2.dll 0 \"\" "
                             "1920168498<56535472737232726561737572726F75> \"\"\n        ";
    const size_t at = flyText.find(head);
    ASSERT_NE(at, std::string::npos) << flyText;
    // The header (92 bytes, one line), then the state up to the tail.
    const size_t stateAt = flyText.find('\n', at + head.size()) + 1;
    const std::vector<uint8_t> header = base64Decode(flyText.substr(at + head.size(), stateAt - at - head.size()));
    EXPECT_EQ(valueAt<uint32_t>(header, 28), 6u);           // six speakers
    EXPECT_EQ(valueAt<uint32_t>(header, 32 + 5 * 8), 32u);  // the sixth's mask
    const std::vector<uint8_t> state = base64Decode(flyText.substr(stateAt, flyText.find("        AAAQAAAA\n", stateAt) - stateAt));
    // 56 bytes of head, 77 of the input, 60 + the name's length per speaker.
    ASSERT_EQ(state.size(), 56u + 77u + 3 * 61u + 2 * 62u + 63u);
    EXPECT_EQ(valueAt<uint32_t>(state, 28), 1u);
    EXPECT_DOUBLE_EQ(valueAt<double>(state, 32), 0.3);
    EXPECT_DOUBLE_EQ(valueAt<double>(state, 40), 1.0);
    EXPECT_EQ(valueAt<uint32_t>(state, 52), 6u);
    const double input[] = {1.0, 0.501187, -0.25, 0.5, 0.0, 0.1, 0.0};
    for (size_t k = 0; k < 7; ++k) EXPECT_NEAR(valueAt<double>(state, 56 + 8 * k), input[k], 1e-6) << k;
    EXPECT_EQ(std::string(state.begin() + 120, state.begin() + 129), "channel 1");
    // The fourth speaker, "Ls", at the back left: 56 + 77 + 3 * 61 bytes in.
    const size_t ls = 56 + 77 + 3 * 61;
    EXPECT_DOUBLE_EQ(valueAt<double>(state, ls + 8), -1.0);
    EXPECT_DOUBLE_EQ(valueAt<double>(state, ls + 16), -1.0);
    EXPECT_EQ(std::string(state.begin() + ls + 48, state.begin() + ls + 50), "Ls");
    EXPECT_EQ(valueAt<uint32_t>(state, state.size() - 63 + 40), 4u);  // the LFE's type

    EXPECT_NE(flyText.find("      <PARMENV 7:_in_1_X 1 0 0.5 \"in 1 X / ReaSurroundPan\"\n"), std::string::npos);
    EXPECT_NE(flyText.find("        PT 0 0.375000000 0\n        PT 1.0000000000 0.187500000 0\n"
                           "        PT 2.0000000000 0.562500000 0\n      >\n"),
              std::string::npos)
        << flyText;
}
