#include <gtest/gtest.h>

#include <filesystem>
#include <tuple>

#include "cli/console.h"
#include "project/text.h"
#include "session/blocks.h"
#include "session/real_sessions.h"
#include "session/ptx_file.h"
#include "support/image_builder.h"
#include "support/run_capture.h"

namespace {

bool contains(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

std::string baseName(const std::string& path) { return std::filesystem::path(path).filename().string(); }

}  // namespace

TEST(RealSessionRuns, EverySessionConvertsAndTheOlderOneIsRefused) {
    const std::string sessions = realSessionFolder();
    if (sessions.empty()) GTEST_SKIP() << "no real sessions beside the repository";
    const std::string folder = makeTempFolder("real-runs");
    for (const std::string& path : filesEnding(sessions, ".ptx")) {
        const std::string copy = folder + "/" + baseName(path);
        std::filesystem::copy_file(path, copy);
        ConvertOptions options = optionsFor(copy);
        options.checkOnly = true;
        CapturedRun checked = runConvert(options);
        EXPECT_EQ(checked.code, 0) << path << "\n" << checked.console;
        EXPECT_TRUE(contains(checked.console, "damage none\n")) << path;

        CapturedRun run = runConvert(optionsFor(copy));
        ASSERT_EQ(run.code, 0) << path << "\n" << run.console;
        const std::string project = readFileText(copy.substr(0, copy.size() - 4) + ".rpp");
        EXPECT_EQ(project.rfind("<REAPER_PROJECT 0.1 \"7.0\" 0\n", 0), 0u) << path;
        EXPECT_EQ(checkProjectText(project), std::nullopt) << path;
    }
    for (const std::string& path : filesEnding(sessions, ".ptf")) {
        CapturedRun run = runConvert(optionsFor(path));
        EXPECT_EQ(run.code, 1);
        EXPECT_TRUE(contains(run.console, "this is an OLDER Pro Tools session format")) << path;
    }
}

TEST(RealSessionRuns, CutAndHoledCopiesAreAnnouncedAndStillConvert) {
    const std::string sessions = realSessionFolder();
    if (sessions.empty()) GTEST_SKIP() << "no real sessions beside the repository";
    const std::string folder = makeTempFolder("damaged-runs");
    const std::vector<uint8_t> whole = readBytes(sessions + "/TestPTX.ptx");
    SessionFile loaded;
    ASSERT_EQ(loadSession(loaded, sessions + "/TestPTX.ptx", 48000), 0);

    // Cut short: what lies behind the last block that still fits is counted.
    std::vector<uint8_t> cut(whole.begin(), whole.end() - 500);
    writeBytes(folder + "/cut.ptx", cut);
    std::vector<uint8_t> cutImage(loaded.image.begin(), loaded.image.end() - 500);
    const ImageCheck cutCheck = checkImage(ImageView{cutImage.data(), cutImage.size()});
    ASSERT_EQ(cutCheck.verdict, DamageVerdict::incomplete);
    CapturedRun run = runConvert(optionsFor(folder + "/cut.ptx"));
    EXPECT_EQ(run.code, 0) << run.console;
    EXPECT_TRUE(contains(run.console, "  *** THIS SESSION FILE LOOKS INCOMPLETE ***\n      " +
                                          std::to_string(cutImage.size() - cutCheck.lastCompleteEnd) +
                                          " byte(s) after the last complete block."))
        << run.console;

    // A hole of zeros over the head of a top-level block in the middle.
    std::vector<PtxBlock> top = walkBlockTree(loaded.view());
    ASSERT_GT(top.size(), 4u);
    const PtxBlock& middle = top[top.size() / 2];
    std::vector<uint8_t> holedImage = loaded.image;
    for (uint64_t k = middle.start(); k < middle.start() + 32; ++k) holedImage[k] = 0;
    applySessionCipher(holedImage);
    writeBytes(folder + "/holed.ptx", holedImage);
    ConvertOptions check = optionsFor(folder + "/holed.ptx");
    check.checkOnly = true;
    run = runConvert(check);
    EXPECT_EQ(run.code, 0) << run.console;
    EXPECT_TRUE(contains(run.console, "damage damaged\n"));
    EXPECT_TRUE(contains(run.console, "  *** THIS SESSION FILE IS DAMAGED ***\n      Its structure breaks at byte " +
                                          std::to_string(middle.start()) + ", "))
        << run.console;
}

TEST(RealSessionRuns, ListShowsTempoRateAndEveryTrack) {
    const std::string sessions = realSessionFolder();
    if (sessions.empty()) GTEST_SKIP() << "no real sessions beside the repository";
    ConvertOptions options = optionsFor(sessions + "/TestPTX.ptx");
    options.listOnly = true;
    CapturedRun run = runConvert(options);
    EXPECT_EQ(run.code, 0);
    EXPECT_EQ(run.console,
              "\n  tempo 120 BPM, 48000 Hz\n\n  session track table (5):\n"
              "     0  monoTone\n     1  stereoTone\n     2  MIDI 1\n     3  MIDI 2\n     4  MIDI 3\n"
              "\n  buses (1): QT BOUNCE | "
              "\n\n  libptformat track names (2 unique):\n"
              "    monoTone                           \n"
              "    stereoTone                         \n");

    // The session that opens at 200 BPM counted in sixteenths lists 50 quarter-note BPM.
    options = optionsFor(sessions + "/TempoTimeKeySig.ptx");
    options.listOnly = true;
    EXPECT_EQ(runConvert(options).console.rfind("\n  tempo 50 BPM, 44100 Hz\n", 0), 0u);
    options.tempoOverride = 97.5;
    EXPECT_EQ(runConvert(options).console.rfind("\n  tempo 97.5 BPM, 44100 Hz\n", 0), 0u);
}

TEST(RealSessionRuns, DumpCcListsEachChunkAndGoesOn) {
    const std::string sessions = realSessionFolder();
    if (sessions.empty()) GTEST_SKIP() << "no real sessions beside the repository";
    ConvertOptions options = optionsFor(sessions + "/TestPTX.ptx");
    options.dumpCc = true;
    options.checkOnly = true;
    CapturedRun run = runConvert(options);
    EXPECT_EQ(run.code, 0);
    EXPECT_NE(run.console.find("chunk 0   notes 16    origin 1000000000000\n"
                               "chunk 1   notes 9     origin 1000000000000\n"
                               "chunk 2   notes 4     origin 1000000000000\n"
                               "3 chunks, 0 streams with data, 0 events\n"),
              std::string::npos);
    // Console and summary line count the same: the 3 audio placements of the
    // facts, and the 9 + 16 + 4 notes of the three MIDI clips, all of them sounding.
    // Its AIFF files are not beside it: the one block that needs a look.
    EXPECT_NE(run.console.find("  5 tracks, 3 clips, 29 MIDI notes\n"), std::string::npos);
    runConvert(options, true);
    EXPECT_EQ(summaryLine(), "summary tracks=5 clips=3 notes=29 fx=0 written=0 needs_look=1");
}

// What options and notes do on the real sessions (their stored console texts
// hold the rest): the click toggle by Click II's signature, the deleted
// placements recovered, and the session's timecode (Pro Tools starts a session
// at 01:00:00:00; at 23.976 fps that hour of frames lasts 3600 x 1.001 s).
TEST(RealSessionRuns, OptionsAndNotesOnTheRealSessions) {
    const std::string sessions = realSessionFolder();
    if (sessions.empty()) GTEST_SKIP() << "no real sessions beside the repository";
    // Session, option, what the console and project text hold ("-" before a text: what neither holds).
    const std::vector<std::tuple<const char*, bool ConvertOptions::*, std::vector<std::string>>> cases = {
        {"2 stereo plus click", &ConvertOptions::noClick,
         {"  1 Click track(s) left out (--no-click): \"Click 1\"\n", "-NAME \"Click 1\"", "-click is on"}},
        {"RegionTest", &ConvertOptions::recoverDeleted,
         {"  1 deleted clip placement(s) RECOVERED: written as MUTED \"[alt takes]\"\n", " [alt takes]\"\n"}},
        {"RegionTest", nullptr, {"  1 deleted clip placement(s) are still in this session: edits", "-[alt takes]"}},
        {"Test Export", nullptr,
         {"  Timecode: 23.976 fps, Session Start 01:00:00:00 (3603.6000 s) written as REAPER's\n",
          "  The session records at 24-bit. Existing audio is unaffected\n"}},
    };
    const std::string folder = makeTempFolder("real-options");
    for (const auto& [session, option, parts] : cases) {
        const std::string copy = folder + "/" + session + ".ptx";
        if (!fileExists(copy)) std::filesystem::copy_file(sessions + "/" + session + ".ptx", copy);
        ConvertOptions options = optionsFor(copy);
        options.overwrite = true;
        if (option) options.*option = true;
        CapturedRun run = runConvert(options);
        ASSERT_EQ(run.code, 0) << session << "\n" << run.console;
        const std::string text = run.console + readFileText(folder + "/" + session + ".rpp");
        for (const std::string& part : parts) {
            const bool absent = part[0] == '-';
            EXPECT_EQ(contains(text, absent ? part.substr(1) : part), !absent) << session << ": " << part;
        }
        // A recovered track is muted, and holds the one placement the session keeps on no playlist.
        const size_t recovered = text.find(" [alt takes]\"\n");
        if (recovered != std::string::npos) {
            const std::string track = text.substr(recovered, text.find("\n  >\n", recovered) - recovered);
            EXPECT_TRUE(contains(track, "\n    MUTESOLO 1 0 0\n"));
            EXPECT_EQ(track.find("<ITEM"), track.rfind("<ITEM"));
        }
    }
}
