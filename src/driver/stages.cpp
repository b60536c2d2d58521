#include "driver/stages.h"

#include "cli/console.h"
#include "project/project_writer.h"
#include "session/tempo.h"

namespace {

void sayDamage(const RunState& state) {
    const ImageCheck& check = state.damage;
    if (state.options.checkOnly) say("damage %s\n", damageWord(check.verdict));
    if (check.verdict == DamageVerdict::incomplete) {
        say("  *** THIS SESSION FILE LOOKS INCOMPLETE ***\n"
            "      %llu byte(s) after the last complete block. The file was very\n"
            "      likely truncated in a copy or a sync. Tracks, clips and\n"
            "      automation may be MISSING from this conversion.\n"
            "      Re-copy the .ptx from the original and convert it again.\n",
            static_cast<unsigned long long>(state.image.view.length - check.lastCompleteEnd));
    } else if (check.verdict == DamageVerdict::damaged) {
        const double percent = 100.0 * static_cast<double>(check.chainBreak) /
                               static_cast<double>(state.image.view.length);
        say("  *** THIS SESSION FILE IS DAMAGED ***\n"
            "      Its structure breaks at byte %llu, %.0f%% of the way in, as a bad\n"
            "      disk or a failed copy leaves it. Tracks, clips, mixer settings\n"
            "      and automation after that point may be MISSING or wrong in\n"
            "      this conversion. Convert a backup instead if you have one --\n"
            "      the newest .ptx in the session's \"Session File Backups\"\n"
            "      folder, or a copy from another drive.\n",
            static_cast<unsigned long long>(check.chainBreak), percent);
    }
}

}  // namespace

void readStage(RunState& state) {
    state.sampleRate = state.session.sessionRate > 0 ? state.session.sessionRate : 48000;
    state.image = makeSessionImage(state.session.view());
    if (state.options.ptTheme == 1) state.darkTheme = false;
    if (state.options.ptTheme == 2) state.darkTheme = true;

    state.damage = checkImage(state.image.view);
    sayDamage(state);

    state.sessionTempo =
        state.options.tempoOverride > 0 ? state.options.tempoOverride : readSessionTempo(state.image.view);
}

void listStage(RunState& state) {
    say("\n  tempo %g BPM, %lld Hz\n\n  session track table (%d):\n", state.sessionTempo,
        static_cast<long long>(state.sampleRate), 0);
    say("\n  buses (%d): ", 0);
    say("\n\n  libptformat track names (%d unique):\n", 0);
}

void readMixStage(RunState&) {}

void clipStage(RunState&) {}

void trackStage(RunState&) {}

void writeStage(RunState& state, std::FILE* file) { writeProject(state, file); }

void notesStage(RunState&) {}

void mediaStage(RunState&) {}

void reportStage(RunState& state) {
    const RunCounters& c = state.counters;
    setSummaryLine(formatText("summary tracks=%d clips=%d notes=%d fx=%d written=%d needs_look=%d%s", c.outputTracks,
                              c.audioItems, c.notesWritten, c.pluginsFound, c.pluginsWritten, c.needsLook,
                              problemKind().empty() ? "" : " problem=1"));
}

void wantedParamsStage(RunState&) {}
