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

void sayConsoleNotes(const RunState& state, const std::string& writtenPath) { sayHead(state, writtenPath); }
