// The program's one voice: every message goes through say() into the console
// sink, and is copied into the run's capture while a conversion is under way.
#pragma once

#include <string>

class PtxSink {
public:
    virtual ~PtxSink() = default;
    virtual void write(const std::string& text) = 0;
};

// A plain put to standard output, without a flush.
class StdoutSink : public PtxSink {
public:
    void write(const std::string& text) override;
};

// Silences the console; the capture still receives everything.
class NullSink : public PtxSink {
public:
    void write(const std::string& text) override;
};

namespace ptxgui {
class Progress {
public:
    virtual ~Progress() = default;
    virtual bool stage(int step, int total, const std::string& text) = 0;
};
}  // namespace ptxgui

// Writes "progress %d/%d %s" lines to standard error for a front-end application.
class StderrProgress : public ptxgui::Progress {
public:
    bool stage(int step, int total, const std::string& text) override;
};

// The console sink; null means standard output. Not owned.
void setConsoleSink(PtxSink* sink);
PtxSink* consoleSink();

// While a capture string is set, every said text is appended to it too.
void setConsoleCapture(std::string* capture);
void setReportCapture(std::string* capture);

// Formats like printf (always in the C locale's number forms the program uses)
// and hands the whole text to the console sink, however long it is.
void say(const char* format, ...) __attribute__((format(printf, 1, 2)));
void sayText(const std::string& text);
// The same for the report: does nothing unless a report capture is set.
void reportLine(const char* format, ...) __attribute__((format(printf, 1, 2)));

// printf into a std::string, with no limit on length.
std::string formatText(const char* format, ...) __attribute__((format(printf, 1, 2)));

// The progress object of the run under way, or null.
void setProgress(ptxgui::Progress* progress);
ptxgui::Progress* currentProgress();
void stepProgress(int step, const std::string& text);

// What went wrong on the program's side in the last run; the first problem stands.
void clearProblem();
void setProblem(const std::string& kind, const std::string& detail);
const std::string& problemKind();
const std::string& problemDetail();

// The summary line composed by the report step of the last run, or empty.
void setSummaryLine(const std::string& line);
const std::string& summaryLine();
