// The console and report of every real session, compared with stored texts
// (TRELLUM_UPDATE_GOLDEN=1 rewrites them; read the diff), and the notes of real,
// studio and bench runs in the catalogue's order.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#include "reporting/note_order.h"
#include "session/real_sessions.h"
#include "support/image_builder.h"
#include "support/run_capture.h"

namespace {

namespace fs = std::filesystem;

// Each folder, as given and as the system resolves it, becomes its mark.
std::string withMarks(std::string text, const std::vector<std::pair<std::string, std::string>>& marks) {
    for (const auto& [folder, mark] : marks) {
        for (const std::string& form : {fs::weakly_canonical(folder).string(), folder}) {
            for (size_t at = text.find(form); at != std::string::npos; at = text.find(form, at + mark.size())) {
                text.replace(at, form.size(), mark);
            }
        }
    }
    return text;
}

void expectStored(const std::string& file, const std::string& text) {
    const std::string path = TRELLUM_SOURCE_DIR "/tests/golden/expected/real/" + file;
    if (std::getenv("TRELLUM_UPDATE_GOLDEN")) return writeFileText(path, text);
    EXPECT_TRUE(fileExists(path)) << "no stored " << path << "; run with TRELLUM_UPDATE_GOLDEN=1 and read it";
    EXPECT_EQ(text, readFileText(path)) << file;
}

}  // namespace

// Each session is copied into a fresh folder so that its report lands there;
// its media are read where they lie. Two runs print the notes in one order.
TEST(RealReports, ConsoleAndReportOfEveryRealSessionAsStored) {
    const std::string sessions = realSessionFolder();
    if (sessions.empty()) GTEST_SKIP() << "no real sessions beside the repository";
    const std::string folder = makeTempFolder("real-reports");
    for (const std::string& path : filesEnding(sessions, ".ptx")) {
        const std::string name = fs::path(path).stem().string();
        fs::copy_file(path, folder + "/" + name + ".ptx", fs::copy_options::overwrite_existing);
        ConvertOptions options = optionsFor(folder + "/" + name + ".ptx");
        options.audioDir = sessions + "/Audio Files";
        options.audioDirGiven = options.writeReport = options.overwrite = true;
        const CapturedRun run = runConvert(options);
        ASSERT_EQ(run.code, 0) << run.console;
        EXPECT_EQ(readFileText(folder + "/" + name + "-varnoak-report.txt"), run.result.reportText) << name;
        EXPECT_EQ(noteOrderFault(run.console), "") << name;
        EXPECT_EQ(noteNumbers(runConvert(options).console), noteNumbers(run.console)) << name;
        const std::vector<std::pair<std::string, std::string>> marks = {{folder, "FOLDER"}, {sessions, "SESSIONS"}};
        expectStored(name + ".console", withMarks(run.console, marks));
        expectStored(name + ".report", withMarks(run.result.reportText, marks));
    }
}

// The notes of every real and studio session in the catalogue's order, checked
// as they are and with the switches that add notes of their own.
TEST(RealReports, NotesInTheCataloguesOrderWithAndWithoutTheSwitches) {
    const std::string sessions = realSessionFolder();
    if (sessions.empty()) GTEST_SKIP() << "no real sessions beside the repository";
    std::vector<std::string> paths = filesEnding(sessions, ".ptx");
    for (const std::string& studio : filesEnding(TRELLUM_SHARED_DIR "/studio", ".ptx")) paths.push_back(studio);
    for (const std::string& path : paths) {
        for (const bool switches : {false, true}) {
            ConvertOptions options = optionsFor(path);
            options.checkOnly = true;
            options.noClick = options.recoverDeleted = options.noClipColors = options.noTrackColors =
                options.keepInaudibleMidi = options.truncateMidiToClip = options.noSidechain = options.tempoRamps =
                    switches;
            options.keepAltTakes = !switches;
            options.commentsMode = switches ? 0 : 1;
            const CapturedRun run = runConvert(options);
            EXPECT_EQ(run.code, 0) << path;
            EXPECT_EQ(noteOrderFault(run.console), "") << path;
            EXPECT_EQ(noteNumbers(run.console).back(), 300) << path;  // the --check line closes the run
        }
    }
}
