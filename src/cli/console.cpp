#include "cli/console.h"

#include <clocale>
#include <cstdarg>
#include <cstdio>
#include <locale.h>
#include <vector>

namespace {

PtxSink* gConsoleSink = nullptr;
std::string* gConsoleCapture = nullptr;
std::string* gReportCapture = nullptr;
ptxgui::Progress* gProgress = nullptr;
std::string gProblemKind;
std::string gProblemDetail;
std::string gSummaryLine;

constexpr size_t kFirstBuffer = 4096;
constexpr size_t kMostBytes = 16u * 1024u * 1024u;

// Numbers are always formatted in the C locale, whatever the caller has set.
class CLocaleScope {
public:
    CLocaleScope() {
        static locale_t cLocale = newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(0));
        previous_ = cLocale ? uselocale(cLocale) : static_cast<locale_t>(0);
    }
    ~CLocaleScope() {
        if (previous_) uselocale(previous_);
    }
    CLocaleScope(const CLocaleScope&) = delete;
    CLocaleScope& operator=(const CLocaleScope&) = delete;

private:
    locale_t previous_;
};

std::string formatList(const char* format, va_list args) {
    CLocaleScope scope;
    char first[kFirstBuffer];
    va_list copy;
    va_copy(copy, args);
    int needed = std::vsnprintf(first, sizeof first, format, copy);
    va_end(copy);
    if (needed < 0) return std::string();
    if (static_cast<size_t>(needed) < sizeof first) return std::string(first, static_cast<size_t>(needed));
    if (static_cast<size_t>(needed) + 1 > kMostBytes) return std::string(first);
    std::vector<char> heap(static_cast<size_t>(needed) + 1);
    std::vsnprintf(heap.data(), heap.size(), format, args);
    return std::string(heap.data(), static_cast<size_t>(needed));
}

}  // namespace

void StdoutSink::write(const std::string& text) {
    std::fwrite(text.data(), 1, text.size(), stdout);
}

void NullSink::write(const std::string&) {}

bool StderrProgress::stage(int step, int total, const std::string& text) {
    std::string line = formatText("progress %d/%d %s\n", step, total, text.c_str());
    std::fwrite(line.data(), 1, line.size(), stderr);
    std::fflush(stderr);
    return true;
}

void setConsoleSink(PtxSink* sink) { gConsoleSink = sink; }
PtxSink* consoleSink() { return gConsoleSink; }
void setConsoleCapture(std::string* capture) { gConsoleCapture = capture; }
void setReportCapture(std::string* capture) { gReportCapture = capture; }

std::string formatText(const char* format, ...) {
    va_list args;
    va_start(args, format);
    std::string text = formatList(format, args);
    va_end(args);
    return text;
}

void sayText(const std::string& text) {
    if (gConsoleCapture) gConsoleCapture->append(text);
    if (gConsoleSink) {
        gConsoleSink->write(text);
    } else {
        std::fwrite(text.data(), 1, text.size(), stdout);
    }
}

void say(const char* format, ...) {
    va_list args;
    va_start(args, format);
    std::string text = formatList(format, args);
    va_end(args);
    sayText(text);
}

void reportLine(const char* format, ...) {
    if (!gReportCapture) return;
    va_list args;
    va_start(args, format);
    gReportCapture->append(formatList(format, args));
    va_end(args);
}

void setProgress(ptxgui::Progress* progress) { gProgress = progress; }
ptxgui::Progress* currentProgress() { return gProgress; }

void stepProgress(int step, const std::string& text) {
    if (gProgress) gProgress->stage(step, 6, text);
}

void clearProblem() {
    gProblemKind.clear();
    gProblemDetail.clear();
}

void setProblem(const std::string& kind, const std::string& detail) {
    if (!gProblemKind.empty()) return;
    gProblemKind = kind;
    gProblemDetail = detail;
}

const std::string& problemKind() { return gProblemKind; }
const std::string& problemDetail() { return gProblemDetail; }
void setSummaryLine(const std::string& line) { gSummaryLine = line; }
const std::string& summaryLine() { return gSummaryLine; }
