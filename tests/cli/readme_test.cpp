#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>

#include "support/image_builder.h"
#include "support/run_capture.h"

// The README's first command builds the program alone and converts the demo
// session that the build makes; CI runs exactly its second command.
TEST(Readme, FirstCommandConvertsTheDemoAndCiRunsTheSecond) {
    std::vector<std::string> commands;
    std::istringstream lines(readFileText(TRELLUM_SOURCE_DIR "/README.md"));
    for (std::string line; std::getline(lines, line);) {
        if (line.rfind("    scripts/setup", 0) == 0) commands.push_back(line.substr(4));
    }
    ASSERT_GE(commands.size(), 2u);
    const std::string tail = " -DTRELLUM_TESTS=OFF && cmake --build build -j2 && build/trellum build/demo/Demo.ptx";
    ASSERT_GT(commands[0].size(), tail.size());
    EXPECT_EQ(commands[0].substr(commands[0].size() - tail.size()), tail);
    EXPECT_NE(readFileText(TRELLUM_SOURCE_DIR "/.ci/run").find("\n" + commands[1] + "\n"), std::string::npos);

    // The demo as this build made it converts, and every FILE line opens from the project's folder.
    const std::string folder = makeTempFolder("demo");
    std::filesystem::copy(TRELLUM_DEMO_FOLDER "/Demo.ptx", folder + "/Demo.ptx");
    std::filesystem::copy(TRELLUM_DEMO_FOLDER "/Audio Files", folder + "/Audio Files");
    CapturedRun run = runConvert(optionsFor(folder + "/Demo.ptx"));
    ASSERT_EQ(run.code, 0) << run.console;
    EXPECT_EQ(run.console.find("WARNING"), std::string::npos) << run.console;
    const std::string project = readFileText(folder + "/Demo.rpp");
    int files = 0;
    for (size_t at = project.find(" FILE \""); at != std::string::npos; at = project.find(" FILE \"", at + 1), ++files) {
        const std::string path = project.substr(at + 7, project.find('"', at + 7) - at - 7);
        EXPECT_TRUE(fileExists(folder + "/" + path)) << path;
    }
    EXPECT_EQ(files, 8 + 4 + 2);  // eight kicks, four bass notes, the two legs of the pad
}
