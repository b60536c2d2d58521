#include <gtest/gtest.h>

#include "session/locations.h"
#include "support/image_builder.h"

namespace {

struct StoredLocation {
    StoredLocation(std::string n, uint8_t k, uint64_t s = kPositionBias, uint64_t e = kPositionBias, uint8_t f = 1,
                   std::vector<uint8_t> colour = {})
        : name(std::move(n)), kind(k), start(s), end(e), flags(f), longColour(std::move(colour)) {}
    std::string name;
    uint8_t kind;
    uint64_t start, end;
    uint8_t flags;
    std::vector<uint8_t> longColour;  // colour number, then three u16 channels; empty: the short form
};

// Flags at +11, kind at +12, the name at +15, 5-byte start and end behind it,
// colour number at +139 + L, palette index 30 at +145 + L, channels at
// +223 + L; only the long form (block size L + 283) reaches +290 + L.
void locationBlock(ImageBuilder& b, const StoredLocation& l) {
    const size_t named = b.position() + l.name.size();
    b.openBlock(0x2077);
    b.bytes({0, 0, l.flags, l.kind, 0, 0});
    b.name(l.name);
    for (uint64_t stored : {l.start, l.end}) {
        b.u32(static_cast<uint32_t>(stored));
        b.u8(static_cast<uint8_t>(stored >> 32));
        b.zeros(3);
    }
    const std::vector<uint8_t> colour = l.longColour.empty() ? std::vector<uint8_t>(7, 0) : l.longColour;
    b.zeros(named + 139 - b.position());
    b.bytes({colour[0], 0, 0, 0, 0, 0, 30, 0});
    b.zeros(named + 223 - b.position());
    b.bytes({colour.begin() + 1, colour.end()});
    if (!l.longColour.empty()) b.zeros(named + 290 - b.position());
    b.closeBlock();
}

}  // namespace

TEST(MemoryLocations, KindsPositionsFormsAndRepeats) {
    const uint64_t bar = 3840000, biased = kPositionBias + bar;
    const std::vector<uint8_t> green = {17, 0, 0x00, 0, 0xDB, 0, 0x32};
    ImageBuilder b;
    for (const StoredLocation& l : std::vector<StoredLocation>{
             {"None", 0},
             {"Marker", 1, biased, biased},
             {"Range", 10, biased, biased + 2 * bar, 1, green},
             {"Backwards", 2, biased + bar, biased, 1, {17, 1, 0xFF, 0, 0, 0, 0}},  // biased: kept
             {"Three", 3},
             {"Samples", 1, 44100, 44100, 3},
             {"Samples backwards", 2, 88200, 44100, 3},
             {"No flag", 1, 44100, 44100, 1},
             {"Marker", 9, biased, biased},  // stored again: listed once
             {"Marker", 2, biased, biased},  // another kind: a second location
             {std::string(129, 'x'), 9},
         })
        locationBlock(b, l);
    b.zeros(60);
    std::string found;
    for (const MemoryLocation& l : readMemoryLocations(imageOf(b)))
        found += l.name + " " + std::to_string(l.kind) + " " + std::to_string(static_cast<uint64_t>(l.start)) + "-" +
                 std::to_string(static_cast<uint64_t>(l.end)) + (l.sampleBased ? " samples" : "") + " " +
                 std::to_string(l.paletteIndex) + "/" + std::to_string(l.colourNumber) + "/" +
                 std::to_string(l.rgb) + "\n";
    EXPECT_EQ(found,
              "None 0 0-0 30/-1/-1\n"
              "Marker 1 3840000-3840000 30/-1/-1\n"
              "Range 2 3840000-11520000 -2/17/56114\n"  // 0x00DB32
              "Backwards 2 7680000-3840000 -2/17/-1\n"  // a low colour byte that is not 0: no RGB
              "Samples 1 44100-44100 samples 30/-1/-1\n"
              "Marker 2 3840000-3840000 30/-1/-1\n");
}
