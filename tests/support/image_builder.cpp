#include "support/image_builder.h"

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <fstream>

#include "session/ptx_file.h"

namespace {

// The key value of the built files; any value works, this one makes every byte
// from 4096 on change under the cipher.
constexpr uint8_t kKeyValue = 0xFF;

}  // namespace

ImageBuilder::ImageBuilder() {
    image_.push_back(0x03);
    text("0010111100101011");
    u8(0x00);       // little-endian
    u8(0x05);       // cipher kind of a .ptx
    u8(kKeyValue);
}

void ImageBuilder::openBlock(uint16_t contentType, uint16_t blockType) {
    open_.push_back(image_.size());
    u8(0x5A);
    u16(blockType);
    u32(0);
    u16(contentType);
}

void ImageBuilder::closeBlock() {
    if (open_.empty()) return;
    const size_t start = open_.back();
    open_.pop_back();
    patchU32(start + 3, static_cast<uint32_t>(image_.size() - (start + 7)));
}

void ImageBuilder::block(uint16_t contentType, const std::vector<uint8_t>& body, uint16_t blockType) {
    openBlock(contentType, blockType);
    bytes(body);
    closeBlock();
}

void ImageBuilder::u8(uint8_t value) { image_.push_back(value); }

void ImageBuilder::u16(uint16_t value) {
    for (int k = 0; k < 2; ++k) image_.push_back(static_cast<uint8_t>(value >> (8 * k)));
}

void ImageBuilder::u32(uint32_t value) {
    for (int k = 0; k < 4; ++k) image_.push_back(static_cast<uint8_t>(value >> (8 * k)));
}

void ImageBuilder::u64(uint64_t value) {
    for (int k = 0; k < 8; ++k) image_.push_back(static_cast<uint8_t>(value >> (8 * k)));
}

void ImageBuilder::f64(double value) {
    uint64_t raw = 0;
    std::memcpy(&raw, &value, sizeof raw);
    u64(raw);
}

void ImageBuilder::bytes(const std::vector<uint8_t>& values) {
    image_.insert(image_.end(), values.begin(), values.end());
}

void ImageBuilder::text(const std::string& value) { image_.insert(image_.end(), value.begin(), value.end()); }

void ImageBuilder::name(const std::string& value) {
    u32(static_cast<uint32_t>(value.size()));
    text(value);
}

void ImageBuilder::zeros(size_t count) { image_.insert(image_.end(), count, 0); }

void ImageBuilder::threePoint(uint64_t first, uint8_t width1, uint64_t second, uint8_t width2,
                              uint64_t third, uint8_t width3, uint64_t fourth, uint8_t width4) {
    u8(0);
    u8(static_cast<uint8_t>(width1 << 4));
    u8(static_cast<uint8_t>((width3 << 4) | (width2 & 0x0F)));
    u8(static_cast<uint8_t>(width4 << 4));
    u8(0);
    const uint64_t values[4] = {first, second, third, fourth};
    const uint8_t widths[4] = {width1, width2, width3, width4};
    for (int v = 0; v < 4; ++v)
        for (int k = 0; k < widths[v]; ++k)
            u8(k < 8 ? static_cast<uint8_t>(values[v] >> (8 * k)) : 0);
}

void ImageBuilder::patchU8(size_t position, uint8_t value) {
    if (position < image_.size()) image_[position] = value;
}

void ImageBuilder::patchU32(size_t position, uint32_t value) {
    for (int k = 0; k < 4; ++k) patchU8(position + k, static_cast<uint8_t>(value >> (8 * k)));
}

std::vector<uint8_t> ImageBuilder::fileBytes() const {
    std::vector<uint8_t> file = image_;
    applySessionCipher(file);
    return file;
}

std::string ImageBuilder::writeFile(const std::string& folder, const std::string& fileName) const {
    const std::string path = folder + "/" + fileName;
    const std::vector<uint8_t> file = fileBytes();
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(file.data()), static_cast<std::streamsize>(file.size()));
    return out ? path : std::string();
}

// Laid out as Pro Tools lays out the head of a session: a first block of four
// bytes at 20 (real files keep the position of their trailing block index there;
// no index is built here, so it stays 0), the version block at 0x1F, the session
// header, the audio file list and the block that follows it. Call it on a fresh
// builder.
SessionImage imageOf(const ImageBuilder& builder) {
    return makeSessionImage(ImageView{builder.image().data(), builder.image().size()});
}

void addSessionHead(ImageBuilder& builder, int64_t rate, const std::vector<TestAudioFile>& files) {
    builder.openBlock(0x0000, 1);
    builder.u16(0);
    builder.closeBlock();

    // Version block: 2 + the u32 at its "Z" + 27 is the version, 12.
    builder.openBlock(0x2067, 9);
    builder.zeros(4);
    builder.u32(42);
    builder.zeros(10);
    builder.u32(10);
    builder.name("Info #1");
    builder.closeBlock();

    // Session header: the rate at "Z" + 11, then an empty path.
    builder.openBlock(0x1028, 9);
    builder.u16(0x1804);
    builder.u32(static_cast<uint32_t>(rate));
    builder.zeros(8);
    builder.u8(1);
    builder.u32(0);
    builder.zeros(4);
    builder.closeBlock();

    // Audio file list: the declared count, the names (the "Audio Files" folder
    // first, as Pro Tools writes it), then one holder per file with its length.
    builder.openBlock(0x1004, 2);
    builder.u32(static_cast<uint32_t>(files.size()));
    const size_t namesStart = builder.position();
    builder.openBlock(0x103A, 1);
    builder.u32(static_cast<uint32_t>(files.size() + 2));
    builder.u8(1);
    builder.u32(static_cast<uint32_t>(files.size() + 1));
    builder.name("Audio Files");
    builder.zeros(4);
    builder.bytes({2, 2, 0, 0, 0});
    for (const TestAudioFile& file : files) {
        builder.name(file.name);
        builder.text("WAVE");
        builder.bytes({1, 10, 0, 0, 0});
    }
    builder.closeBlock();
    const size_t namesWidth = builder.position() - namesStart;
    uint32_t entry = 1;
    for (const TestAudioFile& file : files) {
        builder.openBlock(0x1003, 7);
        builder.u32(entry++);
        builder.openBlock(0x1001, 2);
        builder.u32(static_cast<uint32_t>(rate));
        builder.u8(file.channels);
        builder.u8(0x10);
        builder.u64(file.length);
        builder.zeros(17);
        builder.closeBlock();
        builder.block(0x1033, {});
        builder.closeBlock();
    }
    builder.closeBlock();

    // The walk gives up on a body once the width of the child just found would
    // carry it past the image end, so the holders behind the name block are only
    // found with at least that many bytes behind the list. Sessions always have
    // many blocks there; this one (0x2096, the block Pro Tools writes next) stands
    // in for them.
    builder.block(0x2096, std::vector<uint8_t>(namesWidth, 0));
}

namespace {

// The folders made for this process, removed with everything in them when it ends.
struct MadeFolders {
    std::vector<std::string> paths;
    ~MadeFolders() {
        std::error_code error;
        for (const std::string& path : paths) std::filesystem::remove_all(path, error);
    }
};

}  // namespace

std::string makeTempFolder(const std::string& hint) {
    static MadeFolders made;
    std::error_code error;
    std::string pattern = std::filesystem::temp_directory_path(error).string() + "/trellum-";
    if (error) pattern = "/tmp/trellum-";
    for (char c : hint) pattern += (c == '/' || c == '\0') ? '_' : c;
    pattern += "-XXXXXX";
    std::vector<char> path(pattern.begin(), pattern.end());
    path.push_back('\0');
    if (mkdtemp(path.data()) == nullptr) return {};
    made.paths.push_back(path.data());
    return made.paths.back();
}
