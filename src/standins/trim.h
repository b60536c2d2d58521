// Avid Trim, which has no VST build: its gain sits in the same slot as REAPER's
// Volume Adjustment, its polarity on the track's own switch, and a flip of one
// side of a stereo track as a Channel Polarity Control slot first in the chain.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>

struct PluginInstance;

// What the Trim scan leaves, by instance and by the name of the track that holds it.
struct TrimTables {
    std::map<uint64_t, double> gainDb;     // by recordStart: the first copy's gain
    std::map<std::string, int> flips;      // Trims flipping the whole track
    std::map<std::string, int> leftFlips;  // unlinked Trims flipping the first channel
    std::map<std::string, int> rightFlips; // unlinked Trims flipping the second channel
    int instances = 0;
    int gainsBelowCurve = 0;     // extended below the lowest measured point
    int unlinkedGains = 0;       // a later copy with another gain than the first
    int mixedSurroundFlips = 0;  // three or more copies that do not all flip alike
    int offWithPolarity = 0;     // bypassed or inactive, with polarity on
};

// What the writer did with Trim: tracks whose polarity found a switch, the
// one-sided flips carried or dropped, the slots written.
struct TrimWriting {
    std::set<std::string> polarityUsed;
    std::set<std::string> cancelled;        // an even number of flips on both sides
    std::set<std::string> oneSidedWritten;  // a Channel Polarity Control slot went first in the chain
    std::set<std::string> oneSidedDropped;  // --no-stand-ins left that flip out
    int gainSlots = 0;
    int wideKept = 0;  // on a track of three or more channels: the AAX slot stays
};

// The gain in dB of a Trim gain word, on the measured curve; a word below it
// continues the first segment and sets belowCurve.
double trimGainDbOfWord(int32_t word, bool& belowCurve);

// Enters one Trim instance of the named track in the tables.
void scanTrim(const PluginInstance& instance, const std::string& track, TrimTables& tables);

// The polarity of a track from its Trims, by its key and a second name.
struct TrimPolarity {
    int trackSwitch = 0;  // IPHASE
    int oneSided = 0;     // 1: only the left channel flips, 2: only the right
};
TrimPolarity trackPolarity(const TrimTables& tables, const std::string& key, const std::string& second,
                           TrimWriting& writing);

// The Channel Polarity Control slot that flips one side (1 left, 2 right).
std::string trimPolaritySlot(const std::string& trackName, int side);
// Trim's gain as a Volume Adjustment slot; off: the instance was bypassed or
// inactive; pinFlags: the slot passes the key channels by.
std::string trimGainSlot(double gainDb, bool off, uint64_t recordStart, bool pinFlags, int depth = 3);
