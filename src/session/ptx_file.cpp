#include "session/ptx_file.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <utility>

#include "session/blocks.h"

namespace {

constexpr uint64_t kPlainHead = 20;      // bytes 0 to 0x13 are stored as they are
constexpr uint64_t kVersionBlock = 0x1F; // where the version block stands
constexpr uint16_t kSessionHeader = 0x1028;
constexpr uint16_t kAudioFileList = 0x1004;
constexpr uint16_t kFileNames = 0x103A;
constexpr uint16_t kFileHolder = 0x1003;
constexpr uint16_t kFileLength = 0x1001;

// Plain stdio: the stream library throws on some read errors (a folder, for one).
bool readWholeFile(const std::string& path, std::vector<uint8_t>& bytes) {
    bytes.clear();
    struct stat info {};
    if (stat(path.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) return false;
    std::FILE* in = std::fopen(path.c_str(), "rb");
    if (in == nullptr) return false;
    bytes.reserve(static_cast<size_t>(info.st_size));
    uint8_t chunk[65536];
    bool ok = true;
    while (true) {
        const size_t got = std::fread(chunk, 1, sizeof chunk, in);
        bytes.insert(bytes.end(), chunk, chunk + got);
        if (got < sizeof chunk) {
            ok = std::ferror(in) == 0;
            break;
        }
    }
    std::fclose(in);
    return ok;
}

// Deciphers bytes 20 on in place; the same operation enciphers.
bool cipher(std::vector<uint8_t>& bytes) {
    if (bytes.size() < kPlainHead) return false;
    const uint8_t kind = bytes[0x12];
    const uint8_t keyValue = bytes[0x13];
    if (kind != 1 && kind != 5) return false;
    const unsigned multiplier = kind == 1 ? 53 : 11;
    unsigned root = 0;
    while (root < 256 && (root * multiplier) % 256 != keyValue) ++root;
    if (root == 256) return false;  // cannot happen: both multipliers are odd
    const unsigned step = kind == 1 ? root : (256 - root) % 256;
    uint8_t key[256];
    for (unsigned j = 0; j < 256; ++j) key[j] = static_cast<uint8_t>((j * step) % 256);
    // One loop per kind, the key byte of a kind-5 run of 4096 bytes taken once:
    // the compiler turns both into whole-word XORs.
    uint8_t* data = bytes.data();
    const size_t size = bytes.size();
    if (kind == 1) {
        for (size_t p = kPlainHead; p < size; ++p) data[p] ^= key[p % 256];
        return true;
    }
    for (size_t run = kPlainHead; run < size;) {
        const size_t runEnd = std::min<size_t>(size, (run | 4095) + 1);
        const uint8_t runKey = key[(run >> 12) % 256];
        for (size_t p = run; p < runEnd; ++p) data[p] ^= runKey;
        run = runEnd;
    }
    return true;
}

bool hasVersionMarker(const ImageView& image) {
    static const char kMarker[] = "0010111100101011";
    return image.u8(0) == 3 || image.matches(1, kMarker, sizeof kMarker - 1);
}

// The head of a block at position (no children): "Z", block type below 256, and
// a size that keeps the block inside the image.
bool blockHeadAt(const ImageView& image, uint64_t position, uint32_t& size, uint16_t& contentType) {
    if (!image.holds(position, 9) || image.u8(position) != 0x5A) return false;
    if (image.u16(position + 1) > 255) return false;
    size = image.u32(position + 3);
    contentType = image.u16(position + 7);
    return image.holds(position + 7, size);
}

// The session's version, 0 when none can be read.
uint64_t findVersion(const ImageView& image) {
    uint32_t size = 0;
    uint16_t contentType = 0;
    if (blockHeadAt(image, kVersionBlock, size, contentType)) {
        const uint64_t z = kVersionBlock;
        if (contentType == 0x0003) {
            const uint64_t at = z + 18 + image.u32(z + 10);
            return image.holds(at, 4) ? image.u32(at) : 0u;
        }
        if (contentType == 0x2067)
            return image.holds(z + 27, 4) ? 2 + uint64_t{image.u32(z + 27)} : 0u;
        // A block of another kind tells nothing: fall back on the head bytes.
    }
    if (image.u8(0x40) != 0) return image.u8(0x40);
    if (image.u8(0x3D) != 0) return image.u8(0x3D);
    if (image.u8(0x3A) != 0) return image.u8(0x3A) + 2u;
    return 0;
}

uint8_t versionByteOf(uint64_t version) {
    // Saturate, so that an absurd version never reads as a known one.
    return version > 255 ? 255 : static_cast<uint8_t>(version);
}

bool contains(const std::string& text, const char* part) {
    return text.find(part) != std::string::npos;
}

bool isAudioTypeWord(const ImageView& image, uint64_t position, const std::string& name) {
    static const char* const kWords[] = {"WAVE", "EVAW", "AIFF", "FFIA"};
    for (const char* word : kWords)
        if (image.matches(position, word, 4)) return true;
    // Some entries carry no type word; their extension decides.
    return image.u8(position) == 0 && (contains(name, ".wav") || contains(name, ".aif"));
}

// Length in samples at the target rate, rounded to the nearest sample.
uint64_t scaleLength(uint64_t length, int64_t sessionRate, int64_t targetRate) {
    if (sessionRate <= 0 || targetRate <= 0 || sessionRate == targetRate) return length;
    const uint64_t from = static_cast<uint64_t>(sessionRate);
    const uint64_t to = static_cast<uint64_t>(targetRate);
    const uint64_t whole = length / from;
    const uint64_t rest = length % from;
    return whole * to + (rest * to + from / 2) / from;
}

// The names of the audio files in the 0x103A children of the list; false when
// files were declared but none was accepted.
bool readAudioFiles(const ImageView& image, const PtxBlock& list, std::vector<AudioFileEntry>& files) {
    const uint32_t declared = image.u32(list.start() + 9);
    if (declared == 0) return true;
    for (const PtxBlock& child : list.children) {
        if (child.contentType != kFileNames) continue;
        uint64_t at = child.start() + 18;
        const uint64_t childEnd = child.end();
        // Indexes are 16-bit: a list can name no more files than that.
        while (files.size() < declared && files.size() <= 0xFFFF && at < childEnd && childEnd - at >= 4) {
            const uint64_t nameLength = image.u32(at);
            const uint64_t entryLength = nameLength + 13;
            if (entryLength > childEnd - at) break;  // the entry would leave the block
            const std::string name = image.text(at + 4, nameLength);
            const uint64_t typeWord = at + 4 + nameLength;
            const bool folder = contains(name, ".grp") || contains(name, "Audio Files") ||
                                contains(name, "Fade Files");
            if (!folder && isAudioTypeWord(image, typeWord, name)) {
                AudioFileEntry entry;
                entry.name = name;
                entry.index = static_cast<uint16_t>(files.size());
                files.push_back(entry);
            }
            at += entryLength;
        }
    }
    return !files.empty();
}

// Lengths and channel counts from the 0x1001 children of the 0x1003 children,
// one per file in order: the channel count is the byte at +13 (behind the rate),
// the length the u64 at +15.
void readAudioLengths(const ImageView& image, const PtxBlock& list, std::vector<AudioFileEntry>& files) {
    size_t next = 0;
    for (const PtxBlock& holder : list.children) {
        if (holder.contentType != kFileHolder) continue;
        for (const PtxBlock& format : holder.children) {
            if (format.contentType != kFileLength || next >= files.size()) continue;
            // A block too short to hold the length still stands for its file.
            AudioFileEntry& file = files[next++];
            file.length = format.blockSize >= 16 ? image.u64(format.start() + 15) : 0;
            file.channels = format.blockSize >= 16 ? image.u8(format.start() + 13) : 0;
        }
    }
}

void clearLoaded(SessionFile& file) {
    file.image.clear();
    file.sessionRate = 0;
    file.versionByte = 0;
    file.audioFiles.clear();
}

}  // namespace

bool applySessionCipher(std::vector<uint8_t>& bytes) { return cipher(bytes); }

bool unxorSession(SessionFile& file, const std::string& path) {
    clearLoaded(file);
    if (!readWholeFile(path, file.image) || !cipher(file.image)) {
        file.image.clear();
        return false;
    }
    file.versionByte = versionByteOf(findVersion(file.view()));
    return true;
}

int loadSession(SessionFile& file, const std::string& path, int64_t targetRate) {
    std::vector<uint8_t> bytes;
    if (!readWholeFile(path, bytes)) {
        clearLoaded(file);
        return -1;
    }
    return loadSessionBytes(file, std::move(bytes), targetRate);
}

int loadSessionBytes(SessionFile& file, std::vector<uint8_t> fileBytes, int64_t targetRate) {
    clearLoaded(file);
    file.image = std::move(fileBytes);
    if (!cipher(file.image)) {
        file.image.clear();
        return -1;
    }
    const ImageView image = file.view();
    if (!hasVersionMarker(image)) return -2;
    const uint64_t version = findVersion(image);
    if (version == 0) return -2;
    file.versionByte = versionByteOf(version);
    if ((version < 5 || version > 12) && !file.allowUnknownVersion) return -3;

    // Top-level blocks of the tree; only the file list is walked into. A
    // big-endian or tiny image has none, so neither rate nor file list can be read.
    const std::vector<PtxBlock> top = topLevelBlocks(image);
    PtxBlock audioList;
    bool audioListFound = false;
    bool rateFound = false;
    for (const PtxBlock& block : top) {
        if (block.contentType == kSessionHeader && block.blockSize >= 8) {
            file.sessionRate = image.u32(block.start() + 11);
            rateFound = true;
        } else if (block.contentType == kAudioFileList && !audioListFound) {
            audioListFound = parseBlockAt(image, block.start(), image.length, audioList);
        }
    }
    if (!rateFound) return -4;
    const bool rateValid = file.sessionRate >= 44100 && file.sessionRate <= 192000;

    if (audioListFound) {
        if (!readAudioFiles(image, audioList, file.audioFiles)) return -4;
        readAudioLengths(image, audioList, file.audioFiles);
        if (rateValid)
            for (AudioFileEntry& entry : file.audioFiles)
                entry.length = scaleLength(entry.length, file.sessionRate, targetRate);
    }
    return rateValid ? 0 : -4;
}
