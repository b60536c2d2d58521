// What the user is told after the project is written: everything carried,
// approximated or left out, with counts, in one fixed order.
#pragma once

#include <string>

struct RunState;

void sayConsoleNotes(const RunState& state, const std::string& writtenPath);
