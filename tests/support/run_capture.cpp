#include "support/run_capture.h"

#include <cstdlib>
#include <fstream>
#include <sstream>

#include "cli/console.h"

bool RecordingProgress::stage(int step, int total, const std::string& text) {
    lines.push_back(std::to_string(step) + "/" + std::to_string(total) + " " + text);
    return true;
}

// A REAPER installed on this machine must change no output of the tests: its
// folders under HOME and APPDATA are hidden for the run.
struct NoReaperFolders {
    std::pair<std::string, const char*> saved[2] = {{"", std::getenv("HOME")}, {"", std::getenv("APPDATA")}};
    NoReaperFolders() {
        for (auto& [value, set] : saved) value = set ? set : "";
        unsetenv("HOME");
        unsetenv("APPDATA");
    }
    ~NoReaperFolders() {
        if (saved[0].second) setenv("HOME", saved[0].first.c_str(), 1);
        if (saved[1].second) setenv("APPDATA", saved[1].first.c_str(), 1);
    }
};

CapturedRun runConvert(const ConvertOptions& options, bool withProgress) {
    NoReaperFolders noReaper;
    CapturedRun run;
    NullSink silence;
    PtxSink* previous = consoleSink();
    setConsoleSink(&silence);
    RecordingProgress progress;
    run.code = convert(options, &run.result, withProgress ? &progress : nullptr);
    setConsoleSink(previous);
    run.console = run.result.consoleText;
    run.progress = progress.lines;
    return run;
}

ConvertOptions optionsFor(const std::string& sessionPath) {
    ConvertOptions options;
    options.sessionPath = sessionPath;
    options.programPath = "/nonexistent/trellum";
    return options;
}

std::string itemNamed(const std::string& project, const std::string& name) {
    const size_t named = project.find("      NAME \"" + name + "\"\n");
    if (named == std::string::npos) return std::string();
    const size_t start = project.rfind("    <ITEM\n", named);
    return project.substr(start, project.find("\n    >\n", named) + 7 - start);
}

std::string readFileText(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

bool fileExists(const std::string& path) { return static_cast<bool>(std::ifstream(path, std::ios::binary)); }

void writeFileText(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}

std::string storedText(const std::string& file, const std::string& text) {
    const std::string path = TRELLUM_SOURCE_DIR "/tests/golden/expected/" + file;
    if (std::getenv("TRELLUM_UPDATE_GOLDEN")) writeFileText(path, text);
    return readFileText(path);
}
