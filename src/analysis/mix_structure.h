// What the group, colour and folder passes leave for the writer and the notes.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

// The REAPER group bits of one track, one bit per written group.
struct TrackGroupBits {
    uint32_t volume = 0;
    uint32_t mute = 0;
    uint32_t solo = 0;
    uint32_t fourth = 0;
    uint32_t vcaLead = 0;
    uint32_t vcaFollow = 0;
};

struct GroupTables {
    std::map<std::string, TrackGroupBits> bits;  // by the strip's name in the track table
    std::map<std::string, double> vcaLevelDb;    // VCA master name: its level
    std::vector<std::string> decoded;            // live groups, in file order
    int written = 0;                             // mix groups that link a member's volume, mute or solo
    std::vector<std::string> linkless;           // mix groups given a bit that link nothing carried
    std::vector<std::pair<std::string, double>> vcaMasters;  // VCA groups written: master and level
    std::vector<std::string> unresolvedVcas;
    std::vector<std::string> editGroups;
    std::vector<std::string> unknownTypeGroups;
    std::vector<std::string> masterFaderGroups;  // groups holding the Master Fader
    std::vector<std::string> ignoredNames;       // listed once: stale, sorted
    int pastLimit = 0;                           // groups past the first 32
    std::vector<std::pair<std::string, std::string>> uncarried;  // group: "#5, #6"
    int stripsSaid = -1;      // the largest <ALL> group, when it differs from the track table
    int stripsFound = 0;
    int masterFaders = 0;     // Master Fader rows in the track table
};

struct ColourTables {
    std::map<std::string, int32_t> explicitTrackColour;  // palette index a track stores
    std::map<std::string, int32_t> schemeTrackColour;    // palette index the display scheme gives
    std::map<std::string, uint32_t> displayRows;         // stored display row above 0, by track name
    std::set<std::string> offPalette;  // tracks storing a value that is not on the track palette
    int groupsWithoutSlot = 0;
    int withoutDisplayRow = 0;
    int pastRow26 = 0;
    int midiWithoutOutput = 0;
    int feedingPluginInstrument = 0;
    bool videoUnderRowScheme = false;
    int laneClipsBorrowed = 0;   // lane clips given the colour of their recording
};

// The ISBUS pair of one track: 0 0, 1 1 (opens a folder) or 2 -n (closes n).
struct FolderWord {
    int first = 0;
    int second = 0;
};

struct FolderTables {
    int tableState = -1;  // -1 no folder row; 0 the table could not be read or drawn; 1 drawn
    std::vector<FolderWord> words;   // by output track index
    std::set<size_t> routingFolders; // output track indices of Routing folder tracks
    int folderRows = 0;
    int routing = 0;
    int basic = 0;
    int empty = 0;
    int nested = 0;
    int plainRouting = 0;
    int notPlaced = 0;               // may have been nested, arrive beside the other folder
    std::vector<std::string> movedToMain;
    std::vector<std::string> movedOut;        // Basic folders out of a Routing folder
    std::vector<std::string> couldNotMove;
    std::vector<std::string> couldNotWrite;
};
