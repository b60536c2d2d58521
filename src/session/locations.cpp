#include "session/locations.h"

#include <set>
#include <tuple>

#include "session/tempo.h"

namespace {

constexpr uint16_t kLocationBlock = 0x2077;
constexpr uint32_t kLongestLocationName = 128;
constexpr uint8_t kUnbiasedAllowed = 0x02;

// The stored kind as a time property: 9 marks a marker and 10 a selection
// (the same flag over 1 and 2); -1 for anything else above 2.
int32_t timeProperty(uint8_t stored) {
    if (stored == 9) return 1;
    if (stored == 10) return 2;
    return stored <= 2 ? stored : -1;
}

// The colour fields: the long form holds a colour number and an RGB value,
// each channel in the high byte of a u16; the short form a palette index.
void readLocationColour(const ImageView& view, uint64_t z, uint64_t covered, uint64_t nameLength,
                        MemoryLocation& location) {
    if (covered == nameLength + 290) {  // block size L + 283
        location.colourNumber = view.u16(z + 139 + nameLength);
        const uint64_t rgb = z + 223 + nameLength;
        if (view.u8(rgb) == 0 && view.u8(rgb + 2) == 0 && view.u8(rgb + 4) == 0) {
            location.rgb = static_cast<int32_t>((uint32_t{view.u8(rgb + 1)} << 16) |
                                                (uint32_t{view.u8(rgb + 3)} << 8) | view.u8(rgb + 5));
        }
    } else if (covered >= nameLength + 147) {
        location.paletteIndex = static_cast<int16_t>(view.u16(z + 145 + nameLength));
    }
}

}  // namespace

std::vector<MemoryLocation> readMemoryLocations(const SessionImage& image) {
    const ImageView& view = image.view;
    std::vector<MemoryLocation> locations;
    if (view.length < 48) return locations;
    // Name, start, end and kind of every location listed so far.
    std::set<std::tuple<std::string, double, double, uint32_t>> seen;
    for (uint64_t z : image.scan(kLocationBlock)) {
        if (z + 48 >= view.length) break;
        const uint64_t covered = 7 + uint64_t{view.u32(z + 3)};
        const uint32_t nameLength = view.u32(z + 15);
        if (nameLength > kLongestLocationName || covered < uint64_t{nameLength} + 35) continue;
        std::optional<std::string> name = readName(view, z + 15, 0, kLongestLocationName);
        if (!name) continue;

        MemoryLocation location;
        location.name = std::move(*name);
        location.flags = view.u8(z + 11);
        const int32_t kind = timeProperty(view.u8(z + 12));
        if (kind < 0) continue;
        location.kind = static_cast<uint32_t>(kind);

        const uint64_t start = readStoredValue(view, z + 19 + nameLength, nullptr).value;
        const uint64_t end = readStoredValue(view, z + 27 + nameLength, nullptr).value;
        if (start >= kPositionBias && end >= kPositionBias) {
            location.start = static_cast<double>(start - kPositionBias);
            location.end = static_cast<double>(end - kPositionBias);
        } else if ((location.flags & kUnbiasedAllowed) != 0 && end >= start) {
            location.start = static_cast<double>(start);
            location.end = static_cast<double>(end);
            location.sampleBased = 1;
        } else {
            continue;
        }
        readLocationColour(view, z, covered, nameLength, location);

        if (!seen.emplace(location.name, location.start, location.end, location.kind).second) continue;
        locations.push_back(std::move(location));
    }
    return locations;
}
