#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <random>
#include <vector>

#include "session/blocks.h"
#include "session/ptx_file.h"
#include "session/real_sessions.h"
#include "support/image_builder.h"

namespace {

// The head of a session without its file list: the first block, a version block
// storing `stored` (the version is stored + 2) and the session header; rate 0
// leaves the header out and puts zeros in its place.
void addVersionAndRate(ImageBuilder& b, uint32_t stored, int64_t rate) {
    b.block(0x0000, {0, 0});
    b.openBlock(0x2067, 9);
    b.zeros(18);
    b.u32(stored);
    b.closeBlock();
    if (rate == 0) {
        b.zeros(40);
        return;
    }
    b.openBlock(0x1028, 9);
    b.u16(0);
    b.u32(static_cast<uint32_t>(rate));
    b.zeros(8);
    b.closeBlock();
}

std::vector<uint8_t> headBytes(int64_t rate, const std::vector<TestAudioFile>& files = {}) {
    ImageBuilder b;
    addSessionHead(b, rate, files);
    return b.fileBytes();
}

// Writes the bytes as they stand (already enciphered, or deliberately not) and
// loads them at 48000.
int loadBytes(const std::string& path, const std::vector<uint8_t>& bytes, SessionFile& file) {
    writeBytes(path, bytes);
    const int code = loadSession(file, path, 48000);
    std::remove(path.c_str());
    return code;
}

// One line per audio file: index, name, length and a position when it is not 0.
std::string filesOf(const std::vector<AudioFileEntry>& files) {
    std::string text;
    for (const AudioFileEntry& f : files)
        text += std::to_string(f.index) + " " + f.name + " " + std::to_string(f.length) +
                (f.position != 0 ? " @" + std::to_string(f.position) : "") + "\n";
    return text;
}

std::vector<uint8_t> cipherHead(size_t size, uint8_t kind, uint8_t key) {
    std::vector<uint8_t> bytes(size, 0);
    bytes[0x12] = kind;
    bytes[0x13] = key;
    return bytes;
}

TEST(PtxCipher, MatchesTheKeyTablesAndUndoesItself) {
    // Kind 1 with key value 53: step 1, so each byte is XORed with its position mod 256.
    std::vector<uint8_t> older = cipherHead(600, 1, 53);
    ASSERT_TRUE(applySessionCipher(older));
    EXPECT_EQ(std::vector<int>({older[0x13], older[20], older[300]}), std::vector<int>({53, 20, 44}));  // head plain
    // Kind 5 with key value 11: i = 1, step 255; the key changes every 4096 bytes.
    std::vector<uint8_t> newer = cipherHead(3 * 4096, 5, 11);
    ASSERT_TRUE(applySessionCipher(newer));
    EXPECT_EQ(std::vector<int>({newer[4095], newer[4096], newer[8192]}), std::vector<int>({0, 255, 254}));

    // Any bytes: twice is nothing.
    std::mt19937 random(7);
    std::vector<uint8_t> bytes(10000);
    for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(random());
    bytes[0x12] = 5;
    const std::vector<uint8_t> original = bytes;
    ASSERT_TRUE(applySessionCipher(bytes));
    EXPECT_NE(bytes, original);
    ASSERT_TRUE(applySessionCipher(bytes));
    EXPECT_EQ(bytes, original);
}

TEST(PtxLoad, GivesEachCodeForItsFault) {
    const std::string folder = makeTempFolder("ptx-codes");
    ASSERT_FALSE(folder.empty());
    SessionFile file;
    EXPECT_EQ(loadSession(file, folder + "/missing.ptx", 48000), -1);
    EXPECT_FALSE(unxorSession(file, folder + "/missing.ptx"));
    EXPECT_FALSE(unxorSession(file, folder));  // a folder is no file

    auto versionBytes = [](uint32_t stored, int64_t rate) {
        ImageBuilder b;
        addVersionAndRate(b, stored, rate);
        return b.fileBytes();
    };
    const std::vector<uint8_t> good = headBytes(48000, {{"Kick.wav", 1000}});
    std::vector<uint8_t> kind = good, marker = good;
    kind[0x12] = 3;
    marker[0] = 4;
    marker[5] = '2';
    ImageBuilder zeros, whole;  // a head and zeros: bytes 0x3A, 0x3D and 0x40 all 0
    zeros.zeros(100);
    addSessionHead(whole, 48000, {{"Kick.wav", 1000}});
    std::vector<uint8_t> bigEndian = whole.image();
    bigEndian[17] = 1;
    applySessionCipher(bigEndian);
    const struct {
        const char* what;
        std::vector<uint8_t> bytes;
        int code;
    } cases[] = {
        {"the first 19 bytes of a session", {good.begin(), good.begin() + 19}, -1},
        {"cipher kind 3", kind, -1},
        {"byte 0 not 3 and the marker text broken", marker, -2},
        {"no version anywhere", zeros.fileBytes(), -2},
        {"version 4", versionBytes(2, 48000), -3},
        {"version 13", versionBytes(11, 48000), -3},
        {"no 0x1028 block", versionBytes(10, 0), -4},
        {"rate 22050", headBytes(22050), -4},
        {"rate 200000", headBytes(200000), -4},
        {"rate 0", headBytes(0), -4},
        {"declared files, none accepted (a group file)", headBytes(48000, {{"Drums.grp", 10}}), -4},
        {"a big-endian image has no tree to read", bigEndian, -4},
        {"rate 44100", headBytes(44100), 0},
        {"rate 192000", headBytes(192000), 0},
    };
    for (const auto& c : cases) EXPECT_EQ(loadBytes(folder + "/case.ptx", c.bytes, file), c.code) << c.what;

    // An unknown version is readable once allowed; its number is kept.
    const std::string path = folder + "/future.ptx";
    writeBytes(path, versionBytes(11, 96000));
    EXPECT_EQ(loadSession(file, path, 48000), -3);
    EXPECT_EQ(file.versionByte, 13);
    file.allowUnknownVersion = true;
    EXPECT_EQ(loadSession(file, path, 48000), 0);
    EXPECT_EQ(file.sessionRate, 96000);
    EXPECT_TRUE(file.audioFiles.empty());
    // A rate out of range still stands in sessionRate.
    EXPECT_EQ(loadBytes(path, headBytes(22050), file), -4);
    EXPECT_EQ(file.sessionRate, 22050);
}

TEST(PtxLoad, FindsTheVersionInEachForm) {
    const std::string folder = makeTempFolder("ptx-version");
    ASSERT_FALSE(folder.empty());
    SessionFile file;

    // The older form: content type 0x0003, a name of length L at "Z" + 10, the
    // version at "Z" + 18 + L.
    ImageBuilder older;
    older.block(0x0000, {0, 0});
    older.openBlock(0x0003, 3);
    older.u8(0);
    older.name("Pro Tools LE");
    older.zeros(4);
    older.u32(8);
    older.zeros(8);
    older.closeBlock();
    older.block(0x1028, {0, 0, 0x80, 0xBB, 0, 0, 0, 0});
    EXPECT_EQ(loadSession(file, older.writeFile(folder, "older.ptx"), 48000), 0);
    EXPECT_EQ(file.versionByte, 8);

    // No block at 0x1F: the version is byte 0x40. The walk steps by the width of
    // the first block (11), so the header stands 44 bytes behind 0x1F.
    ImageBuilder bare;
    bare.block(0x0000, {0, 0});
    bare.zeros(44);
    bare.patchU8(0x40, 12);
    bare.block(0x1028, {0, 0, 0x44, 0xAC, 0, 0, 0, 0});
    EXPECT_EQ(loadSession(file, bare.writeFile(folder, "bare.ptx"), 48000), 0);
    EXPECT_EQ(file.versionByte, 12);
    EXPECT_EQ(file.sessionRate, 44100);

    // Byte 0x3A counts 2 less than the version.
    bare.patchU8(0x40, 0);
    bare.patchU8(0x3A, 9);
    EXPECT_TRUE(unxorSession(file, bare.writeFile(folder, "bare2.ptx")));
    EXPECT_EQ(file.versionByte, 11);
}

TEST(PtxLoad, ReadsTheAudioFileList) {
    ImageBuilder b;
    addVersionAndRate(b, 10, 48000);
    b.openBlock(0x1004, 2);
    b.u32(5);  // five files declared
    b.openBlock(0x103A, 1);
    b.zeros(9);
    const std::string none(4, '\0');
    for (const auto& [name, type] : std::vector<std::pair<std::string, std::string>>{
             {"Audio Files", none},  // a folder
             {"Kick.wav", "WAVE"},
             {"Kit.grp", "WAVE"},  // a group file
             {"Snare.aif", "FFIA"},
             {"Notes.txt", "TEXT"},  // not audio
             {"Old.aif", none},      // no type word, but an audio extension
             {"Misc", none},         // no type word and no extension
             {"Hat.wav", "EVAW"},
             {"Room.aiff", "AIFF"},
             {"Late.wav", "WAVE"}}) {  // one more than declared
        b.name(name);
        b.text(type);
        b.zeros(5);
    }
    b.closeBlock();
    for (uint64_t length : {480000, 1, 48000, 96000}) {  // one short
        b.openBlock(0x1003, 7);
        b.u32(1);
        b.openBlock(0x1001, 2);
        b.u32(48000);
        b.bytes({1, 0x10});
        b.u64(length);
        b.zeros(8);
        b.closeBlock();
        b.closeBlock();
    }
    b.closeBlock();
    // Bytes behind the list, as in every session: the walk only searches a body on
    // while the width of the child just found still fits before the image end.
    b.block(0x2096, std::vector<uint8_t>(200, 0));

    const std::string path = b.writeFile(makeTempFolder("ptx-files"), "files.ptx");
    SessionFile file;
    ASSERT_EQ(loadSession(file, path, 48000), 0);
    // The last file has no length block left for it.
    EXPECT_EQ(filesOf(file.audioFiles), "0 Kick.wav 480000\n1 Snare.aif 1\n2 Old.aif 48000\n3 Hat.wav 96000\n"
                                        "4 Room.aiff 0\n");
    // At another rate the lengths are scaled and rounded: 1 sample at 48000 is 0.92 at 44100.
    ASSERT_EQ(loadSession(file, path, 44100), 0);
    EXPECT_EQ(filesOf(file.audioFiles), "0 Kick.wav 441000\n1 Snare.aif 1\n2 Old.aif 44100\n3 Hat.wav 88200\n"
                                        "4 Room.aiff 0\n");
}

TEST(SessionFiles, OlderPtfLoadsAsVersion8) {
    // The .ptf beside the sessions uses cipher kind 1 and the older version block.
    // The layer reads it; refusing older formats is the driver's business.
    const std::vector<std::string> paths = filesEnding(realSessionFolder(), ".ptf");
    if (paths.empty()) GTEST_SKIP() << "no real .ptf sessions";
    SessionFile file;
    ASSERT_EQ(loadSession(file, paths[0], 48000), 0);
    EXPECT_EQ(file.versionByte, 8);
    EXPECT_EQ(file.sessionRate, 48000);
    ASSERT_EQ(file.audioFiles.size(), 3u);
    EXPECT_EQ(file.audioFiles[0].name + " " + file.audioFiles[2].name + " " + std::to_string(file.audioFiles[2].length),
              "24000.wav 24000.2.wav 24000");
}

}  // namespace
