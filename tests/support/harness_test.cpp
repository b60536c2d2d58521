#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#include "support/image_builder.h"
#include "support/run_capture.h"

// Tests write into the system's temporary folder and leave nothing there;
// ctest's last line counts the tests skipped for want of real sessions.
TEST(TestHarness, TemporaryFoldersAndSkipLine) {
    namespace fs = std::filesystem;
    const std::string probe = makeTempFolder("probe");
    const bool hadTmpdir = std::getenv("TMPDIR") != nullptr;
    const std::string savedTmpdir = hadTmpdir ? std::getenv("TMPDIR") : "";
    setenv("TMPDIR", probe.c_str(), 1);
    const std::string inside = makeTempFolder("inside");
    const std::string self = fs::read_symlink("/proc/self/exe").string();
    EXPECT_EQ(std::system(("'" + self + "' --gtest_filter='OutputPath.*' >/dev/null").c_str()), 0);
    hadTmpdir ? setenv("TMPDIR", savedTmpdir.c_str(), 1) : unsetenv("TMPDIR");
    EXPECT_EQ(inside.rfind(probe + "/trellum-inside-", 0), 0u) << inside;
    // Only the folder made by this process is left; the other process removed its own.
    EXPECT_EQ(std::distance(fs::directory_iterator(probe), fs::directory_iterator()), 1);

    writeFileText(probe + "/LastTest.log",
                  "a_test.cpp:9: Skipped\nno real sessions beside the repository\n[  SKIPPED ] A.B (0 ms)\n"
                  "b_test.cpp:12: Skipped\nno comma locale installed\nc_test.cpp:3: Skipped\nno bench sessions\n");
    const std::string command = std::string("\"") + TRELLUM_CMAKE + "\" -DLOG=" + probe + "/LastTest.log -DSHARED=/nowhere -P " +
                                TRELLUM_SOURCE_DIR "/tests/skipped_tests.cmake 2>" + probe + "/line";
    ASSERT_EQ(std::system(command.c_str()), 0);
    EXPECT_EQ(readFileText(probe + "/line"),
              "2 test(s) skipped for want of real sessions: none in /nowhere/sessions (the big ones: /nowhere/bench). "
              "Set TRELLUM_SESSIONS to a folder of sessions to run them.\n");
}
