// The FX chains of the project: a track's inserts become slots of its
// <FXCHAIN (the master's of <MASTERFXLIST), each instance accounted for by an
// outcome: written with its settings, written as a named empty slot with the
// reason, or left out with the reason.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "plugins/state_rules.h"
#include "standins/standin.h"
#include "standins/surround_pan.h"

class ProjectText;
struct ImageView;
struct PluginInstance;
struct PluginRow;
struct RunState;
struct SessionModel;
struct ConvertOptions;
struct EqFitRun;

// Where a chain goes and what it needs of its track.
struct ChainPlace {
    std::string trackName;
    std::string blockName = "FXCHAIN";  // "MASTERFXLIST" for the master
    // The indent of the chain's slots in steps of two blanks: the master's chain
    // stands one level higher than a track's.
    int slotDepth() const { return blockName == "FXCHAIN" ? 3 : 2; }
    int width = 0;                      // the track's channels; 0 when not known
    bool carriesMidi = false;
    bool pinFlags = false;  // the track's plug-ins read key channels: the last slot passes them by
    int polaritySide = 0;   // a Trim flips one side only: 1 left, 2 right; its slot goes first
    std::optional<SurroundPanSlot> surround;  // ReaSurroundPan, the last slot
    bool surroundStereo = false;
};

enum class ChainSlotKind { plugin, marker, trim, standIn };

// A slot the first pass kept, for the second to write: the instance, its
// outcome in the run's list, and what goes into the slot.
struct ChainSlot {
    const PluginInstance* instance = nullptr;
    size_t outcome = 0;
    ChainSlotKind kind = ChainSlotKind::plugin;
    const PluginRow* row = nullptr;  // plugin: the matched row
    PluginState built;               // plugin: the state, empty when not carried
    std::string standIn;             // standIn: the finished text of its slots, six blanks in
    double trimGainDb = 0;           // trim: the gain the Volume Adjustment carries
};

// The REAPER plug-ins that stand in for a stock processor whose control
// values can be read (EQ3 onto ReaEQ, Dyn3 onto ReaComp or ReaGate, Channel
// Strip onto a chain of them): their text, what they are, and the notes of
// what the stand-in could not carry; none for any other.
std::optional<StandinResult> standInSlotText(RunState& state, const PluginInstance& instance, const ChainPlace& place);

// Fits the EQ3 bands of every instance the chains will write as a stand-in,
// on the machine's cores, before the first chain is written.
void prefitStandIns(const SessionModel& model, const ConvertOptions& options, EqFitRun& run);

// The named controls of a Channel Strip's "elck" chunk; empty unless they are
// a Channel Strip's state.
std::map<std::string, double> channelStripControls(const ImageView& view, const PluginInstance& instance);

// Writes one kept slot, the key channels passed by when pinFlags is set, and
// counts it in the tallies.
void writeChainSlot(RunState& state, ProjectText& text, ChainSlot& slot, const ChainPlace& place, bool pinFlags);

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
