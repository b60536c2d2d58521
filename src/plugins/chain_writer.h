// The FX chains of the project: a track's inserts become slots of its
// <FXCHAIN (the master's of <MASTERFXLIST), each instance accounted for by an
// outcome: written with its settings, written as a named empty slot with the
// reason, or left out with the reason.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

class ProjectText;
struct PluginInstance;
struct RunState;

// Where a chain goes and what it needs of its track.
struct ChainPlace {
    std::string trackName;
    std::string blockName = "FXCHAIN";  // "MASTERFXLIST" for the master
    int width = 0;                      // the track's channels; 0 when not known
    bool carriesMidi = false;
    bool pinFlags = false;  // the track's plug-ins read key channels: the last slot passes them by
};

// Two passes over the inserts: the first decides each one's outcome, the
// second writes the slots. Returns the number of slots; with none nothing is written.
int writeFxChain(RunState& state, ProjectText& text, const std::vector<PluginInstance>& instances,
                 const ChainPlace& place);

// The <TAKEFX block of a take: its head, then the slots that `slots` writes
// (Melodyne's, a clip's effects), in that order.
void writeTakeChain(ProjectText& text, const std::function<void(ProjectText&)>& slots);

// The data lines of a <VST block: the header (id, pins, state size), the state
// in base64, and the tail with the program name.
struct VstStateLines {
    uint32_t id = 0;
    std::vector<uint64_t> inputMasks;
    std::vector<uint64_t> outputMasks;
    std::vector<uint8_t> state;
    uint32_t tailWord = 0;
    std::string program;
};
void writeVstStateLines(ProjectText& text, const VstStateLines& lines);
