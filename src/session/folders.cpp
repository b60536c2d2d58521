#include "session/folders.h"

#include <algorithm>

namespace {

constexpr uint16_t kFolderTree = 0x210C;
constexpr uint16_t kDisplayRecord = 0x2015;
constexpr uint16_t kColourHolder = 0x2104;
constexpr uint16_t kVoiceHolder = 0x261C;
constexpr uint16_t kMidiSettings = 0x2036;
constexpr uint32_t kMidiTrack = 0x2620;
constexpr uint32_t kInstrumentTrack = 0x2621;
constexpr uint32_t kMostFolderEntries = 4096;
constexpr uint32_t kIdMark = 42;  // "*" and three zero bytes open a record and an item
constexpr uint64_t kItemSize = 17;
constexpr uint32_t kLongestComment = 4095;

bool isBlockHead(const ImageView& view, uint64_t z, uint64_t limit) {
    if (!view.holds(z, 9) || view.u8(z) != 'Z' || view.u8(z + 2) != 0) return false;
    const uint32_t size = view.u32(z + 3);
    return size != 0 && z + 7 + size <= limit;
}

}  // namespace

FolderTree readFolderTree(const SessionImage& image) {
    const ImageView& view = image.view;
    FolderTree tree;
    const std::vector<uint64_t> blocks = image.scan(kFolderTree);
    if (blocks.empty()) return tree;
    const uint64_t z = blocks.front();
    const uint64_t end = blockEndAt(view, z);
    if (end > view.length || z + 13 > end) return tree;
    const uint32_t count = view.u32(z + 9);
    if (count > kMostFolderEntries) return tree;
    uint64_t p = z + 13;
    for (uint32_t k = 0; k < count; ++k) {
        if (p + 16 > end || view.u32(p) != kIdMark) return tree;
        FolderLink link;
        link.folderId = view.u64(p + 4);
        const uint32_t members = view.u32(p + 12);
        if (members > kMostFolderEntries || p + 16 + members * kItemSize > end) return tree;
        p += 16;
        for (uint32_t m = 0; m < members; ++m, p += kItemSize) {
            if (view.u32(p) != kIdMark) return tree;
            link.memberIds.push_back(view.u64(p + 4));
        }
        tree.links.push_back(std::move(link));
    }
    tree.readable = true;
    return tree;
}

std::vector<TrackColourValue> readTrackColourValues(const SessionImage& image, const std::vector<TrackListRow>& rows) {
    const ImageView& view = image.view;
    std::vector<TrackColourValue> values;
    size_t position = 0;
    for (uint64_t z : image.scan(kDisplayRecord)) {
        const size_t row = position++;
        const uint64_t end = blockEndAt(view, z);
        if (row >= rows.size() || end > view.length) continue;
        uint64_t nested = z + 9;
        while (nested + 9 <= end && !isBlockHead(view, nested, end)) ++nested;
        if (nested + 9 > end) continue;
        // The value stands 23 bytes behind the first nested block, not counting
        // the track comment stored there nor a 0x2104 block among those bytes.
        const uint64_t behind = blockEndAt(view, nested);
        const uint32_t comment = view.u32(behind + 8);
        const uint64_t text = comment >= 1 && comment <= kLongestComment && behind + 12 + comment <= end ? comment : 0;
        uint64_t at = behind + 23 + text;
        for (uint64_t q = behind + 12 + text; q < at; ++q) {
            if (isBlockHead(view, q, end) && view.u16(q + 7) == kColourHolder) {
                at += blockEndAt(view, q) - q;
                break;
            }
        }
        if (at + 2 > end) continue;
        values.push_back({rows[row].name, view.u16(at)});
    }
    return values;
}

std::vector<TrackSchemeFacts> readTrackSchemeFacts(const SessionImage& image, const std::vector<SessionTrack>& rows) {
    const ImageView& view = image.view;
    std::vector<TrackSchemeFacts> facts(rows.size());
    // The rows stand in file order, so the starts a holder encloses are one run.
    for (uint64_t z : image.scan(kVoiceHolder)) {
        const uint64_t end = blockEndAt(view, z);
        auto first = std::lower_bound(rows.begin(), rows.end(), z,
                                      [](const SessionTrack& row, uint64_t at) { return row.blockStart < at; });
        for (auto row = first; row != rows.end() && row->blockStart < end; ++row) {
            facts[static_cast<size_t>(row - rows.begin())].insideVoiceHolder = true;
        }
    }
    for (size_t r = 0; r < rows.size(); ++r) {
        if (rows[r].kind != kMidiTrack && rows[r].kind != kInstrumentTrack) continue;
        for (uint64_t z : image.scan(kMidiSettings, rows[r].blockStart + 1, rows[r].blockEnd)) {
            if (blockEndAt(view, z) > rows[r].blockEnd) continue;
            if (view.u32(z + 3) > 15) facts[r].midiOutput = view.u32(z + 0x15);
            break;
        }
    }
    return facts;
}
