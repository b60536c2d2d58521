// The stages of a conversion after the session has been accepted, in the order
// convert runs them. Each reads and extends the run state.
#pragma once

#include <cstdio>
#include <string>

#include "driver/run_state.h"

// Rate, header, damage, tempo, tracks of the session.
void readStage(RunState& state);
// --list: tempo, tracks and buses.
void listStage(RunState& state);
// Strip rows, automation lanes, plug-in records, the learned and parameter
// tables and REAPER's plug-in lists.
void readMixStage(RunState& state);
// Clips, playlists, fades, clip groups, loops and stretch.
void clipStage(RunState& state);
// The analysis passes that bind everything into output tracks; the plug-in
// instances found.
void trackStage(RunState& state);
// The project text, in one pass, to an open file.
void writeStage(RunState& state, std::FILE* file);
// The same into memory.
void writeStage(RunState& state, std::string& text);
// The console notes after writing, with the "Wrote" line for writtenPath.
void notesStage(RunState& state, const std::string& writtenPath);
// The referenced media looked up; missing files named.
void mediaStage(RunState& state);
// The conversion report and the summary line; the report is stored beside the
// session with --report. projectPath is the project written.
void reportStage(RunState& state, const std::string& projectPath);
// The closing console notes, after the report.
void closingNotesStage(RunState& state);
// The summary line of the progress protocol, from the counters as they stand.
void composeSummaryLine(const RunState& state);
// The names of plug-ins with unplaced parameter lanes, for --want-params.
void wantedParamsStage(RunState& state);
