// The Melodyne (ARA) edit sets the session declares, and the clips they edit.
// The session holds only the names of three archive files per edit; the
// archives lie in the "ARA Data" folder beside it.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "session/blocks.h"

constexpr const char* kMelodyneFactory = "com.celemony.ara.chunk.13";

struct AraSet {
    std::string plugInName;  // empty: "Melodyne" in paths
    std::string factoryId;
    std::string sourceFile;
    std::string modificationFile;
    std::string documentFile;  // begins with "ds_"
    std::array<uint8_t, 16> sourceUid{};
    std::array<uint8_t, 16> modificationUid{};
};

// One row per modification of every ARA block (0x480C), in file order.
std::vector<AraSet> readAraSets(const SessionImage& image);

// Clip name to the first row whose modification id the clip's block holds.
std::map<std::string, int32_t> readAraClipSets(const SessionImage& image, const std::vector<AraSet>& sets);
