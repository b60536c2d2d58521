// The console and report of every real session, compared with stored texts
// (TRELLUM_UPDATE_GOLDEN=1 rewrites them; read the diff), their notes in the
// catalogue's order, and a project REAPER can read.
#include <gtest/gtest.h>

#include <filesystem>

#include "project/text.h"
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

}  // namespace

// Each session is copied into a fresh folder so that its report lands there;
// its media are read where they lie. Two runs print the notes in one order,
// and a check with the switches that add notes keeps the catalogue's order.
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
        EXPECT_EQ(checkProjectText(readFileText(folder + "/" + name + ".rpp")), std::nullopt) << name;
        EXPECT_EQ(readFileText(folder + "/" + name + "-varnoak-report.txt"), run.result.reportText) << name;
        EXPECT_EQ(noteOrderFault(run.console), "") << name;
        EXPECT_EQ(noteNumbers(runConvert(options).console), noteNumbers(run.console)) << name;
        const std::string switched = runConvert(withNoteSwitches(options)).console;
        EXPECT_EQ(noteOrderFault(switched), "") << name;
        EXPECT_EQ(noteNumbers(switched).back(), 300) << name;  // the --check line closes the run
        const std::vector<std::pair<std::string, std::string>> marks = {{folder, "FOLDER"}, {sessions, "SESSIONS"}};
        const std::string console = withMarks(run.console, marks), report = withMarks(run.result.reportText, marks);
        EXPECT_EQ(console, storedText("real/" + name + ".console", console)) << name;
        EXPECT_EQ(report, storedText("real/" + name + ".report", report)) << name;
    }
}
