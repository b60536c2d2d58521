#include "session/clip_gain.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace {

constexpr uint16_t kGainList = 0x2637;
constexpr uint16_t kNameBlock = 0x2628;
constexpr uint32_t kMaxRecords = 100000;
constexpr uint32_t kNoCurve = 0xFFFFFFFF;
constexpr uint32_t kMaxNameLength = 128;
// The index of a clip's curve stands within this many bytes of its block's end.
constexpr uint64_t kIndexWindow = 1024;

double f32At(const ImageView& view, uint64_t at) {
    const uint32_t bits = view.u32(at);
    float value = 0;
    std::memcpy(&value, &bits, sizeof value);
    return static_cast<double>(value);
}

// A gain strictly between -145 and 37 dB stands; anything else is no gain.
// The stored single-precision value is taken to the micro-dB, below its own
// precision there, so that a gain typed as 2.6 dB reads 2.6.
double gainOf(double db) { return db > -145.0 && db < 37.0 ? std::round(db * 1e6) / 1e6 : 0.0; }

// The curve number in the name block [z, end): 17 bytes behind the place 10
// bytes behind the mark FF FF 04 00 04 00 found nearest the end, or, where a
// block stands at that place (a clip group's), 17 bytes behind that block;
// without the mark, the block's last u32.
uint32_t curveIndexIn(const ImageView& view, uint64_t z, uint64_t end) {
    static const uint8_t kMark[] = {0xFF, 0xFF, 0x04, 0x00, 0x04, 0x00};
    uint32_t index = view.u32(end - 4);
    if (end - z <= 46) return index;  // no room for the mark and the index behind it
    const uint64_t lowest = end - std::min<uint64_t>(end - z, kIndexWindow);
    for (uint64_t m = end - sizeof kMark; m >= lowest && m > z; --m) {
        if (!view.matches(m, kMark, sizeof kMark)) continue;
        const uint64_t nested = m + 10;
        const uint64_t behind = isBlockHeadAt(view, nested, end) ? blockEndAt(view, nested) : nested;
        return behind + 21 <= end ? view.u32(behind + 17) : index;
    }
    return index;
}

}  // namespace

ClipGainList readClipGains(const SessionImage& image) {
    ClipGainList list;
    const ImageView& view = image.view;
    if (view.length < 20) return list;
    for (uint64_t z : image.scan(kGainList)) {
        const uint32_t count = view.u32(z + 9);
        if (count > kMaxRecords) continue;
        const uint64_t end = std::min(blockEndAt(view, z), view.length);
        uint64_t b = z + 13;
        for (uint32_t r = 0; r < count; ++r) {
            const uint32_t size = view.u32(b + 4);
            if (size < 14 || size % 8 != 6 || b + 8 + uint64_t{size} > end) break;
            const uint64_t points = (size - 14) / 8;
            if (view.u32(b + 10) != points) ++list.countDisagreements;
            ClipGainCurve curve;
            for (uint64_t p = 0; p < points; ++p) {
                const uint64_t at = b + 22 + 8 * p;
                curve.push_back({view.u32(at), gainOf(f32At(view, at + 4))});
            }
            if (curve.empty()) curve.push_back({0, 0.0});
            list.curves.push_back(std::move(curve));
            b += 8 + uint64_t{size};
        }
        break;
    }
    return list;
}

ClipGainsOfNames bindClipGains(const SessionImage& image, const std::vector<ClipGainCurve>& curves) {
    ClipGainsOfNames gains;
    const ImageView& view = image.view;
    if (curves.empty()) return gains;
    for (uint64_t z : image.scan(kNameBlock)) {
        if (view.u32(z + 3) < 8) continue;
        std::optional<std::string> name = readName(view, z + 9, 1, kMaxNameLength);
        const uint64_t end = blockEndAt(view, z);
        if (!name || z + 13 + name->size() > end) continue;
        const uint32_t index = curveIndexIn(view, z, end);
        if (index == kNoCurve || index >= curves.size()) continue;
        const ClipGainCurve& curve = curves[index];
        gains.gainOfName[*name] = curve.front().gainDb;
        if (curve.size() >= 2) {
            gains.curveOfName[*name] = curve;
        } else {
            gains.curveOfName.erase(*name);
        }
    }
    return gains;
}
