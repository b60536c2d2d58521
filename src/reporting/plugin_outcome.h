// One decision per plug-in instance the FX chain writer looked at, in the
// order it looked; the report and the tallies it prints are read from the list.
#pragma once

#include <string>

enum class OutcomeStatus {
    settings = 0,          // written with its settings
    defaults = 1,          // written at its defaults, offline
    aaxOnly = 2,           // no VST/VST3 build exists
    notRecognised = 3,     // matched to no REAPER plug-in
    leftOutBypassed = 4,   // --skip-bypassed-fx
    leftOutNoState = 5,    // no settings, --no-placeholders
    leftOutMissing = 6,    // not installed, --skip-missing-fx
};

struct PluginOutcome {
    std::string track;
    int slot = 0;                  // position in the session's chain, from 1
    std::string plugin;            // the name for reports
    OutcomeStatus status = OutcomeStatus::settings;
    std::string detail;            // the reason, told to the user
    bool notInstalled = false;     // the build is not in REAPER's lists
    int lanesWritten = 0;          // parameter lanes written on the slot
    int pointsWritten = 0;         // and their points
    std::string format = "none";   // "vst3", "clap", "vst2", "reaper" or "none"
    std::string maker;
    bool wasInactive = false;
    std::string display;           // the build to install, for a plug-in not installed
    bool processesAudio = false;   // an AAX-only plug-in that touched the sound
};
