#include <gtest/gtest.h>

#include "driver/stages.h"
#include "support/run_capture.h"
#include "support/session_builder.h"

// A composed session reads back as composed: files, clips, placements, tracks, strips.
TEST(SessionBuilder, ReadsBackThroughTheReaders) {
    BuiltSession s;
    s.files = {{"kick.wav", 96000}, {"gtr.L.wav", 48000}, {"gtr.R.wav", 48000}};
    s.clips = {{"kick", 0, 0, 96000}, {"gtr.L", 1, 100, 40000}, {"gtr.R", 2, 100, 40000}};
    s.tracks = {{"Kick", -60, 0, 0, false, {{"", false, {{0, 48000}}}}, 1},
                {"Gtr", 0, -100, 100, true, {{"", false, {{1, 0}}}, {"", false, {{2, 0}}}}, 2},
                {"Empty", 0, 0, 0, false, {}, 1}};
    ImageBuilder image = buildSession(s);
    const std::string path = image.writeFile(makeTempFolder("builder"), "built.ptx");

    RunState state;
    state.options = optionsFor(path);
    ASSERT_EQ(loadSession(state.session, path, 48000), 0);
    readStage(state);
    readMixStage(state);
    clipStage(state);
    const SessionModel& model = state.model;
    ASSERT_EQ(model.audioFiles.size(), 3u);
    ASSERT_EQ(model.clips.audioClips.size(), 3u);
    EXPECT_EQ(model.clips.audioClips[1].sourceOffset, 100);
    EXPECT_EQ(model.clips.audioClips[1].fileName, "gtr.L.wav");
    ASSERT_EQ(model.clips.audioPlacements.size(), 3u);
    EXPECT_EQ(model.clips.audioPlacements[0].trackName, "Kick");
    EXPECT_EQ(model.clips.audioPlacements[0].start, samplesAt(48000));
    EXPECT_EQ(model.clips.audioPlacements[2].trackName, "Gtr");
    EXPECT_EQ(model.trackList.names, (std::vector<std::string>{"Kick", "Gtr", "Empty"}));
    EXPECT_FALSE(model.trackList.fromStripRows);
    ASSERT_EQ(model.trackListRows.size(), 3u);
    ASSERT_EQ(model.strips.size(), 3u);
    EXPECT_EQ(model.strips[0].faderDb, -6.0);
    EXPECT_TRUE(model.strips[1].muted);
    EXPECT_EQ(model.strips[1].panLeft, -100);
    ASSERT_EQ(model.playlistRows.size(), 3u);
    EXPECT_TRUE(model.playlistRows[0].live[0]);
    EXPECT_EQ(model.timebaseRecords[1].name, "Gtr");
}
