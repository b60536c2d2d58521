// MIDI clips into items: notes against the clip edges, the stacking of
// overlapping clips, and clips stored in samples.
#include <gtest/gtest.h>

#include "analysis/passes.h"

namespace {

constexpr int64_t kQuarter = 960000;

MidiEvent note(int64_t position, int64_t length, uint8_t pitch = 60, uint8_t velocity = 100) {
    return {position, length, pitch, velocity};
}

// MIDI track 0 named "Keys" at 120 BPM, 48000 Hz.
struct MidiBench {
    SessionModel model;
    BindingWork work;
    AnalysisModel analysis;
    ConvertOptions options;

    MidiBench() {
        model.info.sampleRate = 48000;
        model.sessionTempo = 120;
        MidiTrack track;
        track.name = "Keys";
        work.midiTracks.push_back(track);
    }
    // A clip placed at `start` ticks, showing chunk `chunk`.
    MidiClip& place(int64_t start, int64_t length, std::vector<MidiEvent> events, int32_t chunk = 0) {
        MidiClip placement;
        placement.trackName = "Keys";
        placement.clip.index = static_cast<uint16_t>(model.clips.midiPlacements.size());
        placement.clip.name = "clip" + std::to_string(placement.clip.index);
        placement.clip.start = ticksAt(start);
        placement.clip.length = length;
        placement.clip.midiEvents = std::move(events);
        placement.clip.midiChunk = chunk;
        model.clips.midiPlacements.push_back(placement);
        return model.clips.midiPlacements.back();
    }
    // The stacking entry of a clip placed at `position` ticks in the MIDI playlist table.
    void stacking(uint32_t clipIndex, int64_t position, uint8_t state) {
        if (model.midiPlaylistRows.empty()) model.midiPlaylistRows.push_back(MidiPlaylistRow{"Keys", {}, {}, {}, {}, {}});
        MidiPlaylistRow& row = model.midiPlaylistRows[0];
        row.clipIndex.push_back(clipIndex);
        row.colour.push_back(-2);
        row.overlapState.push_back(state);
        row.live.push_back(true);
        row.position.push_back(ticksAt(position));
    }
    const std::vector<MidiItem>& run() {
        buildMidiItems(model, options, work, analysis);
        return work.midiTracks[0].items;
    }
};

std::vector<std::string> describe(const MidiItem& item) {
    std::vector<std::string> out;
    for (const MidiItemEvent& e : item.events) {
        out.push_back(std::to_string(e.ppq) + (e.muted ? " m" : " ") + std::to_string(e.status) + " " +
                      std::to_string(e.data1));
    }
    return out;
}

}  // namespace

TEST(MidiItems, NotesAgainstTheClipEdges) {
    MidiBench bench;
    // A clip of two quarters whose source starts a quarter before it: the first
    // note lies before the clip, the second inside, the third rings past its end.
    bench.place(4 * kQuarter, 2 * kQuarter,
                {note(0, kQuarter / 2, 40), note(kQuarter, kQuarter / 2, 50), note(2 * kQuarter, 2 * kQuarter, 60),
                 note(5 * kQuarter, 400, 70)})
        .clip.sourceOffset = -kQuarter;
    const std::vector<MidiItem>& items = bench.run();
    ASSERT_EQ(items.size(), 1u);
    const MidiItem& item = items[0];
    EXPECT_DOUBLE_EQ(item.position, 2.0);
    // Lengthened by the ring of the third note: it ends a quarter past the clip.
    EXPECT_DOUBLE_EQ(item.length, 1.5);
    EXPECT_DOUBLE_EQ(item.sourceStart, 0.5);
    EXPECT_EQ(describe(item), (std::vector<std::string>{"0 m144 40", "480 m128 40", "960 144 50", "1440 128 50",
                                                        "1920 144 60", "3840 128 60", "4800 m144 70",
                                                        "4801 m128 70"}));
    const MidiCounts& counts = bench.analysis.midiCounts;
    EXPECT_EQ(counts.eventsMutedOutside, 4);  // the first and the last note, start and end each
    EXPECT_EQ(counts.notesRunningPast, 1);
    EXPECT_EQ(counts.notesTooShort, 1);       // 400 ticks is under one PPQ

    MidiBench cut;
    cut.options.truncateMidiToClip = true;
    cut.options.keepInaudibleMidi = true;
    cut.place(0, kQuarter, {note(0, 2 * kQuarter), note(2 * kQuarter, kQuarter)});
    const MidiItem& kept = cut.run()[0];
    EXPECT_DOUBLE_EQ(kept.length, 0.5);
    EXPECT_FALSE(kept.events.back().muted);
    EXPECT_EQ(cut.analysis.midiCounts.eventsKeptOutside, 2);
}

TEST(MidiItems, TheClipOnTopDecidesOverlaps) {
    // A, two quarters from 0; B from one quarter on: they overlap by a quarter.
    // The stacking table names clips by their index, not by the chunk they show.
    auto run = [](uint8_t state, int64_t overlapTicks) {
        MidiBench bench;
        bench.place(0, kQuarter + overlapTicks, {note(0, 10000)}, 4);
        bench.place(kQuarter, 2 * kQuarter, {note(0, 10000)}, 0);
        bench.stacking(4, 0, 2);  // names clip 4: A shows chunk 4 but is clip 0
        bench.stacking(0, 0, state);
        bench.run();
        return bench;
    };
    MidiBench onTop = run(1, kQuarter);
    EXPECT_DOUBLE_EQ(onTop.work.midiTracks[0].items[1].position, 1.0);  // B starts where A ends
    EXPECT_DOUBLE_EQ(onTop.work.midiTracks[0].items[1].length, 0.5);
    EXPECT_EQ(onTop.analysis.midiCounts.clipsHeadTrimmed, 1);

    MidiBench under = run(2, kQuarter);
    EXPECT_DOUBLE_EQ(under.work.midiTracks[0].items[0].length, 0.5);  // A cut where B starts
    EXPECT_EQ(under.analysis.midiCounts.clipsCut, 1);

    EXPECT_EQ(run(2, 960).analysis.midiCounts.clipsCut, 0);
    EXPECT_EQ(run(2, 961).analysis.midiCounts.clipsCut, 1);
    EXPECT_EQ(run(0, kQuarter).analysis.midiCounts.clipsCut, 0);  // no stacking entry: both stay
}

