#include "reporting/console_notes.h"

#include <algorithm>
#include <string>
#include <vector>

#include "cli/console.h"
#include "driver/run_state.h"
#include "project/media.h"

namespace {

void sayHead(const RunState& state, const std::string& writtenPath) {
    const SessionModel& model = state.model;
    const SessionInfo& info = model.info;
    const long long rate = static_cast<long long>(state.sampleRate);
    if (!info.savedByProduct.empty() && !info.savedByVersion.empty()) {
        say("\n  Read:  %s %s, %lld Hz, %g BPM\n", info.savedByProduct.c_str(), info.savedByVersion.c_str(), rate,
            model.sessionTempo);
    } else {
        say("\n  Read:  Pro Tools (this session does not record which version saved it), %lld Hz, %g BPM\n", rate,
            model.sessionTempo);
    }
    if (state.options.checkOnly) {
        say("  Not written (%s).\n", "--check");
    } else {
        say("  Wrote: %s\n", writtenPath.c_str());
    }
    saySavedByNote(info);
    say("\n");

    const RunCounters& counters = state.counters;
    say("  %d tracks, %d clips, %d MIDI notes\n", counters.outputTracks, counters.audioItems, counters.midiNotes);
    int strips = 0;
    for (const StripRow& strip : model.strips) strips += strip.present ? 1 : 0;
    say("  %d mixer strips (faders, pans, mute)\n", strips);
    if (model.trackList.fromStripRows) {
        say("  track list taken from the strip rows (name scan found %d of %d)\n", model.trackList.scanCount,
            model.trackList.rowCount);
    }
}

// " \"a\", \"b\"", at most 12 names, then ", ...".
void sayQuotedFileNames(const std::vector<std::string>& names) {
    const size_t shown = std::min<size_t>(names.size(), 12);
    for (size_t n = 0; n < shown; ++n) say("%s\"%s\"", n == 0 ? " " : ", ", names[n].c_str());
    if (names.size() > shown) say(", ...");
}

}  // namespace

void sayMediaNotes(const RunState& state) {
    const MediaSummary media = summarizeMedia(state.media);
    if (!media.siblingFiles.empty()) {
        say("  %d audio file(s) the session lists are in its own sibling folder(s)\n      rather than the media folder:",
            static_cast<int>(media.siblingFiles.size()));
        sayQuotedFileNames(media.siblingFiles);
        if (media.siblingItems > 0) {
            say("\n      %d clip(s) use them; their FILE lines point there.\n", media.siblingItems);
        } else {
            say("\n      No clip uses them (freeze renders are not needed: the frozen\n"
                "      track converts from its source with the plug-in live).\n");
        }
    }
    if (!media.missingFiles.empty()) {
        const size_t count = media.missingFiles.size();
        say("  WARNING: %d referenced audio file(s) are not in \"Audio Files\" or beside it:\n", static_cast<int>(count));
        const size_t shown = std::min<size_t>(count, 6);
        for (size_t n = 0; n < shown; ++n) say("      %s\n", media.missingFiles[n].c_str());
        if (count > shown) say("      ... and %d more\n", static_cast<int>(count - shown));
        say("      REAPER will search for these on load and may look frozen while\n"
            "      it does. Answering \"ignore missing files\" opens the rest fine.\n");
    }
}

void sayMediaFolderNote(const RunState& state) {
    const MediaSummary media = summarizeMedia(state.media);
    say("  Media folder written into %sFILE line:\n      %s\n", media.siblingItems > 0 ? "every other " : "every ",
        state.options.audioDir.c_str());
    if (!media.missingFiles.empty()) {
        say("  If REAPER shows OFFLINE, that path is wrong - re-run with\n"
            "      --audio-dir \"<the folder your .wav files are really in>\"\n");
    }
}

// What the binding of tracks did: alternates, folds, units, pairs, lanes,
// empty and unmatched tracks, freeze records and placements left out.
void sayBindingNotes(const RunState& state) {
    const AnalysisModel& analysis = state.analysis;
    const BindingCounts& c = analysis.counts;
    if (c.alternatesWithoutParent > 0) {
        say("  %d alternate playlist(s) could not be matched to a parent track by\n"
            "      name and arrive as their own tracks, MUTED -- Pro Tools plays one\n"
            "      playlist per track, so these never sounded there either. Unmute\n"
            "      one in REAPER to audition it.\n",
            c.alternatesWithoutParent);
    }
    if (c.foldedSurround > 0) {
        say("  %d surround track(s) folded from their Pro Tools legs into one\n"
            "      multichannel track each, the way a stereo pair is folded: one\n"
            "      track, one item, one insert chain, channels in the file's order.\n"
            "      A wide strip's own panner is not carried; a mono or stereo\n"
            "      source panned into a surround bus gets ReaSurroundPan (below).\n",
            c.foldedSurround);
    }

    say("  %d tick-based tracks, %d sample-based\n", c.tickTracks, c.sampleTracks);
    if (c.unpairedReadByRecords > 0) {
        say("      %d of them could not be paired with their own timebase record;\n"
            "      every record in the session says %s, so they were read that way\n",
            c.unpairedReadByRecords, c.unpairedRecordsTickBased ? "tick-based" : "sample-based");
    }
    if (c.judgedByPositions > 0 && !state.model.timebaseRecords.empty()) {
        say("      %d of them could not be paired with their own timebase record, and\n"
            "      the records disagree, so they were judged by the size of their\n"
            "      positions -- check their timing\n",
            c.judgedByPositions);
    } else if (c.judgedByPositions > 0) {
        say("      %d of them: this session holds no timebase records at all, so\n"
            "      they were judged by the size of their positions -- check their timing\n",
            c.judgedByPositions);
    }
    if (c.clipsWithSyncPoint > 0) {
        say("  %d clip(s) carry a sync point and are placed by it, as Pro Tools\n"
            "      places them: the clip starts that far before its stored position\n",
            c.clipsWithSyncPoint);
    }
    if (c.syncPointsUnmatched) {
        say("  WARNING: this session has clips with sync points that could not be\n"
            "      matched to their placements; those clips may sit late by the\n"
            "      distance to their sync point. Please send the session in.\n");
    }
    if (c.alternatesMatched > 0) say("  %d alternate playlists matched to their parent track\n", c.alternatesMatched);
    if (c.mergedPairs > 0) say("  %d Pro Tools stereo track(s) merged from split mono\n", c.mergedPairs);
    if (c.lanesWritten > 0) say("  %d written as REAPER fixed lanes\n", c.lanesWritten);
    if (c.alternatesIntoEmptyParent > 0) {
        say("  %d alternate playlist(s) folded into a parent that has no clips of its own\n",
            c.alternatesIntoEmptyParent);
    }
    if (c.emptyTracks > 0) {
        say("  %d track(s) had no clips and were written empty, mixer state intact\n", c.emptyTracks);
    }
    if (c.unmatchedTracks > 0) {
        say("  %d track(s) matched no strip row and were appended at the end --\n"
            "      please send this session file, that should not happen\n",
            c.unmatchedTracks);
    }
    if (c.freezeRecords > 0) {
        say("  %d internal freeze record(s) left out (Pro Tools writes these when a\n"
            "      track is frozen). The track itself converts UNFROZEN: original\n"
            "      audio with its plug-ins live and editable.\n",
            c.freezeRecords);
    }
    if (c.fadeReferencesDropped > 0) say("  %d fade references dropped as clips\n", c.fadeReferencesDropped);
    if (c.deletedPlacements > 0 && !state.options.recoverDeleted) {
        say("  %d deleted clip placement(s) are still in this session: edits or takes\n"
            "      removed from a track that Pro Tools keeps in the file for its undo\n"
            "      queue and cannot show after a reopen. Left out, as the author removed\n"
            "      them; --recover-deleted brings them back as muted tracks beside their\n"
            "      parent, at their original positions.\n",
            c.deletedPlacements);
    } else if (c.deletedPlacements > 0) {
        say("  %d deleted clip placement(s) RECOVERED: written as MUTED \"[alt takes]\"\n"
            "      tracks beside their parent, at their original positions, because\n"
            "      --recover-deleted was given. Unmute one to audition it.\n",
            c.deletedPlacements);
    }
    if (c.alternatesSetAside > 0) {
        say("  %d alternate playlists set aside (--drop-alt-takes was given)\n", c.alternatesSetAside);
    } else if (c.alternatesKept > 0) {
        say("  %d alternate playlists kept as lanes (--drop-alt-takes to leave them out)\n", c.alternatesKept);
    }
}

void sayConsoleNotes(const RunState& state, const std::string& writtenPath) {
    sayHead(state, writtenPath);
    sayBindingNotes(state);
}
