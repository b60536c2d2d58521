// The binding of placements, playlists and track rows into output tracks, on
// session models built by hand.
#include <gtest/gtest.h>

#include "analysis/passes.h"
#include "cli/console.h"
#include "driver/stages.h"
#include "support/run_capture.h"
#include "support/session_builder.h"

namespace {

struct Entry {
    uint32_t clip;
    uint64_t position;
    bool live = true;
    int32_t colour = -2;
};

// A session model at 48000 Hz whose clips are one second long.
struct ModelBuilder {
    SessionModel model;
    ModelBuilder() { model.info.sampleRate = 48000; }

    uint16_t clip(const std::string& name, const std::string& file = "f.wav") {
        ClipDefinition clip;
        clip.index = static_cast<uint16_t>(model.clips.audioClips.size());
        clip.name = name;
        clip.length = 48000;
        clip.fileName = file;
        model.clips.audioClips.push_back(clip);
        return clip.index;
    }
    // A track row of the session, with a strip so that alternates find a parent.
    void row(const std::string& name) {
        SessionTrack track;
        track.kind = 0x261B;
        track.name = name;
        model.tracks.rows.push_back(track);
        model.trackList.names.push_back(name);
        StripRow strip;
        strip.name = name;
        strip.present = 1;
        model.strips.push_back(strip);
    }
    // One placement track: its clips as the reader gives them, and its playlist.
    void playlist(uint16_t trackIndex, const std::string& trackName, const std::string& playlistName,
                  const std::vector<Entry>& entries, const std::vector<std::pair<uint32_t, uint64_t>>& placed) {
        for (const auto& [clipIndex, start] : placed) {
            ClipPlacement placement;
            placement.trackIndex = trackIndex;
            placement.trackName = trackName;
            placement.clipIndex = static_cast<uint16_t>(clipIndex);
            placement.start = samplesAt(static_cast<int64_t>(start));
            model.clips.audioPlacements.push_back(placement);
        }
        TimebaseRecord record;
        record.name = playlistName;
        record.placementCount = static_cast<uint32_t>(entries.size());
        model.timebaseRecords.push_back(record);
        PlaylistRow row;
        row.name = playlistName;
        for (const Entry& e : entries) {
            row.clipIndex.push_back(e.clip);
            row.position.push_back(samplesAt(static_cast<int64_t>(e.position)));
            row.live.push_back(e.live);
            row.isFade.push_back(false);
            row.isGroup.push_back(false);
            row.overlapState.push_back(0);
            row.locked.push_back(false);
            row.colour.push_back(e.colour);
            row.muted.push_back(0);
        }
        model.playlistRows.push_back(row);
    }
    // A placement track whose playlist holds exactly what is placed.
    void plain(uint16_t trackIndex, const std::string& name, const std::vector<std::pair<uint32_t, uint64_t>>& placed,
               const std::string& playlistName = "") {
        std::vector<Entry> entries;
        for (const auto& [clipIndex, start] : placed) entries.push_back({clipIndex, start});
        playlist(trackIndex, name, playlistName.empty() ? name : playlistName, entries, placed);
    }

    AnalysisModel run(ConvertOptions options = {}) {
        AnalysisModel analysis;
        runAnalysisPasses(model, options, analysis);
        return analysis;
    }
};

std::vector<std::string> names(const AnalysisModel& analysis) {
    std::vector<std::string> result;
    for (const OutputTrack& track : analysis.outputTracks) result.push_back(track.name);
    return result;
}

}  // namespace

TEST(Binding, PairsFoldsAndAlternates) {
    ModelBuilder b;
    const uint16_t l = b.clip("gtr.L"), r = b.clip("gtr.R"), alt = b.clip("gtr.01");
    b.row("Gtr");
    b.row("Keys");
    b.row("Surround");
    b.plain(0, "Gtr", {{l, 0}});
    b.plain(1, "Gtr", {{r, 0}});
    b.plain(2, "Keys", {{l, 100}});
    b.plain(3, "Keys", {{alt, 100}}, "Keys.01");  // an alternate playlist of Keys
    for (uint16_t leg = 0; leg < 5; ++leg) b.plain(static_cast<uint16_t>(4 + leg), "Surround", {{l, 4800}});

    AnalysisModel analysis = b.run();
    EXPECT_EQ(names(analysis), (std::vector<std::string>{"Gtr", "Keys", "Surround"}));
    const OutputTrack& gtr = analysis.outputTracks[0];
    ASSERT_EQ(gtr.clips.size(), 2u);
    EXPECT_EQ(gtr.clips[0].takePan + gtr.clips[1].takePan, 0.0);
    EXPECT_EQ(gtr.clips[0].takePan * gtr.clips[1].takePan, -1.0);
    EXPECT_EQ(analysis.channelsOfTrack["Gtr"], 2);
    // The alternate playlist "Keys.01" rides on Keys as a fixed lane.
    ASSERT_EQ(analysis.outputTracks[1].lanes.size(), 1u);
    EXPECT_EQ(analysis.outputTracks[1].lanes[0].name, "Keys.01");
    EXPECT_EQ(analysis.outputTracks[1].lanes[0].clips.size(), 1u);
    EXPECT_EQ(analysis.surroundLegs["Surround"], 5);
    EXPECT_EQ(analysis.counts.mergedPairs, 1);
    EXPECT_EQ(analysis.counts.alternatesMatched, 1);
    // These records have no place in a track playlist list: tracks pair by their clip counts, and say so.
    EXPECT_TRUE(analysis.counts.playlistListMissing);
    EXPECT_EQ(std::make_pair(analysis.counts.tickTracks, analysis.counts.sampleTracks), std::make_pair(0, 3));

    // Without alternates the playlist is set aside, and one leg a sample apart
    // keeps the surround legs apart.
    b.model.clips.audioPlacements.back().start.value += 1;
    b.model.playlistRows.back().position[0].value += 1;
    ConvertOptions dropAlternates;
    dropAlternates.keepAltTakes = false;
    analysis = b.run(dropAlternates);
    EXPECT_EQ(analysis.counts.alternatesSetAside, 1);
    EXPECT_EQ(analysis.surroundLegs.count("Surround"), 0u);
    const std::vector<std::string> separate = names(analysis);
    EXPECT_EQ(std::count(separate.begin(), separate.end(), "Surround"), 5);
}

TEST(Binding, PlacementFilterAndSamePositionLosers) {
    ModelBuilder b;
    const uint16_t a = b.clip("a"), c = b.clip("c"), d = b.clip("d"), gone = b.clip("gone");
    b.row("Vox");
    // Stored clips: one exact, one 64 samples from its live entry, one 65 away,
    // one whose only entry is deleted, and two takes at one position.
    b.playlist(0, "Vox", "Vox",
               {{a, 1000, true, 5}, {c, 200000, true, 7}, {d, 300000, true, 9}, {gone, 400000, false},
                {a, 600000}, {c, 600000}},
               {{a, 1000}, {c, 200064}, {d, 300065}, {gone, 400000}, {a, 600000}, {c, 600000}});
    b.model.clips.audioClips[c].length = 24000;  // the shorter take at 600000

    AnalysisModel analysis = b.run();
    ASSERT_EQ(names(analysis), std::vector<std::string>{"Vox"});
    const std::vector<AudioClip>& clips = analysis.outputTracks[0].clips;
    ASSERT_EQ(clips.size(), 4u);
    EXPECT_EQ(clips[0].colour, 5);
    EXPECT_EQ(clips[1].colour, 7);   // matched within 64 samples
    EXPECT_EQ(clips[2].colour, -2);  // 65 samples: stays, but takes nothing from the entry
    EXPECT_EQ(clips[3].clip.name, "a");  // the longer take wins the position
    EXPECT_EQ(analysis.counts.deletedPlacements, 1);

    ConvertOptions recover;
    recover.recoverDeleted = true;
    analysis = b.run(recover);
    ASSERT_EQ(names(analysis), (std::vector<std::string>{"Vox", "Vox [alt takes]"}));
    // The deleted placement and the losing take, in time order.
    ASSERT_EQ(analysis.outputTracks[1].clips.size(), 2u);
    EXPECT_EQ(analysis.outputTracks[1].clips[0].clip.name, "gone");
    EXPECT_EQ(analysis.outputTracks[1].clips[1].clip.name, "c");
}

TEST(Binding, FinalOrderEmptyUnmatchedAndFreezeRecords) {
    ModelBuilder b;
    const uint16_t x = b.clip("x");
    b.row("A");
    b.row("B");
    b.row("C");
    b.plain(0, "C", {{x, 0}});
    b.plain(1, "?", {{x, 0}});  // the render of C while it is frozen
    b.plain(2, "A", {{x, 48000}});
    // Placements whose playlist was not found: they keep the name they were stored under.
    b.playlist(3, "Stray", "Stray", {}, {{x, 0}});
    b.model.timebaseRecords.pop_back();
    b.model.playlistRows.pop_back();

    clearProblem();
    AnalysisModel analysis = b.run();
    EXPECT_EQ(names(analysis), (std::vector<std::string>{"A", "B", "C", "Stray"}));
    EXPECT_TRUE(analysis.outputTracks[1].clips.empty());
    EXPECT_EQ(analysis.counts.emptyTracks, 1);
    EXPECT_EQ(analysis.counts.unmatchedTracks, 1);
    EXPECT_EQ(analysis.counts.freezeRecords, 1);
    ASSERT_EQ(analysis.freezeRecords["C"].size(), 1u);
    EXPECT_EQ(problemKind(), "unmatched-tracks");
    EXPECT_EQ(problemDetail(), "1 track(s) matched no strip row");
    clearProblem();

    // With records that disagree, the unpaired track takes the unit its
    // clips are stored in: a tick position, however small, makes it tick-based.
    b.model.timebaseRecords[0].tickBased = true;
    EXPECT_EQ(b.run().timebaseOfTrack["Stray"], 0);
    b.model.clips.audioPlacements.back().start = ticksAt(0);
    analysis = b.run();
    EXPECT_EQ(analysis.timebaseOfTrack["Stray"], 2);
    EXPECT_EQ(analysis.counts.judgedByPositions, 1);
    clearProblem();
}

// Each track takes the playlist stored at its place in the track playlist list,
// whatever lies outside it: here two "?" playlists of a clip group list, as long
// as the tracks, come first. An unnamed playlist still gives its track its unit;
// a table opening with a track of no clips is still found whole by the name scan.
TEST(Binding, PlaylistsPairByTheirPlaceInTheTrackPlaylistList) {
    BuiltSession s;
    s.files = {{"a.wav", 96000}};
    s.clips = {{"a", 0, 0, 48000}, {"b", 0, 0, 48000}, {"c", 0, 0, 48000}};
    s.tracks = {{"Aux", 0, 0, 0, false, {}, 1},
                {"Gtr", 0, 0, 0, false, {{"", false, {{0, 0}}}}, 1},
                {"Bass", 0, 0, 0, false, {{"", false, {{1, 48000}}}}, 1},
                {"Keys", 0, 0, 0, false, {{"", true, {{2, 960000}}, true}}, 1}};
    s.strays = {{"?", false, {{1, 96000}}}, {"?", false, {{1, 96000}}}};
    RunState state;
    state.options = optionsFor(buildSession(s).writeFile(makeTempFolder("pairing"), "pairing.ptx"));
    ASSERT_EQ(loadSession(state.session, state.options.sessionPath, 48000), 0);
    readStage(state);
    readMixStage(state);
    clipStage(state);
    trackStage(state);
    std::string placed;
    for (const OutputTrack& track : state.analysis.outputTracks) {
        placed += track.name + ":";
        for (const AudioClip& clip : track.clips) placed += formatText(" %s %g", clip.clip.name.c_str(), clip.position);
        placed += "|";
    }
    EXPECT_EQ(placed, "Aux:|Gtr: a 0|Bass: b 1|Keys: c 0.5|");  // a quarter note at 120 BPM is 0.5 s
    EXPECT_FALSE(state.model.trackList.fromStripRows);
    const BindingCounts& counts = state.analysis.counts;
    EXPECT_EQ(std::make_tuple(counts.freezeRecords, counts.tickTracks, counts.sampleTracks), std::make_tuple(0, 1, 2));
    EXPECT_FALSE(counts.playlistListMissing);
}
