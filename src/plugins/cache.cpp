#include "plugins/cache.h"

#include <cstdlib>
#include <functional>

#include "cli/console.h"
#include "cli/options.h"
#include "plugins/identity.h"

namespace {

constexpr size_t kPieceLength = 4095;

}  // namespace

void forEachListLine(std::FILE* file, const std::function<void(std::string&)>& take) {
    std::string piece;
    char buffer[65536];
    auto finish = [&]() {
        while (!piece.empty() && (piece.back() == '\n' || piece.back() == '\r')) piece.pop_back();
        take(piece);
        piece.clear();
    };
    size_t got = 0;
    while ((got = std::fread(buffer, 1, sizeof buffer, file)) > 0) {
        for (size_t k = 0; k < got; ++k) {
            piece += buffer[k];
            if (buffer[k] == '\n' || piece.size() == kPieceLength) finish();
        }
    }
    if (!piece.empty()) finish();
}

namespace {

// Bytes no list line holds: a line with one is junk.
bool holdsControlBytes(const std::string& line) {
    for (char c : line) {
        const auto byte = static_cast<uint8_t>(c);
        if ((byte < 0x20 && byte != '\t') || byte == 0x7F) return true;
    }
    return false;
}

bool isHex(char c) { return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'); }

// A decimal number read the way strtoul reads it where unsigned long has 32
// bits, whatever this build's width: blanks, a sign, digits; too large is 0xFFFFFFFF.
uint32_t readUnsigned(const std::string& text, bool* sawDigit = nullptr) {
    size_t k = 0;
    while (k < text.size() && (text[k] == ' ' || (text[k] >= '\t' && text[k] <= '\r'))) ++k;
    bool negative = false;
    if (k < text.size() && (text[k] == '+' || text[k] == '-')) negative = text[k++] == '-';
    uint64_t value = 0;
    bool overflow = false;
    const size_t first = k;
    for (; k < text.size() && text[k] >= '0' && text[k] <= '9'; ++k) {
        value = value * 10 + uint64_t(text[k] - '0');
        if (value > 0xFFFFFFFFull) {
            overflow = true;
            value = 0xFFFFFFFFull;
        }
    }
    if (sawDigit) *sawDigit = k > first;
    if (overflow) return 0xFFFFFFFFu;
    const auto result = static_cast<uint32_t>(value);
    return negative ? static_cast<uint32_t>(0u - result) : result;
}

bool endsWith(const std::string& text, const std::string& tail) {
    return text.size() >= tail.size() && text.compare(text.size() - tail.size(), tail.size(), tail) == 0;
}

bool isVst3File(const std::string& file) {
    std::string lowered = file;
    for (char& c : lowered) c = (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
    return lowered.size() > 5 && endsWith(lowered, ".vst3");
}

// One line of a VST list: "file<classid>=stamp,id{classid},name!!!VSTi".
void readVstLine(const std::string& line, ListReading& reading) {
    if (line.empty() || line[0] == ';' || line[0] == '[') return;
    const size_t equals = line.find('=');
    if (equals == std::string::npos || holdsControlBytes(line)) {
        ++reading.notUnderstood;
        return;
    }
    const std::string key = line.substr(0, equals);
    const std::string value = line.substr(equals + 1);
    const size_t comma1 = value.find(',');
    const size_t comma2 = comma1 == std::string::npos ? comma1 : value.find(',', comma1 + 1);
    if (comma2 == std::string::npos) return;  // REAPER's record of a file it could not scan
    const std::string column2 = value.substr(comma1 + 1, comma2 - comma1 - 1);
    std::string name = value.substr(comma2 + 1);

    PluginCacheEntry entry;
    bool sawDigit = false;
    entry.vstId = readUnsigned(column2, &sawDigit);
    if (!sawDigit || (entry.vstId != 0 && name.empty())) {
        ++reading.notUnderstood;
        return;
    }
    if (entry.vstId == 0) return;  // a plug-in REAPER failed to scan
    if (name.size() > 7 && endsWith(name, "!!!VSTi")) {
        entry.isInstrument = true;
        name.resize(name.size() - 7);
    }
    const size_t open = key.find('<');
    entry.file = key;
    if (open != std::string::npos && key.back() == '>') {
        entry.classId = key.substr(open + 1, key.size() - open - 2);
        entry.file = key.substr(0, open);
    } else if (open != std::string::npos) {
        const std::string tail = key.substr(open + 1);
        bool digits = !tail.empty();
        for (char c : tail) digits = digits && c >= '0' && c <= '9';
        if (digits) entry.file = key.substr(0, open);
    }
    const size_t brace = column2.find('{');
    if (entry.classId.empty() && brace != std::string::npos) {
        std::string inBraces = column2.substr(brace + 1);
        while (!inBraces.empty() && inBraces.back() == '}') inBraces.pop_back();
        bool hex = inBraces.size() == 32;
        for (char c : inBraces) hex = hex && isHex(c);
        if (hex) entry.classId = inBraces;
    }
    entry.display = name;
    entry.shortName = shortNameOf(name);
    entry.isVst3 = isVst3File(entry.file);
    reading.entries.push_back(std::move(entry));
}

// One line of a CLAP list: "[file]" sections, then "clap.id=flags|name".
void readClapLine(const std::string& line, std::string& section, ListReading& reading) {
    if (line.empty() || line[0] == ';') return;
    if (line[0] == '[') {
        const size_t close = line.find(']');
        section = close == std::string::npos ? std::string() : line.substr(1, close - 1);
        return;
    }
    const size_t equals = line.find('=');
    const size_t bar = equals == std::string::npos ? equals : line.find('|', equals + 1);
    if (equals == std::string::npos || equals == 0 || holdsControlBytes(line)) {
        ++reading.notUnderstood;
        return;
    }
    const std::string key = line.substr(0, equals);
    if (key == "_") return;  // the file's own record
    if (bar == std::string::npos || bar + 1 == line.size()) {
        ++reading.notUnderstood;
        return;
    }
    PluginCacheEntry entry;
    entry.isInstrument = (readUnsigned(line.substr(equals + 1, bar - equals - 1)) & 1) != 0;
    entry.display = line.substr(bar + 1);
    entry.shortName = shortNameOf(entry.display);
    entry.file = section;
    entry.clapId = key;
    entry.isClap = true;
    reading.entries.push_back(std::move(entry));
}

}  // namespace

ListReading readVstList(std::FILE* file) {
    ListReading reading;
    forEachListLine(file, [&](std::string& line) {
        if (reading.entries.size() < kMostCacheEntries) {
            readVstLine(line, reading);
        } else if (!line.empty()) {
            ++reading.pastLimit;
        }
    });
    return reading;
}

ListReading readClapList(std::FILE* file) {
    ListReading reading;
    std::string section;
    forEachListLine(file, [&](std::string& line) {
        if (reading.entries.size() < kMostCacheEntries) {
            readClapLine(line, section, reading);
        } else if (!line.empty()) {
            ++reading.pastLimit;
        }
    });
    return reading;
}

std::vector<std::string> cacheCandidates(const std::string& vstIniPath, const std::string& sessionPath,
                                         const std::string& programPath, const char* appData, const char* home) {
    static const char* const kNames[] = {"reaper-vstplugins_arm64.ini", "reaper-vstplugins_aarch64.ini",
                                         "reaper-vstplugins64.ini", "reaper-vstplugins.ini"};
    // Each place is a folder and what follows it; a place whose folder is empty is skipped.
    std::vector<std::pair<std::string, std::string>> places = {
        {folderOf(sessionPath), "/"}, {folderOf(programPath), "/"}, {".", "/"}};
    for (const char* variable : {appData, home}) {
        if (variable == nullptr) continue;
        for (const char* place : {"/REAPER/", "/Library/Application Support/REAPER/", "/.config/REAPER/"}) {
            places.emplace_back(variable, place);
        }
    }
    std::vector<std::string> candidates;
    if (!vstIniPath.empty()) candidates.push_back(vstIniPath);
    for (const char* name : kNames) {
        for (const auto& [folder, tail] : places) {
            if (!folder.empty()) candidates.push_back(folder + tail + name);
        }
    }
    return candidates;
}

PluginCache loadPluginCache(const std::string& vstIniPath, const std::string& sessionPath,
                            const std::string& programPath) {
    PluginCache cache;
    for (const std::string& path :
         cacheCandidates(vstIniPath, sessionPath, programPath, std::getenv("APPDATA"), std::getenv("HOME"))) {
        std::FILE* file = std::fopen(path.c_str(), "rb");
        if (!file) continue;
        ListReading reading = readVstList(file);
        std::fclose(file);
        if (reading.entries.empty()) continue;
        cache.entries = std::move(reading.entries);
        cache.path = path;
        cache.linesNotUnderstood = reading.notUnderstood;
        cache.linesPastLimit = reading.pastLimit;
        break;
    }
    if (cache.entries.empty()) return cache;

    const size_t cut = cache.path.find_last_of("/\\");
    const std::string folder = cut == std::string::npos ? std::string() : cache.path.substr(0, cut + 1);
    for (const char* name : {"reaper-clap-win64.ini", "reaper-clap-win32.ini", "reaper-clap-macos-arm64.ini",
                             "reaper-clap-macos-x86_64.ini", "reaper-clap-linux-x86_64.ini",
                             "reaper-clap-linux-aarch64.ini"}) {
        std::FILE* file = std::fopen((folder + name).c_str(), "rb");
        if (!file) continue;
        ListReading reading = readClapList(file);
        std::fclose(file);
        if (reading.entries.empty()) continue;
        for (PluginCacheEntry& entry : reading.entries) cache.entries.push_back(std::move(entry));
        cache.linesNotUnderstood += reading.notUnderstood;
        cache.linesPastLimit += reading.pastLimit;
        break;
    }
    return cache;
}

bool isInstalled(const PluginCache& cache, const std::string& identity) {
    if (cache.entries.empty() || identity.empty()) return true;
    const uint32_t id = readUnsigned(identity);
    std::string classText;
    const size_t open = identity.find('{');
    const size_t close = open == std::string::npos ? open : identity.find('}', open + 1);
    if (close != std::string::npos) classText = identity.substr(open + 1, close - open - 1);
    for (const PluginCacheEntry& entry : cache.entries) {
        if (entry.isClap) {
            if (entry.clapId == identity) return true;
        } else if ((id != 0 && id == entry.vstId) || (!classText.empty() && classText == entry.classId)) {
            return true;
        }
    }
    return false;
}

void sayCacheDump(const PluginCache& cache) {
    say("  --- plug-in cache dump ---\n");
    for (const PluginCacheEntry& entry : cache.entries) {
        say("    %-46s %s\n      %s\n", entry.file.c_str(), displayName(entry).c_str(), identityText(entry).c_str());
    }
    say("  --- %d entries ---\n\n", static_cast<int>(cache.entries.size()));
}
