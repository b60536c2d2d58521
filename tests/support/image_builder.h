// Builds session images byte by byte for tests: the plain head, nested blocks,
// names and three-point records, and the enciphered file as a .ptx holds it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "session/blocks.h"

class ImageBuilder {
public:
    // An image with the plain 20-byte head of a little-endian .ptx (cipher kind 5)
    // and nothing else. Use addSessionHead() for a session that loads.
    ImageBuilder();

    // Starts a block at the current end: "Z", block type, a size patched by
    // closeBlock, the content type. Blocks nest; close them innermost first.
    void openBlock(uint16_t contentType, uint16_t blockType = 1);
    void closeBlock();
    // A whole block with the given body bytes (the bytes behind the content type).
    void block(uint16_t contentType, const std::vector<uint8_t>& body, uint16_t blockType = 1);

    void u8(uint8_t value);
    void u16(uint16_t value);
    void u32(uint32_t value);
    void u64(uint64_t value);
    void f64(double value);
    void bytes(const std::vector<uint8_t>& values);
    void text(const std::string& value);        // the bytes, no length
    void name(const std::string& value);        // u32 length, then the bytes
    void zeros(size_t count);
    // A three-point record: one lead byte, the width nibbles, one unread byte,
    // then each value in its width (0 to 5 bytes), little-endian.
    void threePoint(uint64_t first, uint8_t width1, uint64_t second, uint8_t width2,
                    uint64_t third, uint8_t width3, uint64_t fourth, uint8_t width4);

    // Overwrites bytes already written (for building damaged images).
    void patchU8(size_t position, uint8_t value);
    void patchU32(size_t position, uint32_t value);

    size_t position() const { return image_.size(); }
    const std::vector<uint8_t>& image() const { return image_; }  // decrypted form
    std::vector<uint8_t> fileBytes() const;                        // enciphered form

    // Writes fileBytes() to folder/fileName and gives the path.
    std::string writeFile(const std::string& folder, const std::string& fileName) const;

private:
    std::vector<uint8_t> image_;
    std::vector<size_t> open_;
};

// The head blocks every loadable session holds: the version block, the session
// header (0x1028) with the given rate, and an audio file list (0x1004) naming
// the given WAVE files with their lengths in samples, then one block behind it
// so that the tree walk reaches every child of the list.
struct TestAudioFile {
    std::string name;
    uint64_t length = 0;
    uint8_t channels = 1;
};
void addSessionHead(ImageBuilder& builder, int64_t rate, const std::vector<TestAudioFile>& files = {});

// The deciphered image as the readers see it; it views the builder's bytes, so
// read it before the builder grows.
SessionImage imageOf(const ImageBuilder& builder);

// A fresh folder in the system's temporary folder (TMPDIR), removed with its
// contents when the test process ends.
std::string makeTempFolder(const std::string& hint);
