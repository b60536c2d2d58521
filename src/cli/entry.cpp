#include "cli/entry.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "cli/console.h"
#include "cli/learn.h"
#include "cli/options.h"
#include "driver/convert.h"
#include "driver/output_path.h"
#include "reporting/usage_summary.h"
#include "reporting/support.h"

namespace {

void closingPause(int pauseAtEnd) {
    if (!pauseAtEnd) return;
    say("\n  Press Enter to close.\n");
    std::fflush(stdout);
    std::getchar();
}

std::string readWholeFile(const std::string& path, bool& found) {
    std::ifstream in(path, std::ios::binary);
    found = static_cast<bool>(in);
    if (!found) return std::string();
    std::ostringstream bytes;
    bytes << in.rdbuf();
    return bytes.str();
}

// Runs one conversion the way an embedding caller would and tells what came back.
int runSelfCheck(const ConvertOptions& options) {
    ConvertOptions copy = options;
    copy.writeReport = true;
    ConvertResult result;
    int code = convert(copy, &result, nullptr);
    bool found = false;
    std::string onDisk = result.reportPath.empty() ? std::string() : readWholeFile(result.reportPath, found);
    say("  API SELFTEST: rc=%d report_text=%d ondisk=%d %s\n", code, static_cast<int>(result.reportText.size()),
        static_cast<int>(onDisk.size()), found && onDisk == result.reportText ? "IDENTICAL" : "DIFFER");
    say("  API SELFTEST: console_text=%d bytes\n", static_cast<int>(result.consoleText.size()));
    return code;
}

// The second pass of --convert-twice: same options, output beside the first.
int convertSecondPass(const ConvertOptions& options, ptxgui::Progress* progress) {
    if (options.outputPath.empty()) {
        say("  --convert-twice needs -o: both passes would write the same file.\n");
        return 1;
    }
    ConvertOptions second = options;
    second.overwrite = true;
    second.outputPath = secondPassPath(wantedOutputPath(options));
    return convert(second, nullptr, progress);
}

void writeProgressTail(int code) {
    if (code == 0) {
        std::fputs("progress 6/6 done\n", stderr);
        std::fflush(stderr);
    }
    if (!problemKind().empty()) {
        std::string line = formatText("problem kind=%s %s\n", problemKind().c_str(), problemDetail().c_str());
        std::fputs(line.c_str(), stderr);
        std::fflush(stderr);
    }
    if (!summaryLine().empty()) {
        std::string line = summaryLine() + "\n";
        std::fputs(line.c_str(), stderr);
        std::fflush(stderr);
    }
}

void sayNoSession() {
#ifdef _WIN32
    say("trellum: drag a .ptx file onto this program.\n");
#else
    say("trellum: name the session to convert:  trellum \"My Song.ptx\"\n"
        "  Run  trellum --help  for the options.\n");
#endif
}

// Converts one session as the command line asked; the return code of its last pass.
// The usage summary after the run; a file that cannot be written changes no exit code.
void writeUsageSummary(const std::string& path, int code, const std::string& body) {
    const std::string text = usageSummaryText(kProgramVersion, code, body.empty() ? std::string(kEmptyUsageBody) : body);
    std::FILE* file = std::fopen(path.c_str(), "wb");
    const bool written = file && std::fwrite(text.data(), 1, text.size(), file) == text.size();
    if (file && std::fclose(file) != 0) file = nullptr;
    if (!written || !file) say("  could not write the usage summary file\n");
}

int convertOne(const CommandLine& line, ConvertOptions options) {
    if (!options.audioDirGiven) options.audioDir = folderOf(options.sessionPath) + "/Audio Files";
    StderrProgress stderrProgress;
    ptxgui::Progress* progress = line.progressWanted ? &stderrProgress : nullptr;
    const bool usage = !options.usageJsonPath.empty() && !options.checkOnly && !options.listOnly;
    ConvertResult result;
    int code = convert(options, usage ? &result : nullptr, progress);
    if (usage) writeUsageSummary(options.usageJsonPath, code, result.usageBody);
    std::fflush(stdout);
    if (line.progressWanted) writeProgressTail(code);
    if (code == 0 && line.convertTwice) {
        code = convertSecondPass(options, progress);
        std::fflush(stdout);
    }
    return code;
}

}  // namespace

int runEntry(const std::vector<std::string>& args) {
    static StdoutSink stdoutSink;
    setConsoleSink(&stdoutSink);

    CommandLine line = parseArguments(args);
    switch (line.job) {
        case EntryJob::version:
            std::printf("trellum %s (build %s)\n", kProgramVersion, kProgramBuild);
            std::fflush(stdout);
            return 0;
        case EntryJob::help:
            sayText(helpText());
            std::fflush(stdout);
            return 0;
        case EntryJob::unknownOption:
        case EntryJob::missingValue:
        case EntryJob::badValue:
            if (line.job == EntryJob::unknownOption) {
                say("\n  Unknown option: %s\n", line.unknownArgument.c_str());
            } else if (line.job == EntryJob::missingValue) {
                say("\n  Missing value: %s needs %s after it.\n", line.unknownArgument.c_str(),
                    line.valueWanted.c_str());
            } else {
                say("\n  Unknown value: %s %s\n  %s takes %s.\n", line.unknownArgument.c_str(), line.badValue.c_str(),
                    line.unknownArgument.c_str(), line.valueWanted.c_str());
            }
            say("\n  Nothing was converted. Run  trellum --help  for the options\n  this version understands.\n");
            closingPause(line.pauseAtEnd);
            std::fflush(stdout);
            return 2;
        case EntryJob::learn: {
            const int code = learnPlugin(line.learnChainPath, line.learnSignature, line.options.programPath);
            closingPause(line.pauseAtEnd);
            std::fflush(stdout);
            return code;
        }
        case EntryJob::convert:
            break;
    }

    ConvertOptions& options = line.options;
    const SessionPaths sessions = resolveSessionPaths(line.positional);
    options.sessionPath = sessions.first;
    options.sessionPathJoined = sessions.firstJoined;
    if (!options.audioDirGiven && !options.sessionPath.empty()) {
        options.audioDir = folderOf(options.sessionPath) + "/Audio Files";
    }
    if (options.sessionPath.empty()) {
        sayNoSession();
        closingPause(line.pauseAtEnd);
        std::fflush(stdout);
        return 1;
    }
    if (std::getenv("PTX_API_SELFTEST")) {
        int code = runSelfCheck(options);
        std::fflush(stdout);
        return code;
    }

    const int count = 1 + static_cast<int>(sessions.further.size());
    if (count > 1 && !options.outputPath.empty() && wantedOutputPath(options) == options.outputPath) {
        say("\n  -o names one file, and %d sessions were given: each would be written\n"
            "  to it. Give -o a folder, or convert the sessions one at a time.\n\n  Nothing was converted.\n",
            count);
        closingPause(line.pauseAtEnd);
        std::fflush(stdout);
        return 1;
    }
    int worst = 0;
    for (int n = 0; n < count; ++n) {
        ConvertOptions one = options;
        if (n > 0) {
            one.sessionPath = sessions.further[n - 1];
            one.sessionPathJoined = false;
        }
        if (count > 1) say("\n  Session %d of %d: %s\n", n + 1, count, one.sessionPath.c_str());
        worst = std::max(worst, convertOne(line, one));
    }
    closingPause(line.pauseAtEnd);
    std::fflush(stdout);
    return worst;
}
