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

SessionTrack row(const std::string& name, uint32_t kind) {
    SessionTrack track;
    track.name = name;
    track.kind = kind;
    return track;
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
    model.info.sampleRate = 48000;
    model.info.bitDepth = 16;
    model.info.fileTypeCode = 3;
    model.info.panDepthCode = 4;
    model.info.timecodeRateCode = 5;  // 29.97 drop frame
    model.info.sessionStartFrames = 107892;  // one hour of drop-frame labels
    model.info.nudgeBarsBeatsTicks = BarsBeatsTicks{0, 1, 0};
    state.headSummary.recordFormatWritten = true;
    state.headSummary.timecodeWritten = true;
    state.headSummary.timecode = sessionTimecode(model.info);
    state.headSummary.gridWritten = true;
    state.headSummary.gridQuarterNotes = 0.5;
    model.tracks.rows = {row("Master 1", 0x261D), row("Master 2", 0x261D), row("Keys", 0x2620)};
    model.tracks.currentNamesFitted = false;
    model.midiControls["Keys"].outputIndex = 2;
    model.midiOutputs.resize(2);
    model.midiOutputs[1].pluginNode = true;  // Keys plays a plug-in instrument
    StripRow pad;
    pad.name = "Pad";
    pad.present = 1;
    pad.panLane.points = {{0, 10}};
    model.strips = {pad};
    state.analysis.unknownWidthStrips = {{"Pad", 7}};
    model.audioFiles = {{"long.wav", 0, 0, 48000 * 60 * 12}};  // twelve minutes

    AudioClip longClip;
    longClip.length = 700;  // 11.67 minutes
    longClip.hasClipGain = true;
    longClip.locked = true;
    OutputTrack gtr;
    gtr.name = "Gtr";
    gtr.clips = {longClip, AudioClip()};
    state.analysis.outputTracks = {gtr};
    state.analysis.routing.wideAuxes = 1;
    RunCounters& counters = state.counters;
    counters.dualPanPoints = 5;
    counters.dualPanTracks = 2;
    counters.patchTracks = {"Keys"};
    counters.pluginsFound = 3;

    expectInOrder(notesOf(state), {
        "  5 dual-pan point(s) on 2 stereo track(s) (REAPER dual pan)\n",
        "  1 clips given clip gain\n",
        "  Pan law: -6.0 dB, read from the session's Pan Depth\n      setting (Pro Tools' own default is -3.0 dB).\n",
        "  WARNING: this session has 2 MASTER FADERS. REAPER has exactly\n"
        "      one master, so only the first was carried. The others are\n"
        "      NOT in the .rpp -- neither their gain nor their inserts.\n"
        "      Pro Tools also allows them at any width (mono, stereo, LCR,\n"
        "      5.1); anything past stereo is untested here.\n"
        "      If a second master was doing real work, print through it\n"
        "      before converting.\n",
        "  WARNING: 1 MIDI track(s) play an instrument on another track: \"Keys\"\n"
        "      Not carried yet. In REAPER those notes stay on the MIDI track,\n"
        "      which has no instrument, so they are silent. To hear them, add a\n"
        "      send from the MIDI track to the instrument's track in REAPER,\n"
        "      MIDI only (Audio: None).\n",
        "  1 track(s) have a PATCH selected and send it as a program change\n"
        "      at the start of each clip: \"Keys\"\n",
        "  Bit depth: 16-bit written as REAPER's recording format, so new\n"
        "      recordings in this project match the session's files.\n",
        // 107892 x 1001 / 30000 seconds.
        "  Timecode: 29.97 drop fps, Session Start 01:00:00;00 (3599.9964 s) written as REAPER's\n"
        "      frame rate and project start, so the ruler reads the same timecode.\n",
        "  1 aux(es) taking a surround bus written as wide as that bus, and\n"
        "      the tracks feeding it send every channel, not just the first two.\n",
        "  1 clip(s) were locked in Pro Tools and are LOCKED in REAPER. REAPER\n"
        "      has one item lock, so a clip that was only Time-locked (kept in\n"
        "      place but still editable) is locked for edits as well.\n",
        "  Edit grid written as REAPER's grid (0.5 of a quarter note).\n"
        "      Nudge (0| 1| 000) is not carried: REAPER keeps its nudge\n"
        "      amount outside the project file.\n",
        std::string("  1 surround/multichannel strip(s) carry PAN automation that is NOT\n"
                    "      written: a surround strip has no single pan, and its panner lanes\n"
                    "      are not named in the session. Volume, trim and mute automation ARE\n"
                    "      carried. Please send the session: ") + kSupportAddress + "\n",
        "  WARNING: 1 mixer strip(s) are neither mono nor stereo and were\n"
        "      read as mono. Level and mute are right; PAN IS NOT. This is\n"
        "      what a surround or multichannel strip looks like, which this\n"
        "      tool does not convert. Please send the session:\n"
        "      Pad (7 control slots)\n",
        "  WARNING: this session holds a track type this build does not\n"
        "      recognize, so CURRENT track names could not be bound and the\n"
        "      ORIGINAL names were kept instead. Track names and playlist\n"
        "      matching in this conversion may be wrong. Please send the\n"
        "      session in -- this is a gap in the tool, not in your session.\n",
        "  3 plug-in instances found, 0 written with their settings\n",
        "  note: 1 clip(s) over 10 minutes (longest 11.7 min, from a 12.0 min\n"
        "        source). REAPER builds peaks for the whole file on first open --\n"
        "        it can sit on \"loading file\" for a while. That is not a hang.\n",
        "  Media folder written into every FILE line:\n",
        "\n  PRIVACY: this program contains no network code. No information\n"
        "      about this session was transmitted from this computer: no\n"
        "      upload, no telemetry, no usage reporting. A report reaches\n"
        "      varnoak only when it is attached to an email and sent.\n",
    });
}

// The bit depth and timecode notes by the session's format and rate.
TEST(ConsoleNotes, BitDepthAndTimecodeByFormatAndRate) {
    struct Case {
        int32_t bitDepth;
        uint8_t fileType;
        bool floatSamples;
        int32_t rateCode;
        uint32_t startFrames;
        int32_t wideCode;  // -1: no wide layout
        std::vector<std::string> notes;
    };
    const Case cases[] = {
        {24, 4, false, 2, 0, -1,
         {"  Bit depth: 24-bit AIFF session; REAPER's recording format is left at\n"
          "      its default, since only the WAV config is measured.\n",
          "  Timecode: 25 fps, Session Start 00:00:00:00 (0.0000 s) written as REAPER's\n"}},
        // At 30 drop frame the label of frame 1800 skips two: one minute in, label 02.
        {24, 3, false, 8, 1800, -1,
         {"  Timecode: 30 drop fps, Session Start 00:01:00;02 (60.0000 s) written as REAPER's\n",
          "      REAPER has no 30 drop-frame setting; the ruler runs at 30 non-drop.\n",
          "  The session records at 24-bit. Existing audio is unaffected\n"
          "      (each file states its own depth), but REAPER's own recording\n"
          "      format is left at its default -- set it if you will overdub.\n"}},
        // One hour at 59.94 drop frame: 215784 frames, stored as twice the narrow count.
        {32, 3, true, 5, 107892, 12,
         {"  Timecode: 59.94 drop fps, Session Start 01:00:00;00 (3599.9964 s) written as REAPER's\n",
          "      REAPER has no 59.94 drop-frame setting; the ruler runs at 59.94 non-drop.\n",
          "  The session records at 32-bit float. Existing audio is unaffected\n"}},
        {16, 3, false, 1, 86400, -1,
         {"  Timecode: 24 fps, Session Start 01:00:00:00 (3600.0000 s) written as REAPER's\n",
          "      Pro Tools stores 24 and 23.976 the same way, and with no video in\n"
          "      the session nothing says which. If it was 23.976, set REAPER's\n"
          "      frame rate (Project Settings) -- nothing else moves.\n",
          "  The session records at 16-bit. Existing audio is unaffected\n"}},
    };
    for (const Case& c : cases) {
        RunState state;
        SessionInfo& info = state.model.info;
        info.bitDepth = c.bitDepth;
        info.fileTypeCode = c.fileType;
        info.floatSamples = c.floatSamples;
        info.timecodeRateCode = c.rateCode;
        info.sessionStartFrames = c.startFrames;
        if (c.wideCode >= 0) {
            info.timecodeWideFound = true;
            info.timecodeRateCodeWide = c.wideCode;
            info.sessionStartFramesWide = c.startFrames * 2;
        }
        state.headSummary.timecodeWritten = true;
        state.headSummary.timecode = sessionTimecode(info);
        SCOPED_TRACE(c.rateCode);
        expectInOrder(notesOf(state), c.notes);
    }
}

// Deleted placements: left out, recovered as far as "[alt takes]" tracks hold
// them, or, under --recover-deleted, none recovered, said as such.
TEST(ConsoleNotes, RecoveredPlacementsAreThoseWritten) {
    OutputTrack recovered;
    recovered.name = "Vox [alt takes]";
    recovered.clips.resize(3);
    struct Case {
        bool recover;
        bool written;
        std::string note;
    };
    const Case cases[] = {
        {false, false, "  2 deleted clip placement(s) are still in this session: edits or takes\n"},
        {true, true, "  3 deleted clip placement(s) RECOVERED: written as MUTED \"[alt takes]\"\n"},
        {true, false,
         "  2 deleted clip placement(s) are still in this session, and none of them\n"
         "      could be recovered beside a track of the project, so they are left out.\n"},
    };
    for (const Case& c : cases) {
        RunState state;
        state.options.recoverDeleted = c.recover;
        state.analysis.counts.deletedPlacements = 2;
        if (c.written) state.analysis.outputTracks = {recovered};
        const std::string notes = notesOf(state);
        EXPECT_NE(notes.find(c.note), std::string::npos) << notes;
        EXPECT_EQ(notes.find("RECOVERED") != std::string::npos, c.written) << notes;
    }
}
