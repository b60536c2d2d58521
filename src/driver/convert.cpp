#include "driver/convert.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <system_error>

#include "cli/console.h"
#include "driver/output_path.h"
#include "driver/refusals.h"
#include "driver/run_state.h"
#include "driver/stages.h"

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

int loadWithRetries(SessionFile& session, const std::string& path) {
    int code = loadSession(session, path, 48000);
    if (code == -3) {
        session.allowUnknownVersion = true;
        code = loadSession(session, path, 48000);
    }
    if (code == 0 && session.sessionRate > 0 && session.sessionRate != 48000) {
        code = loadSession(session, path, session.sessionRate);
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

// Writes the project under a temporary name and moves it into place whole, so
// that no half-written project is ever left under the final name. Gives the
// system's reason when the file could not be written, else "".
std::string writeProjectFile(RunState& state, const OutputChoice& choice) {
    if (choice.nullDevice) {
        std::FILE* file = std::fopen(choice.path.c_str(), "wb");
        if (!file) return std::strerror(errno);
        writeStage(state, file);
        std::fclose(file);
        return std::string();
    }
    const std::string temporary = partialPath(choice.path);
    std::FILE* file = std::fopen(temporary.c_str(), "wb");
    if (!file) return std::strerror(errno);
    writeStage(state, file);
    std::string reason;
    if (std::ferror(file) != 0) reason = std::strerror(errno);
    if (std::fclose(file) != 0 && reason.empty()) reason = std::strerror(errno);
    std::error_code error;
    if (reason.empty()) {
        std::filesystem::rename(temporary, choice.path, error);
        if (error) reason = error.message();
    }
    if (!reason.empty()) std::filesystem::remove(temporary, error);
    return reason;
}

int runStages(RunState& state) {
    const ConvertOptions& options = state.options;
    if (options.sessionPath.empty()) {
        refuseNoSession();
        return 1;
    }

    stepProgress(0, "reading");
    long long size = 0;
    if (!sessionFileOpens(state, size)) return 1;
    int loadCode = loadWithRetries(state.session, options.sessionPath);
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

    readStage(state);
    if (options.listOnly) {
        listStage(state);
        return 0;
    }
    optionNoticesStage(state);
    readMixStage(state);

    stepProgress(1, "clips");
    clipStage(state);
    stepProgress(2, "tracks");
    trackStage(state);

    stepProgress(3, "writing");
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
        reportStage(state);
    }
    closingNotesStage(state);
    wantedParamsStage(state);
    if (options.checkOnly) {
        say("\n  --check: nothing was written. The lines above are what a real\n"
            "      conversion of this session would produce.\n");
    }
    return 0;
}

}  // namespace

int convert(const ConvertOptions& options, ConvertResult* result, ptxgui::Progress* progress) {
    clearProblem();
    setSummaryLine(std::string());
    setProgress(progress);
    if (result) *result = ConvertResult();
    CaptureScope capture;

    // Every table of the run lives here and goes when the run ends.
    auto state = std::make_unique<RunState>();
    state->options = options;
    state->progress = progress;
    state->options.audioDir = mediaFolderOf(options);
    state->sessionFolder = parentOf(state->options.audioDir);
    state->composeReport = result != nullptr || options.writeReport || progress != nullptr;

    int code = runStages(*state);
    // A refused run still ends its protocol with a summary line.
    if (code != 0 && state->composeReport && summaryLine().empty()) composeSummaryLine(*state);

    if (result) {
        result->consoleText = capture.text;
        result->reportText = state->reportText;
        result->reportPath = state->reportPath;
    }
    setProgress(nullptr);
    return code;
}
