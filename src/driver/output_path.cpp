#include "driver/output_path.h"

#include <cctype>
#include <cstdio>
#include <filesystem>
#include <system_error>

namespace fs = std::filesystem;

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

bool sameFile(const std::string& a, const std::string& b) {
    std::error_code error;
    return fs::equivalent(fs::path(a), fs::path(b), error) && !error;
}

// A folder named by -o: one that exists, or any name ending in a separator.
bool namesFolder(const std::string& path) {
    if (path.back() == '/' || path.back() == '\\') return true;
    std::error_code error;
    return fs::is_directory(fs::path(path), error);
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

std::string wantedOutputPath(const ConvertOptions& options) {
    const std::string& output = options.outputPath;
    if (output.empty()) return cutExtension(options.sessionPath) + ".rpp";
    if (!namesFolder(output)) return output;
    const size_t cut = options.sessionPath.find_last_of("/\\");
    const std::string name = cut == std::string::npos ? options.sessionPath : options.sessionPath.substr(cut + 1);
    const bool separated = output.back() == '/' || output.back() == '\\';
    return output + (separated ? "" : "/") + cutExtension(name) + ".rpp";
}

OutputRefusal outputRefusal(const std::string& outputPath, const std::string& sessionPath) {
    if (sameFile(outputPath, sessionPath)) return OutputRefusal::isSession;
    std::string extension = extensionOf(outputPath);
    for (char& c : extension) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    if (extension == ".ptx" || extension == ".ptf" || extension == ".pts") return OutputRefusal::sessionName;
    return OutputRefusal::none;
}

std::string partialPath(const std::string& path) { return path + ".partial"; }

OutputChoice chooseOutputPath(const ConvertOptions& options) {
    OutputChoice choice;
    choice.wanted = wantedOutputPath(options);
    choice.path = choice.wanted;
    choice.refusal = outputRefusal(choice.wanted, options.sessionPath);
    if (choice.refusal != OutputRefusal::none) return choice;
    if (options.checkOnly) {
        choice.path = nullDevicePath();
        choice.nullDevice = true;
        return choice;
    }
    if (options.overwrite || !opensForReading(choice.wanted)) {
        // The file in between must not be the session either.
        if (sameFile(partialPath(choice.path), options.sessionPath)) choice.refusal = OutputRefusal::isSession;
        return choice;
    }
    const std::string stem = cutExtension(choice.wanted);
    const std::string extension = extensionOf(choice.wanted);
    for (int number = 1; number <= 9999; ++number) {
        std::string candidate = stem + " (" + std::to_string(number) + ")" + extension;
        if (!opensForReading(candidate)) {
            choice.path = candidate;
            choice.renamed = true;
            if (sameFile(partialPath(candidate), options.sessionPath)) choice.refusal = OutputRefusal::isSession;
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
