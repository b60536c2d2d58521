// Loop records: a placement (0x104F) that holds a loop block (0x242B) says how
// Pro Tools loops that placement (Clip > Loop).
#pragma once

#include <cstdint>
#include <vector>

#include "session/blocks.h"
#include "session/timeline_position.h"

constexpr uint16_t kLoopOfAudio = 0x1050;
constexpr uint16_t kLoopOfMidi = 0x1056;
constexpr uint8_t kLoopByLength = 1;
constexpr uint8_t kLoopByCount = 2;

struct LoopRecord {
    uint16_t clipIndex = 0;
    TimelinePosition position;  // the placement's position
    uint16_t kind = 0;        // content type of the block around the placement; 0 when none stands there
    bool valid = false;       // the loop block has the one size this reader knows
    uint8_t mode = 0;         // kLoopByLength or kLoopByCount when valid
    uint64_t span = 0;        // carried, not used
    uint32_t count = 0;
    uint64_t loopLength = 0;  // samples
};

// Every loop record of the image in file order.
std::vector<LoopRecord> readLoopRecords(const SessionImage& image);
