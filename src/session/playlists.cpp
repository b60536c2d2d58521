#include "session/playlists.h"

namespace {

constexpr uint16_t kPlaylist = 0x1052;
constexpr uint16_t kPlacement = 0x104F;
constexpr uint32_t kMaxPlaylistName = 64;
constexpr uint32_t kMaxPlacements = 20000;

// A playlist block: u32 name length at +9, the name at +13, a u32 count of
// placement blocks, the blocks back to back, then 1 (samples) or 2 (ticks).
struct PlaylistBlock {
    std::string name;
    bool tickBased = false;
    std::vector<uint64_t> children;  // the "Z" of each placement block
};

bool readPlaylistBlock(const ImageView& view, uint64_t z, PlaylistBlock& block) {
    std::optional<std::string> name = readName(view, z + 9, 1, kMaxPlaylistName);
    if (!name) return false;
    uint64_t countAt = z + 13 + name->size();
    uint32_t count = view.u32(countAt);
    if (count > kMaxPlacements) return false;
    std::vector<uint64_t> children;
    children.reserve(count);
    uint64_t c = countAt + 4;
    const uint64_t end = blockEndAt(view, z);
    for (uint32_t i = 0; i < count; ++i) {
        if (c >= end || view.u8(c) != 'Z') return false;  // the placements stand inside the playlist
        children.push_back(c);
        c += 7 + uint64_t(view.u32(c + 3));
    }
    uint8_t timebase = view.u8(c);
    if (timebase != 1 && timebase != 2) return false;
    block.name = std::move(*name);
    block.tickBased = timebase == 2;
    block.children = std::move(children);
    return true;
}

// The entry of one placement block at c whose placement record stands at c + 9.
void addPlacementEntry(const ImageView& view, uint64_t c, PlaylistRow& row) {
    const uint64_t y = c + 9;
    const uint32_t childSize = view.u32(c + 3);
    const uint64_t childEnd = c + 7 + childSize;
    row.clipIndex.push_back(view.u32(y + 11));
    row.colour.push_back(static_cast<int16_t>(view.u16(y + 25)));
    row.overlapState.push_back(view.u8(y + 24));
    row.isGroup.push_back(view.u8(y + 27) == 1);
    row.muted.push_back(view.u8(y + 9));
    row.locked.push_back(view.holds(y + 39, 1) ? view.u8(y + 39) != 0 : view.u8(y + 10) != 0);
    row.position.push_back(uint64_t(view.u32(y + 16)) | uint64_t(view.u8(y + 20)) << 32);
    // The byte behind the placement record, inside the block, is 0 for a
    // placement on the timeline; anything else marks one kept for undo.
    uint64_t behind = y + 7 + uint64_t(view.u32(y + 3));
    if (behind >= childEnd) behind = childEnd - 1;
    uint8_t mark = childSize < 4 ? 0 : view.u8(behind);
    row.live.push_back(mark == 0);
    row.isFade.push_back(mark != 0 && view.u8(y + 24) == 1);
}

}  // namespace

std::vector<TimebaseRecord> readTimebaseRecords(const SessionImage& image) {
    std::vector<TimebaseRecord> records;
    for (uint64_t z : image.scan(kPlaylist)) {
        PlaylistBlock block;
        if (!readPlaylistBlock(image.view, z, block)) continue;
        records.push_back({block.name, block.tickBased, static_cast<uint32_t>(block.children.size())});
    }
    return records;
}

std::vector<PlaylistRow> readPlaylistRows(const SessionImage& image) {
    const ImageView& view = image.view;
    std::vector<PlaylistRow> rows;
    for (uint64_t z : image.scan(kPlaylist)) {
        PlaylistBlock block;
        if (!readPlaylistBlock(view, z, block)) continue;
        PlaylistRow row;
        row.name = block.name;
        row.tickBased = block.tickBased;
        for (uint64_t c : block.children) {
            if (view.length < c + 36) continue;
            if (view.u8(c + 9) != 'Z' || view.u16(c + 16) != kPlacement) continue;
            addPlacementEntry(view, c, row);
        }
        rows.push_back(std::move(row));
    }
    return rows;
}
