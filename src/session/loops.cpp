#include "session/loops.h"

#include <optional>

namespace {

constexpr uint16_t kPlacementBlock = 0x104F;
constexpr uint16_t kLoopBlock = 0x242B;
constexpr uint32_t kLoopBlockSize = 59;

}  // namespace

std::vector<LoopRecord> readLoopRecords(const SessionImage& image) {
    std::vector<LoopRecord> records;
    const ImageView& view = image.view;
    for (uint64_t p : image.scan(kPlacementBlock)) {
        const uint32_t size = view.u32(p + 3);
        if (size <= 15) continue;
        const std::optional<uint64_t> nested = image.first(kLoopBlock, p + 9, p + 7 + size);
        if (!nested) continue;
        const uint64_t z = *nested;

        LoopRecord record;
        record.clipIndex = view.u16(p + 11);
        record.position = readTimelinePosition(view, p + 16, nullptr);
        // The block around the placement says what it places.
        if (p >= 9 && view.u8(p - 9) == 'Z') record.kind = view.u16(p - 2);
        record.valid = view.u32(z + 3) == kLoopBlockSize;
        if (record.valid) {
            record.mode = view.u8(z + 9);
            record.span = view.u64(z + 12);
            record.count = view.u32(z + 36);
            record.loopLength = view.u64(z + 48);
        }
        records.push_back(record);
    }
    return records;
}
