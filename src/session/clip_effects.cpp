#include "session/clip_effects.h"

#include <cmath>
#include <cstring>

namespace {

constexpr uint16_t kEffectsStore = 0x4400;
constexpr uint16_t kClipBlock = 0x2629;
constexpr uint16_t kNameBlock = 0x2628;
constexpr uint16_t kEffectsMark = 0x4403;
constexpr uint32_t kMaxLists = 65536;
constexpr uint32_t kMaxClipName = 400;
constexpr uint32_t kMaxControlName = 63;

// The parameter records of one payload [from, end): "px" 01 00, the record's
// size, the name's length and the name, then a little-endian double.
ClipEffectsValues parametersIn(const ImageView& view, uint64_t from, uint64_t end) {
    ClipEffectsValues values;
    static const uint8_t kHead[] = {'p', 'x', 1, 0};
    for (uint64_t at = from; at + 12 <= end;) {
        const uint32_t size = view.u32(at + 4);
        const uint32_t length = view.u32(at + 8);
        if (!view.matches(at, kHead, sizeof kHead) || length < 1 || length > kMaxControlName ||
            uint64_t(length) + 12 != size || at + 8 + uint64_t(size) > end) {
            ++at;
            continue;
        }
        const double value = view.f64(at + 12 + length);
        if (std::isfinite(value)) values.emplace_back(view.text(at + 12, length), value);
        at += 8 + uint64_t(size);
    }
    return values;
}

}  // namespace

std::map<std::string, ClipEffectsValues> readClipEffects(const SessionImage& image) {
    std::map<std::string, ClipEffectsValues> ofName;
    const ImageView& view = image.view;
    std::map<uint64_t, ClipEffectsValues> ofId;
    for (uint64_t z : image.scan(kEffectsStore)) {
        const uint64_t end = blockEndAt(view, z);
        const uint32_t count = view.u32(z + 9);
        if (view.u32(z + 3) <= 7 || end > view.length || count > kMaxLists) continue;
        uint64_t at = z + 13;
        for (uint32_t r = 0; r < count && at + 16 <= end; ++r) {
            const uint64_t id = uint64_t(view.u32(at)) | uint64_t(view.u32(at + 4)) << 32;
            const uint64_t payload = at + 16;
            const uint64_t size = view.u32(at + 12);
            if (size > end - payload) break;
            ClipEffectsValues values = parametersIn(view, payload, payload + size);
            if (!values.empty()) ofId[id] = std::move(values);
            at = payload + size;
        }
    }
    if (ofId.empty()) return ofName;
    for (uint64_t z : image.scan(kClipBlock)) {
        if (view.u32(z + 3) < 24) continue;
        const uint64_t end = blockEndAt(view, z);
        const std::optional<uint64_t> nameBlock = image.first(kNameBlock, z + 9, end);
        if (!nameBlock) continue;
        const std::optional<std::string> name = readName(view, *nameBlock + 9, 1, kMaxClipName);
        if (!name) continue;
        const uint64_t behind = *nameBlock + 13 + name->size();
        const std::optional<uint64_t> mark = image.first(kEffectsMark, behind + 8, end);
        if (!mark) continue;
        const uint64_t id = view.u64(*mark - 8);
        const auto list = ofId.find(id);
        if (id != 0 && list != ofId.end()) ofName[*name] = list->second;
    }
    return ofName;
}
