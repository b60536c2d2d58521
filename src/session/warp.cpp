#include "session/warp.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr uint16_t kNameBlock = 0x2628;
constexpr uint16_t kClipBlock = 0x2629;
constexpr uint16_t kWarpBlock = 0x2636;
constexpr uint32_t kMaxNameLength = 128;
constexpr uint16_t kMinPoints = 2;
constexpr uint16_t kMaxPoints = 4000;
constexpr uint64_t kPointSize = 12;
constexpr double kMaxShift = 48;

// A five-byte timeline position, biased by 10^12; before the bias reads 0.
double ticksAt(const ImageView& view, uint64_t at) {
    uint64_t value = 0;
    for (uint64_t k = 0; k < 5; ++k) value |= uint64_t{view.u8(at + k)} << (8 * k);
    return value > kPositionBias ? static_cast<double>(value - kPositionBias) : 0.0;
}

// The points of the warp block at w. Each point gives its timeline position
// and the source position of the next one; the first starts at source 0. A
// point that runs back in time or source crosses the ones before it and is
// dropped. False when the block is out of shape.
bool readPoints(const ImageView& view, uint64_t w, std::vector<WarpPoint>& points, bool& crossed) {
    const uint16_t count = view.u16(w + 35);
    if (count < kMinPoints || count > kMaxPoints) return false;
    if (w + 51 + kPointSize * count > blockEndAt(view, w)) return false;
    double source = 0;
    for (uint16_t k = 0; k < count; ++k) {
        const uint64_t at = w + 51 + kPointSize * k;
        const WarpPoint point{ticksAt(view, at), source};
        source = static_cast<double>(view.u32(at + 8));
        if (!points.empty() && (point.timelineTicks <= points.back().timelineTicks ||
                                point.sourceSamples < points.back().sourceSamples)) {
            crossed = true;
            continue;
        }
        points.push_back(point);
    }
    return true;
}

}  // namespace

WarpMaps readWarpMaps(const SessionImage& image) {
    WarpMaps maps;
    const ImageView& view = image.view;
    for (uint64_t z : image.scan(kNameBlock)) {
        std::optional<std::string> name = readName(view, z + 9, 1, kMaxNameLength);
        if (!name) continue;
        const uint64_t from = z + 13 + name->size();
        const uint64_t end = blockEndAt(view, z);
        const std::optional<uint64_t> warp = image.first(kWarpBlock, from, end);
        if (!warp) continue;
        const std::optional<uint64_t> nested = image.first(kNameBlock, from, *warp, end);
        if (nested) continue;  // the map belongs to the nested block
        std::vector<WarpPoint> points;
        bool crossed = false;
        if (!readPoints(view, *warp, points, crossed)) continue;
        maps.crossing += crossed ? 1 : 0;
        if (points.size() < kMinPoints) continue;
        maps.mapOfName[*name] = std::move(points);
    }
    return maps;
}

std::map<std::string, double> readPitchShifts(const SessionImage& image) {
    std::map<std::string, double> shifts;
    const ImageView& view = image.view;
    for (uint64_t z : image.scan(kClipBlock)) {
        if (view.u32(z + 3) < 40) continue;
        const uint64_t end = blockEndAt(view, z);
        const std::optional<uint64_t> nested = image.first(kNameBlock, z + 9, end);
        if (!nested) continue;  // no name to key the shift by
        std::optional<std::string> name = readName(view, *nested + 9, 1, kMaxNameLength);
        if (!name) continue;
        const uint64_t e = std::min(blockEndAt(view, *nested) + 23, end);
        const int32_t semitones = view.i32(e - 9);
        const uint32_t bits = view.u32(e - 5);
        float cents = 0;
        std::memcpy(&cents, &bits, sizeof cents);
        const double shift = semitones + (cents > -100.0f && cents < 100.0f ? cents / 100.0 : 0.0);
        if (shift != 0 && shift >= -kMaxShift && shift <= kMaxShift) shifts[*name] = shift;
    }
    return shifts;
}
