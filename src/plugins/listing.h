// --list: each insert under its track, with its slot, name, signature key,
// maker and the size of its record.
#pragma once

#include <string>
#include <vector>

struct PluginInstance;
struct PluginTables;
struct SessionModel;

// The inserts of one strip, a line each, in slot order.
void sayInsertsOfTrack(const std::string& trackName, const SessionModel& model, const PluginTables& tables);
// The inserts no track holds: those of no strip and those that could not be read.
void sayInsertsOnNoTrack(const SessionModel& model, const PluginTables& tables);
