// The command line: one scan of the arguments into the conversion options and
// the few switches that stay with the entry.
#pragma once

#include <string>
#include <vector>

#include "driver/convert.h"

enum class EntryJob { convert, help, version, unknownOption, learn };

struct CommandLine {
    ConvertOptions options;
    int pauseAtEnd = 0;
    bool progressWanted = false;
    bool convertTwice = false;
    std::string learnChainPath;
    std::string learnSignature;
    std::vector<std::string> positional;
    EntryJob job = EntryJob::convert;
    std::string unknownArgument;  // the argument that ended the scan as unknown
};

// The pause is on by default where a drag-and-drop run opens its own window.
int defaultPauseAtEnd();

// Scans args (args[0] is the program's path) left to right. The scan stops at
// --version, --help or an unknown option; `job` tells which ended it.
CommandLine parseArguments(const std::vector<std::string>& args);

// Joins runs of positional arguments with one blank and takes the longest run
// that opens (leftmost among equals); all of them joined when none opens.
std::string resolveSessionPath(const std::vector<std::string>& positional);

// The folder of a path (text before the last / or \, or "." without one).
std::string folderOf(const std::string& path);

const char* helpText();
