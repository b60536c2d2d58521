// Where the project goes: beside the session or at -o, never over an existing
// file unless asked, and to the null device under --check.
#pragma once

#include <string>

#include "driver/convert.h"

// The path without its extension: a "." counts when no separator follows it.
std::string cutExtension(const std::string& path);
std::string extensionOf(const std::string& path);

const char* nullDevicePath();

struct OutputChoice {
    std::string path;        // the file the project text goes to
    std::string wanted;      // the name asked for, before any " (n)"
    bool renamed = false;    // an existing file made us take another name
    bool nullDevice = false; // --check: the text goes nowhere
};
OutputChoice chooseOutputPath(const ConvertOptions& options);

// The -o path of the second pass of --convert-twice.
std::string secondPassPath(const std::string& outputPath);
