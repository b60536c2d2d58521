// The playlist blocks (0x1052): each track playlist's name, its timebase, and
// the state of every placement it holds.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "session/blocks.h"
#include "session/timeline_position.h"

// One per playlist block that passes the shape test, in file order.
struct TimebaseRecord {
    std::string name;  // can be empty
    bool tickBased = false;
    uint32_t placementCount = 0;  // as the block declares it
    // The playlist's place in the track playlist list (the 0x1054 that stands at
    // the image's top level): the track number its placements are stored under.
    // -1 for a playlist outside that list (clip groups keep playlists of their own).
    int32_t trackNumber = -1;
    // For a clip group's own playlist (in the list that 0x2428 holds): the
    // group's number, its place in that list. -1 for any other playlist.
    int32_t clipGroup = -1;
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

// Which track plays each playlist: for every track number of an audio track's
// playlists, the name of the playlist that track plays (its current name). A
// track's alternate playlists map to the track's own name. Read from the list
// each audio track keeps behind its track block (its current entry and the
// entries it owns, as places in the track entry list 0x1015), and from the
// track entries (0x1014), which give each entry's track numbers.
std::map<uint16_t, std::string> readPlaylistOwners(const SessionImage& image);
