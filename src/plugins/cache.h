// REAPER's lists of the plug-ins it has scanned on this machine: found beside
// the session, the program or in REAPER's resource folder, parsed into one
// ordered table. The program's only knowledge of what is installed.
#pragma once

#include <cstdint>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

struct PluginCacheEntry {
    std::string file;       // the plug-in file as the list gives it; for CLAP the section name
    std::string display;    // the name column without its instrument mark
    std::string shortName;  // display up to its last " ("
    std::string classId;    // 32 hex digits, or empty
    uint32_t vstId = 0;     // 0 for CLAP
    bool isInstrument = false;
    bool isVst3 = false;
    bool isClap = false;
    std::string clapId;
};

struct PluginCache {
    std::vector<PluginCacheEntry> entries;  // VST lines in file order, then CLAP lines
    std::string path;                       // the VST list used; empty when none yielded an entry
    int linesNotUnderstood = 0;             // of the lists used: junk, lines without "=" or without a name
    int linesPastLimit = 0;                 // lines behind the last entry a list may give
};

// No list REAPER writes comes near this many entries; the lines behind it are counted, not read.
constexpr size_t kMostCacheEntries = 100000;

// What one list gave: its entries, and the lines that were neither entries nor
// REAPER's own records of plug-ins it could not scan.
struct ListReading {
    std::vector<PluginCacheEntry> entries;
    int notUnderstood = 0;
    int pastLimit = 0;  // lines behind the kMostCacheEntries-th entry
};
ListReading readVstList(std::FILE* file);
ListReading readClapList(std::FILE* file);

// The paths tried for the VST list, in order; appData and home may be null.
std::vector<std::string> cacheCandidates(const std::string& vstIniPath, const std::string& sessionPath,
                                         const std::string& programPath, const char* appData, const char* home);
// The first candidate that yields an entry, then the CLAP list beside it.
PluginCache loadPluginCache(const std::string& vstIniPath, const std::string& sessionPath,
                            const std::string& programPath);

// Whether REAPER has the build an identity text names; yes when there is no cache.
bool isInstalled(const PluginCache& cache, const std::string& identity);
// --dump-cache: every entry with its display name and identity.
void sayCacheDump(const PluginCache& cache);

// Each line of a file without its trailing "\r" and "\n", read as a 4096-byte
// line buffer reads it: a longer line comes in pieces of 4095 bytes.
void forEachListLine(std::FILE* file, const std::function<void(std::string&)>& take);
