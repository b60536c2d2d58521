#include "driver/convert.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <new>
#include <system_error>

#include "cli/console.h"
#include "driver/output_path.h"
#include "driver/refusals.h"
#include "driver/run_state.h"
#include "driver/stages.h"
#include "reporting/usage_summary.h"

namespace {

// The console capture of one run; the text goes to the result at the end.
struct CaptureScope {
    std::string text;
    CaptureScope() { setConsoleCapture(&text); }
    ~CaptureScope() { setConsoleCapture(nullptr); }
    CaptureScope(const CaptureScope&) = delete;
    CaptureScope& operator=(const CaptureScope&) = delete;
};

std::string mediaFolderOf(const ConvertOptions& options) {
    std::string folder = options.audioDir;
    if (!options.audioDirGiven && !options.sessionPath.empty()) {
        size_t cut = options.sessionPath.find_last_of("/\\");
        folder = (cut == std::string::npos ? std::string(".") : options.sessionPath.substr(0, cut)) + "/Audio Files";
    }
    while (folder.size() > 1 && (folder.back() == '/' || folder.back() == '\\')) folder.pop_back();
    return folder;
}

std::string parentOf(const std::string& folder) {
    size_t cut = folder.find_last_of("/\\");
    if (cut == std::string::npos) return ".";
    if (cut == 0) return folder.substr(0, 1);
    return folder.substr(0, cut);
}

// load(rate) loads the session once at that target rate and gives the load code.
// The run reads file lengths at the session's own rate: one load does, and a
// second only for a version outside those known.
template <typename Load>
int loadWithRetries(SessionFile& session, Load load) {
    int code = load(kSessionOwnRate);
    if (code == -3) {
        session.allowUnknownVersion = true;
        code = load(kSessionOwnRate);
    }
    return code;
}

// Refuses a path that is no file that opens; true when loading may begin.
bool sessionFileOpens(const RunState& state, long long& size) {
    const std::string& path = state.options.sessionPath;
    const bool withProgress = state.progress != nullptr;
    std::error_code error;
    if (std::filesystem::is_directory(path, error)) {
        refuseFolder(path, withProgress);
        return false;
    }
    std::FILE* file = std::fopen(path.c_str(), "rb");
    if (!file) {
        const std::string reason = std::strerror(errno);
        if (std::filesystem::exists(path, error)) {
            refuseUnopenable(path, reason, withProgress);
        } else {
            refuseMissingFile(path, withProgress, state.options.sessionPathJoined);
        }
        return false;
    }
    size = 0;
    if (std::fseek(file, 0, SEEK_END) == 0) size = std::ftell(file);
    std::fclose(file);
    return true;
}

// Refuses what cannot be converted; true when the run may go on.
bool acceptSession(RunState& state, int loadCode, long long size) {
    const std::string& path = state.options.sessionPath;
    const bool withProgress = state.progress != nullptr;
    if (isOlderSession(path)) {
        refuseOlderFormat(path, withProgress);
        return false;
    }
    if (loadCode == 0) return true;
    const int64_t rate = state.session.sessionRate;
    if (rate > 0 && (rate < 44100 || rate > 192000)) {
        refuseRate(path, rate, withProgress);
    } else if (size == 0) {
        refuseEmptyFile(path, withProgress);
    } else {
        refuseUnreadable(path, loadCode, withProgress);
    }
    return false;
}

// The folder the project goes to, absolute with links resolved: FILE lines
// are written relative to it.
std::string projectFolderOf(const std::string& projectPath) {
    std::error_code error;
    const std::filesystem::path absolute = std::filesystem::absolute(projectPath, error);
    if (error) return std::string();
    const std::filesystem::path folder = std::filesystem::weakly_canonical(absolute.parent_path(), error);
    return error ? std::string() : folder.string();
}

// A file open for writing, closed when it goes out of scope; a temporary one is
// also removed unless it was moved into place, so that a failed write or running
// out of memory while writing leaves nothing behind.
struct OutputFile {
    std::FILE* file = nullptr;
    std::string temporary;  // empty: not a temporary file
    bool moved = false;
    ~OutputFile() {
        if (file) std::fclose(file);
        std::error_code error;
        if (!temporary.empty() && !moved) std::filesystem::remove(temporary, error);
    }
    // The system's reason when the text did not reach the file, else "".
    std::string close() {
        std::string reason;
        if (std::ferror(file) != 0) reason = std::strerror(errno);
        if (std::fclose(file) != 0 && reason.empty()) reason = std::strerror(errno);
        file = nullptr;
        return reason;
    }
};

// Writes the project under a temporary name and moves it into place whole, so
// that no half-written project is ever left under the final name. Gives the
// system's reason when the file could not be written, else "".
std::string writeProjectFile(RunState& state, const OutputChoice& choice) {
    OutputFile out;
    if (choice.nullDevice) {
        out.file = std::fopen(choice.path.c_str(), "wb");
        if (!out.file) return std::strerror(errno);
        writeStage(state, out.file);
        return std::string();
    }
    out.temporary = partialPath(choice.path);
    out.file = std::fopen(out.temporary.c_str(), "wb");
    if (!out.file) return std::strerror(errno);
    writeStage(state, out.file);
    const std::string reason = out.close();
    if (!reason.empty()) return reason;
    std::error_code error;
    std::filesystem::rename(out.temporary, choice.path, error);
    out.moved = !error;
    return error ? error.message() : std::string();
}

// The stages after the session is loaded. With memoryProject the project text
// goes there, and no file is written and no media looked up.
int runLoadedStages(RunState& state, std::string* memoryProject);

int runStages(RunState& state) {
    const ConvertOptions& options = state.options;
    if (options.sessionPath.empty()) {
        refuseNoSession();
        return 1;
    }

    stepProgress(0, "reading");
    long long size = 0;
    if (!sessionFileOpens(state, size)) return 1;
    const std::string& path = options.sessionPath;
    int loadCode = loadWithRetries(state.session, [&](int64_t rate) { return loadSession(state.session, path, rate); });
    if (!acceptSession(state, loadCode, size)) return 1;
    if (!options.listOnly) {
        // Told before any work: the session is never written to.
        const std::string wanted = wantedOutputPath(options);
        const OutputRefusal refusal = outputRefusal(wanted, options.sessionPath);
        if (refusal != OutputRefusal::none) {
            refuseOutputPath(options.sessionPath, wanted, refusal == OutputRefusal::isSession,
                             state.progress != nullptr);
            return 1;
        }
    }
    return runLoadedStages(state, nullptr);
}

int runLoadedStages(RunState& state, std::string* memoryProject) {
    const ConvertOptions& options = state.options;
    readStage(state);
    if (options.listOnly) {
        listStage(state);
        return 0;
    }
    readMixStage(state);

    stepProgress(1, "clips");
    clipStage(state);
    stepProgress(2, "tracks");
    trackStage(state);

    stepProgress(3, "writing");
    if (memoryProject != nullptr) {
        writeStage(state, *memoryProject);
        notesStage(state, options.sessionPath);
        if (state.composeReport) reportStage(state, options.sessionPath);
        closingNotesStage(state);
        return 0;
    }
    OutputChoice choice = chooseOutputPath(options);
    if (choice.refusal != OutputRefusal::none) {
        refuseOutputPath(options.sessionPath, choice.path, choice.refusal == OutputRefusal::isSession,
                         state.progress != nullptr);
        return 1;
    }
    if (choice.path.empty()) {
        say("\nCould not write %s\n  Reason: every name up to (9999) is taken.\n", choice.wanted.c_str());
        return 1;
    }
    if (choice.renamed) {
        say("\n  %s already exists - writing %s instead\n  (--overwrite to replace it)\n", choice.wanted.c_str(),
            choice.path.c_str());
    }
    state.projectFolder = projectFolderOf(choice.wanted);
    const std::string failure = writeProjectFile(state, choice);
    if (!failure.empty()) {
        say("\nCould not write %s\n  Reason: %s.\n", choice.path.c_str(), failure.c_str());
        return 1;
    }
    notesStage(state, choice.path);

    stepProgress(4, "media");
    mediaStage(state);
    if (state.composeReport) {
        stepProgress(5, "report");
        reportStage(state, choice.path);
    }
    if (!options.usageJsonPath.empty() && !options.checkOnly) state.usageBody = composeUsageBody(state);
    closingNotesStage(state);
    wantedParamsStage(state);
    if (options.checkOnly) {
        say("\n  --check: nothing was written. The lines above are what a real\n"
            "      conversion of this session would produce.\n");
    }
    return 0;
}

}  // namespace

namespace {

// Sets up one run, runs it and hands back what it said. Running out of memory
// anywhere in it ends the run here, the one place an exception is caught.
template <typename Run>
int runConversion(const ConvertOptions& options, ConvertResult* result, ptxgui::Progress* progress, Run run) {
    clearProblem();
    setSummaryLine(std::string());
    setProgress(progress);
    if (result) *result = ConvertResult();
    CaptureScope capture;

    int code = 1;
    std::unique_ptr<RunState> state;
    try {
        // Every table of the run lives here and goes when the run ends.
        state = std::make_unique<RunState>();
        state->options = options;
        state->progress = progress;
        state->options.audioDir = mediaFolderOf(options);
        state->sessionFolder = parentOf(state->options.audioDir);
        state->composeReport = result != nullptr || options.writeReport || progress != nullptr;
        code = run(*state);
        // A refused run still ends its protocol with a summary line.
        if (code != 0 && state->composeReport && summaryLine().empty()) composeSummaryLine(*state);
    } catch (const std::bad_alloc&) {
        state.reset();  // gives the memory back so that the refusal can be said
        refuseOutOfMemory(options.sessionPath, progress != nullptr);
        code = 1;
    }

    if (result) {
        result->consoleText = capture.text;
        if (state) {
            result->reportText = state->reportText;
            result->reportPath = state->reportPath;
            result->usageBody = state->usageBody;
        }
    }
    setProgress(nullptr);
    return code;
}

}  // namespace

int convert(const ConvertOptions& options, ConvertResult* result, ptxgui::Progress* progress) {
    return runConversion(options, result, progress, [](RunState& state) { return runStages(state); });
}

int convertInMemory(const ConvertOptions& options, const std::vector<uint8_t>& fileBytes, std::string& projectText,
                    ConvertResult* result) {
    projectText.clear();
    return runConversion(options, result, nullptr, [&](RunState& state) {
        state.options.inMemory = true;
        state.options.writeReport = false;  // this road writes no file
        const int loadCode = loadWithRetries(state.session, [&](int64_t rate) {
            return loadSessionBytes(state.session, fileBytes, rate);
        });
        if (loadCode != 0) {
            refuseUnreadableBytes(options.sessionPath, loadCode, state.session.sessionRate);
            return 1;
        }
        return runLoadedStages(state, &projectText);
    });
}
