// The playlist blocks (0x1052): each track playlist's name, its timebase, and
// the state of every placement it holds.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "session/blocks.h"
#include "session/timeline_position.h"

// One per playlist block that passes the shape test, in file order.
struct TimebaseRecord {
    std::string name;
    bool tickBased = false;
    uint32_t placementCount = 0;  // as the block declares it
};

// One per playlist block, in the same order as the TimebaseRecords; the lists
// run in parallel, one entry per placement that holds a placement record.
struct PlaylistRow {
    std::string name;
    bool tickBased = false;
    std::vector<uint32_t> clipIndex;  // clip, or fade or group number where flagged
    std::vector<int32_t> colour;      // colour slot, -2 for none
    std::vector<bool> live;           // false for a placement kept for undo
    std::vector<bool> isFade;
    std::vector<uint8_t> overlapState;  // 1 or 2: which of two overlapping clips is on top
    std::vector<bool> isGroup;
    std::vector<uint8_t> muted;
    std::vector<bool> locked;
    std::vector<TimelinePosition> position;
};

std::vector<TimebaseRecord> readTimebaseRecords(const SessionImage& image);
std::vector<PlaylistRow> readPlaylistRows(const SessionImage& image);
