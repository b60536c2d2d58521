// The session's memory locations: markers and selections with their colours.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "session/blocks.h"

struct MemoryLocation {
    std::string name;
    uint32_t flags = 0;  // bit 1 (value 2) allows positions without bias
    uint32_t kind = 0;   // 0 no time property, 1 marker, 2 selection
    double start = 0;    // ticks, or samples when sampleBased
    double end = 0;      // the same; a marker's end equals its start as stored
    int32_t paletteIndex = -2;  // palette slot, short form only
    int32_t colourNumber = -1;  // stored colour number, long form only
    int32_t rgb = -1;           // 0xRRGGBB; negative when none is stored
    uint8_t sampleBased = 0;    // 1: the positions are samples, without bias
};

// Every memory location block, in file order; a location stored twice (same
// name, start, end and kind) is listed once.
std::vector<MemoryLocation> readMemoryLocations(const SessionImage& image);
