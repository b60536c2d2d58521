#include <gtest/gtest.h>

#include "cli/console.h"
#include "session/loops.h"
#include "support/image_builder.h"

namespace {

// A placement (0x104F) right behind the head of a block of `around`: clip
// number at +11, position at +16 (its eight bytes as stored), then a loop block of `loopSize`.
void loopedPlacement(ImageBuilder& b, uint16_t around, uint16_t clip, uint64_t stored, uint32_t loopSize,
                     uint8_t mode, uint32_t count, uint64_t loopLength) {
    b.openBlock(around);
    b.openBlock(0x104F);
    b.u16(0);
    b.u16(clip);  // +11
    b.zeros(3);
    b.u64(stored);  // +16
    b.openBlock(0x242B);
    b.u8(mode);        // +9
    b.zeros(2);
    b.u64(1234);       // +12: span
    b.zeros(16);
    b.u32(count);      // +36
    b.zeros(8);
    b.u64(loopLength); // +48
    b.zeros(loopSize - 49);
    b.closeBlock();
    b.closeBlock();
    b.closeBlock();
}

}  // namespace

TEST(LoopRecords, ReadClipPositionKindAndTheLoopOnlyFromTheKnownShape) {
    ImageBuilder b;
    loopedPlacement(b, 0x1050, 7, 96000, 59, 2, 4, 0);
    loopedPlacement(b, 0x1056, 3, uint64_t{0x40} << 56 | (kPositionBias + 480), 59, 1, 0, 24000);  // ticks
    loopedPlacement(b, 0x1050, 2, 10, 60, 2, 4, 0);  // a loop block one byte too long
    b.block(0x104F, std::vector<uint8_t>(30, 0));    // a placement without a loop
    const std::vector<LoopRecord> records = readLoopRecords(imageOf(b));
    // Clip, position, the holder (0x1050 audio, 0x1056 MIDI), valid, mode (1 by length, 2 by count), span,
    // count and loop length.
    std::vector<std::string> read;
    for (const LoopRecord& r : records)
        read.push_back(formatText("%u %lld%s %X %d %d %llu %u %llu", r.clipIndex, static_cast<long long>(r.position.value),
                                  r.position.inTicks() ? " ticks" : "", r.kind, r.valid, r.mode,
                                  static_cast<unsigned long long>(r.span), r.count,
                                  static_cast<unsigned long long>(r.loopLength)));
    EXPECT_EQ(read, (std::vector<std::string>{"7 96000 1050 1 2 1234 4 0", "3 480 ticks 1056 1 1 1234 0 24000",
                                              "2 10 1050 0 0 0 0 0"}));
}
