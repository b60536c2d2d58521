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
