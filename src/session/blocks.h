// The block form of the decrypted image: the recursive tree, the byte scan by
// content type (answered from an index built once), and the damage check.
#pragma once

#include <cstdint>
#include <unordered_map>
#include <vector>

#include "session/image.h"

struct PtxBlock {
    uint64_t offset = 0;  // position of the content type: the "Z" plus 7
    uint32_t blockSize = 0;
    uint16_t blockType = 0;
    uint16_t contentType = 0;
    std::vector<PtxBlock> children;

    uint64_t start() const { return offset - 7; }         // the "Z"
    uint64_t end() const { return offset + blockSize; }   // just behind the block
};

// Just behind the block whose "Z" stands at z, by its stated size.
inline uint64_t blockEndAt(const ImageView& image, uint64_t z) { return z + 7 + uint64_t(image.u32(z + 3)); }

// True when a block of any type heads at z: "Z", a zero high type byte, and a
// size that is not 0 and keeps the block's end by limit.
inline bool isBlockHeadAt(const ImageView& image, uint64_t z, uint64_t limit) {
    return image.holds(z, 9) && image.u8(z) == 'Z' && image.u8(z + 2) == 0 && image.u32(z + 3) != 0 &&
           blockEndAt(image, z) <= limit;
}

bool parseBlockAt(const ImageView& image, uint64_t position, uint64_t limit, PtxBlock& block);
std::vector<PtxBlock> walkBlockTree(const ImageView& image);

// Every position that could head a block (the "Z", a zero high type byte, a
// non-zero size that fits the image), grouped by content type in file order.
struct BlockIndex {
    std::unordered_map<uint16_t, std::vector<uint64_t>> byContentType;
};
BlockIndex buildBlockIndex(const ImageView& image);

// The positions ("Z") in [from, to) that pass the scan test for contentType,
// in file order: exactly those a byte-by-byte scan of that range would visit.
std::vector<uint64_t> scanBlocks(const ImageView& image, const BlockIndex& index,
                                 uint16_t contentType, uint64_t from, uint64_t to);

// The image with its block index, built once per run: what every reader is given.
struct SessionImage {
    ImageView view;
    BlockIndex index;

    std::vector<uint64_t> scan(uint16_t contentType) const;  // the whole image
    std::vector<uint64_t> scan(uint16_t contentType, uint64_t from, uint64_t to) const;
};
SessionImage makeSessionImage(const ImageView& view);

enum class DamageVerdict { none, incomplete, damaged };

struct ImageCheck {
    uint64_t lastCompleteEnd = 0;
    uint64_t chainBreak = 0;
    DamageVerdict verdict = DamageVerdict::none;
};
ImageCheck checkImage(const ImageView& image);
// "none", "incomplete" or "damaged".
const char* damageWord(DamageVerdict verdict);
