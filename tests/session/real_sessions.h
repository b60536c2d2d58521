// Access to the real sessions saved by Pro Tools and to what an independent
// reader found in them (the NAME.facts beside each).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

// The folder of real sessions: the one TRELLUM_SESSIONS names, else
// ../shared/sessions; "" when it is absent. Tests that need it skip with a
// reason that starts "no real sessions", which ctest counts in its last line.
std::string realSessionFolder();
// Paths of the files in folder ending in extension, sorted.
std::vector<std::string> filesEnding(const std::string& folder, const std::string& extension);
std::vector<uint8_t> readBytes(const std::string& path);
void writeBytes(const std::string& path, const std::vector<uint8_t>& bytes);
