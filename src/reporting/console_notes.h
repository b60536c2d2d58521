// What the user is told after the project is written: everything carried,
// approximated or left out, with counts, in one fixed order.
#pragma once

#include <string>

struct RunState;

void sayConsoleNotes(const RunState& state, const std::string& writtenPath);

// The media check's notes: audio files found in sibling folders, files not found.
void sayMediaNotes(const RunState& state);
// Which folder the FILE lines point into, and the --audio-dir hint when files are missing.
void sayMediaFolderNote(const RunState& state);
