// The command line: one scan of the arguments into the conversion options and
// the few switches that stay with the entry.
#pragma once

#include <string>
#include <vector>

#include "driver/convert.h"

enum class EntryJob { convert, help, version, unknownOption, missingValue, badValue, learn };

struct CommandLine {
    ConvertOptions options;
    int pauseAtEnd = 0;
    bool progressWanted = false;
    bool convertTwice = false;
    std::string learnChainPath;
    std::string learnSignature;
    std::vector<std::string> positional;
    EntryJob job = EntryJob::convert;
    // The argument that ended the scan: unknown, or the option whose value is missing or refused.
    std::string unknownArgument;
    std::string badValue;         // the value refused
    std::string valueWanted;      // what that option takes, in words
};

// The pause is on by default where a drag-and-drop run opens its own window.
int defaultPauseAtEnd();

// Scans args (args[0] is the program's path) left to right. The scan stops at
// --version, --help, an unknown option, or an option whose value is missing or
// out of its range; `job` tells which ended it.
CommandLine parseArguments(const std::vector<std::string>& args);

// Joins runs of positional arguments with one blank and takes the longest run
// that opens (leftmost among equals); all of them joined when none opens.
std::string resolveSessionPath(const std::vector<std::string>& positional);

// The sessions of one command line: that run first, then every argument
// outside it that opens, in command-line order.
struct SessionPaths {
    std::string first;
    bool firstJoined = false;  // made of more than one argument: the name was not quoted
    std::vector<std::string> further;
};
SessionPaths resolveSessionPaths(const std::vector<std::string>& positional);

// The folder of a path (text before the last / or \, or "." without one).
std::string folderOf(const std::string& path);

const char* helpText();
