#include "session/image.h"
// Placeholder until the image reader lands.
bool ImageView::holds(uint64_t, uint64_t) const { return false; }
uint8_t ImageView::u8(uint64_t) const { return 0; }
uint16_t ImageView::u16(uint64_t) const { return 0; }
uint32_t ImageView::u32(uint64_t) const { return 0; }
uint64_t ImageView::u64(uint64_t) const { return 0; }
double ImageView::f64(uint64_t) const { return 0; }
std::string ImageView::text(uint64_t, uint64_t) const { return {}; }
bool ImageView::matches(uint64_t, const void*, uint64_t) const { return false; }
bool isNameByte(uint8_t) { return false; }
std::optional<std::string> readName(const ImageView&, uint64_t, uint32_t, uint32_t) { return std::nullopt; }
ThreePoint readThreePoint(const ImageView&, uint64_t) { return {}; }
