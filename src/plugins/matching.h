// Matching: a session's signature becomes a build REAPER has scanned. The rules
// run once per distinct signature key, against an index of the cache built
// once, and leave their result as rows in the plug-in table.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <unordered_map>
#include <vector>

#include "plugins/cache.h"
#include "plugins/table.h"

struct PluginInstance;

// The cache entries by what the rules ask of them; each map holds the first
// entry in list order, so a lookup answers as a scan in order would.
struct CacheIndex {
    const std::vector<PluginCacheEntry>* entries = nullptr;
    std::vector<std::vector<uint8_t>> classBytes;             // decoded 32-digit class ids, else empty
    std::vector<std::string> makerKeys;                       // makerKey of each display
    std::unordered_map<std::string, int> compatByCode;        // class id "VST" + code
    std::unordered_map<uint32_t, int> vst2ById;               // non-CLAP, no class id
    std::unordered_map<uint32_t, int> noClassById;            // any entry without a class id
    std::unordered_map<std::string, int> vst3ByStem;          // VST3 with a 32-digit class id
    std::unordered_map<std::string, int> vst3ByClassTail;     // class id bytes 12-15
    std::unordered_map<std::string, std::vector<int>> vst3ByClassPart;  // every 4 bytes standing in the class id
    std::unordered_map<std::string, int> byShortKey;
    std::unordered_map<std::string, std::vector<int>> byDisplayKey;  // display without groups
    std::vector<std::pair<int, std::string>> partialKeys;     // display keys of 4 bytes or more
    std::unordered_map<std::string, int> clapByDisplayKey;
    std::unordered_map<std::string, std::vector<int>> clapByStem;
};
CacheIndex indexCache(const std::vector<PluginCacheEntry>& entries);

struct MatchResult {
    int index = -1;     // the cache entry, -1 for none
    std::string label;  // the rule that found it
};
// The rules for one signature, with the plug-in's name when one is known.
MatchResult matchPlugin(const CacheIndex& index, const std::string& signature, const std::string& name,
                        bool preferVst3);
// The name the session stores for a signature, when exactly one maker's plug-in has it.
MatchResult matchStoredName(const CacheIndex& index, const std::string& storedName);

struct KeptOnVst3 {
    std::string key;
    std::string name;
    int instances = 0;
};

// What the matching pass decided that the notes and the report tell.
struct MatchReport {
    int linesPrinted = 0;
    std::vector<KeptOnVst3> keptOnVst3;       // --prefer-vst2 left these on VST3
    std::vector<std::string> movedToVst2;     // keys moved to a VST2 build, sorted
    std::string kontaktDisplay;               // the Kontakt put in place of the table's, if any
    int kontaktInstances = 0;
    bool kontaktPredicted = false;
    int clapWritten = 0;                      // --prefer-clap moved these
    std::vector<std::string> keptOffClap;     // names that stay on their VST build
    std::vector<std::string> multiMono;       // "name on strip (n channels)", sorted
    std::vector<std::string> unreadable;      // "name on strip" of records that run past their block
};

struct MatchOptions {
    bool preferVst3 = true;
    bool preferClap = false;
};

// The state a row would be written with, for --prefer-clap; empty when it cannot be carried.
using StateProbe = std::function<std::vector<uint8_t>(const PluginInstance&, const PluginRow&)>;

// Every distinct key of the instances through the table and the rules, then
// --prefer-clap. Prints one line per row it builds; fills the tables and report.
void runMatchingPass(const std::vector<PluginInstance>& instances,
                     const std::map<std::string, std::string>& storedNames, const CacheIndex& index,
                     const MatchOptions& options, const StateProbe& probe, PluginTables& tables,
                     MatchReport& report);
