// Timeline positions as the session stores them: eight bytes, the low seven the
// value and the eighth a unit mark. Mark 0x40 says ticks (960000 a quarter),
// stored as 10^12 + ticks; mark 0 says samples, stored as they are.
#pragma once

#include <cstdint>

#include "session/image.h"

enum class PositionUnit : uint8_t { samples, ticks };

// A position in samples or in ticks, bias removed; ticks can lie before 0.
// Positions of different units never compare equal, and sort samples first.
struct TimelinePosition {
    int64_t value = 0;
    PositionUnit unit = PositionUnit::samples;

    bool inTicks() const { return unit == PositionUnit::ticks; }
    bool operator==(const TimelinePosition& other) const { return value == other.value && unit == other.unit; }
    bool operator!=(const TimelinePosition& other) const { return !(*this == other); }
    bool operator<(const TimelinePosition& other) const {
        return unit != other.unit ? unit < other.unit : value < other.value;
    }
};

inline TimelinePosition samplesAt(int64_t samples) { return {samples, PositionUnit::samples}; }
inline TimelinePosition ticksAt(int64_t ticks) { return {ticks, PositionUnit::ticks}; }

// The end of any timeline: a stored value at or past it is out of shape.
constexpr uint64_t kTimelineEnd = uint64_t{1} << 55;

// Stored positions the readers could not take as they stand, for the console.
struct PositionFaults {
    int unknownUnit = 0;   // a unit mark other than 0 and 0x40: read by its ticks bit
    int pastTimeline = 0;  // a value at or past kTimelineEnd: held there

    void add(const PositionFaults& other) {
        unknownUnit += other.unknownUnit;
        pastTimeline += other.pastTimeline;
    }
};

// The stored value at `at` (bias kept) and whether its mark says ticks; a value
// that does not lie in the image reads 0. Faults are counted when given.
struct StoredValue {
    uint64_t value = 0;
    bool ticksMark = false;
};
StoredValue readStoredValue(const ImageView& view, uint64_t at, PositionFaults* faults);

// The position at `at`: ticks less the bias, or samples.
TimelinePosition readTimelinePosition(const ImageView& view, uint64_t at, PositionFaults* faults);
// A span at `at` (a note's length): the same form, never biased.
TimelinePosition readTimelineSpan(const ImageView& view, uint64_t at, PositionFaults* faults);
