// What a stock processor's stand-in is given and what it gives back: the slot
// text of every slot it becomes, and the notes for the report.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

struct StandinPlace {
    int depth = 3;              // 3 in a track chain (six blanks), 4 in a take's chain
    uint32_t seedBase = 0;      // standinSeedBase of the instance
    int slotCount = 0;          // slots of this instance written so far
    bool bypassed = false;
    bool keyWired = false;      // a key input reaches the slot
    uint32_t keyPair = 0;       // the slot's key pair index, 0 for none
    int trackChannels = 2;
    double sampleRate = 0.0;    // the session's; 0 or less counts as 48000
};

struct StandinResult {
    std::string text;                // the slots, in chain order
    std::vector<std::string> notes;  // each once, for the plug-in's note set
    std::vector<std::string> products;  // the REAPER plug-ins of its main slots, for the notes
    int slotCount = 0;               // the count after these slots
};

// The Avid plug-ins of a run written as REAPER's own: the notes and the report read it.
struct StandInTally {
    int written = 0;                                      // instances, Trims as Volume Adjustment included
    std::map<std::string, std::set<std::string>> became;  // Pro Tools name: the REAPER plug-ins it became
    std::map<std::string, int> notes;                     // note text: the instances that added it
};

// (recordStart AND 0xFFFFFF) XOR 0x53540000: the first FXID seed of an instance.
inline uint32_t standinSeedBase(uint64_t recordStart) {
    return uint32_t(recordStart & 0xFFFFFF) ^ 0x53540000u;
}

// Adds a note unless the result already holds it.
void addNote(StandinResult& result, const std::string& note);
