#include <gtest/gtest.h>

#include <cstdio>
#include <random>
#include <tuple>
#include <vector>

#include "session/blocks.h"
#include "session/ptx_file.h"
#include "session/real_sessions.h"
#include "support/image_builder.h"

namespace {

ImageView viewOf(const std::vector<uint8_t>& bytes) { return ImageView{bytes.data(), bytes.size()}; }

// The plain byte-by-byte scan the index has to reproduce.
std::vector<uint64_t> referenceScan(const ImageView& image, uint16_t contentType, uint64_t from, uint64_t to) {
    std::vector<uint64_t> found;
    const uint64_t end = std::min(to, image.length);
    for (uint64_t p = from; p + 9 < end; ++p) {
        if (image.bytes[p] != 'Z' || image.bytes[p + 2] != 0) continue;
        const uint64_t size = image.u32(p + 3);
        if (size == 0 || p + 7 + size > end) continue;
        if (image.u16(p + 7) == contentType) found.push_back(p);
    }
    return found;
}

std::vector<uint8_t> decryptedImage(const std::string& path) {
    std::vector<uint8_t> bytes = readBytes(path);
    applySessionCipher(bytes);
    return bytes;
}

// A block and its children as text: content type, start and end of each.
std::string tree(const PtxBlock& b) {
    char head[64];
    std::snprintf(head, sizeof head, "%04X %llu-%llu", b.contentType, static_cast<unsigned long long>(b.start()),
                  static_cast<unsigned long long>(b.end()));
    std::string text = head;
    for (size_t k = 0; k < b.children.size(); ++k) text += (k == 0 ? " (" : ", ") + tree(b.children[k]);
    return b.children.empty() ? text : text + ")";
}

// The verdict of the damage check, the end of the last complete block and the chain break.
std::string checked(const std::vector<uint8_t>& bytes) {
    const ImageCheck check = checkImage(viewOf(bytes));
    return std::string(damageWord(check.verdict)) + " " + std::to_string(check.lastCompleteEnd) + " " +
           std::to_string(check.chainBreak);
}

TEST(BlockParse, RefusesHeadsThatDoNotFit) {
    PtxBlock block;
    // "Z", type 1, size 2, content type 0x1028, one byte behind.
    const std::vector<uint8_t> good = {'Z', 0x01, 0x00, 0x02, 0x00, 0x00, 0x00, 0x28, 0x10, 0x00};
    ASSERT_TRUE(parseBlockAt(viewOf(good), 0, good.size(), block));
    EXPECT_EQ(tree(block) + " type " + std::to_string(block.blockType), "1028 0-9 type 1");

    const std::vector<std::vector<uint8_t>> refused = {
        {'Z', 0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x28},              // content type cut: position + 8 is the end
        {'Z', 0x01, 0x00, 0x02, 0x00},                                // head cut in the size
        {'z', 0x01, 0x00, 0x02, 0x00, 0x00, 0x00, 0x28, 0x10, 0x00},  // not "Z"
        {'Z', 0x01, 0x01, 0x02, 0x00, 0x00, 0x00, 0x28, 0x10, 0x00},  // block type 0x0101
        {'Z', 0x01, 0x00, 0x04, 0x00, 0x00, 0x00, 0x28, 0x10, 0x00},  // size runs past the end
        {'Z', 0x01, 0x00, 0xFF, 0xFF, 0xFF, 0xFF, 0x28, 0x10, 0x00},  // size 2^32 - 1
    };
    for (size_t k = 0; k < refused.size(); ++k)
        EXPECT_FALSE(parseBlockAt(viewOf(refused[k]), 0, refused[k].size(), block)) << "vector " << k;
    EXPECT_FALSE(parseBlockAt(viewOf(good), 0, 8, block));  // the limit ends before the block
    EXPECT_FALSE(parseBlockAt(viewOf(good), UINT64_MAX - 3, UINT64_MAX, block));

    // Size 0 is a block without body; the walk accepts it, the scan does not.
    const std::vector<uint8_t> empty = {'Z', 0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x28, 0x10, 0x00};
    EXPECT_TRUE(parseBlockAt(viewOf(empty), 0, empty.size(), block));
    EXPECT_TRUE(referenceScan(viewOf(empty), 0x1028, 0, empty.size()).empty());
}

TEST(BlockParse, FindsNestedChildrenAndPassesOverFalseOnes) {
    ImageBuilder b;  // the block at 20, just behind the head
    b.openBlock(0x1004, 2);
    b.u32(3);
    // A false head: "Z" with the block type 0x015A. The search goes on at the next
    // byte, which heads a real child.
    b.u8('Z');
    b.openBlock(0x103A, 1);
    b.zeros(5);
    b.block(0x1001, {1, 2, 3, 4});
    b.closeBlock();
    b.block(0x1003, {9, 9});
    b.closeBlock();
    b.zeros(40);

    PtxBlock block;
    ASSERT_TRUE(parseBlockAt(viewOf(b.image()), 20, b.image().size(), block));
    EXPECT_EQ(tree(block), "1004 20-72 (103A 34-61 (1001 48-61), 1003 61-72)");

    // The search of a body stops once the width of the child just found would carry
    // it past the limit: with the limit at the block's own end, the second child,
    // narrower than the first, is not reached.
    ASSERT_TRUE(parseBlockAt(viewOf(b.image()), 20, 72, block));
    EXPECT_EQ(tree(block), "1004 20-72 (103A 34-61 (1001 48-61))");
}

TEST(BlockWalk, StepsByTheLastAcceptedWidth) {
    // Head, one byte of junk (the walk moves by 1 until a block is found), a block of
    // 16 bytes, 16 bytes that hold no block (the walk repeats the width 16), a block
    // found there, then a block one byte off the step, which the walk misses.
    ImageBuilder b;
    b.u8(0xEE);
    b.block(0x0001, std::vector<uint8_t>(7, 0));
    b.zeros(16);
    b.block(0x0002, std::vector<uint8_t>(7, 0));
    b.u8(0xEE);
    b.block(0x0003, std::vector<uint8_t>(7, 0));
    b.zeros(30);

    const std::vector<PtxBlock> top = walkBlockTree(viewOf(b.image()));
    ASSERT_EQ(top.size(), 2u);
    EXPECT_EQ(tree(top[0]) + ", " + tree(top[1]), "0001 21-37, 0002 53-69");

    // No tree for a big-endian image or one under 65 bytes.
    std::vector<uint8_t> bigEndian = b.image();
    bigEndian[17] = 1;
    EXPECT_TRUE(walkBlockTree(viewOf(bigEndian)).empty());
    const std::vector<uint8_t> tiny(b.image().begin(), b.image().begin() + 64);
    EXPECT_TRUE(walkBlockTree(viewOf(tiny)).empty());
}

TEST(BlockScan, IndexAnswersAsTheByteScan) {
    std::mt19937 random(20240611);
    // Bytes drawn mostly from the head alphabet, so that many positions look like heads.
    const uint8_t alphabet[] = {'Z', 0x00, 0x00, 0x01, 0x02, 0x05, 0x10, 0x28};
    for (int round = 0; round < 200; ++round) {
        std::vector<uint8_t> bytes(random() % 400);
        for (uint8_t& byte : bytes)
            byte = random() % 4 == 0 ? static_cast<uint8_t>(random()) : alphabet[random() % 8];
        const ImageView image = viewOf(bytes);
        const SessionImage session = makeSessionImage(image);
        for (uint16_t type : {0x0000, 0x0001, 0x0100, 0x1028, 0x2801, 0x0505}) {
            ASSERT_EQ(session.scan(type), referenceScan(image, type, 0, bytes.size())) << round;
            const uint64_t from = random() % (bytes.size() + 10), to = random() % (bytes.size() + 20);
            ASSERT_EQ(session.scan(type, from, to), referenceScan(image, type, from, to))
                << "round " << round << " from " << from << " to " << to;
        }
    }

    // The real sessions and one bench session.
    std::vector<std::string> paths = filesEnding(realSessionFolder(), ".ptx");
    const std::vector<std::string> bench = filesEnding(TRELLUM_SHARED_DIR "/bench", ".ptx");
    if (!bench.empty()) paths.push_back(bench.front());
    for (const std::string& path : paths) {
        const std::vector<uint8_t> bytes = decryptedImage(path);
        const ImageView image = viewOf(bytes);
        const SessionImage session = makeSessionImage(image);
        const uint64_t n = bytes.size();
        const uint64_t ranges[][2] = {{0, n}, {0, n / 2}, {n / 3, 2 * n / 3}, {n - 5000, n + 7}, {20, 31}};
        for (uint16_t type : {0x1028, 0x1004, 0x103A, 0x1001, 0x2519, 0x2067, 0x262F, 0x0002, 0x0000})
            for (const auto& range : ranges)
                ASSERT_EQ(session.scan(type, range[0], range[1]), referenceScan(image, type, range[0], range[1]))
                    << path << " type " << type << " from " << range[0] << " to " << range[1];
        // Ranges that are whole top-level blocks, as readers ask for them.
        for (const PtxBlock& block : walkBlockTree(image))
            ASSERT_EQ(session.scan(0x1001, block.start(), block.end()),
                      referenceScan(image, 0x1001, block.start(), block.end()));
    }
}

TEST(DamageCheck, SmallImagesShowEachVerdict) {
    // Nine bytes or fewer, or no "Z" anywhere: nothing complete, verdict none.
    EXPECT_EQ(checked({'Z', 0x01, 0x00, 0x02, 0x00, 0x00, 0x00, 0x28, 0x10}), "none 0 0");
    EXPECT_EQ(checked(std::vector<uint8_t>(50, 0x11)), "none 0 0");

    // Two blocks that reach exactly to the end (20 + 21 + 39 bytes): whole.
    ImageBuilder b;
    b.block(0x1028, std::vector<uint8_t>(12, 1));
    b.block(0x1004, std::vector<uint8_t>(30, 2));
    EXPECT_EQ(checked(b.image()), "none 80 80");
    // One stray byte behind: incomplete by 1 byte.
    std::vector<uint8_t> stray = b.image();
    stray.push_back(0);
    EXPECT_EQ(checked(stray), "incomplete 80 80");

    // Size 0 in the second block ends the chain there, while a block further on
    // (inside the old second body) still reaches the end.
    std::vector<uint8_t> hole = b.image();
    std::fill(hole.begin() + 44, hole.begin() + 48, 0);  // the size of the block at 41
    const std::vector<uint8_t> tail = {'Z', 0x01, 0x00, 0x03, 0x00, 0x00, 0x00, 0x33, 0x10, 0x00};
    std::copy(tail.begin(), tail.end(), hole.end() - tail.size());
    EXPECT_EQ(checked(hole), "damaged 80 41");
}

}  // namespace
