// The session's group records (mix, edit and VCA groups) and the fader levels
// of the VCA masters.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "session/blocks.h"
#include "session/tracks.h"

// One 0x202A group record, as stored.
struct GroupRecord {
    std::string name;
    uint8_t type = 0;                // 1 Mix, 0 Edit, 2 both
    uint8_t slot = 0;                // 0 when the record ends before it
    bool active = true;              // true when the record ends before it
    std::vector<uint16_t> members;   // positions in the session track table
    int32_t vcaPosition = -1;        // the VCA master's position, -1 for none
    bool hasAttributes = false;
    std::vector<uint8_t> attributes;  // one byte per link attribute, non-zero when on
};

// Every group record that keeps its shape, in file order.
std::vector<GroupRecord> readGroupRecords(const SessionImage& image);

// The level of each VCA master row, in tenths of a dB, by row position.
std::map<size_t, int32_t> readVcaLevels(const SessionImage& image, const std::vector<SessionTrack>& rows);
