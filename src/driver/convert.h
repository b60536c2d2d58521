// The conversion entry: one session in, one project out, the words on the way.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "cli/console.h"

struct ConvertOptions {
    std::string sessionPath;
    // The path was joined from several arguments: the name reached the program unquoted.
    bool sessionPathJoined = false;
    std::string outputPath;
    std::string audioDir = "Audio Files";
    bool audioDirGiven = false;
    // Every --audio-dir given, in order: searched by file name with the session's
    // folder tree when a file is not where the session puts it.
    std::vector<std::string> audioDirs;
    std::string programPath;
    std::string vstIniPath;
    std::vector<std::string> paramFiles;
    std::string wantParamsPath;
    double tempoOverride = 0;
    bool keepAltTakes = true;
    bool listOnly = false;
    bool noStretch = false;
    bool recoverDeleted = false;
    bool checkOnly = false;
    bool keepFadeClips = false;
    bool noFades = false;
    bool noClick = false;
    bool writeReport = false;
    bool dumpCache = false;
    bool dumpCc = false;
    bool noSidechain = false;
    bool placeholders = true;
    bool overwrite = false;
    bool preferVst3 = true;
    bool keepPluginMidi = false;
    bool aaxSlots = true;
    bool skipMissingFx = false;
    bool kontaktState = true;
    bool preferClap = false;
    bool tempoRamps = false;
    bool keepFrozen = false;
    bool keepInaudibleMidi = false;
    bool truncateMidiToClip = false;
    bool noTrackColors = false;
    bool noClipColors = false;
    bool noStandIns = false;
    bool noAra = false;
    bool skipHiddenTracks = false;
    bool skipInactiveTracks = false;
    std::string usageJsonPath;
    bool usageShared = false;
    int bypassedFxMode = 0;
    int commentsMode = 1;
    int ptTheme = 0;
    // The in-memory road: no file beside the session or the program is read.
    bool inMemory = false;
    // Folder that receives the plug-in chunk corpus, empty for none.
    std::string corpusDir;
};

struct ConvertResult {
    std::string consoleText;
    std::string reportText;
    std::string reportPath;
    // The last four keys of the usage summary, composed when usageJsonPath is
    // set; empty when the run stopped before it was composed.
    std::string usageBody;
};

// Returns 0 when the project was written (or the check or list finished), 1 when
// the run was refused or failed; the reason has gone through say().
int convert(const ConvertOptions& options, ConvertResult* result, ptxgui::Progress* progress);

// The same road from the bytes of a session file to the project text, all in
// memory: no file is read or written and no media is looked up. sessionPath
// only names the session in what is said.
int convertInMemory(const ConvertOptions& options, const std::vector<uint8_t>& fileBytes, std::string& projectText,
                    ConvertResult* result);
