// What kind of state an insert's record holds: the record is scanned for the
// known forms, then for control values and the AAX chunks behind "elck", and
// last scored by what its bytes look like. Nothing here reads what the state
// means; the rules that frame it for REAPER take it from here.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "session/image.h"

struct PluginInstance;

// The bytes of one record, from its "Z" to its payload end, cut to the image.
struct RecordBytes {
    const uint8_t* data = nullptr;
    size_t size = 0;

    bool holds(size_t at, size_t count) const { return at <= size && count <= size - at; }
    bool has(size_t at, const char* pattern) const;
    uint32_t le(size_t at) const;  // 0 when the word does not fit
    uint32_t be(size_t at) const;
};
RecordBytes recordBytesOf(const ImageView& view, const PluginInstance& instance);

// One link of the chain of AAX chunks that starts 17 bytes into a record.
struct AaxChunk {
    std::string name;  // the 4 bytes at +20 of the link
    size_t data = 0;   // from the record's start
    size_t size = 0;
};
// The whole chain, when "elck" stands at byte 37 and the chain ends within 8
// bytes of the record's end; otherwise empty.
std::vector<AaxChunk> aaxChunkChain(const RecordBytes& record);

// Fills the instance's state fields from its record.
void scanPluginState(const ImageView& view, PluginInstance& instance);
