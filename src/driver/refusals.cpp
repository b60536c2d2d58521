#include "driver/refusals.h"

#include <cctype>
#include <cstdio>
#include <cstring>

#include "cli/console.h"
#include "reporting/support.h"
#include "session/ptx_file.h"

void refuseNoSession() { say("trellum: drag a .ptx file onto this program.\n"); }

void refuseMissingFile(const std::string& path, bool withProgress, bool quoteHint) {
    say("\n  No such file:\n    %s\n", path.c_str());
    if (withProgress) {
        say("\n  Not converted: the session file was not found. The file may have been moved, renamed or deleted, "
            "or its drive is not connected.\n");
    } else if (quoteHint) {
        say("\n  If the name has spaces, put it in quotes:\n    trellum \"My Song.ptx\"\n");
    }
}

void refuseUnopenable(const std::string& path, const std::string& reason, bool withProgress) {
    say("\n  Could not read: %s\n  Reason: the file is there, but it does not open: %s.\n", path.c_str(),
        reason.c_str());
    if (withProgress) say("\n  Not converted: the session file could not be opened (%s).\n", reason.c_str());
}

void refuseFolder(const std::string& path, bool withProgress) {
    say("\n  Could not convert: %s\n  Reason: that is a folder, not a session file. A Pro Tools session\n"
        "          folder holds the session's .ptx file: name that file.\n",
        path.c_str());
    if (withProgress) say("\n  Not converted: that is a folder, not a session file.\n");
}

void refuseOutputPath(const std::string& sessionPath, const std::string& outputPath, bool isSession,
                      bool withProgress) {
    if (isSession) {
        say("\n  Could not convert: %s\n  Reason: the project would be written over the session file itself:\n"
            "    %s\n  The session is never written to. Name a project ending in .rpp\n"
            "  with -o, or leave -o out to write it beside the session.\n",
            sessionPath.c_str(), outputPath.c_str());
        if (withProgress) say("\n  Not converted: the project would have been written over the session file.\n");
    } else {
        say("\n  Could not convert: %s\n  Reason: the project would be written under a Pro Tools session's name:\n"
            "    %s\n  Names ending in .ptx, .ptf or .pts are kept for sessions. Name a\n"
            "  project ending in .rpp with -o.\n",
            sessionPath.c_str(), outputPath.c_str());
        if (withProgress) say("\n  Not converted: the project name ends in .ptx, .ptf or .pts, a session's name.\n");
    }
}

void refuseOlderFormat(const std::string& path, bool withProgress) {
    say("\n  Could not convert: %s\n  Reason: this is an OLDER Pro Tools session format (Pro Tools 5 - 9,\n"
        "          .pts or .ptf). This tool converts .ptx sessions (Pro Tools\n"
        "          10 and later) only. An older session is refused rather than\n"
        "          converted partly, because a partial mix would look finished.\n\n"
        "  To convert it: open the session in Pro Tools 10 or later, use\n"
        "  File > Save As to save it as a .ptx, and convert that file.\n",
        path.c_str());
    if (withProgress) {
        say("\n  Not converted: this is an older Pro Tools session format (.pts or .ptf). Save the session as a "
            ".ptx from Pro Tools 10 or later, then convert that file.\n");
    }
}

void refuseRate(const std::string& path, int64_t rate, bool withProgress) {
    say("\n  Could not read: %s\n  Reason: this session is at %lld Hz, which is outside the range\n"
        "          this tool supports (44100 - 192000 Hz).\n\n"
        "  The file itself is fine -- it is the rate that is not handled.\n"
        "  Re-save the session from Pro Tools at a supported rate, or send\n"
        "  this text if you need %lld Hz supported.\n",
        path.c_str(), static_cast<long long>(rate), static_cast<long long>(rate));
    if (withProgress) {
        say("\n  Not converted: the session is at %lld Hz, outside the supported range (44100 - 192000 Hz).\n",
            static_cast<long long>(rate));
    }
}

void refuseEmptyFile(const std::string& path, bool withProgress) {
    say("\n  Could not read: %s\n  Reason: the file is EMPTY (0 bytes). There is no session in it\n"
        "          to convert. If the session folder has a \"Session File\n"
        "          Backups\" folder, the newest .ptx in it may convert.\n",
        path.c_str());
    if (withProgress) {
        say("\n  Not converted: the session file is empty (0 bytes), so there is no session to convert.\n");
    }
}

namespace {

const char* reasonOf(int code) {
    switch (code) {
        case -1: return "could not be decrypted - is this really a Pro Tools session file?";
        case -2: return "has no readable version marker";
        case -3: return "is a Pro Tools version this tool does not understand";
        case -4: return "was decrypted but the contents could not be parsed";
        default: return "could not be parsed";
    }
}

// What decryption alone makes of the file, for the user to send in.
void sayDiagnosis(const std::string& path) {
    SessionFile probe;
    if (!unxorSession(probe, path) || probe.image.empty()) {
        say("  Decryption: FAILED\n");
        return;
    }
    say("  Decryption: OK (%llu bytes)\n", static_cast<unsigned long long>(probe.image.size()));
    say("  Version byte: %d\n", probe.versionByte);
    const size_t searchEnd = probe.image.size() < 4096 ? probe.image.size() : 4096;
    static const char kMark[] = "ProTools";
    for (size_t at = 0; at + 8 <= searchEnd; ++at) {
        if (std::memcmp(probe.image.data() + at, kMark, 8) != 0) continue;
        std::string header;
        for (size_t k = at; k < probe.image.size() && header.size() < 40; ++k) {
            uint8_t byte = probe.image[k];
            if (byte < 32 || byte > 126) break;
            header.push_back(static_cast<char>(byte));
        }
        say("  Header text: %s\n", header.c_str());
        break;
    }
}

}  // namespace

void refuseUnreadable(const std::string& path, int code, bool withProgress) {
    const char* reason = reasonOf(code);
    // A reason that asks a question ends with its own mark.
    const bool asks = reason[std::strlen(reason) - 1] == '?';
    say("\n  Could not read: %s\n  Reason: that session %s%s  (code %d)\n", path.c_str(), reason, asks ? "" : ".",
        code);
    sayDiagnosis(path);
    if (withProgress) {
        say("\n  varnoak will offer to send this as a problem report.\n");
    } else {
        say("\n  Please send this text and the .ptx file to %s\n  so that this session can be looked at.\n",
            kSupportAddress);
    }
    setProblem("unreadable", formatText("the session %s (code %d)", reason, code));
}

void refuseUnreadableBytes(const std::string& path, int code, int64_t rate) {
    if (rate > 0 && (rate < 44100 || rate > 192000)) {
        refuseRate(path, rate, false);
        return;
    }
    const char* reason = reasonOf(code);
    say("\n  Could not read: %s\n  Reason: that session %s.  (code %d)\n", path.c_str(), reason, code);
    setProblem("unreadable", formatText("the session %s (code %d)", reason, code));
}

void refuseOutOfMemory(const std::string& path, bool withProgress) {
    say("\n  Could not convert: %s\n  Reason: the computer ran out of memory during the conversion.\n"
        "          Close other programs and try again. If it happens again, the\n"
        "          session file may be damaged: convert a backup, or send this\n"
        "          text and the .ptx file to %s.\n",
        path.c_str(), kSupportAddress);
    if (withProgress) say("\n  Not converted: the computer ran out of memory during the conversion.\n");
    setProblem("memory", "the computer ran out of memory during the conversion");
}

bool isOlderSession(const std::string& path) {
    if (path.size() > 4) {
        std::string tail = path.substr(path.size() - 4);
        for (char& c : tail) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        if (tail == ".ptf" || tail == ".pts") return true;
    }
    std::FILE* file = std::fopen(path.c_str(), "rb");
    if (!file) return false;
    unsigned char head[19];
    size_t got = std::fread(head, 1, sizeof head, file);
    std::fclose(file);
    return got == sizeof head && head[0] == 3 && head[18] == 1;
}
