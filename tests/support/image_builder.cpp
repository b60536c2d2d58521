#include "support/image_builder.h"
// Placeholder until the builder lands.
ImageBuilder::ImageBuilder() {}
void ImageBuilder::openBlock(uint16_t, uint16_t) {}
void ImageBuilder::closeBlock() {}
void ImageBuilder::block(uint16_t, const std::vector<uint8_t>&, uint16_t) {}
void ImageBuilder::u8(uint8_t) {}
void ImageBuilder::u16(uint16_t) {}
void ImageBuilder::u32(uint32_t) {}
void ImageBuilder::u64(uint64_t) {}
void ImageBuilder::f64(double) {}
void ImageBuilder::bytes(const std::vector<uint8_t>&) {}
void ImageBuilder::text(const std::string&) {}
void ImageBuilder::name(const std::string&) {}
void ImageBuilder::zeros(size_t) {}
void ImageBuilder::threePoint(uint64_t, uint8_t, uint64_t, uint8_t, uint64_t, uint8_t, uint64_t, uint8_t) {}
void ImageBuilder::patchU8(size_t, uint8_t) {}
void ImageBuilder::patchU32(size_t, uint32_t) {}
std::vector<uint8_t> ImageBuilder::fileBytes() const { return {}; }
std::string ImageBuilder::writeFile(const std::string&, const std::string&) const { return {}; }
void addSessionHead(ImageBuilder&, int64_t, const std::vector<TestAudioFile>&) {}
std::string makeTempFolder(const std::string&) { return {}; }
