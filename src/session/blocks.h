// The block form of the decrypted image: the recursive tree, the byte scan by
// content type (answered from an index built once), and the damage check.
#pragma once

#include <cstdint>
#include <optional>
#include <unordered_map>
#include <utility>
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
// The top-level blocks of walkBlockTree without their children: parseBlockAt
// at a block's start gives it whole.
std::vector<PtxBlock> topLevelBlocks(const ImageView& image);

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
    // The blocks whose "Z" lies in [from, headsTo) and which end by endsBy.
    std::vector<uint64_t> scanHeads(uint16_t contentType, uint64_t from, uint64_t headsTo, uint64_t endsBy) const;
    // The first of scanHeads, found without building the list; nothing when there is none.
    std::optional<uint64_t> first(uint16_t contentType, uint64_t from, uint64_t headsTo, uint64_t endsBy) const;
    std::optional<uint64_t> first(uint16_t contentType, uint64_t from, uint64_t to) const {
        return first(contentType, from, to, to);
    }
};

// Where each of the blocks at starts (sorted "Z" positions) stops holding what
// is its own: at its end, or where the next of them starts. Blocks of one kind
// never nest in a saved session; where a damaged one swallows the next, what
// lies inside the inner one is the inner one's, and every byte is read once.
std::vector<uint64_t> ownEnds(const ImageView& image, const std::vector<uint64_t>& starts);
SessionImage makeSessionImage(const ImageView& view);

// Spans (start, end) sorted by start, for asking in O(log n) which is the first
// of them, in that order, that starts before a position and reaches an end.
struct SpanIndex {
    std::vector<uint64_t> starts;
    std::vector<uint64_t> reach;  // the largest end among the spans up to each
};
SpanIndex makeSpanIndex(const std::vector<std::pair<uint64_t, uint64_t>>& spans);
std::optional<size_t> firstSpanReaching(const SpanIndex& index, uint64_t startsBefore, uint64_t reaching);

// Blocks sorted by "Z", asked in rising order of position for the innermost
// (the last begun) that holds each: blocks begun before the position stand on
// a stack and those that ended before it are taken off, each once.
struct EnclosingWalk {
    std::vector<uint64_t> starts;
    std::vector<uint64_t> ends;
    size_t next = 0;
    std::vector<size_t> open;
};
EnclosingWalk makeEnclosingWalk(const ImageView& image, const std::vector<uint64_t>& starts);
std::optional<size_t> innermostAround(EnclosingWalk& walk, uint64_t position);

enum class DamageVerdict { none, incomplete, damaged };

struct ImageCheck {
    uint64_t lastCompleteEnd = 0;
    uint64_t chainBreak = 0;
    DamageVerdict verdict = DamageVerdict::none;
};
ImageCheck checkImage(const ImageView& image);
// "none", "incomplete" or "damaged".
const char* damageWord(DamageVerdict verdict);
