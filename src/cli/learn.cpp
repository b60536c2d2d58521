#include "cli/learn.h"

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>
#include <vector>

#include "cli/console.h"
#include "cli/options.h"
#include "project/text.h"

namespace {

constexpr uint32_t kMagic = 0xFEED5EEE;
constexpr uint32_t kMagicOther = 0xFEED5EEF;
constexpr uint32_t kMostStateBytes = 0x1000000;

// What a chain file's first plug-in gave.
struct ChainPlugin {
    std::string display;
    std::string file;
    std::string identity;
    std::string header;      // the first base64 line of the block
    std::string body;        // the base64 lines behind the header
    bool vstLineMet = false;
};

// The fields of a "<VST " line: blank-separated, quoted ones without their quotes.
// REAPER quotes with ", or ' or ` when the text holds the other.
std::vector<std::string> fieldsOfVstLine(const std::string& line, size_t wanted) {
    std::vector<std::string> fields;
    size_t at = 5;
    while (fields.size() < wanted) {
        while (at < line.size() && line[at] == ' ') ++at;
        if (at >= line.size()) break;
        const char quote = line[at];
        if (quote == '"' || quote == '\'' || quote == '`') {
            const size_t end = line.find(quote, at + 1);
            fields.push_back(line.substr(at + 1, end == std::string::npos ? std::string::npos : end - at - 1));
            at = end == std::string::npos ? line.size() : end + 1;
        } else {
            const size_t end = line.find(' ', at);
            fields.push_back(line.substr(at, end == std::string::npos ? std::string::npos : end - at));
            at = end == std::string::npos ? line.size() : end;
        }
    }
    fields.resize(wanted);
    return fields;
}

// Reads up to the end of the first <VST block; false when its line has no name or identity.
bool readChain(std::istream& in, ChainPlugin& plugin) {
    for (std::string line; std::getline(in, line);) {
        while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) line.pop_back();
        const size_t start = line.find_first_not_of(" \t");
        if (start == std::string::npos) continue;
        line.erase(0, start);
        if (!plugin.vstLineMet) {
            if (line.compare(0, 5, "<VST ") != 0) continue;
            const std::vector<std::string> fields = fieldsOfVstLine(line, 5);
            plugin.vstLineMet = true;
            plugin.display = fields[0];
            plugin.file = fields[1];
            plugin.identity = fields[4];
            if (plugin.display.empty() || plugin.identity.empty()) return false;
        } else if (plugin.header.empty()) {
            plugin.header = line;
        } else if (line[0] == '<' || line[0] == '>') {
            break;
        } else {
            plugin.body += line;
        }
    }
    return true;
}

uint32_t wordAt(const std::vector<uint8_t>& bytes, size_t at) {
    return uint32_t(bytes[at]) | uint32_t(bytes[at + 1]) << 8 | uint32_t(bytes[at + 2]) << 16 |
           uint32_t(bytes[at + 3]) << 24;
}

// The pin layout of the header: input and output pins, each with a mask of w bytes.
struct PinLayout {
    bool read = false;
    uint32_t pinsIn = 2;
    uint32_t pinsOut = 2;
    uint32_t tailWord = 0;
    uint32_t stateSize = 0;
    size_t stateOffset = 0;
};

PinLayout pinLayoutOf(const std::vector<uint8_t>& header) {
    PinLayout layout;
    if (header.size() <= 11) return layout;
    const uint32_t n = wordAt(header, 8);
    if (n < 1 || n > 64) return layout;
    for (size_t w : {size_t(8), size_t(4)}) {
        const size_t outAt = 12 + n * w;
        if (outAt + 4 > header.size()) continue;
        const uint32_t m = wordAt(header, outAt);
        if (m < 1 || m > 64) continue;
        const size_t after = outAt + 4 + m * w;
        if (after + 12 > header.size()) continue;
        const uint32_t stateSize = wordAt(header, after);
        if (wordAt(header, after + 4) != 1 || stateSize > kMostStateBytes) continue;
        layout = {true, n, m, wordAt(header, after + 8), stateSize, after + 12};
        return layout;
    }
    return layout;
}

// The list beside the program with the new line at its end, put in place whole
// so that a failed write never leaves half a list.
bool appendAtomically(const std::string& path, const std::string& line) {
    std::string text;
    {
        std::ifstream existing(path, std::ios::binary);
        if (existing) {
            std::ostringstream bytes;
            bytes << existing.rdbuf();
            text = bytes.str();
        }
    }
    if (!text.empty() && text.back() != '\n') text += '\n';
    text += line;
    const std::string temporary = path + ".tmp";
    {
        std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
        if (!out) return false;
        out << text;
        out.close();
        if (!out) {
            std::error_code error;
            std::filesystem::remove(temporary, error);
            return false;
        }
    }
    std::error_code error;
    std::filesystem::rename(temporary, path, error);
    if (error) std::filesystem::remove(temporary, error);
    return !error;
}

}  // namespace

int learnPlugin(const std::string& chainPath, const std::string& signature, const std::string& programPath) {
    std::ifstream in(chainPath, std::ios::binary);
    if (!in) {
        say("  cannot open %s\n", chainPath.c_str());
        return 1;
    }
    ChainPlugin plugin;
    if (!readChain(in, plugin)) {
        say("  could not read the <VST line\n");
        return 1;
    }
    if (plugin.header.empty()) {
        say("  %s does not look like an .RfxChain\n", chainPath.c_str());
        return 1;
    }
    const std::vector<uint8_t> header = base64Decode(plugin.header);
    const uint32_t magic = header.size() < 8 ? 0 : wordAt(header, 4);
    if (magic != kMagic && magic != kMagicOther) {
        say("  header magic is %08X, expected FEED5EEE/FEED5EEF - is this one plug-in?\n", magic);
        return 1;
    }
    const PinLayout layout = pinLayoutOf(header);
    // Each part decoded alone: the header line may end in padding.
    std::vector<uint8_t> body = header;
    const std::vector<uint8_t> rest = base64Decode(plugin.body);
    body.insert(body.end(), rest.begin(), rest.end());
    const bool defaultSetting = layout.read && body.size() >= layout.stateOffset + 4 &&
                                std::string(body.begin() + layout.stateOffset, body.begin() + layout.stateOffset + 4) ==
                                    "FabF";

    say("\n  learned from %s\n", chainPath.c_str());
    say("    display  %s\n    file     %s\n    ident    %s\n", plugin.display.c_str(), plugin.file.c_str(),
        plugin.identity.c_str());
    if (layout.read) {
        say("    pins     %u in, %u out    tail word %u    chunk %u bytes\n", layout.pinsIn, layout.pinsOut,
            layout.tailWord, layout.stateSize);
    } else {
        say("    pins     could not be read from this header variant (%08X,\n"
            "             %u bytes) - written as stereo 2 in / 2 out. If this\n"
            "             plug-in then loads with wrong routing, send this\n"
            "             .RfxChain file.\n",
            magic, static_cast<unsigned>(header.size()));
    }

    const std::string listPath = folderOf(programPath) + "/trellum-plugins.txt";
    const std::string line = formatText("%s | %s | %s | %s | %u | %u | %u%s\n", signature.c_str(),
                                        plugin.display.c_str(), plugin.file.c_str(), plugin.identity.c_str(),
                                        layout.pinsIn, layout.pinsOut, layout.tailWord,
                                        defaultSetting ? " | Default Setting" : "");
    if (!appendAtomically(listPath, line)) {
        say("  cannot write %s\n", listPath.c_str());
        return 1;
    }
    say("\n  appended to %s\n", listPath.c_str());
    say("  The IDENTITY is now known: this plug-in will be inserted in the\n"
        "  right slot, in the right order, with its bypass state.\n");
    if (defaultSetting) {
        say("  Its REAPER state uses a container this build can write, so its\n"
            "  Pro Tools SETTINGS will transfer too, not just the identity.\n");
    } else {
        say("  Its REAPER state does NOT use a container this build can synthesise,\n"
            "  so SETTINGS will not transfer: it goes in offline and labeled\n"
            "  rather than loading with values that would silently be wrong.\n");
    }
    return 0;
}
