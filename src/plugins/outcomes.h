// The run-wide tallies of what became of the inserts, by plug-in name, that the
// notes and the usage summary read; the outcomes themselves are a list of the run.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "reporting/plugin_outcome.h"

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
