#include "session/fades.h"

namespace {

constexpr uint16_t kFadeBlock = 0x262F;
// A fade block's fixed part lies within this many bytes of its "Z"; a block
// that starts closer to the image end is not read.
constexpr uint64_t kFixedPart = 38;
constexpr uint8_t kMaxValueWidth = 4;

uint64_t readUnsigned(const ImageView& view, uint64_t position, uint8_t width) {
    uint64_t value = 0;
    for (uint8_t k = 0; k < width; ++k) value |= uint64_t(view.u8(position + k)) << (8 * k);
    return value;
}

// The fade block at z: +14 holds the widths of `lead` (low nibble) and `length`
// (high nibble), the two values follow from +17, then at q the kind, q + 1 the
// shape, and q + 6 and q + 9 the S-curve marks. False when a width is too large,
// which makes z no fade block at all.
bool readFadeAt(const ImageView& view, uint64_t z, FadeRecord& fade) {
    const uint8_t widths = view.u8(z + 14);
    const uint8_t leadWidth = widths & 0x0F;
    const uint8_t lengthWidth = widths >> 4;
    if (leadWidth > kMaxValueWidth || lengthWidth > kMaxValueWidth) return false;

    const uint64_t lead = readUnsigned(view, z + 17, leadWidth);
    const uint64_t length = readUnsigned(view, z + 17 + leadWidth, lengthWidth);
    const uint64_t q = z + 17 + leadWidth + lengthWidth;
    const uint64_t end = z + 7 + view.u32(z + 3);

    fade = FadeRecord{};
    fade.lead = static_cast<double>(lead);
    fade.length = static_cast<double>(length);
    // Shorter blocks carry no shape; the kind is read all the same.
    if (q + 10 < end) {
        fade.shape = view.u8(q + 1);
        fade.isSCurve = view.u8(q + 6) == 1 && view.u8(q + 9) == 1 ? 1 : 0;
    }
    const uint8_t kind = view.u8(q);
    if ((kind == kCrossfade || kind == kFadeOut || kind == kFadeIn) && length >= lead) fade.kind = kind;
    return true;
}

}  // namespace

// The block index offers only heads whose high type byte is 0 and whose block
// fits the image. Pro Tools writes every fade block so; a head failing either
// test is stray bytes, or a block cut off by a truncated copy with nothing of
// the table behind it.
std::vector<FadeRecord> readFades(const SessionImage& image) {
    std::vector<FadeRecord> fades;
    const ImageView& view = image.view;
    if (view.length < kFixedPart) return fades;
    const uint64_t last = view.length - kFixedPart;
    for (uint64_t z : image.scan(kFadeBlock)) {
        if (z > last) break;
        FadeRecord fade;
        // Records not understood stay in the table: later numbers depend on them.
        if (readFadeAt(view, z, fade)) fades.push_back(fade);
    }
    return fades;
}

const FadeRecord* understoodFade(const std::vector<FadeRecord>& fades, uint32_t number) {
    if (number >= fades.size() || fades[number].kind == kFadeNotUnderstood) return nullptr;
    return &fades[number];
}
