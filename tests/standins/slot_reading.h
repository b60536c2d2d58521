// Reads the slots a stand-in writes back into their parts, the way REAPER
// would: the block's first line, the header and state decoded, the JS line.
#pragma once

#include <cstdint>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "project/text.h"

struct ReadSlot {
    std::string open;     // the "<VST ..." or "<JS ..." line, indent removed
    std::vector<uint8_t> header, state;
    std::string parameters;  // a JS slot's parameter line
    std::string preset, fxid, bypass;
};

inline std::vector<ReadSlot> readSlots(const std::string& text) {
    std::vector<ReadSlot> slots;
    std::istringstream in(text);
    std::string line, bypass;
    int inner = 0;  // lines read inside the open block
    while (std::getline(in, line)) {
        const std::string trimmed = line.substr(line.find_first_not_of(' '));
        if (trimmed.rfind("BYPASS", 0) == 0) bypass = trimmed;
        else if (trimmed[0] == '<') {
            slots.push_back({trimmed, {}, {}, "", "", "", bypass});
            inner = 1;
        } else if (trimmed == ">") inner = 0;
        else if (inner > 0 && slots.back().open.rfind("<JS", 0) == 0) slots.back().parameters = trimmed;
        else if (inner == 1) {
            slots.back().header = base64Decode(trimmed);
            inner = 2;
        } else if (inner == 2 && trimmed != "AAAQAAAA") {
            std::vector<uint8_t> more = base64Decode(trimmed);
            slots.back().state.insert(slots.back().state.end(), more.begin(), more.end());
        } else if (trimmed.rfind("PRESETNAME ", 0) == 0) slots.back().preset = trimmed.substr(11);
        else if (trimmed.rfind("FXID ", 0) == 0) slots.back().fxid = trimmed.substr(5);
    }
    return slots;
}

inline uint32_t wordAt(const std::vector<uint8_t>& bytes, size_t at) {
    uint32_t value = 0;
    for (int k = 3; k >= 0; --k) value = (value << 8) | bytes.at(at + k);
    return value;
}

inline double doubleAt(const std::vector<uint8_t>& bytes, size_t at) {
    double value;
    std::memcpy(&value, &bytes.at(at + 7) - 7, 8);  // little-endian, as the machine
    return value;
}

inline float floatAt(const std::vector<uint8_t>& bytes, size_t at) {
    float value;
    std::memcpy(&value, &bytes.at(at + 3) - 3, 4);  // little-endian, as the machine
    return value;
}
