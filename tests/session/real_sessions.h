// Access to the real sessions saved by Pro Tools and to what an independent
// reader found in them (the NAME.facts beside each).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct FactsFile {
    std::string name;
    uint16_t index = 0;
    uint64_t length = 0;
};

struct SessionFacts {
    int64_t sampleRate = 0;
    std::vector<FactsFile> files;
};

// The folder of real sessions: the one TRELLUM_SESSIONS names, else
// ../shared/sessions; "" when it is absent. Tests that need it skip with a
// reason that starts "no real sessions", which ctest counts in its last line.
std::string realSessionFolder();
// Paths of the files in folder ending in extension, sorted.
std::vector<std::string> filesEnding(const std::string& folder, const std::string& extension);
std::vector<uint8_t> readBytes(const std::string& path);
void writeBytes(const std::string& path, const std::vector<uint8_t>& bytes);
// The sample_rate and file lines of the .facts beside a session.
SessionFacts readFacts(const std::string& sessionPath);
