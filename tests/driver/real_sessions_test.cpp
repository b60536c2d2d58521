#include <gtest/gtest.h>

#include <filesystem>
#include <tuple>

#include "cli/console.h"
#include "session/blocks.h"
#include "session/real_sessions.h"
#include "session/ptx_file.h"
#include "support/image_builder.h"
#include "support/run_capture.h"

namespace {

bool contains(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

}  // namespace

// A copy cut short and one with a hole: announced, and still converted. The
// first block of a session holds the position of its last top-level block, an
// index that reaches to the end of the file: a cut inside it leaves everything
// from there on behind the last complete block.
TEST(RealSessionRuns, CutAndHoledCopiesAreAnnouncedAndStillConvert) {
    const std::string sessions = realSessionFolder();
    if (sessions.empty()) GTEST_SKIP() << "no real sessions beside the repository";
    const std::string folder = makeTempFolder("damaged-runs");
    SessionFile loaded;
    ASSERT_EQ(loadSession(loaded, sessions + "/TestPTX.ptx", 48000), 0);
    const std::vector<uint8_t>& image = loaded.image;
    const uint64_t lastStart = ImageView{image.data(), image.size()}.u32(27);
    ASSERT_LT(lastStart, image.size() - 500);

    std::vector<uint8_t> cut(image.begin(), image.end() - 500);
    applySessionCipher(cut);
    writeBytes(folder + "/cut.ptx", cut);
    CapturedRun run = runConvert(optionsFor(folder + "/cut.ptx"));
    EXPECT_EQ(run.code, 0) << run.console;
    EXPECT_TRUE(contains(run.console, "  *** THIS SESSION FILE LOOKS INCOMPLETE ***\n      " +
                                          std::to_string(image.size() - 500 - lastStart) +
                                          " byte(s) after the last complete block."))
        << run.console;

    // A hole of zeros over the head of a top-level block in the middle.
    std::vector<PtxBlock> top = walkBlockTree(loaded.view());
    ASSERT_GT(top.size(), 4u);
    const PtxBlock& middle = top[top.size() / 2];
    std::vector<uint8_t> holed = image;
    std::fill(holed.begin() + static_cast<long>(middle.start()), holed.begin() + static_cast<long>(middle.start()) + 32, 0);
    applySessionCipher(holed);
    writeBytes(folder + "/holed.ptx", holed);
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
    // The summary line counts the 3 audio placements of the facts and the 9 + 16 + 4
    // notes of the three MIDI clips, all of them sounding, as the stored console does.
    // Its AIFF files are not beside it: the one block that needs a look.
    runConvert(options, true);
    EXPECT_EQ(summaryLine(), "summary tracks=5 clips=3 notes=29 fx=0 written=0 needs_look=1");
}

// What options do on the real sessions (their stored console texts hold the
// rest): the click toggle by Click II's signature, the deleted placements recovered.
TEST(RealSessionRuns, OptionsAndNotesOnTheRealSessions) {
    const std::string sessions = realSessionFolder();
    if (sessions.empty()) GTEST_SKIP() << "no real sessions beside the repository";
    // Session, option, what the console and project text hold ("-" before a text: what neither holds).
    const std::vector<std::tuple<const char*, bool ConvertOptions::*, std::vector<std::string>>> cases = {
        {"2 stereo plus click", &ConvertOptions::noClick,
         {"  1 Click track(s) left out (--no-click): \"Click 1\"\n", "-NAME \"Click 1\"", "-click is on"}},
        {"RegionTest", &ConvertOptions::recoverDeleted,
         {"  1 deleted clip placement(s) RECOVERED: written as MUTED \"[alt takes]\"\n", " [alt takes]\"\n"}},
    };
    const std::string folder = makeTempFolder("real-options");
    for (const auto& [session, option, parts] : cases) {
        const std::string copy = folder + "/" + session + ".ptx";
        if (!fileExists(copy)) std::filesystem::copy_file(sessions + "/" + session + ".ptx", copy);
        ConvertOptions options = optionsFor(copy);
        options.overwrite = true;
        options.*option = true;
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
