// The state a REAPER build of a plug-in is given: bytes copied from the
// session's record, framed as that build takes them (a VST3 build holds a
// component and a controller state; JUCE and VstW frames; makers whose builds
// store settings their own way). Rules exist only for what has been measured:
// everything else gives an empty state, and the caller reports it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "session/image.h"

struct PluginInstance;
struct PluginRow;

struct StateRequest {
    const ImageView* view = nullptr;
    bool trackHasMidi = false;
    bool keepPluginMidi = false;  // --keep-plugin-midi
    bool kontaktState = true;     // off under --no-kontakt-state
    bool movedToVst2 = false;     // the key was moved to a VST2 build by --prefer-vst2
};

struct PluginState {
    std::vector<uint8_t> bytes;  // empty: the settings cannot be carried
    bool unreadable = false;     // the state's own length, count or stream does not hold
    int midiCorrections = 0;     // MIDI trigger controls written as 1.0
};

// The same instance and row give the same state every time.
PluginState buildPluginState(const PluginInstance& instance, const PluginRow& row, const StateRequest& request);

// A "{" in the identity: the build is VST3.
bool isVst3Row(const PluginRow& row);

// FabFilter Pro-C 2 and Saturn 2 on a track that carries MIDI: their MIDI
// trigger control (index 42 and 699 of the "FFBS" block), when 0.0, becomes
// 1.0. True when it was changed.
bool switchOffMidiTrigger(std::vector<uint8_t>& state, const std::string& signature);

// A control that moves in steps: its value is stored as the step's number.
struct SteppedControl {
    std::string signature;
    uint32_t index = 0;
    uint32_t steps = 0;
};
const std::vector<SteppedControl>& steppedControls();
