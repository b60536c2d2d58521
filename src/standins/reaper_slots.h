// REAPER's own ReaEQ, ReaComp and ReaGate, and JS effects, as slots of an FX
// chain: the saved state synthesised byte for byte from numbers, never copied.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

// One ReaEQ band as the EQ stages hold it.
struct ReaEqBand {
    uint32_t type = 8;  // 0 low shelf, 1 high shelf, 3 low pass, 4 high pass, 6 notch, 7 band-pass, 8 bell
    bool enabled = true;
    double frequency = 1000.0;  // Hz
    double gainDb = 0.0;
    double width = 1.0;  // octaves of bandwidth, or the shelf's width
};

// The 21 detector floats of ReaComp or ReaGate, as written.
struct DetectorState {
    float values[21] = {};
};

// What every slot of a stand-in shares: where it stands and how it is marked.
struct SlotPlace {
    int depth = 3;         // indent in steps of two blanks: 3 in a track chain, 4 in a take's
    uint32_t seed = 0;     // FXID seed
    bool bypassed = false;
    std::string title;     // "name (product)"
    std::string preset;    // no PRESETNAME line when empty
};

// Little-endian words and doubles, as REAPER's own states hold them.
void putWord(std::vector<uint8_t>& out, uint32_t value);
void putDouble(std::vector<uint8_t>& out, double value);

// "name (product)", the form of every stand-in slot's title.
std::string slotTitle(const std::string& name, const std::string& product);

// The state and header bytes, and the slot text that holds them.
std::vector<uint8_t> reaEqState(const std::vector<ReaEqBand>& bands, double outputGainDb);
std::vector<uint8_t> reaEqHeader(uint32_t stateSize);
std::vector<uint8_t> detectorState(const DetectorState& detector);
// gate: ReaGate, else ReaComp; keyPair: the slot's key pair index, 0 for none.
std::vector<uint8_t> detectorHeader(bool gate, uint32_t keyPair, uint32_t stateSize);

std::string writeReaEqSlot(const std::vector<ReaEqBand>& bands, double outputGainDb, const SlotPlace& place);
std::string writeDetectorSlot(bool gate, const DetectorState& detector, uint32_t keyPair, const SlotPlace& place);
// Any of REAPER's own VST plug-ins: BYPASS, the <VST block with its header,
// state and the stock tail, then the lines after it.
struct ReaperVst {
    const char* display;
    const char* file;
    const char* identity;
};
std::string writeReaperVstSlot(const ReaperVst& plugin, const std::vector<uint8_t>& header,
                               const std::vector<uint8_t>& state, const SlotPlace& place);
// parameters: the text of the first parameterCount values; " -" fills up to 64.
std::string writeJsSlot(const std::string& file, const std::string& parameters, int parameterCount,
                        const SlotPlace& place);
// "utility/volume" at gainDb.
std::string writeVolumeSlot(double gainDb, const SlotPlace& place);

// A float from its bits, for the detector's fixed values.
float floatFromBits(uint32_t bits);
