#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <vector>

#include "session/image.h"
#include "support/image_builder.h"

namespace {

constexpr uint64_t kTop = std::numeric_limits<uint64_t>::max();

ImageView viewOf(const std::vector<uint8_t>& bytes) { return ImageView{bytes.data(), bytes.size()}; }

TEST(ImageView, ReadsLittleEndianAndGivesZeroForAnythingThatDoesNotFit) {
    const std::vector<uint8_t> bytes = {0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08, 0x09};
    const ImageView image = viewOf(bytes);
    EXPECT_EQ(image.u8(8), 0x09);
    EXPECT_EQ(image.u16(0), 0x0201);
    EXPECT_EQ(image.u32(5), 0x09080706u);           // the last four bytes
    EXPECT_EQ(image.u64(1), 0x0908070605040302ull); // the last eight bytes
    EXPECT_EQ(image.u32(6), 0u);                    // one byte short
    EXPECT_EQ(image.u64(2), 0u);                    // one byte short
    EXPECT_EQ(image.u8(9), 0);                      // just behind the end
    EXPECT_EQ(image.text(7, 2), "\x08\x09");
    EXPECT_EQ(image.text(7, 3), "");                // runs one past the end
    const uint8_t tail[] = {0x08, 0x09};
    EXPECT_TRUE(image.matches(7, tail, 2));
    EXPECT_FALSE(image.matches(8, tail, 2));

    const std::vector<uint8_t> one = {0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xF0, 0x3F};  // 1.0
    EXPECT_EQ(viewOf(one).f64(0), 1.0);
}

TEST(ImageView, OffsetsThatWouldWrapAreOutside) {
    const std::vector<uint8_t> bytes(16, 0xAB);
    const ImageView image = viewOf(bytes);
    EXPECT_TRUE(image.holds(16, 0));      // the empty range at the end
    EXPECT_FALSE(image.holds(17, 0));     // behind the end
    EXPECT_FALSE(image.holds(0, 17));
    EXPECT_FALSE(image.holds(1, kTop));   // 1 + count wraps to 0
    EXPECT_FALSE(image.holds(kTop, 2));   // position + 2 wraps to 1
    EXPECT_EQ(image.u16(kTop), 0);        // would read bytes kTop and 0
    EXPECT_EQ(image.u32(kTop - 1), 0u);   // would read bytes kTop - 1 .. 1
    EXPECT_EQ(image.u64(kTop - 6), 0u);
    EXPECT_EQ(image.text(kTop, 4), "");
    EXPECT_EQ(image.text(2, kTop), "");

    const ImageView empty{};
    EXPECT_FALSE(empty.holds(0, 1));
    EXPECT_EQ(empty.u32(0), 0u);
}

TEST(ImageName, AcceptsALengthAndNameBytesThatFit) {
    EXPECT_TRUE(isNameByte(0x20));
    EXPECT_TRUE(isNameByte(0x7E));
    EXPECT_FALSE(isNameByte(0x7F));
    EXPECT_FALSE(isNameByte(0x1F));
    EXPECT_TRUE(isNameByte(0x80));
    EXPECT_TRUE(isNameByte(0xBF));
    EXPECT_FALSE(isNameByte(0xC0));  // never in UTF-8
    EXPECT_FALSE(isNameByte(0xC1));
    EXPECT_TRUE(isNameByte(0xC2));
    EXPECT_TRUE(isNameByte(0xF4));
    EXPECT_FALSE(isNameByte(0xF5));

    // A good name: length 3, "Kik".
    const std::vector<uint8_t> good = {0x03, 0x00, 0x00, 0x00, 'K', 'i', 'k'};
    EXPECT_EQ(readName(viewOf(good), 0, 1, 3).value_or("?"), "Kik");
    EXPECT_FALSE(readName(viewOf(good), 0, 4, 10));  // shorter than the least length
    EXPECT_FALSE(readName(viewOf(good), 0, 1, 2));   // longer than the most

    // UTF-8 bytes are taken as they stand: "é" is C3 A9.
    const std::vector<uint8_t> accented = {0x02, 0x00, 0x00, 0x00, 0xC3, 0xA9};
    EXPECT_EQ(readName(viewOf(accented), 0, 1, 8).value_or("?"), "\xC3\xA9");

    const std::vector<std::vector<uint8_t>> refused = {
        {0x04, 0x00, 0x00, 0x00, 'K', 'i', 'k'},      // the text runs one past the end
        {0x03, 0x00, 0x00, 0x00, 'K', 0x0A, 'k'},     // a line feed is no name byte
        {0x03, 0x00, 0x00, 0x00, 'K', 0xC0, 'k'},     // nor is 0xC0
        {0x03, 0x00, 0x00},                           // the length itself is cut
        {0xFF, 0xFF, 0xFF, 0xFF, 'K', 'i', 'k'},      // a length of 2^32 - 1
    };
    for (size_t k = 0; k < refused.size(); ++k)
        EXPECT_FALSE(readName(viewOf(refused[k]), 0, 1, 0xFFFFFFFFu)) << "vector " << k;
    EXPECT_FALSE(readName(viewOf(good), kTop - 2, 1, 3));  // position + 4 would wrap
}

TEST(ImageThreePoint, ReadsEachValueInItsWidthAndZeroWhenItDoesNotFit) {
    ImageBuilder b;
    const size_t at = b.position();
    b.threePoint(0x0102030405ull, 5, 7, 1, 0, 0, 0xBEEF, 2);
    const ImageView image = viewOf(b.image());
    ThreePoint point = readThreePoint(image, at);
    EXPECT_EQ(std::vector<int>(point.widths, point.widths + 4), (std::vector<int>{5, 1, 0, 2}));
    EXPECT_EQ(std::vector<uint64_t>(point.values, point.values + 4), (std::vector<uint64_t>{0x0102030405ull, 7, 0, 0xBEEF}));
    EXPECT_EQ(point.end, b.position());

    // The same record cut one byte short: the fourth value no longer fits.
    const ImageView cut{image.bytes, image.length - 1};
    point = readThreePoint(cut, at);
    EXPECT_EQ(point.values[1], 7u);
    EXPECT_EQ(point.values[3], 0u);
    EXPECT_EQ(point.end, b.position());

    // The third width sits in the high nibble of q+2, the second in its low one.
    const std::vector<uint8_t> swapped = {0x00, 0x00, 0x21, 0x00, 0x00, 0x11, 0x22, 0x33};
    point = readThreePoint(viewOf(swapped), 0);
    EXPECT_EQ(point.values[1], 0x11u);
    EXPECT_EQ(point.values[2], 0x3322u);

    // Widths past 8 keep the low eight bytes and still move the end.
    const std::vector<uint8_t> wide = {0x00, 0xA0, 0x00, 0x00, 0x00, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
    point = readThreePoint(viewOf(wide), 0);
    EXPECT_EQ(point.values[0], 0x0807060504030201ull);
    EXPECT_EQ(point.end, 15u);

    // Near the top of the address range everything is outside.
    point = readThreePoint(image, kTop - 2);
    EXPECT_EQ(point.values[0] | point.values[1] | point.values[2] | point.values[3], 0u);
    EXPECT_EQ(point.end, kTop);
}

}  // namespace
