#include "session/clip_groups.h"

namespace {

constexpr uint16_t kGroupList = 0x262C;
constexpr uint16_t kGroup = 0x262B;
constexpr uint16_t kNameBlock = 0x2628;
constexpr uint32_t kMaxNameLength = 255;
constexpr uint8_t kMaxWidth = 5;

// The group whose block heads at c: its name block at c + 9, the name at
// c + 22, and the record of four values behind it.
ClipGroup readGroupAt(const ImageView& view, uint64_t c) {
    ClipGroup group;
    if (view.u16(c + 16) != kNameBlock) return group;
    std::optional<std::string> name = readName(view, c + 18, 0, kMaxNameLength);
    if (!name) return group;
    const ThreePoint record = readThreePoint(view, c + 22 + name->size());
    for (uint8_t width : record.widths) {
        if (width > kMaxWidth) return group;
    }
    if (record.end > blockEndAt(view, c)) return group;
    group.readable = true;
    group.name = std::move(*name);
    const uint64_t first = record.values[0];
    group.start = first > kPositionBias - 1 ? ticksAt(static_cast<int64_t>(first - kPositionBias))
                                            : samplesAt(static_cast<int64_t>(first));
    group.length = static_cast<int64_t>(record.values[2]);
    group.endValue = record.values[3];
    return group;
}

}  // namespace

std::vector<ClipGroup> readClipGroups(const SessionImage& image) {
    std::vector<ClipGroup> groups;
    const ImageView& view = image.view;
    const std::optional<uint64_t> first = image.first(kGroupList, 0, view.length);
    if (!first) return groups;
    const uint64_t list = *first;
    const uint64_t end = blockEndAt(view, list);
    uint64_t behindLast = 0;
    // The groups stand directly in the list: a block inside the one before it is part of that one.
    for (uint64_t c : image.scan(kGroup, list + 9, end)) {
        if (c < behindLast || blockEndAt(view, c) > end) continue;
        groups.push_back(readGroupAt(view, c));
        behindLast = blockEndAt(view, c);
    }
    return groups;
}
