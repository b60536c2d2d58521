#include "session/file_folders.h"

namespace {

constexpr uint16_t kFileFolderList = 0x103A;
constexpr uint32_t kMaxEntryName = 512;

bool plainName(const std::string& name) {
    for (unsigned char c : name) {
        if (c < 32 || c == 127) return false;
    }
    return true;
}

// The file kinds, in both byte orders of the machine that wrote the session.
bool isFileTypeWord(const ImageView& view, uint64_t position) {
    static const char* const kWords[] = {"WAVE", "EVAW", "AIFF", "FFIA", "MXFf", "fFXM"};
    for (const char* word : kWords) {
        if (view.matches(position, word, 4)) return true;
    }
    return false;
}

void readOneList(const ImageView& view, uint64_t z, FileFolderMap& folders) {
    const uint64_t end = z + 7 + view.u32(z + 3);
    const uint8_t noType[4] = {0, 0, 0, 0};
    std::string folder;
    bool haveFolder = false;
    // Entries: u32 length, name, 4-byte type word, 5 more bytes.
    for (uint64_t entry = z + 18; entry + 4 <= end;) {
        uint32_t length = view.u32(entry);
        if (length < 1 || length > kMaxEntryName || entry + 13 + length > end) return;
        std::string name = view.text(entry + 4, length);
        if (name.size() != length || !plainName(name)) return;
        uint64_t typeWord = entry + 4 + length;
        if (view.matches(typeWord, noType, 4)) {
            folder = name;
            haveFolder = true;
        } else if (isFileTypeWord(view, typeWord)) {
            if (haveFolder) folders.emplace(name, folder);
        } else {
            return;
        }
        entry += 13 + uint64_t(length);
    }
}

}  // namespace

FileFolderMap readFileFolders(const SessionImage& image) {
    FileFolderMap folders;
    for (uint64_t z : image.scan(kFileFolderList)) readOneList(image.view, z, folders);
    return folders;
}
