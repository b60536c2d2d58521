// The anonymous usage summary of --usage-json: counts, and which kinds of
// plug-ins converted how. No track, clip or file names, no paths, no audio.
#pragma once

#include <string>
#include <vector>

#include "reporting/plugin_outcome.h"

struct RunState;

// What a name becomes in the summary: printable ASCII of a few kinds only, at
// most 64 characters, blanks cut at both ends, "(unnamed)" when nothing is left.
std::string cleanUsageName(const std::string& name);

// The "plugins" array, and whether it was cut at 400 entries.
std::string usagePluginEntries(const std::vector<PluginOutcome>& outcomes, bool& truncated);

// The last four keys of the summary: "session", "plugins", "not_converted", "warnings".
std::string composeUsageBody(const RunState& state);

// What stands there when a run stopped before the body was composed.
extern const char* const kEmptyUsageBody;

// The whole summary: one line of JSON ending in LF.
std::string usageSummaryText(const std::string& version, int returnCode, const std::string& body);
