#include "plugins/identity.h"

#include <cstring>

#include "cli/console.h"
#include "plugins/cache.h"
#include "session/plugin_records.h"

namespace {

// ASCII only, so that no locale changes a key.
char lowered(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }
bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isAlnum(char c) { return isDigit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

std::string hexOf(const std::vector<uint8_t>& bytes) {
    std::string hex;
    for (uint8_t byte : bytes) hex += formatText("%02X", byte);
    return hex;
}

// One or more digits, then exactly " out" or "ch": a channel group, not a maker.
bool isChannelGroup(const std::string& inside) {
    size_t digits = 0;
    while (digits < inside.size() && isDigit(inside[digits])) ++digits;
    if (digits == 0) return false;
    const std::string rest = inside.substr(digits);
    return rest == " out" || rest == "ch";
}

}  // namespace

std::string signatureKey(const PluginInstance& instance) {
    if (instance.stateForm == 9 && instance.subComponent.size() == 4) return instance.signature + instance.subComponent;
    return instance.signature;
}

bool isAvidFamily(const std::string& signature) {
    if (signature.size() < 4) return false;
    const std::string maker = signature.substr(0, 4);
    return maker == "Digi" || maker == "AVID" || maker == "Avid" || maker == "BFD " || maker == "TrLn";
}

std::string stockName(const std::string& key) {
    static const char* const kStock[][2] = {{"Digi47e3", "EQ3 7-Band"},
                                            {"Digi1be3", "EQ3 1-Band"},
                                            {"Digidn3c", "Dyn3 Compressor/Limiter"},
                                            {"Digidn3e", "Dyn3 Expander/Gate"},
                                            {"AVIDChSt", "Channel Strip"}};
    for (const auto& row : kStock) {
        if (key == row[0]) return row[1];
    }
    return std::string();
}

uint32_t productNumber(const std::string& signature) {
    if (signature.size() < 8) return 0;
    uint32_t number = 0;
    for (size_t k = 4; k < 8; ++k) number = (number << 8) | static_cast<uint8_t>(signature[k]);
    return number;
}

std::string codeOfNumber(uint32_t number) {
    std::string code(4, '\0');
    for (int k = 0; k < 4; ++k) code[k] = static_cast<char>((number >> (24 - 8 * k)) & 0xFF);
    return code;
}

std::string compatId(uint32_t vstId, const std::string& shortName) {
    std::vector<uint8_t> bytes = {'V', 'S', 'T'};
    for (char c : codeOfNumber(vstId)) bytes.push_back(static_cast<uint8_t>(c));
    for (size_t k = 0; k < 9; ++k) {
        bytes.push_back(k < shortName.size() ? static_cast<uint8_t>(lowered(shortName[k])) : 0);
    }
    return hexOf(bytes);
}

std::vector<uint8_t> hexToBytes(const std::string& hex) {
    auto value = [](char c) {
        c = lowered(c);
        return c >= 'a' && c <= 'f' ? c - 'a' + 10 : c - '0';
    };
    std::vector<uint8_t> bytes;
    for (size_t k = 0; k + 1 < hex.size(); k += 2) {
        bytes.push_back(static_cast<uint8_t>((value(hex[k]) * 16 + value(hex[k + 1])) & 0xFF));
    }
    return bytes;
}

std::string identityText(const PluginCacheEntry& entry) {
    if (entry.isClap) return entry.clapId;
    if (!entry.classId.empty()) return formatText("%u{%s}", entry.vstId, entry.classId.c_str());
    const std::string compat = compatId(entry.vstId, entry.shortName);
    if (entry.isVst3) return formatText("%u{%s}", entry.vstId, compat.c_str());
    return formatText("%u<%s>", entry.vstId, compat.c_str());
}

std::string displayName(const PluginCacheEntry& entry) {
    const char* kind = entry.isClap ? "CLAP" : entry.isVst3 ? "VST3" : "VST";
    return std::string(kind) + (entry.isInstrument ? "i" : "") + ": " + entry.display;
}

std::string shortNameOf(const std::string& name) {
    const size_t open = name.rfind(" (");
    return open == std::string::npos ? name : name.substr(0, open);
}

std::string makerOfDisplay(const std::string& display) {
    std::string name = display;
    for (;;) {
        const size_t open = name.rfind(" (");
        if (open == std::string::npos || name.empty() || name.back() != ')' || name.size() < open + 4) {
            return std::string();
        }
        const std::string inside = name.substr(open + 2, name.size() - open - 3);
        if (!isChannelGroup(inside)) return inside;
        name.resize(open);
    }
}

std::string compareKey(const std::string& text) {
    std::string key;
    for (char c : text) {
        c = lowered(c);
        if (isDigit(c) || (c >= 'a' && c <= 'z')) key += c;
    }
    return key;
}

std::string withoutTrailingGroups(const std::string& name) {
    std::string cut = name;
    size_t open = 0;
    while (!cut.empty() && cut.back() == ')' && (open = cut.rfind(" (")) != std::string::npos) cut.resize(open);
    return cut;
}

std::string makerKey(const std::string& name) {
    const size_t open = name.rfind('(');
    const size_t close = name.rfind(')');
    if (open == std::string::npos || close == std::string::npos || close < open) return std::string();
    return compareKey(name.substr(open + 1, close - open - 1));
}

std::string fileStemKey(const std::string& file) {
    const size_t slash = file.find_last_of("/\\");
    std::string base = slash == std::string::npos ? file : file.substr(slash + 1);
    const size_t dot = base.rfind('.');
    if (dot != std::string::npos) base.resize(dot);
    return compareKey(base);
}

std::string repairFileName(const std::string& file, const std::string& shortName) {
    const size_t dot = file.rfind('.');
    if (dot == std::string::npos || shortName.size() != dot) return file;
    std::string repaired = file;
    for (size_t k = 0; k < dot; ++k) {
        if (repaired[k] == '_' && !isAlnum(shortName[k])) repaired[k] = shortName[k];
    }
    return repaired;
}

std::string reportName(const std::string& name) {
    static const char kKept[] = " .,&+()'!_#-";
    std::string out;
    for (char c : name) {
        if (out.size() >= 64) break;
        if (static_cast<uint8_t>(c) & 0x80) continue;
        out += isAlnum(c) || std::strchr(kKept, c) != nullptr ? c : '-';
    }
    while (!out.empty() && out.back() == ' ') out.pop_back();
    const size_t first = out.find_first_not_of(' ');
    out = first == std::string::npos ? std::string() : out.substr(first);
    return out.empty() ? std::string("(unnamed)") : out;
}

std::string fxGuid(uint32_t seed) {
    const uint32_t a = seed * 0x9E3779B1u - 0x61C88647u;
    const uint32_t b = a * 0x218A205Bu;
    const uint32_t c = a * 0x85EBCA77u;
    const uint32_t d = a * 0x9C6B79B5u;
    return formatText("{%08X-%04X-%04X-%04X-%04X%08X}", a, c >> 16, c & 0xFFFF, b >> 16, b & 0xFFFF, d);
}

std::string aaxOnlyIdentity(const std::string& key) {
    std::string digits;
    for (size_t k = 0; k < key.size() && digits.size() < 16; ++k) {
        digits += formatText("%02X", static_cast<uint8_t>(key[k]));
    }
    uint32_t hash = 0x811C9DC5u;
    for (char c : key) hash = (hash ^ static_cast<uint8_t>(c)) * 16777619u;
    uint32_t x = hash;
    while (digits.size() < 32) {
        x = x * 1103515245u + 12345u;
        digits += "0123456789ABCDEF"[x >> 28];
    }
    return formatText("%u{%s}", hash | 1u, digits.c_str());
}
