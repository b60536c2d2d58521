#include "reporting/console_notes.h"

#include "cli/console.h"
#include "driver/run_state.h"

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

}  // namespace

void sayConsoleNotes(const RunState& state, const std::string& writtenPath) { sayHead(state, writtenPath); }
