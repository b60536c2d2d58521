#include "session/timeline_position.h"

namespace {

constexpr uint8_t kTicksMark = 0x40;

}  // namespace

StoredValue readStoredValue(const ImageView& view, uint64_t at, PositionFaults* faults) {
    StoredValue stored;
    if (!view.holds(at, 8)) return stored;
    const uint64_t raw = view.u64(at);
    const uint8_t mark = static_cast<uint8_t>(raw >> 56);
    stored.value = raw & ((uint64_t{1} << 56) - 1);
    stored.ticksMark = (mark & kTicksMark) != 0;
    if (mark != 0 && mark != kTicksMark && faults != nullptr) ++faults->unknownUnit;
    if (stored.value >= kTimelineEnd) {
        stored.value = kTimelineEnd;
        if (faults != nullptr) ++faults->pastTimeline;
    }
    return stored;
}

TimelinePosition readTimelinePosition(const ImageView& view, uint64_t at, PositionFaults* faults) {
    const StoredValue stored = readStoredValue(view, at, faults);
    if (!stored.ticksMark) return samplesAt(static_cast<int64_t>(stored.value));
    return ticksAt(static_cast<int64_t>(stored.value) - static_cast<int64_t>(kPositionBias));
}

TimelinePosition readTimelineSpan(const ImageView& view, uint64_t at, PositionFaults* faults) {
    const StoredValue stored = readStoredValue(view, at, faults);
    return {static_cast<int64_t>(stored.value), stored.ticksMark ? PositionUnit::ticks : PositionUnit::samples};
}
