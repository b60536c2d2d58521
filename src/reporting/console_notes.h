// What the user is told after the project is written: everything carried,
// approximated or left out, with counts, in one fixed order.
#pragma once

#include <string>

struct RunState;

void sayConsoleNotes(const RunState& state, const std::string& writtenPath);

// The media check's notes: audio files found in sibling folders, files not found.
void sayMediaNotes(const RunState& state);
// The closing notes: clips over ten minutes, the session's bit depth when the
// recording format was not written, the folder the FILE lines point into (with
// the --audio-dir hint when files are missing), and the privacy note.
void sayClosingNotes(const RunState& state);
