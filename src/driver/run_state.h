// Everything one conversion owns: created by convert, dropped when it returns.
// Readers fill it, the analysis passes read and extend it, the writer reads it.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "analysis/analysis_model.h"
#include "driver/convert.h"
#include "project/colour_choice.h"
#include "melodyne/ara_project.h"
#include "project/media.h"
#include "plugins/preparation.h"
#include "project/project_head.h"
#include "reporting/plugin_outcome.h"
#include "session/blocks.h"
#include "session/ptx_file.h"
#include "session/session_model.h"
#include "standins/channel_strip.h"
#include "standins/standin.h"

struct RunCounters {
    int outputTracks = 0;
    int audioItems = 0;
    int notesWritten = 0;  // MIDI note-ons written unmuted
    int pluginsFound = 0;
    int pluginsWritten = 0;
    int needsLook = 0;
    int timeTracks = 0;           // tracks written with the Time item timebase
    int beatsTracks = 0;          // Beats: tick-based MIDI
    int beatsPositionTracks = 0;  // Beats-position: tick-based audio
    int midiItems = 0;
    int midiTracksWithControls = 0;  // given CC 7 / CC 10 from their MIDI fader and pan
    std::vector<std::string> patchTracks;  // send their patch as a program change at each clip's start
    int notesTransposedOut = 0;      // transposed past the MIDI range: written muted
    int automationPoints = 0;        // on track envelopes
    int automatedTracks = 0;
    int dualPanPoints = 0;           // on the two dual pan envelopes
    int dualPanTracks = 0;
    int midiMuteLanes = 0;           // MIDI tracks given their mute automation
    int midiTracksMuted = 0;         // muted by their MIDI track state
    int midiOtherLanes = 0;          // MIDI track lanes other than mute, not carried
    std::vector<std::string> realTimeTracks;  // MIDI tracks with Real-Time Properties switched on
    int realTimeApplied = 0;         // with transpose, velocity or delay on
    int realTimeNotApplied = 0;      // with quantize or duration on
    int sendsWritten = 0;
    int sendsMuted = 0;              // switched off in the session
    int sendAutomationPoints = 0;
    int soloedAndMuted = 0;          // soloed and muted: written with the solo off
    int soloKept = 0;
    int soloMuteAutomation = 0;      // soloed, muted, with a mute lane: solo kept
    std::vector<std::string> soloedTracks;
    std::vector<std::string> soloSafeTracks;
    std::vector<std::string> hiddenTracks;
    int tracksWithHeight = 0;
    int automatedTracksRead = 0;     // strips counted as automated
    int fadersParked = 0;            // volume lanes that park the fader at unity
    std::vector<std::string> modeOtherThanRead;  // " name=Mode(+Trim)"
    std::vector<std::string> modeOff;
    int inactiveTracks = 0;
    int voiceOffTracks = 0;
    int frozenTracks = 0;            // delivered frozen (--keep-frozen)
    int videoTracksWritten = 0;
    int videoItems = 0;
    int videoClipColours = 0;        // video items given their clip's colour
    int videoTracksWithoutFile = 0;  // placements, but no file the session lists as video
    int videoFilesMissing = 0;       // found neither where the media is nor in "Video Files"
    bool soloTrackWritten = false;   // the empty soloed track that keeps the rest silent
    int keyedTracksTwoChannels = 0;  // keyed tracks passing only channels 1/2 to their parent
    ColourCounts colours;
    AraCounts ara;                   // Melodyne edits carried or not
    ClipEffectsTally clipEffects;    // clips given Clip Effects as take FX
    int charactersReplaced = 0;      // damaged bytes and control characters written as U+FFFD
    TrimWriting trim;                // Trim polarity and gain as written
    StandInTally standIns;           // Avid plug-ins written as REAPER's own
    int surroundMono = 0;            // tracks given ReaSurroundPan, by their source
    int surroundStereo = 0;
    int surroundEnvelopes = 0;
    int surroundPoints = 0;
    int surroundLanesNotWritten = 0;
};

struct RunState {
    ConvertOptions options;
    ptxgui::Progress* progress = nullptr;
    std::string sessionFolder;  // the parent of the media folder, or "."
    std::string projectFolder;  // absolute folder of the project; FILE paths resolve from it ("" unknown)

    SessionFile session;
    SessionImage image;
    int64_t sampleRate = 48000;
    bool darkTheme = true;
    ImageCheck damage;
    SessionModel model;
    AnalysisModel analysis;
    MediaTable media;
    ProjectHeadSummary headSummary;  // what the head writer carried, for the notes
    // Tracks frozen in Pro Tools that --keep-frozen could not keep frozen: name, reason.
    std::vector<std::pair<std::string, std::string>> freezeRefusals;
    PluginRun pluginRun;             // REAPER's lists, the plug-in table and what matching decided
    std::vector<PluginOutcome> pluginOutcomes;  // filled by the FX chain writer, read by the report

    bool composeReport = false;
    std::string reportText;
    std::string reportPath;
    std::string usageBody;
    RunCounters counters;
};
