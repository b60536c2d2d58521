#include "session/blocks.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace {

constexpr uint8_t kBlockMark = 0x5A;  // "Z"

// Pro Tools nests its blocks a few levels deep (seven in every saved session
// seen); a head found deeper than this is kept without searching its body, so
// that a crafted chain of nested heads stays a short tree.
constexpr size_t kMaxTreeDepth = 32;

// The head of one block at position, without its children: "Z", a block type of
// at most 255 and a size that keeps the block within limit.
bool parseHead(const ImageView& image, uint64_t position, uint64_t limit, PtxBlock& block) {
    if (image.bytes == nullptr || position >= image.length || image.length - position <= 8) return false;
    if (image.bytes[position] != kBlockMark) return false;
    const uint16_t blockType = image.u16(position + 1);
    const uint32_t blockSize = image.u32(position + 3);
    if (blockType > 255) return false;
    if (limit < position + 7 || blockSize > limit - (position + 7)) return false;
    block.offset = position + 7;
    block.blockSize = blockSize;
    block.blockType = blockType;
    block.contentType = image.u16(position + 7);
    block.children.clear();
    return true;
}

// A block whose body is still being searched for children.
struct OpenBlock {
    PtxBlock block;
    uint64_t position = 0;  // its "Z"
    uint64_t limit = 0;     // the limit it was parsed under
    uint64_t i = 1;         // the offset from the "Z" tried next
};

bool mayHoldChildren(const PtxBlock& block, uint64_t position, uint64_t limit) {
    return block.blockSize >= 2 && position + 1 < limit;
}

// One step of the child search after a try at offset i gave `jump` (0 on failure).
// Returns false when the search of this body is over.
bool stepOn(OpenBlock& open, uint64_t jump) {
    open.i += jump != 0 ? jump : 1;
    return !(open.i >= open.block.blockSize || open.position + open.i + jump >= open.limit);
}

// The step after a failed try: on to the next "Z" of the body, since no other
// byte can head a block. Returns false when the body holds no further one.
bool stepToNextMark(const ImageView& image, OpenBlock& open) {
    const uint64_t stop = std::min<uint64_t>(open.block.blockSize, open.limit - open.position);
    if (++open.i >= stop) return false;
    const uint8_t* from = image.bytes + open.position + open.i;
    const void* mark = std::memchr(from, kBlockMark, stop - open.i);
    if (mark == nullptr) return false;
    open.i += static_cast<uint64_t>(static_cast<const uint8_t*>(mark) - from);
    return true;
}

// The first "Z" in [from, stop), or stop when there is none. The scans over the
// whole image jump from one to the next instead of testing every byte.
uint64_t nextMark(const ImageView& image, uint64_t from, uint64_t stop) {
    if (from >= stop) return stop;
    const void* mark = std::memchr(image.bytes + from, kBlockMark, stop - from);
    return mark == nullptr ? stop : static_cast<uint64_t>(static_cast<const uint8_t*>(mark) - image.bytes);
}

// The type-independent part of the scan test at p: "Z", a zero high type byte,
// a non-zero size and a block that ends inside the image. Requires p + 9 < length.
bool isCandidate(const ImageView& image, uint64_t p, uint32_t& size) {
    if (image.bytes[p] != kBlockMark || image.bytes[p + 2] != 0) return false;
    size = image.u32(p + 3);
    return size != 0 && size <= image.length - (p + 7);
}

}  // namespace

// The search of each body runs on an explicit stack, so a crafted image with
// deeply nested heads cannot exhaust the call stack.
bool parseBlockAt(const ImageView& image, uint64_t position, uint64_t limit, PtxBlock& block) {
    PtxBlock head;
    if (!parseHead(image, position, limit, head)) return false;
    if (!mayHoldChildren(head, position, limit)) {
        block = std::move(head);
        return true;
    }

    std::vector<OpenBlock> stack;
    stack.push_back(OpenBlock{std::move(head), position, limit, 1});
    // The block size (+7) of a child that was just finished, to step its parent.
    uint64_t finishedJump = 0;
    bool childFinished = false;
    while (true) {
        OpenBlock& top = stack.back();
        bool goOn = true;
        if (childFinished) {
            childFinished = false;
            goOn = stepOn(top, finishedJump);
        } else {
            const uint64_t at = top.position + top.i;
            const uint64_t childLimit = top.position + 7 + top.block.blockSize;
            PtxBlock child;
            if (!parseHead(image, at, childLimit, child)) {
                goOn = stepToNextMark(image, top);
            } else if (!mayHoldChildren(child, at, childLimit) || stack.size() >= kMaxTreeDepth) {
                const uint64_t jump = static_cast<uint64_t>(child.blockSize) + 7;
                top.block.children.push_back(std::move(child));
                goOn = stepOn(top, jump);
            } else {
                stack.push_back(OpenBlock{std::move(child), at, childLimit, 1});
                continue;
            }
        }
        if (goOn) continue;

        // This body is searched to its end: hand the block to its parent.
        OpenBlock done = std::move(stack.back());
        stack.pop_back();
        if (stack.empty()) {
            block = std::move(done.block);
            return true;
        }
        finishedJump = static_cast<uint64_t>(done.block.blockSize) + 7;
        stack.back().block.children.push_back(std::move(done.block));
        childFinished = true;
    }
}

namespace {

// The top level of the tree: parse(position, block) reads the block heading
// there, if any; a block's head alone decides whether it is accepted.
template <typename Parse>
std::vector<PtxBlock> walkTopLevel(const ImageView& image, Parse parse) {
    std::vector<PtxBlock> top;
    if (image.length < 65 || image.u8(17) != 0) return top;
    uint64_t position = 20;
    uint64_t step = 1;  // until a block is accepted; then the last accepted width
    while (position < image.length) {
        PtxBlock block;
        if (parse(position, block)) {
            step = static_cast<uint64_t>(block.blockSize) + 7;
            top.push_back(std::move(block));
        }
        position += step;
    }
    return top;
}

}  // namespace

std::vector<PtxBlock> walkBlockTree(const ImageView& image) {
    return walkTopLevel(image, [&](uint64_t position, PtxBlock& block) {
        return parseBlockAt(image, position, image.length, block);
    });
}

std::vector<PtxBlock> topLevelBlocks(const ImageView& image) {
    return walkTopLevel(image, [&](uint64_t position, PtxBlock& block) {
        return parseHead(image, position, image.length, block);
    });
}

BlockIndex buildBlockIndex(const ImageView& image) {
    BlockIndex index;
    if (image.bytes == nullptr || image.length < 10) return index;
    const uint64_t stop = image.length - 9;
    for (uint64_t p = nextMark(image, 0, stop); p < stop; p = nextMark(image, p + 1, stop)) {
        uint32_t size = 0;
        if (isCandidate(image, p, size)) index.byContentType[image.u16(p + 7)].push_back(p);
    }
    return index;
}

namespace {

// Visits, in file order, the blocks of contentType whose "Z" lies in [from,
// headsTo) and which end by endsBy, until visit gives false.
template <typename Visit>
void visitHeads(const ImageView& image, const BlockIndex& index, uint16_t contentType, uint64_t from,
                uint64_t headsTo, uint64_t endsBy, Visit visit) {
    const uint64_t end = std::min(endsBy, image.length);
    const uint64_t headsEnd = std::min(headsTo, end);
    if (from >= headsEnd) return;
    const auto bucket = index.byContentType.find(contentType);
    if (bucket == index.byContentType.end()) return;
    const std::vector<uint64_t>& positions = bucket->second;
    for (auto it = std::lower_bound(positions.begin(), positions.end(), from);
         it != positions.end() && *it < headsEnd && *it + 9 < end; ++it) {
        // The index knows the block fits the image; the range may be narrower.
        const uint64_t size = image.u32(*it + 3);
        if (size <= end - (*it + 7) && !visit(*it)) return;
    }
}

}  // namespace

std::vector<uint64_t> scanBlocks(const ImageView& image, const BlockIndex& index,
                                 uint16_t contentType, uint64_t from, uint64_t to) {
    std::vector<uint64_t> found;
    visitHeads(image, index, contentType, from, to, to, [&](uint64_t z) {
        found.push_back(z);
        return true;
    });
    return found;
}

std::vector<uint64_t> SessionImage::scan(uint16_t contentType) const {
    return scanBlocks(view, index, contentType, 0, view.length);
}

std::vector<uint64_t> SessionImage::scan(uint16_t contentType, uint64_t from, uint64_t to) const {
    return scanBlocks(view, index, contentType, from, to);
}

std::vector<uint64_t> SessionImage::scanHeads(uint16_t contentType, uint64_t from, uint64_t headsTo,
                                              uint64_t endsBy) const {
    std::vector<uint64_t> found;
    visitHeads(view, index, contentType, from, headsTo, endsBy, [&](uint64_t z) {
        found.push_back(z);
        return true;
    });
    return found;
}

std::optional<uint64_t> SessionImage::first(uint16_t contentType, uint64_t from, uint64_t headsTo,
                                            uint64_t endsBy) const {
    std::optional<uint64_t> found;
    visitHeads(view, index, contentType, from, headsTo, endsBy, [&](uint64_t z) {
        found = z;
        return false;
    });
    return found;
}

std::vector<uint64_t> ownEnds(const ImageView& image, const std::vector<uint64_t>& starts) {
    std::vector<uint64_t> ends(starts.size());
    for (size_t k = 0; k < starts.size(); ++k) {
        ends[k] = blockEndAt(image, starts[k]);
        if (k + 1 < starts.size() && starts[k + 1] > starts[k]) ends[k] = std::min(ends[k], starts[k + 1]);
    }
    return ends;
}

SpanIndex makeSpanIndex(const std::vector<std::pair<uint64_t, uint64_t>>& spans) {
    SpanIndex index;
    for (const auto& [start, end] : spans) {
        index.starts.push_back(start);
        index.reach.push_back(index.reach.empty() ? end : std::max(index.reach.back(), end));
    }
    return index;
}

std::optional<size_t> firstSpanReaching(const SpanIndex& index, uint64_t startsBefore, uint64_t reaching) {
    const size_t before = static_cast<size_t>(
        std::lower_bound(index.starts.begin(), index.starts.end(), startsBefore) - index.starts.begin());
    // reach grows with the index: the first span whose reach does it is the first that ends there.
    const size_t first = static_cast<size_t>(
        std::lower_bound(index.reach.begin(), index.reach.begin() + before, reaching) - index.reach.begin());
    if (first < before) return first;
    return std::nullopt;
}

EnclosingWalk makeEnclosingWalk(const ImageView& image, const std::vector<uint64_t>& starts) {
    EnclosingWalk walk;
    walk.starts = starts;
    for (uint64_t z : starts) walk.ends.push_back(blockEndAt(image, z));
    return walk;
}

std::optional<size_t> innermostAround(EnclosingWalk& walk, uint64_t position) {
    while (walk.next < walk.starts.size() && walk.starts[walk.next] < position) walk.open.push_back(walk.next++);
    while (!walk.open.empty() && walk.ends[walk.open.back()] <= position) walk.open.pop_back();
    if (walk.open.empty()) return std::nullopt;
    return walk.open.back();
}

SessionImage makeSessionImage(const ImageView& view) {
    return SessionImage{view, buildBlockIndex(view)};
}

ImageCheck checkImage(const ImageView& image) {
    ImageCheck check;
    const uint64_t length = image.bytes != nullptr ? image.length : 0;

    // The end of the furthest block that fits.
    const uint64_t stop = length > 9 ? length - 9 : 0;
    for (uint64_t z = nextMark(image, 0, stop); z < stop; z = nextMark(image, z + 1, stop)) {
        uint32_t size = 0;
        if (isCandidate(image, z, size))
            check.lastCompleteEnd = std::max(check.lastCompleteEnd, z + 7 + size);
    }

    // The chain of blocks from the first head, followed until it stops.
    uint64_t z = nextMark(image, 0, stop);
    while (z < stop && image.bytes[z + 2] != 0) z = nextMark(image, z + 1, stop);
    if (z < stop) {
        while (z + 7 <= length && image.bytes[z] == kBlockMark && image.bytes[z + 2] == 0) {
            const uint32_t size = image.u32(z + 3);
            if (size == 0 || size > length - (z + 7)) break;
            z += 7 + static_cast<uint64_t>(size);
        }
        check.chainBreak = z;
    }
    // With no head at all there is no chain; chainBreak stays 0.

    if (check.lastCompleteEnd > 0 && check.lastCompleteEnd < length)
        check.verdict = DamageVerdict::incomplete;
    else if (check.lastCompleteEnd == length && check.chainBreak < length)
        check.verdict = DamageVerdict::damaged;
    return check;
}

const char* damageWord(DamageVerdict verdict) {
    switch (verdict) {
        case DamageVerdict::incomplete: return "incomplete";
        case DamageVerdict::damaged: return "damaged";
        case DamageVerdict::none: break;
    }
    return "none";
}
