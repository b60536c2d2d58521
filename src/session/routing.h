// The session's I/O paths and, per audio and instrument track, its routing
// row: the path it outputs to, the path on its input, and its sends.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "session/blocks.h"
#include "session/strips.h"

constexpr uint32_t kBusPath = 2;
constexpr uint32_t kInstrumentOrHardwarePath = 6;

// One I/O path (0x1021).
struct BusRecord {
    uint32_t idLow = 0;
    uint32_t idHigh = 0;
    uint32_t kind = 0;  // kBusPath, kInstrumentOrHardwarePath, others as stored
    std::string name;
    std::vector<int32_t> channels;
    uint64_t position = 0;  // the block's "Z"
};
// Every path in file order; a path stored twice is listed once.
std::vector<BusRecord> readPaths(const SessionImage& image);

// The routing row of one track block (0x261B or 0x2621).
struct TrackRouting {
    std::string name;        // the track block's own name
    std::string inputPath;
    std::string outputPath;  // empty with noOutput
    uint8_t noOutput = 0;
    uint64_t blockStart = 0;
    uint64_t blockEnd = 0;
    std::vector<SendRecord> sends;
    uint32_t inputIdLow = 0;
    uint32_t inputIdHigh = 0;
    int32_t inputKind = -1;  // -1: no input path found
    uint64_t inputPosition = 0;
    // The instrument and hardware paths (kind 6) whose id the block holds, by index into the paths.
    std::vector<size_t> heldPaths;
};
std::vector<TrackRouting> readTrackRouting(const SessionImage& image, const std::vector<BusRecord>& paths);

// The names key inputs are given by number (0x260E blocks).
std::map<uint16_t, std::string> readKeyInputNames(const SessionImage& image);

// A hardware I/O insert (0x2612) and the track that holds it.
struct HardwareInsert {
    std::string trackName;  // "<unknown track>" when no track holds it
    std::string name;       // "<unnamed>" when it has none
};
std::vector<HardwareInsert> readHardwareInserts(const SessionImage& image);
