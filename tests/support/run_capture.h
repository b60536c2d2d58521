// Runs convert the way an embedding caller does, with the console silenced,
// and keeps what came back.
#pragma once

#include <string>
#include <vector>

#include "driver/convert.h"

class RecordingProgress : public ptxgui::Progress {
public:
    std::vector<std::string> lines;
    bool stage(int step, int total, const std::string& text) override;
};

struct CapturedRun {
    int code = -1;
    std::string console;
    ConvertResult result;
    std::vector<std::string> progress;
};

CapturedRun runConvert(const ConvertOptions& options, bool withProgress = false);

// Options for converting one session with everything at its default.
ConvertOptions optionsFor(const std::string& sessionPath);

// The <ITEM block of the take of that name in project text; "" without one.
std::string itemNamed(const std::string& project, const std::string& name);

std::string readFileText(const std::string& path);
bool fileExists(const std::string& path);
void writeFileText(const std::string& path, const std::string& text);
// The stored text of tests/golden/expected/<file>; with TRELLUM_UPDATE_GOLDEN
// set, stores `text` there first (read the diff).
std::string storedText(const std::string& file, const std::string& text);
