// The conversion report: what the project holds, every plug-in by name, and
// what needs a look, in plain sentences a user can keep or send to support.
#pragma once

#include <string>

struct RunState;

// The report's path: the session's path without its extension, then
// "-varnoak-report.txt".
std::string reportPathFor(const std::string& sessionPath);

// Composes the whole report through the report capture, which the caller has
// set. projectPath is the project written. Gives the number of blocks printed
// under NEEDS A LOOK.
int composeReport(const RunState& state, const std::string& projectPath);
