// What the user is told after the project is written: everything carried,
// approximated or left out, with counts, in one fixed order.
#pragma once

#include <cstdint>
#include <string>

struct RunState;
struct SessionInfo;

void sayConsoleNotes(const RunState& state, const std::string& writtenPath);

// The media check's notes: audio files found in sibling folders, files not found.
void sayMediaNotes(const RunState& state);
// The closing notes: clips over ten minutes, the session's bit depth when the
// recording format was not written, the folder the FILE lines point into (with
// the --audio-dir hint when files are missing), and the privacy note.
void sayClosingNotes(const RunState& state);

// "01:00:00:00" for a count of frames at the integer rate; drop-frame counts
// skip the labels a drop-frame clock skips, and the frames stand behind ";".
std::string timecodeText(uint64_t frames, int32_t integerRate, bool dropFrame);
// The Session Start as timecode text, at the session's timecode rate.
std::string sessionStartText(const SessionInfo& info);
// Pan lanes on mixer strips neither mono nor stereo: not written.
int unknownWidthPanLanes(const RunState& state);
