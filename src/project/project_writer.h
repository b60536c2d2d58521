// The project file: head, tempo, markers, master, tracks, closing line.
#pragma once

#include <cstdint>
#include <cstdio>
#include <set>
#include <string>
#include <vector>

#include "melodyne/ara_merge.h"

class ProjectText;
struct RunState;

// One pass of writing: where the text goes, and what carries over from track to track.
struct ProjectWriter {
    RunState& state;
    ProjectText& text;
    std::uint32_t takeIndex = 0;              // audio items written so far in the run; seeds take GUIDs
    std::set<std::string> namesWithTrack;     // buses of these names get no return track
    bool dumpClipColours = false;             // PTX_DUMP_CLIPCOL is set
    std::vector<EditEntry> araEdits;          // items written with Melodyne edits, in order
    std::set<std::string> stripsWithChain;    // strips whose inserts were written as a chain
};

// Writes the whole project in one pass, and sets the track and item counters.
void writeProject(RunState& state, std::FILE* file);
void writeProjectText(RunState& state, ProjectText& text);
