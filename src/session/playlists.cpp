#include "session/playlists.h"

#include <algorithm>

namespace {

constexpr uint16_t kPlaylist = 0x1052;
constexpr uint16_t kPlaylistList = 0x1054;
constexpr uint16_t kGroupPlaylists = 0x2428;
constexpr uint16_t kPlacement = 0x104F;
constexpr uint16_t kTrackEntryList = 0x1015;
constexpr uint16_t kTrackEntry = 0x1014;
constexpr uint16_t kAudioTrackHolder = 0x261C;
constexpr uint16_t kAudioTrack = 0x261B;
constexpr uint32_t kMaxPlaylistName = 64;
constexpr uint32_t kMaxPlacements = 20000;
constexpr uint32_t kMaxTrackNumbers = 1024;  // track numbers of one entry, entries one track owns
constexpr uint64_t kImageHead = 20;          // the first top-level block stands here

// The first block of the type in the chain of top-level blocks, which runs
// from the image's head to its end; the chain stops where a block does not fit.
std::optional<uint64_t> topLevelBlock(const ImageView& view, uint16_t type) {
    for (uint64_t z = kImageHead; isBlockHeadAt(view, z, view.length); z = blockEndAt(view, z)) {
        if (view.u16(z + 7) == type) return z;
    }
    return std::nullopt;
}

// The blocks of the type that stand directly in the body of the block at z, in
// order: a block lying inside the one before it is a part of that one.
std::vector<uint64_t> childrenOf(const SessionImage& image, uint64_t z, uint16_t type) {
    const uint64_t end = blockEndAt(image.view, z);
    std::vector<uint64_t> children;
    uint64_t behindLast = 0;
    for (uint64_t child : image.scan(type, z + 9, end)) {
        if (child < behindLast || blockEndAt(image.view, child) > end) continue;
        children.push_back(child);
        behindLast = blockEndAt(image.view, child);
    }
    return children;
}

// The playlist blocks of the track playlist list, in their order; empty when
// the image has no such list.
std::vector<uint64_t> trackPlaylists(const SessionImage& image) {
    std::optional<uint64_t> list = topLevelBlock(image.view, kPlaylistList);
    return list ? childrenOf(image, *list, kPlaylist) : std::vector<uint64_t>();
}

// The playlists of the clip groups, one per group in the groups' order: the
// list that the top-level 0x2428 holds.
std::vector<uint64_t> groupPlaylists(const SessionImage& image) {
    std::optional<uint64_t> holder = topLevelBlock(image.view, kGroupPlaylists);
    if (!holder) return {};
    const std::vector<uint64_t> lists = childrenOf(image, *holder, kPlaylistList);
    return lists.empty() ? std::vector<uint64_t>() : childrenOf(image, lists.front(), kPlaylist);
}

// The place of z in the sorted list, or -1.
int32_t placeIn(const std::vector<uint64_t>& list, uint64_t z) {
    auto place = std::lower_bound(list.begin(), list.end(), z);
    return place != list.end() && *place == z ? static_cast<int32_t>(place - list.begin()) : -1;
}

// A playlist block: u32 name length at +9, the name at +13, a u32 count of
// placement blocks, the blocks back to back, then 1 (samples) or 2 (ticks).
struct PlaylistBlock {
    std::string name;
    bool tickBased = false;
    std::vector<uint64_t> children;  // the "Z" of each placement block
};

bool readPlaylistBlock(const ImageView& view, uint64_t z, PlaylistBlock& block) {
    std::optional<std::string> name = readName(view, z + 9, 0, kMaxPlaylistName);
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
    // The placement reader counts what is out of shape in these same bytes.
    row.position.push_back(readTimelinePosition(view, y + 16, nullptr));
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
    const std::vector<uint64_t> listed = trackPlaylists(image);
    const std::vector<uint64_t> ofGroups = groupPlaylists(image);
    std::vector<TimebaseRecord> records;
    for (uint64_t z : image.scan(kPlaylist)) {
        PlaylistBlock block;
        if (!readPlaylistBlock(image.view, z, block)) continue;
        TimebaseRecord record{block.name, block.tickBased, static_cast<uint32_t>(block.children.size())};
        record.trackNumber = placeIn(listed, z);
        record.clipGroup = placeIn(ofGroups, z);
        records.push_back(std::move(record));
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

namespace {

// One track entry (0x1014): its name, then one byte, a u32 count and that many
// u16 track numbers, one per channel.
struct TrackEntry {
    std::string name;
    std::vector<uint16_t> trackNumbers;
};

std::vector<TrackEntry> readTrackEntries(const SessionImage& image) {
    const ImageView& view = image.view;
    std::vector<TrackEntry> entries;
    std::optional<uint64_t> list = topLevelBlock(view, kTrackEntryList);
    if (!list) return entries;
    for (uint64_t z : childrenOf(image, *list, kTrackEntry)) {
        TrackEntry entry;
        std::optional<std::string> name = readName(view, z + 9, 0, 255);
        if (name) {
            entry.name = std::move(*name);
            const uint64_t countAt = z + 14 + entry.name.size();
            const uint32_t count = view.u32(countAt);
            if (count <= kMaxTrackNumbers && countAt + 4 + 2 * uint64_t{count} <= blockEndAt(view, z)) {
                for (uint32_t k = 0; k < count; ++k) entry.trackNumbers.push_back(view.u16(countAt + 4 + 2 * uint64_t{k}));
            }
        }
        entries.push_back(std::move(entry));  // an entry read badly still keeps the places of those behind it
    }
    return entries;
}

}  // namespace

std::map<uint16_t, std::string> readPlaylistOwners(const SessionImage& image) {
    const ImageView& view = image.view;
    const std::vector<TrackEntry> entries = readTrackEntries(image);
    std::map<uint16_t, std::string> owners;
    for (uint64_t holder : image.scan(kAudioTrackHolder)) {
        // The track block opens its holder; the list stands right behind it:
        // u32 current entry, u16 count, that many u32 entries, then FF FF.
        const uint64_t holderEnd = blockEndAt(view, holder);
        const uint64_t track = holder + 9;
        if (!isBlockHeadAt(view, track, holderEnd) || view.u16(track + 7) != kAudioTrack) continue;
        const uint64_t at = blockEndAt(view, track);
        const uint32_t current = view.u32(at);
        const uint16_t count = view.u16(at + 4);
        const uint64_t behind = at + 6 + 4 * uint64_t{count};
        if (current >= entries.size() || count > kMaxTrackNumbers || behind + 2 > holderEnd ||
            view.u16(behind) != 0xFFFF) {
            continue;
        }
        for (uint16_t k = 0; k < count; ++k) {
            const uint32_t owned = view.u32(at + 6 + 4 * uint64_t{k});
            if (owned >= entries.size()) continue;
            for (uint16_t number : entries[owned].trackNumbers) owners.emplace(number, entries[current].name);
        }
    }
    return owners;
}
