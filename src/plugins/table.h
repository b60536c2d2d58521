// The plug-in table: what a signature key becomes in REAPER. Three stores feed
// one lookup: rows the matching pass built to replace a built-in row, the
// built-in rows, and learned rows (trellum-plugins.txt and the matching pass).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct PluginRow {
    std::string signature;  // the signature key the row answers for, compared whole
    std::string name;       // the plug-in's name for reports
    std::string display;    // the display name of the <VST line; may be empty
    std::string file;       // the file column of the <VST line
    std::string identity;   // the identity text; empty when the row knows the name only
    uint32_t pinsIn = 2;
    uint32_t pinsOut = 2;
    uint32_t tailWord = 0;
    uint32_t stateSize = 0;       // not 0: the state holds at least this many bytes, this many are copied
    std::vector<uint8_t> prefix;  // fixed bytes before a rebuilt state
    std::vector<uint8_t> suffix;  // fixed bytes behind it
    uint32_t rebuiltBody = 0;
    std::string program;          // program name of the state tail; empty when absent
    uint32_t stateRule = 0;       // 1: a flat array of floats
    uint32_t flatCount = 0;       // 0 stands for 20
    uint32_t flatZeros = 0;
};

// A plug-in known to have no build for REAPER.
struct AaxOnlyRow {
    std::string signature;  // compared on at most its first 8 bytes
    std::string what;       // words for the plug-in in reports
    bool processesAudio = false;
};

// What trellum-plugins.txt or a successful match adds.
struct LearnedEntry {
    std::string signature;
    std::string name;
    std::string display;
    std::string file;
    std::string identity;
    std::string program;
    bool classKnown = true;  // unset for a VST3 entry whose class id the list does not hold
};

struct PluginTables {
    std::vector<PluginRow> overrides;        // built by the matching pass over a built-in row
    std::vector<PluginRow> learned;          // from trellum-plugins.txt, then from the matching pass
    std::vector<LearnedEntry> matchedEntries;  // what the matching pass found, in key order
};

const std::vector<PluginRow>& builtInPluginRows();
const std::vector<AaxOnlyRow>& aaxOnlyRows();

// The first built-in row with this signature key, of any kind; null for none.
const PluginRow* builtInRow(const std::string& key);
// The row a key converts by: overrides, built-in rows with an identity, learned
// rows, built-in rows of any kind. Null when none answers.
const PluginRow* findRow(const PluginTables& tables, const std::string& key);
// False when a match named a VST3 entry whose class id the cache does not hold.
bool classKnown(const PluginTables& tables, const std::string& key);

// The row of the AAX-only list for a signature (its first 8 bytes); null for none.
const AaxOnlyRow* aaxOnlyRow(const std::string& signature);
// REAPER cannot load this plug-in in any form: the AAX-only list or the Avid family.
bool isAaxOnly(const std::string& signature);
// The maker: the row's display name, else "Avid" for the Avid family, else empty.
std::string pluginMaker(const PluginRow* row, const std::string& signature);

// trellum-plugins.txt beside the program: its rows join the learned rows.
// Returns the number of lines taken.
int loadLearnedEntries(const std::string& programPath, PluginTables& tables);
