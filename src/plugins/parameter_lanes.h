// Plug-in automation lanes onto the parameters of the REAPER build: each lane
// placed by the number the plug-in gave Pro Tools, by its name in the tables of
// trellum-params.tsv, by a maker's known offset, or written switched off and
// titled "ASSIGN: " on its most likely knob.
#pragma once

#include <map>
#include <set>
#include <string>

class ProjectText;
struct PluginInstance;
struct PluginRow;
struct RunState;
struct ChainSlot;

// Parameter names by plug-in name, and by plug-in name and build.
struct ParameterNames {
    std::map<std::string, std::map<int, std::string>> byPlugin;
    std::map<std::string, std::map<std::string, std::map<int, std::string>>> byBuild;
};

// What became of the lanes of a run, for the notes.
struct LaneCounts {
    int byNumber = 0;     // placed by the plug-in's own parameter number
    int byName = 0;       // placed by the name tables
    int points = 0;       // points written on active lanes
    int bypassLanes = 0;  // "Global Bypass" / "Master Bypass" lanes, not written
    std::map<std::string, int> assign;          // written off, titled "ASSIGN", by plug-in
    std::map<std::string, int> lostAtDefaults;  // on slots that carry no settings or no slot
    std::map<std::string, int> lostOnStandIns;  // on Avid plug-ins rebuilt with REAPER's own
};

// Reads one table file into names; gives the lines taken, 0 when it can't be opened.
int readParameterTable(const std::string& path, ParameterNames& names);
// After the last file: a plug-in listed for several builds keeps only the
// entries on which all its builds agree.
void finishParameterTables(ParameterNames& names);

// Lanes and points written on one slot.
struct SlotLanes {
    int lanes = 0;
    int points = 0;
};
// Writes the <PARMENV blocks of an instance inside its slot; row may be null.
SlotLanes writeParameterLanes(RunState& state, ProjectText& text, const PluginInstance& instance,
                              const PluginRow* row);

// The lanes of a slot that writes none, counted as not carried under name:
// bypass lanes as bypass lanes, the others in the tally given.
void countLanesLost(const PluginInstance& instance, const std::string& name, std::map<std::string, int>& tally,
                    LaneCounts& counts);

// A kept slot's lanes: written behind a plug-in that carries its settings and
// stored on its outcome; counted as not carried on any other slot.
void carrySlotLanes(RunState& state, ProjectText& text, const ChainSlot& slot);
