// The console notes of a run, from hand-set counters and session values: each
// in its own words and in the one fixed order.
#include <gtest/gtest.h>

#include "cli/console.h"
#include "driver/run_state.h"
#include "reporting/console_notes.h"
#include "reporting/support.h"

namespace {

std::string notesOf(const RunState& state) {
    std::string captured;
    NullSink sink;
    setConsoleSink(&sink);
    setConsoleCapture(&captured);
    sayConsoleNotes(state, "out.rpp");
    sayClosingNotes(state);
    setConsoleCapture(nullptr);
    setConsoleSink(nullptr);
    return captured;
}

// Each expected text appears, each after the one before.
void expectInOrder(const std::string& text, const std::vector<std::string>& notes) {
    size_t at = 0;
    for (const std::string& note : notes) {
        const size_t found = text.find(note, at);
        ASSERT_NE(found, std::string::npos) << "missing or out of order:\n" << note << "\nin:\n" << text;
        at = found + note.size();
    }
}

}  // namespace

TEST(ConsoleNotes, NotesOfTheBuiltPartsInTheCataloguesOrder) {
    RunState state;
    SessionModel& model = state.model;
    SessionInfo& info = model.info;
    info.bitDepth = 16;
    info.fileTypeCode = 3;
    info.panDepthCode = 4;
    info.timecodeRateCode = 5;          // 29.97 drop frame
    info.sessionStartFrames = 107892;  // one hour of drop-frame labels
    info.nudgeBarsBeatsTicks = BarsBeatsTicks{0, 1, 0};
    ProjectHeadSummary& head = state.headSummary;
    head.recordFormatWritten = head.timecodeWritten = head.gridWritten = true;
    head.timecode = sessionTimecode(info);
    head.gridQuarterNotes = 0.5;
    SessionTrack master, keys;
    master.kind = 0x261D;
    keys.name = "Keys";
    keys.kind = 0x2620;
    model.tracks.rows = {master, master, keys};
    state.analysis.groups.masterFaders = 2;
    model.midiControls["Keys"].outputIndex = 2;
    model.midiOutputs.resize(2);
    model.midiOutputs[1].pluginNode = true;  // Keys plays a plug-in instrument
    StripRow pad;
    pad.name = "Pad";
    pad.present = 1;
    pad.panLane.points = {{0, 10}};
    model.strips = {pad};
    state.analysis.unknownWidthStrips = {{"Pad", 7}};
    model.audioFiles = {{"long.wav", 0, 0, 48000 * 60 * 12}};  // twelve minutes at 48 kHz
    AudioClip longClip;
    longClip.length = 700;
    longClip.hasClipGain = longClip.locked = true;
    state.analysis.outputTracks.resize(1);
    state.analysis.outputTracks[0].clips = {longClip, AudioClip()};
    state.analysis.routing.wideAuxes = 1;
    state.counters.surroundMono = state.analysis.trim.offWithPolarity = 1;
    RunCounters& counters = state.counters;
    counters.dualPanPoints = 5;
    counters.dualPanTracks = 2;
    counters.patchTracks = {"Keys"};
    counters.pluginsFound = 3;
    counters.audioItems = 2;
    state.pluginRun.tallies.bypassedCarried = 1;
    state.pluginRun.tallies.aaxOnly["EQ3 7-Band"] = {2, "an equalizer", true};
    counters.frozenTracks = 1;
    state.pluginRun.lanes.points = 4;
    state.pluginRun.lanes.bypassLanes = 1;
    state.freezeRefusals = {{"Keys", "it has alternate playlist lanes"}};
    state.analysis.clipCounts.clipsWithEffectsPolarity = 1;
    counters.clipEffects = {2, {{"clip fader not carried (its scale is unmeasured)", 1}}, {{"gate", 1}, {"EQ", 2}}};

    expectInOrder(notesOf(state), {
        "  1 plug-in(s) carried across bypassed\n",
        "  5 dual-pan point(s) on 2 stereo track(s) (REAPER dual pan)\n",
        "  4 plug-in parameter automation points\n",
        "  1 plug-in bypass automation lane(s) NOT carried -- the plug-in stays\n",
        "  1 clips given clip gain\n",
        "  Pan law: -6.0 dB, read from the session's Pan Depth\n",
        "  WARNING: this session has 2 MASTER FADERS. REAPER has exactly\n",
        "  WARNING: 1 MIDI track(s) play an instrument on another track: \"Keys\"\n",
        "  1 track(s) have a PATCH selected and send it as a program change\n      at the start of each clip: \"Keys\"\n",
        "  1 clip(s) had Clip Effects POLARITY switched on: carried as REAPER take\n",
        "  2 clip(s) carry Pro Tools Clip Effects, written as take FX on the item\n      with REAPER's own plug-ins (EQ, gate).\n",
        "  Clip Effects approximated or left out:\n      clip fader not carried (its scale is unmeasured) (1 clip(s))\n",
        "  Bit depth: 16-bit written as REAPER's recording format, so new\n",
        // 107892 x 1001 / 30000 seconds.
        "  Timecode: 29.97 drop fps, Session Start 01:00:00;00 (3599.9964 s) written as REAPER's\n",
        "  1 aux(es) taking a surround bus written as wide as that bus, and\n",
        "  1 mono track(s) panned into a surround bus arrive with REAPER's\n",
        "  1 Avid Trim(s) had polarity switched on but were BYPASSED or\n",
        "  1 clip(s) were locked in Pro Tools and are LOCKED in REAPER. REAPER\n",
        "  Edit grid written as REAPER's grid (0.5 of a quarter note).\n      Nudge (0| 1| 000) is not carried: ",
        std::string("carried. Please send the session: ") + kSupportAddress + "\n",
        "  WARNING: 1 mixer strip(s) are neither mono nor stereo and were\n",
        "tool does not convert. Please send the session:\n      Pad (7 control slots)\n",
        "  1 frozen track(s) delivered FROZEN (--keep-frozen): Pro Tools' own\n",
        "  1 frozen track(s) converted UNFROZEN even with --keep-frozen:\n      Keys: it has alternate playlist lanes\n",
        "  WARNING: this session holds a track type this build does not\n",
        "  3 plug-in instances found, 0 written with their settings\n",
        "    2 cannot transfer - AAX only, no VST/VST3 version exists:\n      EQ3 7-Band               x2\n"
        "      2 of these processed audio, so that much of the mix is\n",
        "  note: 1 clip(s) over 10 minutes (longest 11.7 min, from a 12.0 min\n",
        "  Media folder written into every FILE line:\n",
        "\n  PRIVACY: this program contains no network code. No information\n",
    });
}

// The bit depth and timecode notes by the session's format and rate.
TEST(ConsoleNotes, BitDepthAndTimecodeByFormatAndRate) {
    struct Case {
        int32_t bitDepth;
        uint8_t fileType;
        int32_t rateCode;
        uint32_t startFrames;
        int32_t wideCode;  // -1: no wide layout
        std::vector<std::string> notes;
    };
    const Case cases[] = {
        {24, 4, 2, 0, -1,
         {"  Bit depth: 24-bit AIFF session; REAPER's recording format is left at\n",
          "  Timecode: 25 fps, Session Start 00:00:00:00 (0.0000 s) written as REAPER's\n"}},
        // At 30 drop frame the label of frame 1800 skips two: one minute in, label 02.
        {24, 3, 8, 1800, -1,
         {"  Timecode: 30 drop fps, Session Start 00:01:00;02 (60.0000 s) written as REAPER's\n",
          "      REAPER has no 30 drop-frame setting; the ruler runs at 30 non-drop.\n",
          "  The session records at 24-bit. Existing audio is unaffected\n"}},
        // One hour at 59.94 drop frame: 215784 frames, stored as twice the narrow count.
        {32, 3, 5, 107892, 12,
         {"  Timecode: 59.94 drop fps, Session Start 01:00:00;00 (3599.9964 s) written as REAPER's\n",
          "      REAPER has no 59.94 drop-frame setting; the ruler runs at 59.94 non-drop.\n",
          "  The session records at 32-bit float. Existing audio is unaffected\n"}},
        {16, 3, 1, 86400, -1,
         {"  Timecode: 24 fps, Session Start 01:00:00:00 (3600.0000 s) written as REAPER's\n",
          "      Pro Tools stores 24 and 23.976 the same way, and with no video in\n"}},
    };
    for (const Case& c : cases) {
        RunState state;
        SessionInfo& info = state.model.info;
        info.bitDepth = c.bitDepth;
        info.fileTypeCode = c.fileType;
        info.floatSamples = c.bitDepth == 32;
        info.timecodeRateCode = c.rateCode;
        info.sessionStartFrames = c.startFrames;
        info.timecodeWideFound = c.wideCode >= 0;
        info.timecodeRateCodeWide = c.wideCode;
        info.sessionStartFramesWide = c.startFrames * 2;
        state.headSummary.timecodeWritten = true;
        state.headSummary.timecode = sessionTimecode(info);
        SCOPED_TRACE(c.rateCode);
        expectInOrder(notesOf(state), c.notes);
    }
}

// Deleted placements: recovered as far as "[alt takes]" tracks hold them, and
// under --recover-deleted with none written, said as such.
TEST(ConsoleNotes, RecoveredPlacementsAreThoseWritten) {
    RunState state;
    state.options.recoverDeleted = true;
    state.analysis.counts.deletedPlacements = 2;
    EXPECT_NE(notesOf(state).find("  2 deleted clip placement(s) are still in this session, and none of them\n"
                                  "      could be recovered beside a track of the project, so they are left out.\n"),
              std::string::npos);
    state.analysis.outputTracks.resize(1);
    state.analysis.outputTracks[0].name = "Vox [alt takes]";
    state.analysis.outputTracks[0].clips.resize(3);
    EXPECT_NE(notesOf(state).find("  3 deleted clip placement(s) RECOVERED: written as MUTED \"[alt takes]\"\n"),
              std::string::npos);
}
