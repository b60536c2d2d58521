#include "session/image.h"

#include <cstring>
#include <limits>

namespace {

// position + step, or the largest u64 when that would wrap: such a position is
// never inside an image, so every read there gives 0.
uint64_t advance(uint64_t position, uint64_t step) {
    const uint64_t top = std::numeric_limits<uint64_t>::max();
    return position > top - step ? top : position + step;
}

}  // namespace

double ImageView::f64(uint64_t position) const {
    const uint64_t raw = u64(position);
    double value = 0;
    std::memcpy(&value, &raw, sizeof value);
    return value;
}

std::string ImageView::text(uint64_t position, uint64_t count) const {
    if (count == 0 || !holds(position, count)) return {};
    return std::string(reinterpret_cast<const char*>(bytes + position), count);
}

bool ImageView::matches(uint64_t position, const void* pattern, uint64_t count) const {
    if (!holds(position, count)) return false;
    return count == 0 || std::memcmp(bytes + position, pattern, count) == 0;
}

bool isNameByte(uint8_t byte) {
    return (byte >= 0x20 && byte <= 0x7E) || (byte >= 0x80 && byte <= 0xBF) ||
           (byte >= 0xC2 && byte <= 0xF4);
}

std::optional<std::string> readName(const ImageView& image, uint64_t position,
                                    uint32_t minLength, uint32_t maxLength) {
    if (!image.holds(position, 4)) return std::nullopt;
    const uint32_t length = image.u32(position);
    if (length < minLength || length > maxLength) return std::nullopt;
    const uint64_t start = position + 4;  // cannot wrap: the length field fits the image
    if (!image.holds(start, length)) return std::nullopt;
    for (uint64_t k = 0; k < length; ++k)
        if (!isNameByte(image.bytes[start + k])) return std::nullopt;
    return std::string(reinterpret_cast<const char*>(image.bytes + start), length);
}

ThreePoint readThreePoint(const ImageView& image, uint64_t position) {
    ThreePoint point;
    const uint8_t b1 = image.u8(advance(position, 1));
    const uint8_t b2 = image.u8(advance(position, 2));
    const uint8_t b3 = image.u8(advance(position, 3));
    // Stored order of the values: first, second, third, fourth.
    point.widths[0] = b1 >> 4;
    point.widths[1] = b2 & 0x0F;
    point.widths[2] = b2 >> 4;
    point.widths[3] = b3 >> 4;

    uint64_t at = advance(position, 5);
    for (int k = 0; k < 4; ++k) {
        const uint64_t width = point.widths[k];
        // A nibble allows 15 bytes; only the low 8 can be held, the rest is skipped.
        if (image.holds(at, width))
            point.values[k] = image.little(at, width < 8 ? width : 8);
        at = advance(at, width);
    }
    point.end = at;
    return point;
}
