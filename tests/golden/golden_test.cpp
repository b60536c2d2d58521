// Whole runs compared with stored text: a composed session in, the project and
// the console out. TRELLUM_UPDATE_GOLDEN=1 rewrites the stored files instead;
// review the change in the diff.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#include "project/text.h"
#include "support/run_capture.h"
#include "support/session_builder.h"

namespace {

const std::string kExpected = std::string(TRELLUM_SOURCE_DIR) + "/tests/golden/expected/";

std::string replaceAll(std::string text, const std::string& from, const std::string& to) {
    for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
    }
    return text;
}

// Converts the session in a fresh folder and compares both texts with the stored ones.
void expectGolden(const std::string& caseName, const BuiltSession& session, ConvertOptions options = {},
                  const std::vector<std::string>& mediaFiles = {}) {
    const std::string folder = makeTempFolder("golden");
    const std::string path = buildSession(session).writeFile(folder, "session.ptx");
    for (const std::string& file : mediaFiles) {
        std::filesystem::create_directories(folder + "/" + file.substr(0, file.rfind('/')));
        writeFileText(folder + "/" + file, "RIFF");
    }
    options.sessionPath = path;
    options.programPath = "/nonexistent/trellum";
    CapturedRun run = runConvert(options);
    ASSERT_EQ(run.code, 0) << run.console;
    const std::string project = replaceAll(readFileText(folder + "/session.rpp"), folder, "SESSION");
    const std::string console = replaceAll(run.console, folder, "SESSION");
    EXPECT_EQ(checkProjectText(project), std::nullopt);

    const std::string projectFile = kExpected + caseName + ".rpp";
    const std::string consoleFile = kExpected + caseName + ".console";
    if (std::getenv("TRELLUM_UPDATE_GOLDEN")) {
        writeFileText(projectFile, project);
        writeFileText(consoleFile, console);
        return;
    }
    ASSERT_TRUE(fileExists(projectFile)) << "no stored " << projectFile << "; run with TRELLUM_UPDATE_GOLDEN=1";
    EXPECT_EQ(project, readFileText(projectFile)) << caseName;
    EXPECT_EQ(console, readFileText(consoleFile)) << caseName;
}

}  // namespace

TEST(GoldenRuns, MonoStereoPairAndEmptyTrack) {
    BuiltSession s;
    s.files = {{"kick.wav", 96000}, {"gtr.L.wav", 48000}, {"gtr.R.wav", 48000}};
    s.clips = {{"kick", 0, 0, 96000}, {"gtr.L", 1, 100, 40000}, {"gtr.R", 2, 100, 40000}};
    s.tracks = {{"Kick", -60, 0, 0, false, {{"", false, {{0, 48000}, {0, 240000}}}}, 1},
                {"Gtr", 0, -100, 100, true, {{"", false, {{1, 0}}}, {"", false, {{2, 0}}}}, 2},
                {"Empty", 25, 50, 0, false, {}, 1}};
    expectGolden("mono-stereo-empty", s, {}, {"Audio Files/kick.wav", "Bounced Files/gtr.L.wav"});
}

// Overlapping clips, a fade-in, a crossfade with material to extend into and an
// S-curve fade-out; a bass track with volume and mute automation; a strip of
// unknown width.
TEST(GoldenRuns, FadesOverlapsAndAutomation) {
    BuiltSession s;
    s.files = {{"vox.wav", 480000}, {"bass.wav", 480000}};
    s.clips = {{"vox-a", 0, 0, 96000}, {"vox-b", 0, 96000, 96000}, {"vox-c", 0, 240000, 48000}, {"bass", 1, 0, 192000}};
    s.fades = {{2, 0, 24000, 0, true}, {1, 2400, 9600, 0, false}, {3, 0, 4800, 1, false}};
    BuiltPlacement fadeOut{0, 216000}, crossfade{1, 168000}, fadeIn{2, 0};
    fadeIn.fade = crossfade.fade = fadeOut.fade = true;
    s.tracks = {{"Vox", 0, 0, 0, false, {{"", false, {{0, 0}, {1, 72000}, {2, 168000}, fadeIn, crossfade, fadeOut}}}, 1},
                {"Bass", -30, 0, 0, false, {{"", false, {{3, 0}}}}, 1}};
    s.tracks[1].lanes = {{-60, {{48000, -120}, {96000, 0}}}, {0, {{144000, 1}}}, {0, {}}};
    // Seven lanes: a strip neither mono nor stereo, whose third lane is no pan.
    s.tracks.push_back({"Surround Pad", 0, 0, 0, false, {}, 1});
    s.tracks[2].lanes = {{0, {}}, {0, {}}, {0, {{48000, 30}}}, {0, {}}, {0, {}}, {0, {}}, {0, {}}};
    expectGolden("fades-overlaps-automation", s, {}, {"Audio Files/vox.wav", "Audio Files/bass.wav"});
}

// Tracks output into a drum bus that an aux takes; sends reach a reverb aux
// by its input, by one leg of it, and a bus no aux takes gets a return track.
// A muted track with a pre-fader send arrives unmuted, its fader down; a
// track with no output loses its master send; an aux on a 5.1 bus is six wide.
TEST(GoldenRuns, OutputsSendsAndReturnTracks) {
    BuiltSession s;
    s.files = {{"kick.wav", 48000}};
    s.clips = {{"kick", 0, 0, 48000}};
    s.paths = {{"Out 1-2", 1, {1, 2}, 5},   {"Reverb", 2, {3, 4}, 10},  {"Reverb.L", 2, {3}, 11},
               {"Reverb.R", 2, {4}, 12},    {"Drums", 2, {5, 6}, 20},   {"Slap", 2, {7, 8}, 30}};
    BuiltTrack kick{"Kick", -20, 0, 0, true, {{"", false, {{0, 0}}}}, 1};
    kick.output = "Drums";
    kick.sends = {{"Reverb", -100, true}, {"Slap", -60, false, {{0, {}}, {1, {}}}}};  // the second switched off
    BuiltTrack snare{"Snare", 0, 0, 0, false, {{"", false, {{0, 48000}}}}, 1};
    snare.output = "Drums";
    snare.sends = {{"Reverb.L", -30, true, {{0, {}}, {0, {}}, {-50, {}}}}};
    BuiltTrack drums{"Drum Bus", 0, 0, 0, false, {}, 1};
    drums.output = "Out 1-2";
    drums.inputId = 20;
    BuiltTrack verb{"Verb", 0, 0, 0, false, {}, 1};
    verb.output = "Out 1-2";
    verb.inputId = 10;
    BuiltTrack lonely{"Lonely", 0, 0, 0, false, {}, 1};
    lonely.output = "-";
    // The bass ducks under the kick: its compressor is keyed off the bus the kick sends to.
    BuiltTrack bass{"Bass", 0, 0, 0, false, {}, 1};
    bass.output = "Out 1-2";
    bass.plugins = {{"Pro-C 2", 7}, {"EQ", -1}};
    s.keyNames = {{7, "Slap"}};
    // A 5.1 bus taken by an aux, which is written six channels wide.
    s.paths.push_back({"5.1", 2, {9, 10, 11, 12, 13, 14}, 40});
    BuiltTrack crowd{"Crowd", 0, 0, 0, false, {}, 1};
    crowd.output = "5.1";
    BuiltTrack room{"Surround Room", 0, 0, 0, false, {}, 1};
    room.output = "Out 1-2";
    room.inputId = 40;
    s.tracks = {kick, snare, drums, verb, lonely, bass, crowd, room};
    expectGolden("outputs-sends-returns", s, {}, {"Audio Files/kick.wav"});
}
