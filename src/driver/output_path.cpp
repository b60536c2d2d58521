#include "driver/output_path.h"

#include <cstdio>

namespace {

// Position of the "." that starts the extension, or npos.
size_t extensionDot(const std::string& path) {
    size_t dot = path.rfind('.');
    if (dot == std::string::npos) return std::string::npos;
    size_t separator = path.find_last_of("/\\");
    if (separator != std::string::npos && separator > dot) return std::string::npos;
    return dot;
}

bool opensForReading(const std::string& path) {
    std::FILE* file = std::fopen(path.c_str(), "rb");
    if (!file) return false;
    std::fclose(file);
    return true;
}

}  // namespace

std::string cutExtension(const std::string& path) {
    size_t dot = extensionDot(path);
    return dot == std::string::npos ? path : path.substr(0, dot);
}

std::string extensionOf(const std::string& path) {
    size_t dot = extensionDot(path);
    return dot == std::string::npos ? std::string() : path.substr(dot);
}

const char* nullDevicePath() {
#ifdef _WIN32
    return "NUL";
#else
    return "/dev/null";
#endif
}

OutputChoice chooseOutputPath(const ConvertOptions& options) {
    OutputChoice choice;
    choice.wanted = options.outputPath.empty() ? cutExtension(options.sessionPath) + ".rpp" : options.outputPath;
    choice.path = choice.wanted;
    if (options.checkOnly) {
        choice.path = nullDevicePath();
        choice.nullDevice = true;
        return choice;
    }
    if (options.overwrite || !opensForReading(choice.wanted)) return choice;
    const std::string stem = cutExtension(choice.wanted);
    const std::string extension = extensionOf(choice.wanted);
    for (int number = 1; number <= 9999; ++number) {
        std::string candidate = stem + " (" + std::to_string(number) + ")" + extension;
        if (!opensForReading(candidate)) {
            choice.path = candidate;
            choice.renamed = true;
            return choice;
        }
    }
    // Every numbered name is taken: refuse rather than replace anything.
    choice.path.clear();
    return choice;
}

std::string secondPassPath(const std::string& outputPath) {
    return cutExtension(outputPath) + "-2nd.rpp";
}
