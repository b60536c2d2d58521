#include "session/meters.h"

#include "session/timeline_position.h"

namespace {

constexpr uint16_t kMeterBlock = 0x2029;
constexpr uint32_t kMostMeterRecords = 4096;
constexpr uint64_t kFirstMeterRecord = 23;
constexpr uint64_t kMeterRecordStride = 36;

}  // namespace

std::vector<MeterEvent> readMeterMap(const SessionImage& image) {
    const ImageView& view = image.view;
    std::vector<MeterEvent> meters;
    if (view.length < 32) return meters;
    for (uint64_t z : image.scan(kMeterBlock)) {
        const uint32_t count = view.u32(z + 20);
        const uint64_t covered = 7 + uint64_t{view.u32(z + 3)};
        if (!view.matches(z + 9, "Meter", 5) || count > kMostMeterRecords ||
            covered < uint64_t{count} * kMeterRecordStride + 24)
            continue;
        // Only the first block that passes is read.
        for (uint32_t k = 0; k < count; ++k) {
            const uint64_t r = z + kFirstMeterRecord + uint64_t{k} * kMeterRecordStride;
            MeterEvent meter;
            // A meter far out in the session (bar 91180 of a real one) needs six of the seven bytes.
            const uint64_t stored = readStoredValue(view, r + 1, nullptr).value;
            meter.position = stored >= kPositionBias ? static_cast<double>(stored - kPositionBias) : 0;
            meter.bar = view.u32(r + 9);
            meter.numerator = view.u32(r + 13);
            meter.denominator = view.u32(r + 17);
            meter.meterExtra = view.u32(r + 23);
            if (meter.denominator < 1 || meter.denominator > 64 || meter.numerator < 1 || meter.numerator > 99)
                return {};
            meters.push_back(meter);
        }
        break;
    }
    return meters;
}
