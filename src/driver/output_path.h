// Where the project goes: beside the session or at -o, never over an existing
// file unless asked, never over the session, and to the null device under --check.
#pragma once

#include <string>

#include "driver/convert.h"

// The path without its extension: a "." counts when no separator follows it.
std::string cutExtension(const std::string& path);
std::string extensionOf(const std::string& path);

const char* nullDevicePath();

// The project path asked for: beside the session, the -o file, or
// "<session name>.rpp" inside the folder that -o names.
std::string wantedOutputPath(const ConvertOptions& options);

// Why the project may not go to a path: it is the session file itself (by any
// link, "..", or letter case), or it bears a Pro Tools session's extension.
enum class OutputRefusal { none, isSession, sessionName };
OutputRefusal outputRefusal(const std::string& outputPath, const std::string& sessionPath);

struct OutputChoice {
    std::string path;        // the file the project text goes to
    std::string wanted;      // the name asked for, before any " (n)"
    bool renamed = false;    // an existing file made us take another name
    bool nullDevice = false; // --check: the text goes nowhere
    OutputRefusal refusal = OutputRefusal::none;
};
OutputChoice chooseOutputPath(const ConvertOptions& options);

// The -o path of the second pass of --convert-twice.
std::string secondPassPath(const std::string& outputPath);

// The file the project text is written to before it is moved over `path`.
std::string partialPath(const std::string& path);
