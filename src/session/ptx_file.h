// The session file layer: decrypts a .ptx, finds its version and rate, and lists
// its audio files. One SessionFile per attempt; the image lives as long as it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "session/image.h"

struct AudioFileEntry {
    std::string name;
    uint16_t index = 0;
    uint64_t position = 0;
    uint64_t length = 0;  // samples at the target rate
    uint16_t channels = 0;  // channels in the file, 0 where the list stores none
};

struct SessionFile {
    std::vector<uint8_t> image;  // the decrypted file
    int64_t sessionRate = 0;
    uint8_t versionByte = 0;
    std::vector<AudioFileEntry> audioFiles;
    // Accept versions outside 5 to 12 instead of failing with -3.
    bool allowUnknownVersion = false;

    ImageView view() const { return ImageView{image.data(), image.size()}; }
};

// A target rate that keeps the file lengths as the session stores them, at its own rate.
constexpr int64_t kSessionOwnRate = 0;

// Load codes: 0 loaded; -1 cannot be decrypted; -2 no readable version marker;
// -3 unknown version; -4 decrypted but the contents cannot be parsed (also a rate
// outside 44100 to 192000, which stays readable in sessionRate).
int loadSession(SessionFile& file, const std::string& path, int64_t targetRate);
// The same from the bytes of a file already read (enciphered, as a .ptx holds them).
int loadSessionBytes(SessionFile& file, std::vector<uint8_t> fileBytes, int64_t targetRate);
// Decryption only: fills image and versionByte (0 when no version is found).
// False when the file cannot be read or decrypted.
bool unxorSession(SessionFile& file, const std::string& path);

// The cipher is its own inverse: enciphers or deciphers bytes 20 on in place.
// False when the bytes are too short or of an unknown cipher kind.
bool applySessionCipher(std::vector<uint8_t>& bytes);
