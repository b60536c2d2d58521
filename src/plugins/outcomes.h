// What became of each insert: one outcome per instance the chain writer looked
// at, in the order it looked, and the run-wide tallies by plug-in name that the
// notes, the report and the usage summary read.
#pragma once

#include <map>
#include <string>
#include <vector>

enum class OutcomeStatus {
    settings = 0,       // written with its settings
    defaults = 1,       // written at its defaults, offline
    aaxOnly = 2,        // no build for REAPER: a marker slot, unless --no-aax-slots
    unknown = 3,        // not recognised: no slot
    skippedBypass = 4,  // left out by --skip-bypassed-fx
    noPlaceholder = 5,  // no settings, left out by --no-placeholders
    missing = 6,        // not installed, left out by --skip-missing-fx
};

struct PluginOutcome {
    std::string track;
    int slot = 0;                // place in the session's chain, from 1
    std::string plugin;          // the name for reports
    OutcomeStatus status = OutcomeStatus::unknown;
    std::string detail;          // the reason, told to the user
    bool notInstalled = false;   // the build is not in REAPER's lists
    int lanesWritten = 0;
    std::string format = "none"; // "vst3", "clap", "vst2", "reaper" or "none"
    std::string maker;
    bool wasInactive = false;
};

// The word the usage summary gives an outcome.
const char* outcomeWord(const PluginOutcome& outcome);

struct AaxOnlyTally {
    int count = 0;
    std::string what;
    bool processesAudio = false;
};

struct MissingTally {
    int count = 0;
    std::string display;
};

struct ChainTallies {
    std::map<std::string, int> all;
    std::map<std::string, int> atDefaults;
    std::map<std::string, int> leftOutNoSettings;
    std::map<std::string, int> unknown;
    std::map<std::string, AaxOnlyTally> aaxOnly;
    std::map<std::string, MissingTally> missingWritten;
    std::map<std::string, MissingTally> missingLeftOut;
    int classUnknownAtDefaults = 0;  // named from a VST3 entry whose class id REAPER's list lacks
    int markersWritten = 0;          // AAX-only slots left in place
    int bypassedCarried = 0;         // bypassed in the session, written bypassed
    int bypassedOffline = 0;         // of those, written offline (--offline-bypassed-fx)
    int inactiveOffline = 0;         // inactive in the session, written offline
    int masterInserts = 0;           // slots written on the master
    int avidKept = 0;                // Avid plug-ins kept in their slot by --no-stand-ins
    int midiTriggersOff = 0;
    std::vector<std::string> midiTriggerSlots;  // "track / plug-in", for the report
    bool corpusRefused = false;      // --dump-corpus could not write; said once
};
