#include "session/groups.h"

#include <algorithm>

namespace {

constexpr uint16_t kGroupRecord = 0x202A;
constexpr uint16_t kGroupAttributes = 0x258E;
constexpr uint16_t kVcaLevel = 0x2514;
constexpr uint32_t kVcaRow = 0x261F;
constexpr uint32_t kLongestGroupName = 128;
constexpr uint32_t kMostMembers = 256;
constexpr size_t kMostAttributes = 32;

bool isPlainText(const ImageView& view, uint64_t position, uint32_t length) {
    for (uint32_t k = 0; k < length; ++k) {
        const uint8_t byte = view.u8(position + k);
        if (byte < 0x20 || byte > 0x7E) return false;
    }
    return true;
}

// The link attributes from the first 0x258E block inside [from, end).
void readAttributes(const SessionImage& image, uint64_t from, uint64_t end, GroupRecord& group) {
    const ImageView& view = image.view;
    for (uint64_t z : image.scan(kGroupAttributes, from, end)) {
        const uint32_t size = view.u32(z + 3);
        if (size < 4 || blockEndAt(view, z) > end) continue;
        const size_t count = std::min<size_t>(kMostAttributes, size - 2);
        for (size_t k = 0; k < count; ++k) group.attributes.push_back(view.u8(z + 9 + k));
        group.hasAttributes = true;
        return;
    }
}

}  // namespace

std::vector<GroupRecord> readGroupRecords(const SessionImage& image) {
    const ImageView& view = image.view;
    std::vector<GroupRecord> groups;
    for (uint64_t z : image.scan(kGroupRecord)) {
        const uint32_t size = view.u32(z + 3);
        const uint64_t end = blockEndAt(view, z);
        const uint32_t length = view.u32(z + 9);
        if (size < 18 || length < 1 || length > kLongestGroupName || size < length + 17 || end > view.length) continue;
        if (!isPlainText(view, z + 13, length)) continue;
        const uint64_t tail = z + 13 + length;  // the type byte
        const auto inside = [end](uint64_t position, uint64_t width) { return position + width <= end; };

        GroupRecord group;
        group.name = view.text(z + 13, length);
        group.type = view.u8(tail);
        if (inside(tail + 1, 1)) group.slot = view.u8(tail + 1);
        if (inside(tail + 5, 1)) group.active = view.u8(tail + 5) != 0;
        if (!inside(tail + 7, 4)) continue;
        const uint32_t count = view.u32(tail + 7);
        const uint64_t marker = tail + 11 + 2 * uint64_t{count};
        if (count > kMostMembers || !inside(marker, 2)) continue;
        if (view.u8(marker) != 0xFE || view.u8(marker + 1) != 0xFF) continue;
        for (uint32_t m = 0; m < count; ++m) group.members.push_back(view.u16(tail + 11 + 2 * m));
        const uint64_t vca = marker + 10;
        if (inside(vca, 2) && view.u16(vca) != 0xFFFF) group.vcaPosition = view.u16(vca);
        readAttributes(image, marker + 2, end, group);
        groups.push_back(std::move(group));
    }
    return groups;
}

std::map<size_t, int32_t> readVcaLevels(const SessionImage& image, const std::vector<SessionTrack>& rows) {
    const ImageView& view = image.view;
    std::map<size_t, int32_t> levels;
    for (size_t r = 0; r < rows.size(); ++r) {
        if (rows[r].kind != kVcaRow) continue;
        for (uint64_t z : image.scan(kVcaLevel, rows[r].blockStart + 1, rows[r].blockEnd)) {
            if (view.u32(z + 3) <= 12 || blockEndAt(view, z) > rows[r].blockEnd) continue;
            levels[r] = static_cast<int16_t>(view.u16(z + 9));
        }
    }
    return levels;
}
