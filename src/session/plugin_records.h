// Plug-in inserts as the session stores them: one 0x1038 block per instance,
// inside its strip's block, with the frame around its state (name, signature,
// key input, bypass), and the session's table of plug-in names.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "session/blocks.h"
#include "session/strips.h"

// One automation lane of an insert: a control's points in the session.
struct PluginLane {
    std::string name;     // the control's name as Pro Tools shows it
    int32_t number = 0;   // the lane's parameter number in the session
    bool inTicks = false; // point times are ticks, else samples
    double startValue = 0.5;
    std::string idText;   // the id the plug-in gave Pro Tools; may be empty
    std::vector<std::pair<int32_t, double>> points;  // (time, value 0 to 1)
};

struct PluginInstance {
    std::string signature;   // 8 characters, "." for a byte that is not printable
    std::string pluginName;  // up to 64 printable bytes
    uint64_t recordStart = 0;
    uint64_t payloadEnd = 0;
    int32_t channelSets = 1;  // above 1: unlinked multi-mono, one set of settings per channel
    uint64_t stripWindowStart = 0;
    uint64_t stripWindowEnd = 0;
    uint32_t ownerWord = 0;
    int32_t keyInput = -1;  // the key input's number, -1 for none
    bool bypassed = false;
    bool inactive = false;
    // The record runs past the block that holds it: named in a note, in no chain.
    bool unreadable = false;
    // What the state scan found: the kind of state (0: none recognised) and where
    // its bytes stand in the image.
    uint32_t stateForm = 0;
    uint64_t stateOffset = 0;
    uint64_t stateSize = 0;
    uint32_t stateWords[4] = {0, 0, 0, 0};  // form 8: the four words in front of the data
    std::string chunkLabel;                 // form 13: what the classifier found
    int chunkCopies = 1;                    // 2 when the chunk stands twice in a row
    // A recognised state whose own length or count runs past the record.
    bool stateDamaged = false;
    // Form 5: the control values, and the AAX chunks behind "elck".
    std::vector<float> controlValues;
    uint64_t innerOffset = 0;
    uint64_t innerSize = 0;
    std::string innerLabel;
    int innerCopies = 1;
    int innerCount = 0;
    // Form 9, a Waves shell: the product inside it, its name and active setup.
    std::string subComponent;
    std::string wavesName;
    std::string setupName;
    std::vector<PluginLane> lanes;
    // Avid Trim ("DigiTrim"): each copy of its controls, one per channel, gives
    // a gain word and a polarity word (big-endian, in copy order).
    std::vector<int32_t> trimGainWords;
    std::vector<uint32_t> trimPolarityWords;
};

// Every instance with its lanes, sorted by recordStart.
std::vector<PluginInstance> readPluginInstances(const SessionImage& image);

// Signature to the name the session's own table gives it; the first entry stands.
std::map<std::string, std::string> readStoredPluginNames(const SessionImage& image);

// The first present strip whose row lies inside the instance's window; null for none.
const StripRow* stripOfInstance(const PluginInstance& instance, const std::vector<StripRow>& strips);
// Each readable instance under its strip, in record order; the place in a
// strip's list, from 1, is its slot.
std::map<std::string, std::vector<PluginInstance>> bindInstancesToStrips(const std::vector<PluginInstance>& instances,
                                                                         const std::vector<StripRow>& strips);
