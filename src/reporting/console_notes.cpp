#include "reporting/console_notes.h"

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "cli/console.h"
#include "driver/run_state.h"
#include "melodyne/ara_project.h"
#include "project/media.h"
#include "reporting/support.h"
#include "reporting/mix_notes.h"
#include "reporting/plugin_notes.h"

namespace {

constexpr uint32_t kMidiTrackKind = 0x2620;

// Calls visit for every audio clip of the project: on the tracks and on their lanes.
template <typename Visit>
void forEachClip(const std::vector<OutputTrack>& tracks, Visit visit) {
    for (const OutputTrack& track : tracks) {
        for (const AudioClip& clip : track.clips) visit(clip);
        for (const Lane& lane : track.lanes) {
            for (const AudioClip& clip : lane.clips) visit(clip);
        }
    }
}

void sayHead(const RunState& state, const std::string& writtenPath) {
    const SessionModel& model = state.model;
    const SessionInfo& info = model.info;
    const long long rate = static_cast<long long>(state.sampleRate);
    if (!info.savedByProduct.empty() && !info.savedByVersion.empty() && !info.savedByOs.empty()) {
        say("\n  Read:  %s %s, %s, %lld Hz, %g BPM\n", info.savedByProduct.c_str(), info.savedByVersion.c_str(),
            info.savedByOs.c_str(), rate, model.sessionTempo);
    } else if (!info.savedByProduct.empty() && !info.savedByVersion.empty()) {
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
    // The same counts as the summary line: audio items, and MIDI note-ons written unmuted.
    say("  %d tracks, %d clips, %d MIDI notes\n", counters.outputTracks, counters.audioItems, counters.notesWritten);
    const MidiCounts& midi = state.analysis.midiCounts;
    if (midi.controllerEvents > 0) {
        say("  %d MIDI controller events (pitch bend, CC, aftertouch)\n", midi.controllerEvents);
    }
    if (midi.sysexEvents > 0) say("  %d SysEx event(s)\n", midi.sysexEvents);
    if (midi.sysexOutside > 0) {
        say("      %d of them lie OUTSIDE their clip in Pro Tools and would not play\n"
            "      there. REAPER cannot store a muted SysEx event, so they are written\n"
            "      live rather than lost; delete them in the MIDI editor if unwanted.\n",
            midi.sysexOutside);
    }
    if (midi.mismatchedStreams > 0) {
        say("  note: %d MIDI region(s) had controller data that did not\n"
            "        match their note chunk; it was left out\n",
            midi.mismatchedStreams);
    }
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

std::string timecodeText(uint64_t frames, int32_t integerRate, bool dropFrame) {
    const uint64_t rate = integerRate > 0 ? static_cast<uint64_t>(integerRate) : 30;
    if (dropFrame) {
        const uint64_t dropped = rate / 15;                    // 2 labels a minute at 30, 4 at 60
        const uint64_t perMinute = rate * 60 - dropped;
        const uint64_t perTenMinutes = rate * 600 - 9 * dropped;  // every tenth minute keeps them
        const uint64_t tens = frames / perTenMinutes;
        const uint64_t rest = frames % perTenMinutes;
        frames += 9 * dropped * tens + (rest > dropped ? dropped * ((rest - dropped) / perMinute) : 0);
    }
    const uint64_t seconds = frames / rate;
    return formatText("%02llu:%02llu:%02llu%s%02llu", static_cast<unsigned long long>(seconds / 3600),
                      static_cast<unsigned long long>(seconds / 60 % 60), static_cast<unsigned long long>(seconds % 60),
                      dropFrame ? ";" : ":", static_cast<unsigned long long>(frames % rate));
}

std::string sessionStartText(const SessionInfo& info) {
    const SessionTimecode timecode = sessionTimecode(info);
    const bool dropLabels = std::string(timecode.shortName).find("drop") != std::string::npos;
    const uint64_t frames = timecode.factor > 1 ? info.sessionStartFramesWide : info.sessionStartFrames;
    return timecodeText(frames, timecode.integerRate, dropLabels);
}

int unknownWidthPanLanes(const RunState& state) {
    int panLanes = 0;
    for (const UnknownWidthStrip& unknown : state.analysis.unknownWidthStrips) {
        for (const StripRow& strip : state.model.strips) {
            if (strip.present && strip.name == unknown.name) {
                panLanes += strip.panLane.points.empty() ? 0 : 1;
                break;
            }
        }
    }
    return panLanes;
}

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
    if (!media.relinkedFiles.empty()) {
        const size_t count = media.relinkedFiles.size();
        say("  %d audio file(s) were not where the session keeps them and were found\n"
            "      by name under the session's folder or an --audio-dir folder; their\n"
            "      FILE lines point where they were found:\n",
            static_cast<int>(count));
        const size_t shown = std::min<size_t>(count, 12);
        for (size_t n = 0; n < shown; ++n) {
            say("      %s -> %s\n", media.relinkedFiles[n]->name.c_str(), media.relinkedFiles[n]->path.c_str());
        }
        if (count > shown) say("      ... and %d more\n", static_cast<int>(count - shown));
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

void sayClosingNotes(const RunState& state) {
    const SessionInfo& info = state.model.info;
    int longClips = 0;
    double longest = 0;
    forEachClip(state.analysis.outputTracks, [&](const AudioClip& clip) {
        if (clip.length <= 600.0 || clip.emptyGroup) return;
        ++longClips;
        longest = std::max(longest, clip.length);
    });
    if (longClips > 0) {
        const double rate = info.sampleRate > 0 ? static_cast<double>(info.sampleRate) : 48000.0;
        int64_t longestFile = 0;
        for (const AudioFileRef& file : state.model.audioFiles) longestFile = std::max(longestFile, file.length);
        say("  note: %d clip(s) over 10 minutes (longest %.1f min, from a %.1f min\n"
            "        source). REAPER builds peaks for the whole file on first open --\n"
            "        it can sit on \"loading file\" for a while. That is not a hang.\n",
            longClips, longest / 60.0, static_cast<double>(longestFile) / rate / 60.0);
    }
    if (info.bitDepth > 0 && !state.headSummary.recordFormatWritten && info.fileTypeCode != 4) {
        say("  The session records at %d-bit%s. Existing audio is unaffected\n"
            "      (each file states its own depth), but REAPER's own recording\n"
            "      format is left at its default -- set it if you will overdub.\n",
            info.bitDepth, info.bitDepth == 32 && info.floatSamples ? " float" : "");
    }
    if (state.counters.audioItems > 0) {  // only when a FILE line was written
        const MediaSummary media = summarizeMedia(state.media);
        const std::string folder = pathFromProject(state.options.audioDir, state.projectFolder);
        say("  Media folder written into %sFILE line:\n      %s\n", media.siblingItems + media.relinkedItems > 0 ? "every other " : "every ",
            folder.c_str());
        if (!media.missingFiles.empty()) {
            say("  If REAPER shows OFFLINE, that path is wrong - re-run with\n"
                "      --audio-dir \"<the folder your .wav files are really in>\"\n");
        }
    }
    if (state.options.usageShared) {
        say("\n  PRIVACY: this program contains no network code. It wrote an\n"
            "      anonymous summary of this conversion (counts, and which plug-ins\n"
            "      converted how), which varnoak sends because usage summaries are on\n"
            "      in Help > App settings. The summary holds no track, clip or file\n"
            "      names, no paths and no audio. Nothing else about this session\n"
            "      left this computer. A report reaches varnoak only when it is\n"
            "      attached to an email and sent.\n");
    } else {
        say("\n  PRIVACY: this program contains no network code. No information\n"
            "      about this session was transmitted from this computer: no\n"
            "      upload, no telemetry, no usage reporting. A report reaches\n"
            "      varnoak only when it is attached to an email and sent.\n");
    }
}

namespace {

void sayOneSidedNote(const RoutingTables& routing);
void sayUnknownWidthNotes(const RunState& state);
void sayLeftOutNotes(const RunState& state);
void sayInactiveNotes(const RunCounters& counters);

// Avid Trim: cancelling flips, the instances, their gain slots and what the gain could not carry.
void sayTrimNotes(const RunState& state) {
    const TrimTables& trim = state.analysis.trim;
    const TrimWriting& written = state.counters.trim;
    if (!written.cancelled.empty()) {
        say("  %d track(s) carry an EVEN number of inverting Trims, which cancel:\n"
            "      Pro Tools plays them in phase and so does the conversion.\n",
            static_cast<int>(written.cancelled.size()));
    }
    if (trim.instances == 0) return;
    say("  %d Avid Trim instance(s). Trim is AAX only and cannot load in REAPER,\n"
        "      but POLARITY is a track control REAPER has, so an inverted track\n"
        "      arrives inverted (IPHASE) rather than silently back in phase.\n",
        trim.instances);
    if (written.gainSlots > 0) {
        say("      %d of them sit in their slot as REAPER's Volume Adjustment with\n"
            "      Trim's gain (the slot's name says the value).\n",
            written.gainSlots);
    }
    if (trim.gainsBelowCurve > 0) {
        say("      %d Trim gain(s) are below -12 dB, beyond the measured range:\n"
            "      the value is extended from the curve above it. Check by ear.\n",
            trim.gainsBelowCurve);
    }
    if (written.wideKept > 0) {
        say("      %d Trim(s) on a track wider than stereo keep the Pro Tools-only\n"
            "      slot: their gain is not carried. Set it by hand.\n",
            written.wideKept);
    }
    if (trim.unlinkedGains > 0) {
        say("      %d unlinked Trim(s) have a different gain per channel; the\n"
            "      first channel's is used for both.\n",
            trim.unlinkedGains);
    }
}

// Unpaired alternates and folded surround legs, among the track view notes.
void sayTrackViewNotes(const RunState& state) {
    const BindingCounts& c = state.analysis.counts;
    if (c.alternatesWithoutParent > 0) {
        say("  %d alternate playlist(s) could not be matched to a parent track by\n"
            "      name and arrive as their own tracks, MUTED -- Pro Tools plays one\n"
            "      playlist per track, so these never sounded there either. Unmute\n"
            "      one in REAPER to audition it.\n",
            c.alternatesWithoutParent);
    }
    sayCommentNotes(state);
    sayTrimNotes(state);
    if (c.foldedSurround > 0) {
        say("  %d surround track(s) folded from their Pro Tools legs into one\n"
            "      multichannel track each, the way a stereo pair is folded: one\n"
            "      track, one item, one insert chain, channels in the file's order.\n"
            "      A wide strip's own panner is not carried; a mono or stereo\n"
            "      source panned into a surround bus gets ReaSurroundPan (below).\n",
            c.foldedSurround);
    }
}

// The project timebase each written track was given.
void sayItemTimebaseNote(const RunCounters& counters) {
    if (counters.timeTracks + counters.beatsTracks + counters.beatsPositionTracks == 0) return;
    say("  Item timebase written per track: %d Time (sample-based), %d Beats\n"
        "      (tick-based MIDI), %d Beats-position (tick-based audio), so a tempo\n"
        "      edit in REAPER moves what Pro Tools would move.\n",
        counters.timeTracks, counters.beatsTracks, counters.beatsPositionTracks);
}

// Clip groups laid flat, and those that hold no audio.
void sayClipGroupNotes(const ClipCounts& clips) {
    if (clips.clipGroupsFlattened > 0) {
        say("  %d clip group(s) laid out as the %d clip(s) they play -- REAPER has\n"
            "      no clip groups, so each one is written flat, same places, same audio\n",
            clips.clipGroupsFlattened, clips.clipGroupPieces);
    }
    if (clips.emptyClipGroups > 0) {
        say("  %d clip group(s) hold no audio: each is written as an empty item at\n"
            "      its place, the group's name in the item's notes, so a cue list\n"
            "      survives\n",
            clips.emptyClipGroups);
    }
    const int groupFades = clips.groupFadeIns + clips.groupFadeOuts + clips.groupFadesUnbound;
    if (groupFades > 0) {
        say("      %d fade(s) inside those groups: %d fade-in(s) and %d fade-out(s) carried\n"
            "      on the pieces (v202); %d could not be bound to an edge and were left off\n",
            groupFades, clips.groupFadeIns, clips.groupFadeOuts, clips.groupFadesUnbound);
    }
    if (clips.groupPiecesUnread > 0) {
        say("  WARNING: %d clip group piece(s) could not be read, so that audio is\n"
            "      NOT in the project. On:",
            clips.groupPiecesUnread);
        sayQuotedFileNames(clips.tracksWithUnreadPieces);
        say("\n      Please send the session in.\n");
    }
}

// What the binding of tracks did: units, sync points, alternates, pairs,
// lanes, empty and unmatched tracks and freeze records.
void sayTimingNotes(const RunState& state) {
    const BindingCounts& c = state.analysis.counts;
    say("  %d tick-based tracks, %d sample-based\n", c.tickTracks, c.sampleTracks);
    if (c.unpairedReadByRecords > 0) {
        say("      %d of them could not be paired with their own timebase record;\n"
            "      every record in the session says %s, so they were read that way\n",
            c.unpairedReadByRecords, c.unpairedRecordsTickBased ? "tick-based" : "sample-based");
    }
    if (c.judgedByPositions > 0 && !state.model.timebaseRecords.empty()) {
        say("      %d of them could not be paired with their own timebase record, and\n"
            "      the records disagree, so they take the unit their clips' positions\n"
            "      are stored in\n",
            c.judgedByPositions);
    } else if (c.judgedByPositions > 0) {
        say("      %d of them: this session holds no timebase records at all, so\n"
            "      they take the unit their clips' positions are stored in\n",
            c.judgedByPositions);
    }
    if (c.playlistListMissing) {
        say("  NOTE: this session has no list of its track playlists, so each track\n"
            "      was paired with the playlist that holds as many clips as it does.\n"
            "      A clip may have landed on the wrong track -- check them against\n"
            "      Pro Tools, and please send the session in.\n");
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
    sayClipGroupNotes(state.analysis.clipCounts);
    if (c.alternatesMatched > 0) say("  %d alternate playlists matched to their parent track\n", c.alternatesMatched);
    if (c.mergedPairs > 0) say("  %d Pro Tools stereo track(s) merged from split mono\n", c.mergedPairs);
    sayOneSidedNote(state.analysis.routing);
    sayUnknownWidthNotes(state);
    if (c.lanesWritten > 0) say("  %d written as REAPER fixed lanes\n", c.lanesWritten);
    if (c.alternatesIntoEmptyParent > 0) {
        say("  %d alternate playlist(s) folded into a parent that has no clips of its own\n",
            c.alternatesIntoEmptyParent);
    }
    if (c.emptyTracks > 0) {
        say("  %d track(s) had no clips and were written empty, mixer state intact\n", c.emptyTracks);
    }
    sayLeftOutNotes(state);
    if (c.unmatchedTracks > 0) {
        say("  %d track(s) matched no strip row and were appended at the end --\n"
            "      please send this session file, that should not happen\n",
            c.unmatchedTracks);
    }
    const int frozen = state.counters.frozenTracks;
    if (c.freezeRecords > 0 && frozen == 0) {
        say("  %d internal freeze record(s) left out (Pro Tools writes these when a\n"
            "      track is frozen). The track itself converts UNFROZEN: original\n"
            "      audio with its plug-ins live and editable.\n",
            c.freezeRecords);
    }
    if (frozen > 0) {
        say("  %d frozen track(s) delivered FROZEN (--keep-frozen): Pro Tools' own\n"
            "      freeze render plays, locked, so it sounds as it did even where a\n"
            "      plug-in cannot load. Track > Unfreeze in REAPER brings back the\n"
            "      source clips with the plug-ins live.\n",
            frozen);
    }
    const auto& refusals = state.freezeRefusals;
    for (size_t n = 0; n < refusals.size(); ++n) {
        if (n == 0) {
            say("  %d frozen track(s) converted UNFROZEN even with --keep-frozen:\n      %s: %s\n",
                static_cast<int>(refusals.size()), refusals[n].first.c_str(), refusals[n].second.c_str());
        } else {
            say("      %s: %s\n", refusals[n].first.c_str(), refusals[n].second.c_str());
        }
    }
    sayInactiveNotes(state.counters);
    if (!state.model.tracks.currentNamesFitted && !state.model.tracks.rows.empty()) {
        say("  WARNING: this session holds a track type this build does not\n"
            "      recognize, so CURRENT track names could not be bound and the\n"
            "      ORIGINAL names were kept instead. Track names and playlist\n"
            "      matching in this conversion may be wrong. Please send the\n"
            "      session in -- this is a gap in the tool, not in your session.\n");
    }
}

// Overlaps resolved, fades bound, and placements left out.
void sayOverlapAndFadeNotes(const RunState& state) {
    const BindingCounts& c = state.analysis.counts;
    const ClipCounts& clips = state.analysis.clipCounts;
    if (clips.headsStartLater > 0) {
        say("  %d clip head(s) start later, under the clip Pro Tools draws over them\n", clips.headsStartLater);
    }
    if (clips.clipsCoveredMuted > 0) {
        say("  %d clip(s) muted, covered end to end by the clip drawn over them\n", clips.clipsCoveredMuted);
    }
    if (clips.tailsSilencedUnderMuted > 0) {
        say("  %d clip tail(s) silenced under a MUTED covering clip\n"
            "    (Pro Tools renders silence there; the mute does not reveal the tail)\n",
            clips.tailsSilencedUnderMuted);
    }
    if (c.fadeReferencesDropped > 0) say("  %d fade references dropped as clips\n", c.fadeReferencesDropped);
    if (clips.fadesWithoutEdge > 0) say("  %d fades sat on no kept clip edge\n", clips.fadesWithoutEdge);
    if (clips.fadesNotUnderstood > 0) say("  %d fade records not understood\n", clips.fadesNotUnderstood);
    if (clips.sCurves > 0) say("  %d S-curve fade(s) written as REAPER's S shape (5.1)\n", clips.sCurves);
    int recovered = 0;  // clips written on the muted "[alt takes]" tracks
    for (const OutputTrack& track : state.analysis.outputTracks) {
        if (track.name.find("[alt takes]") != std::string::npos) recovered += static_cast<int>(track.clips.size());
    }
    if (c.deletedPlacements > 0 && !state.options.recoverDeleted) {
        say("  %d deleted clip placement(s) are still in this session: edits or takes\n"
            "      removed from a track that Pro Tools keeps in the file for its undo\n"
            "      queue and cannot show after a reopen. Left out, as the author removed\n"
            "      them; --recover-deleted brings them back as muted tracks beside their\n"
            "      parent, at their original positions.\n",
            c.deletedPlacements);
    } else if (state.options.recoverDeleted && recovered > 0) {
        say("  %d deleted clip placement(s) RECOVERED: written as MUTED \"[alt takes]\"\n"
            "      tracks beside their parent, at their original positions, because\n"
            "      --recover-deleted was given. Unmute one to audition it.\n",
            recovered);
    } else if (c.deletedPlacements > 0) {
        say("  %d deleted clip placement(s) are still in this session, and none of them\n"
            "      could be recovered beside a track of the project, so they are left out.\n",
            c.deletedPlacements);
    }
    if (c.alternatesSetAside > 0) {
        say("  %d alternate playlists set aside (--drop-alt-takes was given)\n", c.alternatesSetAside);
    } else if (c.alternatesKept > 0) {
        say("  %d alternate playlists kept as lanes (--drop-alt-takes to leave them out)\n", c.alternatesKept);
    }
}

void sayMasterNote(const RunState& state) {
    if (state.headSummary.masterStripFound) {
        say("  master fader \"%s\" carried onto the REAPER master\n", state.model.masterName.c_str());
    }
}

// The tempo map, and what --tempo-ramps made of its drawn ramps.
void sayTempoNotes(const RunState& state) {
    const std::vector<TempoEvent>& tempoMap = state.model.tempoMap;
    if (tempoMap.size() < 2) return;
    say("  tempo map with %d changes\n", static_cast<int>(tempoMap.size() - 1));
    if (!state.options.tempoRamps) return;
    const ProjectHeadSummary& head = state.headSummary;
    const TempoRampFigures& ramps = head.ramps;
    if (ramps.folded > 0) {
        say("      --tempo-ramps: %d drawn ramp(s) written as a REAPER ramp you can grab\n"
            "      and reshape, instead of the run of fixed steps Pro Tools stores.\n"
            "      PAST EACH RAMP NOTHING MOVES: each point's tempo is solved so the ramp\n"
            "      comes out on Pro Tools' own beat count -- %.4f ms here, %.2f sample(s)\n"
            "      at %g Hz -- so every bar line, tick-based item and MIDI note after it\n"
            "      lands where Pro Tools puts it, and sample-based audio never moves at all.\n"
            "      INSIDE a ramp the two differ by up to %.2f ms: Pro Tools holds each tempo\n"
            "      for a step and jumps, REAPER glides between points, and no line reproduces\n"
            "      a staircase. That difference returns to zero at every point. If you want\n"
            "      the steps themselves, leave this switch off -- the default is exact.\n",
            ramps.folded, ramps.largestPointError * 1000.0, ramps.largestPointError * head.rampSampleRate,
            head.rampSampleRate, ramps.largestInsideError * 1000.0);
    }
    if (ramps.leftAsSteps > 0) {
        say("      %d ramp(s) left as Pro Tools' steps: the tempos needed to come out on\n"
            "      Pro Tools' beat count were not tempos, so the run was left alone rather\n"
            "      than approximated\n",
            ramps.leftAsSteps);
    }
    if (ramps.folded == 0 && ramps.leftAsSteps == 0) {
        say("      --tempo-ramps: no drawn ramp here; every tempo event is a plain step\n");
    }
}

void sayLoopsNotWritten(const std::vector<LoopNotWritten>& lines) {
    for (const LoopNotWritten& line : lines) {
        if (line.orphan) {
            say("\n      a %s placement at %s %lld (not an audio clip)", line.kind == kLoopOfMidi ? "MIDI" : "non-audio",
                line.storedPosition.inTicks() ? "tick" : "sample", static_cast<long long>(line.storedPosition.value));
            continue;
        }
        say("\n      %s: \"%s\"", line.trackName.c_str(), line.clipName.c_str());
        if (line.reason.empty()) {
            say(" at %.2f s: Pro Tools' loop is %.2f s long, written %.2f s", line.position, line.loopLength,
                line.clipLength);
        } else {
            say(" at %.2f s (%s)", line.position, line.reason.c_str());
        }
    }
}

// Pitch and warp read from the session.
void sayElasticNotes(const ClipCounts& clips) {
    if (clips.clipsPitchShifted > 0) say("  %d clips pitch-shifted\n", clips.clipsPitchShifted);
    if (clips.clipsWithWarpMarkers > 0) say("  %d clips carry elastic warp markers\n", clips.clipsWithWarpMarkers);
    if (clips.warpMarkerTrims > 0) {
        say("  %d of them are trims of a take, warped from the slice\n", clips.warpMarkerTrims);
    }
    if (clips.warpMapsNotSliced > 0) {
        say("  %d clips carry a warp map that could not be sliced\n", clips.warpMapsNotSliced);
    }
    if (clips.warpMapsCrossing > 0) {
        say("  %d warp map(s) held markers that run back across the ones before\n"
            "      them; those markers were left out, the rest of each map kept\n",
            clips.warpMapsCrossing);
    }
}

// Gain given to clips by their clip group, and group gain that is not carried.
void sayClipGainNotes(const ClipCounts& clips) {
    if (clips.clipGainLinesMended > 0) {
        say("  %d drawn clip gain line(s) held points out of order or past their\n"
            "      clip: sorted into order, and cut at the clip's edges\n",
            clips.clipGainLinesMended);
    }
    if (clips.clipsGivenGroupGain > 0) {
        say("  %d clip(s) inside a clip group given the group's own clip gain as well,\n"
            "      as Pro Tools plays it.\n",
            clips.clipsGivenGroupGain);
    }
    if (!clips.clipsUnderGroupGainLine.empty()) {
        say("  WARNING: %d clip(s) sit in a clip group whose own clip gain is a drawn\n"
            "      line, which is NOT carried (a fixed group gain is):",
            static_cast<int>(clips.clipsUnderGroupGainLine.size()));
        sayQuotedFileNames(clips.clipsUnderGroupGainLine);
        say("\n");
    }
}

// Stretch, fades and loops.
void sayClipNotes(const ClipCounts& clips, const std::vector<OutputTrack>& tracks) {
    sayElasticNotes(clips);
    say("  %d clips stretched, %d of them read from the session\n", clips.clipsStretched,
        clips.clipsStretchedFromSession);
    for (const StretchedTrack& track : clips.stretchedTracks) say("      stretch %.4f on %s\n", track.rate, track.name.c_str());
    say("  %d fade-ins, %d fade-outs, %d crossfades\n", clips.fadeIns, clips.fadeOuts, clips.crossfades);
    int clipGain = 0;
    forEachClip(tracks, [&clipGain](const AudioClip& clip) { clipGain += clip.hasClipGain ? 1 : 0; });
    say("  %d clips given clip gain\n", clipGain);
    sayClipGainNotes(clips);
    if (clips.loopsWritten > 0) {
        say("  %d looped clip(s) (Clip > Loop) written as their %d passes, end to end,\n"
            "      as Pro Tools plays them.\n",
            clips.loopsWritten, clips.loopPasses);
    }
    if (clips.loopsEndedByLength > 0) {
        say("  %d looped clip(s) set by Loop Length end where Pro Tools ends them (the\n"
            "      loop is shorter than the clip).\n",
            clips.loopsEndedByLength);
    }
    if (clips.loopsWithFades > 0) {
        say("      %d of them have fades, kept on every pass: how Pro Tools fades a\n"
            "      looped clip is not measured yet.\n",
            clips.loopsWithFades);
    }
    if (!clips.loopsNotWritten.empty()) {
        say("  WARNING: %d looped clip(s) (Clip > Loop) NOT written as loops:", static_cast<int>(clips.loopsNotWritten.size()));
        sayLoopsNotWritten(clips.loopsNotWritten);
        say("\n      Each arrives as the clip is stored, not as Pro Tools loops it.\n"
            "      Check those clips' length in REAPER against Pro Tools.\n");
    }
}

// Under --no-stand-ins, how many Avid plug-ins stayed in their slots.
void sayStandInSwitchNotes(const RunState& state) {
    if (!state.options.noStandIns) return;
    const int kept = state.pluginRun.tallies.avidKept;
    if (kept == 0) {
        say("  --no-stand-ins: on; no Avid plug-in in this session had a REAPER stand-in.\n");
        return;
    }
    say("  --no-stand-ins: %d Avid plug-in(s) left in their slot under their Pro\n"
        "      Tools name, switched off, instead of REAPER's own equivalent.\n",
        kept);
    const int dropped = static_cast<int>(state.counters.trim.oneSidedDropped.size());
    if (dropped > 0) {
        say("      %d track(s) where a Trim flips one side only play both sides\n"
            "      upright: that flip is a REAPER plug-in, and the switch leaves it out.\n",
            dropped);
    }
}

// The first meter, meter changes and repeats, and the memory locations.
void sayMeterAndMarkerNotes(const RunState& state) {
    const ProjectHeadSummary& head = state.headSummary;
    if (head.meterMapRead) {
        say("  meter %d/%d, read from the session\n", head.meterNumerator, head.meterDenominator);
    } else {
        say("  no meter map in this session: 4/4 throughout\n");
    }
    if (!head.meterChanges.empty()) {
        const size_t count = head.meterChanges.size();
        say("  NOTE: this session has %d meter change(s) after the first,\n", static_cast<int>(count));
        const size_t shown = std::min<size_t>(count, 8);
        for (size_t n = 0; n < shown; ++n) {
            const MeterEvent& meter = head.meterChanges[n];
            say("      %u/%u at bar %u\n", meter.numerator, meter.denominator, meter.bar);
        }
        if (count > shown) say("      ... and %d more\n", static_cast<int>(count - shown));
        say("      All %d are written as REAPER time signature changes, at\n"
            "      the same bars. Worth one look at the ruler after opening.\n",
            static_cast<int>(count));
    }
    if (!head.repeatedMeters.empty()) {
        const size_t count = head.repeatedMeters.size();
        say("  %d meter event(s) repeat the meter already in force -- no bar line\n"
            "      moves, so there is nothing to carry:",
            static_cast<int>(count));
        const size_t shown = std::min<size_t>(count, 8);
        for (size_t n = 0; n < shown; ++n) {
            const MeterEvent& meter = head.repeatedMeters[n];
            say("%s %u/%u at bar %u", n == 0 ? "" : ",", meter.numerator, meter.denominator, meter.bar);
        }
        if (count > shown) say(", ... and %d more", static_cast<int>(count - shown));
        say("\n");
    }
    if (head.locationsWritten > 0) say("  %d memory location(s) written as REAPER markers\n", head.locationsWritten);
    if (head.regionsWritten > 0) {
        say("  %d written as REAPER REGIONS -- those are Pro Tools\n"
            "      Selection memory locations, which store a time RANGE\n"
            "      rather than a point\n",
            head.regionsWritten);
    }
    sayMarkerColourNotes(state);
    if (head.locationsWithoutTime > 0) {
        say("  %d memory location(s) have time property NONE and were NOT\n"
            "      written. Those store no timeline position at all -- Pro\n"
            "      Tools does not draw them either, so there is nothing to\n"
            "      place. Their zoom, height and group settings are Pro\n"
            "      Tools view state and have no REAPER equivalent.\n",
            head.locationsWithoutTime);
    }
    sayNoMarkerColourNote(state);
}

// MIDI tracks' mute state and lanes, among the mixer notes.
void sayMidiTrackNotes(const RunCounters& counters) {
    if (counters.midiTracksMuted > 0) say("  %d MIDI track(s) muted in Pro Tools arrive muted\n", counters.midiTracksMuted);
    if (counters.midiMuteLanes > 0) say("  %d MIDI track(s) arrive with their mute automation\n", counters.midiMuteLanes);
    if (counters.midiOtherLanes > 0) {
        say("  %d MIDI track automation lane(s) other than mute are NOT carried\n", counters.midiOtherLanes);
    }
}

// " a (2), b (1).": each plug-in with its count, in name order.
std::string namesWithCounts(const std::map<std::string, int>& tally) {
    std::string list;
    for (const auto& [name, count] : tally) list += formatText("%s %s (%d)", list.empty() ? "" : ",", name.c_str(), count);
    return list + ".\n";
}

int totalOf(const std::map<std::string, int>& tally) {
    int total = 0;
    for (const auto& entry : tally) total += entry.second;
    return total;
}

// Plug-in parameter lanes: how they were placed, and those not carried.
void sayParameterLaneNotes(const LaneCounts& lanes) {
    if (lanes.points > 0) say("  %d plug-in parameter automation points\n", lanes.points);
    if (lanes.byNumber > 0) {
        say("      %d automated control(s) placed by the parameter number the\n"
            "      plug-in itself gave Pro Tools\n",
            lanes.byNumber);
    }
    if (lanes.byName > 0) {
        say("      %d automated control(s) placed by matching their name in the\n"
            "      plug-in's own parameter list\n",
            lanes.byName);
    }
    if (!lanes.assign.empty()) {
        say("  %d automation lane(s) written SWITCHED OFF, titled \"ASSIGN\": which\n"
            "      knob each one drives is not verified for these plug-ins. Each sits\n"
            "      on its most likely knob and moves nothing until you check it: open\n"
            "      the lane, and if the knob it shows is the one Pro Tools automated\n"
            "      (the lane title names it), switch the lane on; if not, move its\n"
            "      points to the right knob. Until then each control stays at the\n"
            "      value the session saved:%s",
            totalOf(lanes.assign), namesWithCounts(lanes.assign).c_str());
    }
    if (!lanes.lostAtDefaults.empty()) {
        say("  %d automation lane(s) NOT carried on plug-ins that arrive at their\n"
            "      defaults (their settings did not transfer, so neither did the\n"
            "      automation moving them):%s",
            totalOf(lanes.lostAtDefaults), namesWithCounts(lanes.lostAtDefaults).c_str());
    }
    if (!lanes.lostOnStandIns.empty()) {
        say("  %d automation lane(s) NOT carried on Avid plug-ins written as REAPER's\n"
            "      own stand-ins: each stand-in holds the value the session saved:%s",
            totalOf(lanes.lostOnStandIns), namesWithCounts(lanes.lostOnStandIns).c_str());
    }
    if (lanes.bypassLanes > 0) {
        say("  %d plug-in bypass automation lane(s) NOT carried -- the plug-in stays\n"
            "      in the bypass state the session saved\n",
            lanes.bypassLanes);
    }
}

// Automation points, then what the MIDI pass did at clip edges.
void sayAutomationAndMidiEdgeNotes(const RunState& state) {
    const RunCounters& counters = state.counters;
    if (counters.automationPoints > 0) {
        say("  %d automation points across %d tracks\n", counters.automationPoints, counters.automatedTracks);
    }
    const MidiCounts& midi = state.analysis.midiCounts;
    if (midi.eventsMutedOutside > 0) {
        say("  %d MIDI event(s) kept but muted -- outside a Pro Tools clip\n"
            "      boundary, so silent, exactly as Pro Tools plays them.\n"
            "      Nothing was deleted: drag a clip edge back in REAPER to see them.\n",
            midi.eventsMutedOutside);
    }
    if (midi.notesTooShort > 0) {
        say("  %d MIDI note event(s) kept but muted: notes too short to exist at\n"
            "      REAPER's resolution, which would retrigger the note beside them.\n",
            midi.notesTooShort);
    }
    if (state.options.keepInaudibleMidi) {
        say("  --keep-inaudible-midi: %d MIDI event(s) outside a Pro Tools clip\n"
            "      boundary were written UNMUTED. Pro Tools does not play them;\n"
            "      REAPER sounds any note that starts before an item and runs into it.\n",
            midi.eventsKeptOutside);
    }
    if (!state.options.truncateMidiToClip && midi.notesRunningPast > 0) {
        say("  %d note(s) run past a clip edge; those items were lengthened so\n"
            "      the notes ring in full, as Pro Tools plays them.\n",
            midi.notesRunningPast);
    } else if (state.options.truncateMidiToClip && midi.notesRunningPast > 0) {
        say("  --truncate-midi-to-clip: %d note(s) run past a clip edge and are CUT\n"
            "      there. Pro Tools plays them in full. Each note keeps its whole\n"
            "      length in the item: drag the item edge out to hear it ring.\n",
            midi.notesRunningPast);
    } else if (state.options.truncateMidiToClip) {
        say("  --truncate-midi-to-clip: no note runs past a clip edge, so nothing is cut.\n");
    }
    if (midi.clipsCut > 0) {
        say("  %d MIDI clip(s) cut where a later clip on the same track takes over,\n"
            "      as Pro Tools plays them. The notes past the cut are kept, muted:\n"
            "      drag the clip edge in REAPER to see them.\n",
            midi.clipsCut);
    }
    if (midi.clipsHeadTrimmed > 0) {
        say("  %d MIDI clip(s) start later, where the clip Pro Tools draws on top of\n"
            "      them ends. Their covered start is kept, muted.\n",
            midi.clipsHeadTrimmed);
    }
    if (counters.dualPanPoints > 0) {
        say("  %d dual-pan point(s) on %d stereo track(s) (REAPER dual pan)\n", counters.dualPanPoints,
            counters.dualPanTracks);
    }
    sayParameterLaneNotes(state.pluginRun.lanes);
}

// " \"a\", \"b\"": at most 12 names, then ", ...".
std::string quotedNames(const std::vector<std::string>& names) {
    std::string text;
    const size_t shown = std::min<size_t>(names.size(), 12);
    for (size_t n = 0; n < shown; ++n) text += formatText("%s\"%s\"", n == 0 ? " " : ", ", names[n].c_str());
    if (names.size() > shown) text += ", ...";
    return text;
}

// Controls at the start of each clip, and Real-Time Properties.
void sayMidiTrackViewNotes(const RunCounters& counters) {
    if (counters.midiTracksWithControls > 0) {
        say("  %d MIDI/instrument track(s) carry their MIDI fader and pan as a CC 7\n"
            "      and a CC 10 event at the start of each clip -- what Pro Tools\n"
            "      sends when playback starts. A clip that already streams one of\n"
            "      those controllers keeps its stream instead.\n",
            counters.midiTracksWithControls);
    }
    if (!counters.realTimeTracks.empty()) {
        say("  WARNING: %d MIDI/instrument track(s) carry REAL-TIME PROPERTIES:%s\n"
            "      Pro Tools applies these on playback, not to the stored notes.\n"
            "      Which of them are applied here is said below.\n",
            static_cast<int>(counters.realTimeTracks.size()), quotedNames(counters.realTimeTracks).c_str());
    }
}

// MIDI tracks whose MIDI output is a plug-in instrument, which sits on another track.
void sayMidiToInstrumentNote(const SessionModel& model) {
    std::vector<std::string> names;
    for (const SessionTrack& row : model.tracks.rows) {
        if (row.kind != kMidiTrackKind) continue;
        auto controls = model.midiControls.find(effectiveName(row));
        if (controls == model.midiControls.end()) continue;
        const int32_t index = controls->second.outputIndex;
        if (index >= 1 && static_cast<size_t>(index) <= model.midiOutputs.size() &&
            model.midiOutputs[static_cast<size_t>(index) - 1].pluginNode) {
            names.push_back(effectiveName(row));
        }
    }
    if (names.empty()) return;
    say("  WARNING: %d MIDI track(s) play an instrument on another track:%s\n"
        "      Not carried yet. In REAPER those notes stay on the MIDI track,\n"
        "      which has no instrument, so they are silent. To hear them, add a\n"
        "      send from the MIDI track to the instrument's track in REAPER,\n"
        "      MIDI only (Audio: None).\n",
        static_cast<int>(names.size()), quotedNames(names).c_str());
}

void sayRealTimeNotes(const RunCounters& counters) {
    if (counters.realTimeApplied > 0) {
        say("  MIDI Real-Time Properties APPLIED to the notes on %d track(s): transpose,\n"
            "      velocity and delay, so the track plays as Pro Tools played it.\n",
            counters.realTimeApplied);
    }
    if (counters.notesTransposedOut > 0) {
        say("      %d note(s) transposed past the MIDI range are written MUTED, not lost.\n",
            counters.notesTransposedOut);
    }
    if (counters.realTimeNotApplied > 0) {
        say("  %d track(s) carry Real-Time quantize or duration, which are NOT applied:\n"
            "      their grid and amount are not decoded yet.\n",
            counters.realTimeNotApplied);
    }
}

void saySampleBasedMidiNotes(const MidiCounts& midi) {
    if (midi.sampleBasedClips > 0) {
        say("  %d MIDI clip(s) sit on a SAMPLE-BASED track, so their position and\n"
            "      length are read in samples rather than ticks. Read as ticks they\n"
            "      land days into the project once the session has a tempo change.\n",
            midi.sampleBasedClips);
    }
    if (midi.sampleBasedOverlaps > 0) {
        say("      %d of them overlap another clip. Pro Tools resolves an overlap by\n"
            "      comparing clip positions, and that comparison is not reliable in\n"
            "      this unit yet, so the clip keeps its full length and the overlap\n"
            "      SUMS rather than trimming. Trim the item edge in REAPER to match.\n",
            midi.sampleBasedOverlaps);
    }
}

// Stored positions that were not in a form the readers know: each was read the
// nearest sane way, never wrapped.
void sayPositionFaultNotes(const PositionFaults& faults) {
    if (faults.unknownUnit > 0) {
        say("  WARNING: %d stored position(s) carry a unit mark that says neither\n"
            "      samples nor ticks; each was read by its ticks bit. Check the timing\n"
            "      of those clips, notes or tempo changes. Please send the session in.\n",
            faults.unknownUnit);
    }
    if (faults.pastTimeline > 0) {
        say("  WARNING: %d stored position(s) lie past the end of any Pro Tools\n"
            "      timeline; each was held at that end rather than wrapped, so what\n"
            "      it places sits far behind the rest. Please send the session in.\n",
            faults.pastTimeline);
    }
}

// Names each on a line of its own, behind "\n      ".
std::string namesOnLines(const std::vector<std::string>& names) {
    std::string text;
    for (const std::string& name : names) text += "\n      " + name;
    return text;
}

// All names quoted in one line.
std::string allQuoted(const std::vector<std::string>& names) {
    std::string text;
    for (size_t n = 0; n < names.size(); ++n) text += formatText("%s\"%s\"", n == 0 ? " " : ", ", names[n].c_str());
    return text;
}

// Sends, pre-fader mutes and outputs: how the routing arrived.
void sayMixerNotes(const RunState& state) {
    const RoutingTables& routing = state.analysis.routing;
    const RunCounters& counters = state.counters;
    say("  %d sends into %d return tracks\n", counters.sendsWritten, static_cast<int>(routing.returnTracks.size()));
    if (!routing.preFaderUnmutedNames.empty()) {
        say("  %d muted track(s) feed a pre-fader send, and are written UNMUTED with\n"
            "      the fader all the way down:%s\n"
            "      Pro Tools keeps a muted track's pre-fader sends playing; REAPER's\n"
            "      mute would silence them too. With the fader down the send plays\n"
            "      and the track itself is silent, as in Pro Tools.\n",
            static_cast<int>(routing.preFaderUnmutedNames.size()), namesOnLines(routing.preFaderUnmutedNames).c_str());
    }
    if (!routing.preFaderKeptMuted.empty()) {
        say("  WARNING: %d muted track(s) feed a pre-fader send but have volume or mute\n"
            "      automation, so they stay muted and the send goes quiet in REAPER:%s\n"
            "      Pro Tools keeps a muted track's pre-fader sends playing.\n",
            static_cast<int>(routing.preFaderKeptMuted.size()), namesOnLines(routing.preFaderKeptMuted).c_str());
    }
}

void sayRoutingNotes(const RunState& state) {
    const RoutingTables& routing = state.analysis.routing;
    const RunCounters& counters = state.counters;
    if (!routing.noOutputTracks.empty()) {
        say("  %d track(s) have NO OUTPUT in Pro Tools, so they reach the mix only through\n"
            "      their sends (or not at all); REAPER's master send is off on them:%s\n",
            static_cast<int>(routing.noOutputTracks.size()), quotedNames(routing.noOutputTracks).c_str());
    }
    if (!routing.clickPlayer.empty()) {
        say("  Pro Tools' click is on and \"%s\" plays it. REAPER's metronome is left OFF;\n"
            "      Click II stays on the track as a named slot. To hear a click, turn on\n"
            "      REAPER's metronome (its sound and level are REAPER's own).\n",
            routing.clickPlayer.c_str());
    }
    if (routing.sendsPanned > 0) say("      %d send(s) panned off center, carried\n", routing.sendsPanned);
    if (counters.sendsMuted > 0) say("      %d send(s) switched off in Pro Tools, written muted\n", counters.sendsMuted);
    if (!routing.stereoSendsOffDefault.empty()) {
        say("  %d stereo track(s) have a send whose two pan knobs are moved off\n"
            "      their defaults; REAPER gives a send one pan knob, so these\n"
            "      arrive centered -- check them:%s\n",
            static_cast<int>(routing.stereoSendsOffDefault.size()), quotedNames(routing.stereoSendsOffDefault).c_str());
    }
    if (routing.sendPanLanes > 0) {
        say("  %d send pan automation lane(s) NOT carried: the send keeps its\n      static pan\n", routing.sendPanLanes);
    }
    if (counters.sendsWritten > 0) {
        say("      Follow Main Pan on a send is not read yet: such a send keeps\n      its own pan setting\n");
    }
    if (routing.outputsToAux > 0) {
        say("  %d track output(s) routed into the aux that takes their bus\n", routing.outputsToAux);
    }
    if (routing.sendsToAux > 0) say("  %d of them routed bus -> aux by the aux's input\n", routing.sendsToAux);
    if (routing.monoLegsMatched > 0) say("  %d of those matched a mono leg to its stereo pair\n", routing.monoLegsMatched);
    if (routing.sendsToTwoAuxes > 0) {
        say("  NOTE: %d send(s) target a stereo bus whose two legs are taken by\n"
            "    DIFFERENT aux tracks. Pro Tools feeds both, one leg each; this\n"
            "    converts to the first. Please send the session in.\n",
            routing.sendsToTwoAuxes);
    }
    for (const std::string& note : routing.multiMonoNotes) sayText(note);
    sayPluginsInBrief(state.pluginRun.tallies);
    if (routing.keysWired > 0) say("  %d sidechain key inputs wired to channels 3/4\n", routing.keysWired);
    if (routing.extraKeysWired > 0) {
        say("  %d more key input(s) wired to channels 5/6 and up, for a second\n"
            "      plug-in on the same track keyed off another source (v256)\n",
            routing.extraKeysWired);
    }
    if (counters.keyedTracksTwoChannels > 0) {
        say("      %d keyed track(s) pass only channels 1/2 on to their parent, so\n"
            "      no key reaches the mix even with the last plug-in offline\n",
            counters.keyedTracksTwoChannels);
    }
    sayMidiTriggerNotes(state.pluginRun.tallies);
    if (state.options.noSidechain) say("  --no-sidechain: key inputs left unwired\n");
    if (routing.keysUnresolved > 0) say("  %d sidechain key inputs could not be resolved\n", routing.keysUnresolved);
    if (!routing.keysHeardFromTrack.empty()) {
        int count = 0;
        std::string list;
        for (const auto& [name, times] : routing.keysHeardFromTrack) {
            count += times;
            list += formatText("%s %s (%d)", list.empty() ? "" : ",", name.c_str(), times);
        }
        say("  %d sidechained plug-in(s) key off a different source than the key\n"
            "      wired on their track, one that could not be wired itself (or the\n"
            "      second leg of a multi-mono pair), so they hear that key (3/4)\n"
            "      instead of their own:%s.\n",
            count, list.c_str());
    }
    if (counters.sendAutomationPoints > 0) say("  %d send automation points\n", counters.sendAutomationPoints);
}

void sayAutomationModeNotes(const RunState& state) {
    const RunCounters& counters = state.counters;
    if (counters.automatedTracksRead > 0) {
        say("  %d automated track(s) set to Read (Trim/Read would\n"
            "      apply the fader on top of its own automation)\n",
            counters.automatedTracksRead);
    }
    const int parked = counters.fadersParked + (state.headSummary.masterFaderParked ? 1 : 0);
    if (parked > 0) {
        say("  %d fader(s) parked at unity so the volume envelope alone\n"
            "      carries the level, not the fader times the envelope\n",
            parked);
    }
}

void sayTrackStateNotes(const RunCounters& counters) {
    if (!counters.hiddenTracks.empty()) {
        say("  %d track(s) are HIDDEN in Pro Tools and arrive hidden in both REAPER's\n"
            "      track panel and its mixer:%s\n",
            static_cast<int>(counters.hiddenTracks.size()), quotedNames(counters.hiddenTracks).c_str());
    }
    if (counters.tracksWithHeight > 0) {
        say("  %d track(s) carry their Pro Tools track HEIGHT, in pixels as Pro Tools\n"
            "      stores it. REAPER raises anything below its own minimum.\n",
            counters.tracksWithHeight);
    }
    if (!counters.soloedTracks.empty()) {
        say("  %d track(s) are SOLOED in the session and arrive soloed:%s\n",
            static_cast<int>(counters.soloedTracks.size()), quotedNames(counters.soloedTracks).c_str());
    }
    if (!counters.soloSafeTracks.empty()) {
        say("  %d track(s) are SOLO SAFE and arrive solo-defeated:%s\n",
            static_cast<int>(counters.soloSafeTracks.size()), quotedNames(counters.soloSafeTracks).c_str());
    }
}

void sayModeNotes(const RunCounters& counters) {
    if (!counters.modeOff.empty()) {
        say("  %d track(s) have automation mode OFF in Pro Tools:%s\n"
            "      Pro Tools ignores their automation. They arrive in Trim/Read with\n"
            "      every envelope written INACTIVE, so the moves are kept but not\n"
            "      played -- the same thing Pro Tools does.\n",
            static_cast<int>(counters.modeOff.size()), quotedNames(counters.modeOff).c_str());
    }
    if (counters.modeOtherThanRead.size() > counters.modeOff.size()) {
        std::string list;
        for (const std::string& entry : counters.modeOtherThanRead) list += entry;
        say("  %d track(s) use an automation mode other than Read and arrive in it:%s\n"
            "      (Touch/Latch has no REAPER equivalent and lands on Latch.)\n",
            static_cast<int>(counters.modeOtherThanRead.size()), list.c_str());
    }
    if (!counters.patchTracks.empty()) {
        say("  %d track(s) have a PATCH selected and send it as a program change\n"
            "      at the start of each clip:%s\n",
            static_cast<int>(counters.patchTracks.size()), quotedNames(counters.patchTracks).c_str());
    }
}

void saySoloNotes(const RunCounters& counters) {
    if (counters.soloedAndMuted > 0) {
        say("  %d track(s) were soloed AND muted in Pro Tools, which keeps them silent.\n"
            "      REAPER would play them (a solo overrides a mute there), so they arrive\n"
            "      muted with their solo off.\n",
            counters.soloedAndMuted);
    }
    if (counters.soloTrackWritten) {
        say("      Every soloed track was muted, so the track \"Pro Tools solo (the\n"
            "      soloed tracks were muted)\" was added, soloed and empty: it keeps the\n"
            "      other tracks silent the way Pro Tools' solo does. Unsolo it to hear\n"
            "      everything; delete it when you like.\n");
    }
    if (counters.soloMuteAutomation > 0) {
        say("  %d soloed, muted track(s) with mute automation keep their solo: REAPER\n"
            "      plays a soloed track through its mute, Pro Tools does not.\n",
            counters.soloMuteAutomation);
    }
}

void sayOneSidedNote(const RoutingTables& routing) {
    if (routing.oneSidedTracks.empty()) return;
    say("  %d track(s) output to ONE channel of a stereo output, so Pro Tools\n"
        "      plays the whole track from that side; written with both pan\n"
        "      knobs hard to that side:\n",
        static_cast<int>(routing.oneSidedTracks.size()));
    for (const std::string& line : routing.oneSidedTracks) say("      %s\n", line.c_str());
}

void sayLeftOutNotes(const RunState& state) {
    const RoutingTables& routing = state.analysis.routing;
    if (!routing.clickTracksLeftOut.empty()) {
        say("  %d Click track(s) left out (--no-click):%s\n", static_cast<int>(routing.clickTracksLeftOut.size()),
            quotedNames(routing.clickTracksLeftOut).c_str());
    }
    const std::pair<const char*, const std::vector<std::string>*> lists[] = {
        {"hidden track(s) left out (--skip-hidden-tracks):", &routing.hiddenLeftOut},
        {"inactive track(s) left out (--skip-inactive-tracks):", &routing.inactiveLeftOut},
        {"hidden or inactive track(s) KEPT, because a written track needs them:", &routing.keptForNeeds}};
    for (const auto& [label, names] : lists) {
        if (!names->empty()) say("  %d %s%s\n", static_cast<int>(names->size()), label, allQuoted(*names).c_str());
    }
    for (const std::string& name : routing.clickTracksKept) {
        say("  \"%s\" holds a Click II but also something else (inserts, sends, clips or\n"
            "      a name another track shares), so the click toggle leaves it in, whole.\n",
            name.c_str());
    }
}

void sayInactiveNotes(const RunCounters& counters) {
    if (counters.inactiveTracks > 0) {
        say("  %d track(s) were INACTIVE in Pro Tools and are written MUTED --\n"
            "      silent, as they were, with clips and plug-ins intact. Unmute\n"
            "      in REAPER to bring one back.\n",
            counters.inactiveTracks);
    }
    if (counters.voiceOffTracks > 0) {
        say("  %d track(s) had VOICE set to OFF in Pro Tools and are\n"
            "      written MUTED -- silent, as they were, with clips and\n"
            "      plug-ins intact. REAPER has no voice limit, so unmute\n"
            "      to bring one back.\n",
            counters.voiceOffTracks);
    }
}

// The video tracks written, their frame rate and quality, and what could not be placed.
void sayVideoNotes(const RunState& state) {
    const RunCounters& c = state.counters;
    if (c.videoTracksWritten == 0) return;
    say("  %d video track(s), %d video item(s) written. REAPER carries video on\n"
        "      an ordinary track as a video item, which is what these are; it\n"
        "      reads the frame rate and size from the file itself.\n"
        "      Lengths and source offsets are the session's own, in frames, so a\n"
        "      split picture arrives as the same two pieces on the same track,\n"
        "      the second one starting where it was cut rather than at the top.\n",
        c.videoTracksWritten, c.videoItems);
    if (c.videoClipColours > 0) say("      %d video clip(s) carried a clip color.\n", c.videoClipColours);
    const SessionInfo& info = state.model.info;
    if (info.videoFrameRate > 1) {
        say("      Frame rate %.3f fps, read from the session rather than assumed:\n"
            "      a 23.976 reel read as 24 drifts about a second over a reel.\n",
            info.videoFrameRate);
    }
    if (info.videoQuality > 1) {
        say("      The video track was set to %s, not Full Quality. REAPER's\n"
            "      video decode quality is a global preference, so set it in\n"
            "      REAPER's own preferences if picture plays rough.\n",
            videoQualityWord(info.videoQuality));
    }
    if (c.videoTracksWithoutFile > 0) {
        say("      %d video track(s) hold a file this build does not recognize as\n"
            "      video, so no item was written for them. Their movie is still in\n"
            "      the session folder; drag it onto the track in REAPER.\n",
            c.videoTracksWithoutFile);
    }
    if (c.videoFilesMissing > 0) {
        say("      %d video file(s) were not found next to the session, so the\n"
            "      item carries the bare name and REAPER will show it OFFLINE\n"
            "      until you point at the file.\n",
            c.videoFilesMissing);
    }
}

// Outboard on hardware inserts cannot be carried: named per track, a line each.
void sayHardwareInsertNotes(const std::vector<HardwareInsert>& inserts) {
    if (inserts.empty()) return;
    say("  %d hardware I/O insert(s) found. These route through a physical\n"
        "      interface path on your rig, so no converter can carry them:\n",
        static_cast<int>(inserts.size()));
    const size_t shown = std::min<size_t>(inserts.size(), 8);
    for (size_t n = 0; n < shown; ++n) say("      %s: %s\n", inserts[n].trackName.c_str(), inserts[n].name.c_str());
    if (inserts.size() > shown) say("      ... and %d more\n", static_cast<int>(inserts.size() - shown));
    say("      Whatever outboard sat on those inserts is NOT in the .rpp.\n"
        "      If it mattered to the sound, print those tracks before converting.\n");
}

// Strips neither mono nor stereo: their pan is not carried, nor their pan lane.
void sayUnknownWidthNotes(const RunState& state) {
    const std::vector<UnknownWidthStrip>& strips = state.analysis.unknownWidthStrips;
    const int panLanes = unknownWidthPanLanes(state);
    if (panLanes > 0) {
        say("  %d surround/multichannel strip(s) carry PAN automation that is NOT\n"
            "      written: a surround strip has no single pan, and its panner lanes\n"
            "      are not named in the session. Volume, trim and mute automation ARE\n"
            "      carried. Please send the session: %s\n",
            panLanes, kSupportAddress);
    }
    if (strips.empty()) return;
    say("  WARNING: %d mixer strip(s) are neither mono nor stereo and were\n"
        "      read as mono. Level and mute are right; PAN IS NOT. This is\n"
        "      what a surround or multichannel strip looks like, which this\n"
        "      tool does not convert. Please send the session:\n",
        static_cast<int>(strips.size()));
    const size_t shown = std::min<size_t>(strips.size(), 8);
    for (size_t n = 0; n < shown; ++n) {
        say("      %s (%d control slots)\n", strips[n].name.c_str(), strips[n].controlSlots);
    }
    if (strips.size() > shown) say("      ... and %d more\n", static_cast<int>(strips.size() - shown));
}

// Flips of a Trim whose track has no switch for them: the keys that flip an
// odd number of times on a side and that no track's polarity took.
int trimFlipsWithoutSwitch(const RunState& state) {
    const TrimTables& trim = state.analysis.trim;
    std::set<std::string> keys;
    for (const auto* map : {&trim.flips, &trim.leftFlips, &trim.rightFlips}) {
        for (const auto& entry : *map) keys.insert(entry.first);
    }
    auto countOf = [](const std::map<std::string, int>& map, const std::string& key) {
        const auto found = map.find(key);
        return found == map.end() ? 0 : found->second;
    };
    int count = 0;
    for (const std::string& key : keys) {
        const int whole = countOf(trim.flips, key);
        const int left = whole + countOf(trim.leftFlips, key);
        const int right = whole + countOf(trim.rightFlips, key);
        const bool odd = left % 2 != 0 || right % 2 != 0;
        if (odd && !state.counters.trim.polarityUsed.count(key)) ++count;
    }
    return count;
}

// ReaSurroundPan on tracks panned into a surround bus, and Trims whose polarity did nothing or found no switch.
void saySurroundAndTrimPolarityNotes(const RunState& state) {
    const RunCounters& c = state.counters;
    if (c.surroundMono > 0) {
        say("  %d mono track(s) panned into a surround bus arrive with REAPER's\n"
            "  surround panner (ReaSurroundPan) set from Pro Tools' panner:\n"
            "  position, divergence and center %%. Not carried: the LFE level,\n"
            "  and automation of the panner (its lanes are not named yet).\n",
            c.surroundMono);
    }
    if (c.surroundStereo > 0) {
        say("  %d stereo track(s) panned into a surround bus arrive with\n"
            "  ReaSurroundPan set from Pro Tools' left and right panners: each\n"
            "  channel's position and divergence, center %% and side %%.\n",
            c.surroundStereo);
    }
    if (c.surroundEnvelopes > 0) {
        say("  %d surround panner automation envelope(s) written on ReaSurroundPan\n"
            "      (%d points): position, divergence, center %% and LFE move as they\n"
            "      do in Pro Tools.\n",
            c.surroundEnvelopes, c.surroundPoints);
    }
    if (c.surroundLanesNotWritten > 0) {
        say("  %d surround panner automation lane(s) not written: a stereo source's\n"
            "      panner, or a session older than Pro Tools 2026.\n",
            c.surroundLanesNotWritten);
    }
    if (state.analysis.surroundUnplaced > 0) {
        say("  %d track(s) feed a surround bus whose layout this build cannot\n"
            "      place; they arrive without a surround panner.\n",
            state.analysis.surroundUnplaced);
    }
    if (state.analysis.trim.offWithPolarity > 0) {
        say("  %d Avid Trim(s) had polarity switched on but were BYPASSED or\n"
            "      INACTIVE, so Pro Tools did not invert anything and neither does\n"
            "      this project.\n",
            state.analysis.trim.offWithPolarity);
    }
    const int noSwitch = trimFlipsWithoutSwitch(state);
    if (noSwitch > 0) {
        say("  %d strip(s) inverted by Avid Trim have no phase switch in REAPER\n"
            "      (the master is the usual one), so that inversion is NOT carried.\n"
            "      Insert a polarity flip there by hand.\n",
            noSwitch);
    }
}

// Wide auxes, locked clips and the edit grid, among the format notes.
void sayWideAuxLockAndGridNotes(const RunState& state) {
    if (state.analysis.routing.wideAuxes > 0) {
        say("  %d aux(es) taking a surround bus written as wide as that bus, and\n"
            "      the tracks feeding it send every channel, not just the first two.\n",
            state.analysis.routing.wideAuxes);
    }
    saySurroundAndTrimPolarityNotes(state);
    int locked = 0;
    forEachClip(state.analysis.outputTracks, [&locked](const AudioClip& clip) { locked += clip.locked ? 1 : 0; });
    for (const OutputTrack& track : state.analysis.outputTracks) {
        for (const MidiItem& item : track.midiItems) locked += item.locked && item.length > 0 ? 1 : 0;
    }
    if (locked > 0) {
        say("  %d clip(s) were locked in Pro Tools and are LOCKED in REAPER. REAPER\n"
            "      has one item lock, so a clip that was only Time-locked (kept in\n"
            "      place but still editable) is locked for edits as well.\n",
            locked);
    }
    const ProjectHeadSummary& head = state.headSummary;
    if (head.gridWritten) {
        const BarsBeatsTicks nudge = state.model.info.nudgeBarsBeatsTicks.value_or(BarsBeatsTicks());
        say("  Edit grid written as REAPER's grid (%g of a quarter note).\n"
            "      Nudge (%ld| %ld| %03ld) is not carried: REAPER keeps its nudge\n"
            "      amount outside the project file.\n",
            head.gridQuarterNotes, static_cast<long>(nudge.bars), static_cast<long>(nudge.beats),
            static_cast<long>(nudge.ticks));
    }
}

// The session's bit depth carried as REAPER's recording format, and its
// timecode rate and Session Start as REAPER's frame rate and project start.
void sayFormatNotes(const RunState& state) {
    const SessionInfo& info = state.model.info;
    const ProjectHeadSummary& head = state.headSummary;
    if (head.recordFormatWritten) {
        say("  Bit depth: %d-bit%s written as REAPER's recording format, so new\n"
            "      recordings in this project match the session's files.\n",
            info.bitDepth, info.bitDepth == 32 && info.floatSamples ? " float" : "");
    } else if (info.fileTypeCode == 4 && info.bitDepth > 0) {
        say("  Bit depth: %d-bit AIFF session; REAPER's recording format is left at\n"
            "      its default, since only the WAV config is measured.\n",
            info.bitDepth);
    }
    if (!head.timecodeWritten) return;
    const SessionTimecode& timecode = head.timecode;
    say("  Timecode: %s fps, Session Start %s (%.4f s) written as REAPER's\n"
        "      frame rate and project start, so the ruler reads the same timecode.\n",
        timecode.shortName, sessionStartText(info).c_str(), timecode.startSeconds);
    const char* dropNumber = timecode.row ? timecode.row->dropNumber : "";
    if (std::string(dropNumber) == "30") {
        say("      REAPER has no 30 drop-frame setting; the ruler runs at 30 non-drop.\n");
    } else if (dropNumber[0] != '\0') {
        say("      REAPER has no %s drop-frame setting; the ruler runs at %s non-drop.\n", dropNumber, dropNumber);
    }
    const bool video = !state.analysis.videoTrackNames.empty() || info.videoFrameRate > 0;
    if (std::string(timecode.shortName) == "24" && !video) {
        say("      Pro Tools stores 24 and 23.976 the same way, and with no video in\n"
            "      the session nothing says which. If it was 23.976, set REAPER's\n"
            "      frame rate (Project Settings) -- nothing else moves.\n");
    }
}

void sayPluginCountNote(const RunCounters& counters) {
    say("  %d plug-in instances found, %d written with their settings\n", counters.pluginsFound,
        counters.pluginsWritten);
}

// Clip Effects: the polarity switches carried as take polarity, the clips
// given take FX and the sections they hold, and what they could not carry.
void sayClipEffectsNotes(const RunState& state) {
    const int polarity = state.analysis.clipCounts.clipsWithEffectsPolarity;
    if (polarity > 0) {
        say("  %d clip(s) had Clip Effects POLARITY switched on: carried as REAPER take\n"
            "      polarity (Item properties > Invert phase).\n",
            polarity);
    }
    const ClipEffectsTally& tally = state.counters.clipEffects;
    if (tally.clips == 0) return;
    std::string sections;
    for (const char* section : {"polarity", "input trim", "EQ", "filters", "expander", "gate", "compressor", "fader"}) {
        if (!tally.sections.count(section)) continue;
        sections += (sections.empty() ? "" : ", ") + std::string(section);
    }
    say("  %d clip(s) carry Pro Tools Clip Effects, written as take FX on the item\n"
        "      with REAPER's own plug-ins (%s).\n"
        "      The EQ and filters are the same filters; high/low pass filters are\n"
        "      Butterworth. The dynamics are close, not identical: REAPER's\n"
        "      detectors are not Pro Tools'. A section switched off in Pro Tools\n"
        "      is written bypassed, with its settings.\n",
        tally.clips, sections.c_str());
    if (tally.notes.empty()) return;
    say("  Clip Effects approximated or left out:\n");
    for (const auto& [note, clips] : tally.notes) say("      %s (%d clip(s))\n", note.c_str(), clips);
}

// "EQ3 7-Band as ReaEQ, Channel Strip as ReaComp + ReaEQ": each Pro Tools name
// with the REAPER plug-ins it became, both in name order.
std::string standInNames(const StandInTally& tally) {
    std::string names;
    for (const auto& entry : tally.became) {
        names += (names.empty() ? "" : ", ") + entry.first;
        std::string products;
        for (const std::string& product : entry.second) products += (products.empty() ? " as " : " + ") + product;
        names += products;
    }
    return names;
}

// The Avid plug-ins written as REAPER's own, how the EQ3 fits went, and what
// the stand-ins could not carry, with the instances that said so.
void sayStandInNotes(const RunState& state) {
    const StandInTally& tally = state.counters.standIns;
    if (tally.written > 0) {
        say("  %d Avid plug-in(s) arrive as REAPER's own equivalents, in the same\n"
            "      slot with the same settings (%s). No VST of these exists;\n"
            "      --no-stand-ins leaves them as named, switched-off slots instead.\n"
            "      The EQ is the same filter design; the dynamics are close, not\n"
            "      identical: REAPER's detectors are not Pro Tools'.\n",
            tally.written, standInNames(tally).c_str());
    }
    const EqFitRun& fit = state.pluginRun.eqFit;
    if (fit.fittedBands > 0) {
        say("      EQ3: %d band(s) fitted onto ReaEQ to follow Pro Tools' own curve to\n"
            "      20 kHz (%d extra ReaEQ band(s) for the top octave); the worst is\n"
            "      %.2f dB from it.\n",
            fit.fittedBands, fit.extraBands, fit.worstError);
    }
    if (fit.firstOrderSlots > 0) {
        say("      EQ3: %d high-pass or low-pass filter(s) set to 6 or 18 dB/oct use\n"
            "      REAPER's Simple 1-Pole Filter for 6 dB/oct of the slope, in the slot\n"
            "      after the ReaEQ and named for the EQ3 filter: ReaEQ has no 6 dB/oct\n"
            "      filter.\n",
            fit.firstOrderSlots);
    }
    if (tally.notes.empty()) return;
    say("  Avid stand-ins approximated or left out:\n");
    for (const auto& entry : tally.notes) say("      %s (%d plug-in(s))\n", entry.first.c_str(), entry.second);
}

// Names and texts from a damaged file can hold bytes REAPER cannot read.
void sayReplacedCharactersNote(const RunCounters& counters) {
    if (counters.charactersReplaced == 0) return;
    say("  NOTE: %d character(s) in track, clip, marker, file or note texts were\n"
        "      not valid text (damaged bytes or control characters) and were written\n"
        "      as the replacement character, so that REAPER can read the project.\n",
        counters.charactersReplaced);
}

}  // namespace

void sayConsoleNotes(const RunState& state, const std::string& writtenPath) {
    sayHead(state, writtenPath);
    sayMixerNotes(state);
    sayMidiTrackNotes(state.counters);
    sayRoutingNotes(state);
    sayMasterNote(state);
    sayAutomationAndMidiEdgeNotes(state);
    sayAutomationModeNotes(state);
    sayTempoNotes(state);
    sayClipNotes(state.analysis.clipCounts, state.analysis.outputTracks);
    sayStandInSwitchNotes(state);
    sayColourSwitchNotes(state);
    sayPluginSwitchNotes(state.pluginRun.matches);
    sayTrackColourNotes(state);
    sayMeterAndMarkerNotes(state);
    sayColourSchemeNotes(state);
    sayGroupNotes(state);
    sayTrackStateNotes(state.counters);
    sayMidiTrackViewNotes(state.counters);
    sayMidiToInstrumentNote(state.model);
    sayModeNotes(state.counters);
    sayTrackViewNotes(state);
    saySoloNotes(state.counters);
    sayFolderNotes(state);
    sayClipEffectsNotes(state);
    sayMelodyneNotes(state);
    sayStandInNotes(state);
    sayItemTimebaseNote(state.counters);
    sayRealTimeNotes(state.counters);
    sayFormatNotes(state);
    sayPreferClapNotes(state.pluginRun.matches);
    sayWideAuxLockAndGridNotes(state);
    saySampleBasedMidiNotes(state.analysis.midiCounts);
    sayVideoNotes(state);
    sayGroupsNotAppliedNotes(state);
    sayHardwareInsertNotes(state.model.hardwareInserts);
    sayPositionFaultNotes(state.model.positionFaults);
    sayTimingNotes(state);
    sayOverlapAndFadeNotes(state);
    sayPluginCountNote(state.counters);
    sayPluginOutcomeNotes(state.pluginRun.tallies, state.pluginOutcomes);
    sayPluginInstanceWarnings(state.pluginRun.matches);
    sayReplacedCharactersNote(state.counters);
}
