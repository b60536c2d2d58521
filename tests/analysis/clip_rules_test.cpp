// The clip passes on one track's kept clips: fades bound to edges, overlaps
// resolved as Pro Tools draws them, loops written out, inferred stretch.
#include <gtest/gtest.h>

#include <cmath>

#include "analysis/passes.h"

namespace {

constexpr double kRate = 48000;

AudioClip clipAt(double position, double length, uint16_t index = 0, double sourceOffset = 0) {
    AudioClip clip;
    clip.position = position;
    clip.length = length;
    clip.sourceOffset = sourceOffset;
    clip.sourceOffsetSamples = static_cast<uint32_t>(sourceOffset * kRate);
    clip.clip.index = index;
    clip.clip.start = samplesAt(static_cast<int64_t>(position * kRate));
    clip.clip.name = "c" + std::to_string(index);
    return clip;
}

// One sample-based track paired with playlist row 0, at 48000 Hz.
struct ClipBench {
    SessionModel model;
    BindingWork work;
    AnalysisModel analysis;
    ConvertOptions options;

    explicit ClipBench(std::vector<AudioClip> clips) {
        model.info.sampleRate = 48000;
        BoundTrack track;
        track.name = "T";
        track.record = 0;
        track.clips = std::move(clips);
        work.tracks.push_back(track);
        model.playlistRows.resize(1);
    }
    std::vector<AudioClip>& clips() { return work.tracks[0].clips; }
    const ClipCounts& counts() const { return analysis.clipCounts; }

    // A fade entry naming record `number` of the table, anchored at `seconds`.
    void fadeEntry(uint32_t number, double seconds) {
        PlaylistRow& row = model.playlistRows[0];
        row.clipIndex.push_back(number);
        row.position.push_back(samplesAt(static_cast<int64_t>(seconds * kRate)));
        row.isFade.push_back(true);
    }
    void addFade(int32_t kind, double lead, double length, int32_t shape = 0, uint8_t sCurve = 0) {
        model.fades.push_back({kind, lead * kRate, length * kRate, shape, sCurve});
    }
};

}  // namespace

TEST(ClipRules, FadesBindToEdgesWithinFiveMilliseconds) {
    ClipBench bench({clipAt(1, 2), clipAt(4, 2)});
    bench.addFade(kFadeIn, 0, 0.5, 1);         // 0: linear-ish base curve
    bench.addFade(kFadeOut, 0, 0.25, 0, 1);    // 1: S-curve
    bench.addFade(kFadeNotUnderstood, 0, 1);   // 2
    bench.fadeEntry(0, 1.0049);  // inside the window of the first clip's start
    bench.fadeEntry(1, 6.0);     // the second clip's end
    bench.fadeEntry(0, 4.0051);  // just outside the second clip's start
    bench.fadeEntry(2, 3.0);     // a record not understood
    bench.fadeEntry(7, 3.0);     // past the table
    bindFades(bench.model, bench.options, bench.work, bench.analysis);

    const std::vector<AudioClip>& clips = bench.clips();
    EXPECT_DOUBLE_EQ(clips[0].fadeInLength, 0.5);
    EXPECT_EQ(clips[0].fadeInShape, 1.0);
    EXPECT_DOUBLE_EQ(clips[1].fadeOutLength, 0.25);
    EXPECT_EQ(clips[1].fadeOutShape, 5.1);
    EXPECT_EQ(clips[1].fadeInLength, 0.0);
    EXPECT_EQ(bench.counts().fadeIns, 1);
    EXPECT_EQ(bench.counts().fadeOuts, 1);
    EXPECT_EQ(bench.counts().sCurves, 1);
    EXPECT_EQ(bench.counts().fadesWithoutEdge, 1);
    EXPECT_EQ(bench.counts().fadesNotUnderstood, 2);

    // Under --no-fades nothing is bound or counted.
    ClipBench off({clipAt(1, 2)});
    off.addFade(kFadeIn, 0, 0.5);
    off.fadeEntry(0, 1.0);
    off.options.noFades = true;
    bindFades(off.model, off.options, off.work, off.analysis);
    EXPECT_EQ(off.clips()[0].fadeInLength, 0.0);
    EXPECT_EQ(off.counts().fadesNotUnderstood, 0);
}

TEST(ClipRules, CrossfadesExtendOnlyIntoMaterialThatExists) {
    // The incoming clip has a second of source before it: both clips are drawn
    // out over the whole fade, 0.1 s before the anchor and 0.3 s behind it.
    ClipBench bench({clipAt(0, 2), clipAt(2, 2, 1, 1.0)});
    bench.addFade(kCrossfade, 0.1, 0.4, 1);
    bench.fadeEntry(0, 2.0);
    bindFades(bench.model, bench.options, bench.work, bench.analysis);
    const std::vector<AudioClip>& clips = bench.clips();
    EXPECT_DOUBLE_EQ(clips[0].length, 2.3);
    EXPECT_TRUE(clips[0].crossfaded);
    EXPECT_DOUBLE_EQ(clips[1].position, 1.9);
    EXPECT_DOUBLE_EQ(clips[1].sourceOffset, 0.9);
    EXPECT_EQ(clips[1].sourceOffsetSamples, 43200u);
    EXPECT_DOUBLE_EQ(clips[1].length, 2.1);
    EXPECT_DOUBLE_EQ(clips[0].fadeOutLength, 0.4);
    EXPECT_DOUBLE_EQ(clips[1].fadeInLength, 0.4);
    EXPECT_EQ(clips[1].fadeInShape, 1.0);
    EXPECT_EQ(bench.counts().crossfades, 1);

    // At source offset 0 nothing moves: the fades are written in place.
    ClipBench flat({clipAt(0, 2), clipAt(2, 2, 1, 0)});
    flat.addFade(kCrossfade, 0.1, 0.4, 1);
    flat.fadeEntry(0, 2.0);
    bindFades(flat.model, flat.options, flat.work, flat.analysis);
    EXPECT_DOUBLE_EQ(flat.clips()[0].length, 2.0);
    EXPECT_DOUBLE_EQ(flat.clips()[0].fadeOutLength, 0.1);
    EXPECT_DOUBLE_EQ(flat.clips()[1].position, 2.0);
    EXPECT_NEAR(flat.clips()[1].fadeInLength, 0.3, 1e-12);
    EXPECT_EQ(flat.clips()[1].fadeInShape, 0.0);  // shapes stay as they were
    EXPECT_TRUE(flat.clips()[0].crossfaded);

    // A crossfade needs both edges.
    ClipBench lone({clipAt(0, 2)});
    lone.addFade(kCrossfade, 0.1, 0.4);
    lone.fadeEntry(0, 2.0);
    bindFades(lone.model, lone.options, lone.work, lone.analysis);
    EXPECT_EQ(lone.counts().fadesWithoutEdge, 1);
    EXPECT_FALSE(lone.clips()[0].crossfaded);
}

TEST(ClipRules, TickPositionsAndTheirFadesMeetThroughTheTempoMap) {
    ClipBench bench({});
    bench.model.tempoMap = {{0, 120}, {2 * 960000.0, 60}};  // two quarters at 120, then 60
    // A clip 5000 quarters in (4.8e9 ticks, past 2^32): 1 s for the first two
    // quarters at 120, 4998 s for the rest at 60.
    const TimelinePosition stored = ticksAt(5000 * int64_t{960000});
    AudioClip clip = clipAt(0, 1);
    clip.clip.start = stored;
    clip.clip.length = 48000;
    bench.clips().push_back(clip);
    positionsToSeconds(bench.model, bench.options, bench.work, bench.analysis);
    ASSERT_DOUBLE_EQ(bench.clips()[0].position, 4999.0);
    bench.model.fades.push_back({kFadeIn, 0, 960000, 0, 0});  // one quarter at 60: a second
    PlaylistRow& row = bench.model.playlistRows[0];
    row.clipIndex.push_back(0);
    row.position.push_back(stored);
    row.isFade.push_back(true);
    bindFades(bench.model, bench.options, bench.work, bench.analysis);
    EXPECT_DOUBLE_EQ(bench.clips()[0].fadeInLength, 1.0);
}

TEST(ClipRules, OverlapsPlayAsProToolsDrawsThem) {
    // Starts exactly 50 ms apart are no overlap.
    ClipBench close({clipAt(1, 1), clipAt(1.05, 1)});
    resolveOverlaps(close.model, close.options, close.work, close.analysis);
    EXPECT_DOUBLE_EQ(close.clips()[0].length, 1.0);

    // By default the later clip is on top: the earlier one's tail is cut.
    ClipBench plain({clipAt(0, 3), clipAt(2, 2)});
    resolveOverlaps(plain.model, plain.options, plain.work, plain.analysis);
    EXPECT_DOUBLE_EQ(plain.clips()[0].length, 2.0);

    // P drawn over N: N starts later, its source and sync point moving with it.
    ClipBench over({clipAt(0, 3), clipAt(2, 4, 1, 0.5)});
    over.clips()[0].drawnOverNext = true;
    over.clips()[1].fadeInLength = 0.25;
    over.clips()[1].syncDistance = 1.5;
    resolveOverlaps(over.model, over.options, over.work, over.analysis);
    const AudioClip& n = over.clips()[1];
    EXPECT_DOUBLE_EQ(n.position, 3.0);
    EXPECT_DOUBLE_EQ(n.length, 3.0);
    EXPECT_DOUBLE_EQ(n.sourceOffset, 1.5);
    EXPECT_EQ(n.sourceOffsetSamples, 72000u);
    EXPECT_EQ(n.fadeInLength, 0.0);
    EXPECT_DOUBLE_EQ(n.syncDistance, 0.5);
    EXPECT_EQ(over.counts().headsStartLater, 1);

    // Covered to within half a millisecond of its end, N is muted at full
    // length; so is one whose next clip starts inside the covered part.
    ClipBench covered({clipAt(0, 3.9995), clipAt(2, 2), clipAt(5, 1)});
    covered.clips()[0].drawnOverNext = true;
    resolveOverlaps(covered.model, covered.options, covered.work, covered.analysis);
    EXPECT_TRUE(covered.clips()[1].muted);
    EXPECT_DOUBLE_EQ(covered.clips()[1].length, 2.0);
    EXPECT_EQ(covered.counts().clipsCoveredMuted, 1);
    EXPECT_EQ(covered.counts().headsStartLater, 0);
    ClipBench spanned({clipAt(0, 3), clipAt(2, 4), clipAt(2.5, 1)});
    spanned.clips()[0].drawnOverNext = true;
    resolveOverlaps(spanned.model, spanned.options, spanned.work, spanned.analysis);
    EXPECT_TRUE(spanned.clips()[1].muted);

    // A muted clip on top silences the tail under it; drawn over it, the
    // unmuted clip stays whole; two muted clips cut uncounted.
    ClipBench silenced({clipAt(0, 3), clipAt(2, 2)});
    silenced.clips()[1].muted = true;
    resolveOverlaps(silenced.model, silenced.options, silenced.work, silenced.analysis);
    EXPECT_DOUBLE_EQ(silenced.clips()[0].length, 2.0);
    EXPECT_EQ(silenced.counts().tailsSilencedUnderMuted, 1);
    silenced.clips()[0].length = 3;
    silenced.clips()[0].drawnOverNext = true;
    resolveOverlaps(silenced.model, silenced.options, silenced.work, silenced.analysis);
    EXPECT_DOUBLE_EQ(silenced.clips()[0].length, 3.0);
    silenced.clips()[0].muted = true;
    resolveOverlaps(silenced.model, silenced.options, silenced.work, silenced.analysis);
    EXPECT_DOUBLE_EQ(silenced.clips()[0].length, 2.0);
    EXPECT_EQ(silenced.counts().tailsSilencedUnderMuted, 1);
}

TEST(ClipRules, LoopsAreWrittenOutOrNamed) {
    auto loop = [](uint16_t clip, double seconds, uint8_t mode, uint32_t count, uint64_t length = 0) {
        const TimelinePosition at = samplesAt(static_cast<int64_t>(seconds * kRate));
        return LoopRecord{clip, at, kLoopOfAudio, true, mode, 0, count, length};
    };
    ClipBench bench({clipAt(0, 1, 0), clipAt(10, 2, 1), clipAt(20, 2, 2), clipAt(30, 2, 3), clipAt(40, 2, 4),
                     clipAt(50, 2, 5), clipAt(60, 2, 6), clipAt(70, 2, 7), clipAt(80, 2, 8)});
    bench.clips()[0].fadeInLength = 0.1;
    bench.clips()[6].rate = 2;
    bench.clips()[7].araSet = 0;
    bench.model.loopRecords = {loop(0, 0, kLoopByCount, 3),     loop(1, 10, kLoopByCount, 1),
                               loop(2, 20, kLoopByLength, 0, 48000), loop(3, 30, kLoopByLength, 0, 0),
                               loop(4, 40, kLoopByCount, 2),     loop(5, 50, 3, 2),
                               loop(6, 60, kLoopByCount, 2),     loop(7, 70, kLoopByCount, 2),
                               loop(8, 80, kLoopByCount, 2),     loop(9, 90, kLoopByCount, 2)};
    bench.model.loopRecords[4].valid = false;
    bench.model.loopRecords[8].kind = bench.model.loopRecords[9].kind = kLoopOfMidi;

    // A clip group "Cue" (clip 9 at 0.5 s inside it) placed at 100 s, both looped.
    bench.model.clipGroups = {{true, "Cue", samplesAt(0), 96000, 0}};
    bench.model.clips.audioClips.resize(10);
    ClipDefinition& inside = bench.model.clips.audioClips[9];
    inside.index = 9;
    inside.name = "c9";
    inside.length = 24000;
    bench.model.timebaseRecords = {{}, {"", false, 0, -1, 0}};
    bench.model.playlistRows = {{"", false, {0}, {-2}, {true}, {false}, {0}, {true}, {0}, {false}, {samplesAt(4800000)}},
                                {"", false, {9}, {-2}, {true}, {false}, {0}, {false}, {0}, {false}, {samplesAt(24000)}}};
    bench.model.loopRecords.push_back(loop(0, 100, kLoopByCount, 2));
    bench.model.loopRecords.push_back(loop(9, 0.5, kLoopByCount, 2));

    flattenClipGroups(bench.model, bench.options, bench.work, bench.analysis);
    writeOutLoops(bench.model, bench.options, bench.work, bench.analysis);
    endLoopsAtLoopLength(bench.model, bench.options, bench.work, bench.analysis);
    const std::vector<AudioClip>& clips = bench.clips();
    ASSERT_EQ(clips.size(), 12u);  // nine clips, two more passes, the group's piece
    EXPECT_DOUBLE_EQ(clips[1].position, 1.0);
    EXPECT_DOUBLE_EQ(clips[2].position, 2.0);
    EXPECT_DOUBLE_EQ(clips[2].fadeInLength, 0.1);  // fades stay on every pass
    EXPECT_EQ(bench.counts().loopsWritten, 1);
    EXPECT_EQ(bench.counts().loopPasses, 3);
    EXPECT_EQ(bench.counts().loopsWithFades, 1);
    EXPECT_DOUBLE_EQ(clips[4].length, 1.0);  // ended by its one-second Loop Length
    EXPECT_EQ(bench.counts().loopsEndedByLength, 1);
    EXPECT_DOUBLE_EQ(clips[11].position, 100.5);  // the piece plays once

    std::vector<std::string> named;
    for (const auto& line : bench.counts().loopsNotWritten) named.push_back(line.clipName + ": " + line.reason);
    EXPECT_EQ(named, (std::vector<std::string>{"c9: inside a clip group", "Cue: a clip group, laid out as its clips",
                                               "c1: an unreadable loop count",
                                               "c4: a loop record of an unknown shape", "c5: an unknown loop mode",
                                               "c6: stretched or crossfaded", "c7: Melodyne on a looped clip",
                                               "c8: not an audio clip", ": ", "c3: "}));
    EXPECT_TRUE(bench.counts().loopsNotWritten[8].orphan);
    EXPECT_DOUBLE_EQ(bench.counts().loopsNotWritten.back().clipLength, 2.0);  // a Loop Length of 0
}

TEST(ClipRules, SteadySpacingGivesATrackItsRate) {
    // Three pairs at ratio 1.05 and a fourth that does not fit: c 3 of n 4.
    ClipBench bench({clipAt(0, 2.1), clipAt(2, 2.1), clipAt(4, 2.1), clipAt(6, 1.9), clipAt(8, 1)});
    applyWarpAndStretch(bench.model, bench.options, bench.work, bench.analysis);
    EXPECT_DOUBLE_EQ(bench.clips()[0].rate, 1.05);
    EXPECT_DOUBLE_EQ(bench.clips()[0].length, 2.0);
    EXPECT_EQ(bench.counts().clipsStretched, 5);
    ASSERT_EQ(bench.counts().stretchedTracks.size(), 1u);
    EXPECT_EQ(bench.counts().stretchedTracks[0].name, "T");

    // 1.001 lies inside the band around unity; two samples say nothing.
    ClipBench unity({clipAt(0, 2.002), clipAt(2, 2.002), clipAt(4, 2.002), clipAt(6, 2.002)});
    applyWarpAndStretch(unity.model, unity.options, unity.work, unity.analysis);
    EXPECT_EQ(unity.clips()[0].rate, 1.0);
    ClipBench two({clipAt(0, 2.1), clipAt(2, 2.1), clipAt(4, 2.1)});
    applyWarpAndStretch(two.model, two.options, two.work, two.analysis);
    EXPECT_EQ(two.counts().clipsStretched, 0);
}

// Warp maps at 120 BPM, where 1920000 ticks are one second: the clip plays the
// slice of the map under it. Markers are (timeline s, source s).
TEST(ClipRules, WarpMapsGiveTheSliceItsRateAndMarkers) {
    const std::vector<WarpPoint> halfSpeed = {{0, 0}, {960000, 48000}, {1920000, 96000}};
    struct Case {
        std::vector<WarpPoint> map;
        double sourceOffset, length, rate, lengthAfter;
        std::vector<std::pair<double, double>> markers;
    };
    const Case cases[] = {
        {halfSpeed, 0, 2, 2, 1, {{0, 0}, {0.5, 1}, {1, 2}}},                    // the whole take, twice as fast
        {halfSpeed, 0.5, 1, 2, 0.5, {{0, 0.5}, {0.25, 1}, {0.5, 1.5}}},           // a trim of it
        {{{0, 0}, {1920000, 96000}}, 0, 2, 2, 1, {}},                             // two points: a rate, no markers
        {{{0, 0}, {960000, 24000}, {1920960, 48000}}, 0, 1, 1, 1, {{0, 0}, {0.5, 0.5}, {1.0005, 1}}},  // ratio 1.0005
        {{{0, 0}, {1920000, 0}}, 0, 1, 1, 1, {}},                                 // no source: cannot be sliced
    };
    ClipBench bench({});
    for (uint16_t c = 0; c < 5; ++c) {
        bench.clips().push_back(clipAt(100.0 * c, cases[c].length, c, cases[c].sourceOffset));
        bench.model.warpMaps.mapOfName["c" + std::to_string(c)] = cases[c].map;
    }
    bench.model.pitchShifts["c0"] = -2.5;
    ClipBench plain = bench;  // for --no-stretch below
    applyWarpAndStretch(bench.model, bench.options, bench.work, bench.analysis);
    for (size_t c = 0; c < 5; ++c) {
        const AudioClip& clip = bench.clips()[c];
        EXPECT_DOUBLE_EQ(clip.rate, cases[c].rate) << c;
        EXPECT_DOUBLE_EQ(clip.length, cases[c].lengthAfter) << c;
        ASSERT_EQ(clip.warpMarkers.size(), cases[c].markers.size()) << c;
        for (size_t m = 0; m < clip.warpMarkers.size(); ++m) {
            const auto& [time, source] = cases[c].markers[m];
            EXPECT_NEAR(std::hypot(clip.warpMarkers[m].first - time, clip.warpMarkers[m].second - source), 0, 1e-9);
        }
    }
    EXPECT_EQ(bench.clips()[0].pitchSemitones, -2.5);
    const ClipCounts& counts = bench.counts();
    EXPECT_EQ(std::vector<int>({counts.clipsStretched, counts.clipsStretchedFromSession, counts.clipsWithWarpMarkers,
                                counts.warpMarkerTrims, counts.warpMapsNotSliced, counts.clipsPitchShifted}),
              std::vector<int>({3, 3, 3, 1, 1, 1}));

    // --no-stretch: clips play unstretched; the pitch stays.
    plain.options.noStretch = true;
    applyWarpAndStretch(plain.model, plain.options, plain.work, plain.analysis);
    for (const AudioClip& clip : plain.clips()) EXPECT_TRUE(clip.rate == 1.0 && clip.warpMarkers.empty());
    EXPECT_EQ(plain.clips()[0].pitchSemitones, -2.5);
}

// A clip takes the gain of its name, its drawn line in order; a clip of a
// clip group adds the group's fixed gain, and a group's drawn line is named.
TEST(ClipRules, ClipGainOfTheClipAndOfItsGroup) {
    ClipBench bench({clipAt(0, 2, 0), clipAt(10, 2, 1), clipAt(20, 2, 2)});
    bench.clips()[1].groupName = "Cue";
    bench.clips()[2].groupName = "Drawn";
    ClipGainsOfNames& gains = bench.model.clipGains;
    gains.gainOfName = {{"c0", -6}, {"c1", 1}, {"Cue", 3}, {"Drawn", 0}};
    gains.curveOfName = {{"c0", {{96000, -6}, {0, 0}}}, {"Drawn", {{0, 0}, {10, 1}}}};
    applyClipGain(bench.model, bench.options, bench.work, bench.analysis);
    EXPECT_EQ(bench.clips()[0].clipGainCurve, (std::vector<std::pair<uint32_t, double>>{{0, 0}, {96000, -6}}));
    EXPECT_EQ(std::pair(bench.clips()[0].clipGainDb, bench.clips()[1].clipGainDb), std::pair(-6.0, 4.0));
    EXPECT_FALSE(bench.clips()[2].hasClipGain);
    EXPECT_EQ(std::pair(bench.counts().clipGainLinesMended, bench.counts().clipsGivenGroupGain), std::pair(1, 1));
    EXPECT_EQ(bench.counts().clipsUnderGroupGainLine, std::vector<std::string>{"c2"});
}
