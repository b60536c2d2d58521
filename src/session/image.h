// Bounds-checked reads of the decrypted session image. Every decoder reads the
// image through ImageView: a read that does not fit gives 0, never a fault.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

// Positions that can be samples or ticks are stored biased by 10^12.
constexpr uint64_t kPositionBias = 1000000000000ULL;
constexpr uint64_t kTicksPerQuarter = 960000;

struct ImageView {
    const uint8_t* bytes = nullptr;
    uint64_t length = 0;

    // True when [position, position + count) lies inside the image; catches
    // overflow (written without position + count, which can wrap).
    bool holds(uint64_t position, uint64_t count) const {
        return bytes != nullptr && position <= length && count <= length - position;
    }
    // Little-endian reads; 0 when any byte of the value lies outside the image.
    // Inline: the readers call them for every byte they scan.
    uint8_t u8(uint64_t position) const { return static_cast<uint8_t>(little(position, 1)); }
    uint16_t u16(uint64_t position) const { return static_cast<uint16_t>(little(position, 2)); }
    uint32_t u32(uint64_t position) const { return static_cast<uint32_t>(little(position, 4)); }
    uint64_t u64(uint64_t position) const { return little(position, 8); }
    int32_t i32(uint64_t position) const { return static_cast<int32_t>(u32(position)); }
    double f64(uint64_t position) const;
    // The bytes [position, position + count) as text; empty when they do not fit.
    std::string text(uint64_t position, uint64_t count) const;
    // True when the bytes at position equal the given ones.
    bool matches(uint64_t position, const void* pattern, uint64_t count) const;
    // The little-endian number of `count` bytes (at most 8) at position; 0 when
    // any of them lies outside the image.
    uint64_t little(uint64_t position, uint64_t count) const {
        if (!holds(position, count)) return 0;
        uint64_t value = 0;
        for (uint64_t k = 0; k < count; ++k) value |= static_cast<uint64_t>(bytes[position + k]) << (8 * k);
        return value;
    }
};

// Printable ASCII and the bytes of UTF-8 sequences.
bool isNameByte(uint8_t byte);

// A u32 length at position, then that many name bytes; accepted when the length
// lies in [minLength, maxLength], the text fits and every byte is a name byte.
std::optional<std::string> readName(const ImageView& image, uint64_t position,
                                    uint32_t minLength, uint32_t maxLength);

// The packed record of up to four little-endian values of variable width.
struct ThreePoint {
    uint8_t widths[4] = {0, 0, 0, 0};
    uint64_t values[4] = {0, 0, 0, 0};
    uint64_t end = 0;  // position just behind the last value
};
ThreePoint readThreePoint(const ImageView& image, uint64_t position);
