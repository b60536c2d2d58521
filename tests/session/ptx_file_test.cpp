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
// storing `stored` (the version is stored + 2) and the session header.
void addVersionAndRate(ImageBuilder& b, uint32_t stored, int64_t rate) {
    b.block(0x0000, {0, 0});
    b.openBlock(0x2067, 9);
    b.zeros(18);
    b.u32(stored);
    b.closeBlock();
    b.openBlock(0x1028, 9);
    b.u16(0);
    b.u32(static_cast<uint32_t>(rate));
    b.zeros(8);
    b.closeBlock();
}

// Writes the bytes as they stand (already enciphered, or deliberately not).
std::string writeRaw(const std::string& folder, const std::string& name, const std::vector<uint8_t>& bytes) {
    const std::string path = folder + "/" + name;
    writeBytes(path, bytes);
    return path;
}

int loadCode(const std::string& path, int64_t rate = 48000, SessionFile* out = nullptr) {
    SessionFile file;
    if (out != nullptr) file.allowUnknownVersion = out->allowUnknownVersion;
    const int code = loadSession(file, path, rate);
    if (out != nullptr) *out = std::move(file);
    return code;
}

TEST(PtxCipher, MatchesTheKeyTablesAndUndoesItself) {
    // Kind 1 with key value 53: step 1, so each byte is XORed with its position mod 256.
    std::vector<uint8_t> older(600, 0);
    older[0x12] = 1;
    older[0x13] = 53;
    ASSERT_TRUE(applySessionCipher(older));
    EXPECT_EQ(older[0x13], 53);  // the head stays plain
    EXPECT_EQ(older[19], 53);
    EXPECT_EQ(older[20], 20);
    EXPECT_EQ(older[300], 44);

    // Kind 5 with key value 11: i = 1, step 255; the key changes every 4096 bytes.
    std::vector<uint8_t> newer(3 * 4096, 0);
    newer[0x12] = 5;
    newer[0x13] = 11;
    ASSERT_TRUE(applySessionCipher(newer));
    EXPECT_EQ(newer[4095], 0);
    EXPECT_EQ(newer[4096], 255);
    EXPECT_EQ(newer[8192], 254);

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

    std::vector<uint8_t> shortHead(19, 0);  // one byte short of the plain head
    shortHead[0x12] = 5;
    EXPECT_FALSE(applySessionCipher(shortHead));
    std::vector<uint8_t> otherKind(40, 0);  // cipher kind 3
    otherKind[0x12] = 3;
    EXPECT_FALSE(applySessionCipher(otherKind));
}

TEST(PtxLoad, GivesEachCodeForItsFault) {
    const std::string folder = makeTempFolder("ptx-codes");
    ASSERT_FALSE(folder.empty());

    ImageBuilder whole;
    addSessionHead(whole, 48000, {{"Kick.wav", 1000}});
    const std::vector<uint8_t> good = whole.fileBytes();
    SessionFile file;
    EXPECT_EQ(loadSession(file, folder + "/missing.ptx", 48000), -1);
    EXPECT_FALSE(unxorSession(file, folder + "/missing.ptx"));
    EXPECT_FALSE(unxorSession(file, folder));  // a folder is no file

    struct Case {
        const char* what;
        std::vector<uint8_t> bytes;
        int code;
    };
    std::vector<Case> cases;
    cases.push_back({"the first 19 bytes of a session", {good.begin(), good.begin() + 19}, -1});
    std::vector<uint8_t> kind = good;
    kind[0x12] = 3;
    cases.push_back({"cipher kind 3", kind, -1});
    std::vector<uint8_t> marker = good;
    marker[0] = 4;
    marker[5] = '2';
    cases.push_back({"byte 0 not 3 and the marker text broken", marker, -2});
    {
        ImageBuilder b;  // a head and zeros: no version block, bytes 0x3A, 0x3D, 0x40 all 0
        b.zeros(100);
        cases.push_back({"no version anywhere", b.fileBytes(), -2});
    }
    for (uint32_t stored : {2u, 11u}) {
        ImageBuilder b;  // versions 4 and 13
        addVersionAndRate(b, stored, 48000);
        cases.push_back({"a version outside 5 to 12", b.fileBytes(), -3});
    }
    {
        ImageBuilder b;  // version block, but no session header
        b.block(0x0000, {0, 0});
        b.openBlock(0x2067, 9);
        b.zeros(18);
        b.u32(10);
        b.closeBlock();
        b.zeros(40);
        cases.push_back({"no 0x1028 block", b.fileBytes(), -4});
    }
    for (int64_t rate : {22050, 200000, 0}) {
        ImageBuilder b;
        addSessionHead(b, rate);
        cases.push_back({"a rate outside 44100 to 192000", b.fileBytes(), -4});
    }
    {
        ImageBuilder b;  // the only file declared is a group file
        addSessionHead(b, 48000, {{"Drums.grp", 10}});
        cases.push_back({"declared files, none accepted", b.fileBytes(), -4});
    }
    std::vector<uint8_t> bigEndian = whole.image();
    bigEndian[17] = 1;
    applySessionCipher(bigEndian);
    cases.push_back({"a big-endian image has no tree to read", bigEndian, -4});
    for (int64_t rate : {44100, 192000}) {
        ImageBuilder b;
        addSessionHead(b, rate);
        cases.push_back({"the edges of the rate range", b.fileBytes(), 0});
    }

    for (size_t k = 0; k < cases.size(); ++k) {
        const std::string path = writeRaw(folder, "case" + std::to_string(k) + ".ptx", cases[k].bytes);
        EXPECT_EQ(loadCode(path), cases[k].code) << cases[k].what;
        std::remove(path.c_str());
    }

    // An unknown version is readable once allowed; its number is kept.
    ImageBuilder future;
    addVersionAndRate(future, 11, 96000);
    const std::string path = future.writeFile(folder, "future.ptx");
    SessionFile loaded;
    EXPECT_EQ(loadSession(loaded, path, 48000), -3);
    EXPECT_EQ(loaded.versionByte, 13);
    loaded.allowUnknownVersion = true;
    EXPECT_EQ(loadSession(loaded, path, 48000), 0);
    EXPECT_EQ(loaded.sessionRate, 96000);
    EXPECT_TRUE(loaded.audioFiles.empty());

    // A rate out of range still stands in sessionRate.
    ImageBuilder slow;
    addSessionHead(slow, 22050);
    EXPECT_EQ(loadSession(loaded, slow.writeFile(folder, "slow.ptx"), 48000), -4);
    EXPECT_EQ(loaded.sessionRate, 22050);
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
    auto entry = [&b](const std::string& name, const std::string& type) {
        b.name(name);
        b.text(type);
        b.zeros(5);
    };
    entry("Audio Files", std::string(4, '\0'));  // a folder
    entry("Kick.wav", "WAVE");
    entry("Kit.grp", "WAVE");           // a group file
    entry("Snare.aif", "FFIA");
    entry("Notes.txt", "TEXT");         // not audio
    entry("Old.aif", std::string(4, '\0'));  // no type word, but an audio extension
    entry("Misc", std::string(4, '\0'));     // no type word and no extension
    entry("Hat.wav", "EVAW");
    entry("Room.aiff", "AIFF");
    entry("Late.wav", "WAVE");          // one more than declared
    b.closeBlock();
    const uint64_t lengths[] = {480000, 1, 48000, 96000};  // one short
    for (uint64_t length : lengths) {
        b.openBlock(0x1003, 7);
        b.u32(1);
        b.openBlock(0x1001, 2);
        b.u32(48000);
        b.u8(1);
        b.u8(0x10);
        b.u64(length);
        b.zeros(8);
        b.closeBlock();
        b.closeBlock();
    }
    b.closeBlock();
    // Bytes behind the list, as in every session: the walk only searches a body on
    // while the width of the child just found still fits before the image end.
    b.block(0x2096, std::vector<uint8_t>(200, 0));

    const std::string folder = makeTempFolder("ptx-files");
    const std::string path = b.writeFile(folder, "files.ptx");
    SessionFile file;
    ASSERT_EQ(loadSession(file, path, 48000), 0);
    const std::vector<std::string> names = {"Kick.wav", "Snare.aif", "Old.aif", "Hat.wav", "Room.aiff"};
    ASSERT_EQ(file.audioFiles.size(), names.size());
    for (size_t k = 0; k < file.audioFiles.size(); ++k) {
        EXPECT_EQ(file.audioFiles[k].name, names[k]);
        EXPECT_EQ(file.audioFiles[k].index, k);
        EXPECT_EQ(file.audioFiles[k].position, 0u);
    }
    EXPECT_EQ(file.audioFiles[0].length, 480000u);
    EXPECT_EQ(file.audioFiles[3].length, 96000u);
    EXPECT_EQ(file.audioFiles[4].length, 0u);  // no length block left for it

    // At another rate the lengths are scaled and rounded: 1 sample at 48000 is
    // 0.92 at 44100.
    ASSERT_EQ(loadSession(file, path, 44100), 0);
    EXPECT_EQ(file.audioFiles[0].length, 441000u);
    EXPECT_EQ(file.audioFiles[1].length, 1u);
    EXPECT_EQ(file.audioFiles[3].length, 88200u);
}

TEST(SessionFiles, RealSessionsLoadAsTheirFactsSay) {
    const std::string folder = realSessionFolder();
    if (folder.empty()) GTEST_SKIP() << "no real sessions";
    const std::vector<std::string> paths = filesEnding(folder, ".ptx");
    ASSERT_FALSE(paths.empty());
    for (const std::string& path : paths) {
        const SessionFacts facts = readFacts(path);
        SessionFile file;
        // As the driver opens it: at 48000, then again at the session's own rate.
        ASSERT_EQ(loadSession(file, path, 48000), 0) << path;
        EXPECT_EQ(file.versionByte, 12) << path;
        const int64_t rate = file.sessionRate;
        EXPECT_EQ(rate, facts.sampleRate) << path;
        ASSERT_EQ(file.audioFiles.size(), facts.files.size()) << path;
        for (size_t k = 0; k < facts.files.size(); ++k)  // scaled to 48000, rounded
            EXPECT_EQ(file.audioFiles[k].length, (facts.files[k].length * 48000 + rate / 2) / rate) << path;

        ASSERT_EQ(loadSession(file, path, rate), 0) << path;
        ASSERT_EQ(file.audioFiles.size(), facts.files.size()) << path;
        for (size_t k = 0; k < facts.files.size(); ++k) {
            EXPECT_EQ(file.audioFiles[k].name, facts.files[k].name) << path;
            EXPECT_EQ(file.audioFiles[k].index, facts.files[k].index) << path;
            EXPECT_EQ(file.audioFiles[k].length, facts.files[k].length) << path;
            EXPECT_EQ(file.audioFiles[k].position, 0u) << path;
        }
        EXPECT_EQ(checkImage(file.view()).verdict, DamageVerdict::none) << path;

        SessionFile plain;
        ASSERT_TRUE(unxorSession(plain, path));
        EXPECT_EQ(plain.image, file.image);
        EXPECT_EQ(plain.versionByte, 12);
    }
}

TEST(SessionFiles, OlderPtfLoadsAsVersion8) {
    // The .ptf beside the sessions uses cipher kind 1 and the older version block.
    // The layer reads it; refusing older formats is the driver's business.
    const std::string folder = realSessionFolder();
    if (folder.empty()) GTEST_SKIP() << "no real sessions";
    const std::vector<std::string> paths = filesEnding(folder, ".ptf");
    if (paths.empty()) GTEST_SKIP() << "no .ptf";
    SessionFile file;
    ASSERT_EQ(loadSession(file, paths[0], 48000), 0);
    EXPECT_EQ(file.versionByte, 8);
    EXPECT_EQ(file.sessionRate, 48000);
    ASSERT_EQ(file.audioFiles.size(), 3u);
    EXPECT_EQ(file.audioFiles[0].name, "24000.wav");
    EXPECT_EQ(file.audioFiles[2].name, "24000.2.wav");
    EXPECT_EQ(file.audioFiles[2].length, 24000u);
}

bool isLoadCode(int code) { return code == 0 || code == -1 || code == -2 || code == -3 || code == -4; }

TEST(PtxRobust, DamagedAndRandomFilesGiveACode) {
    const std::string temp = makeTempFolder("ptx-robust");
    ASSERT_FALSE(temp.empty());
    std::mt19937 random(99);

    // Random bytes, with and without a readable head.
    ImageBuilder head;
    addSessionHead(head, 48000, {{"a.wav", 5}});
    for (int round = 0; round < 40; ++round) {
        std::vector<uint8_t> bytes(random() % 3000);
        for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(random() % 3 == 0 ? 'Z' : random());
        if (round % 2 == 0 && bytes.size() > 40) {
            std::copy(head.image().begin(), head.image().begin() + 40, bytes.begin());
            applySessionCipher(bytes);
        }
        const std::string path = writeRaw(temp, "random.ptx", bytes);
        SessionFile file;
        file.allowUnknownVersion = round % 4 == 0;
        EXPECT_TRUE(isLoadCode(loadSession(file, path, 48000)));
        checkImage(file.view());
        makeSessionImage(file.view()).scan(0x1028);
    }
    EXPECT_EQ(loadCode(writeRaw(temp, "nineteen.ptx", std::vector<uint8_t>(19, 5))), -1);

    // A real session cut at every 997th byte.
    const std::string folder = realSessionFolder();
    if (folder.empty()) GTEST_SKIP() << "no real sessions";
    const std::vector<uint8_t> whole = readBytes(folder + "/TestPTX.ptx");
    ASSERT_GT(whole.size(), 997u);
    std::vector<uint8_t> plain = whole;
    applySessionCipher(plain);
    std::vector<uint64_t> topEnds;
    for (const PtxBlock& block : walkBlockTree(ImageView{plain.data(), plain.size()}))
        topEnds.push_back(block.end());
    for (size_t cut = 0; cut < whole.size(); cut += 997) {
        const std::vector<uint8_t> part(whole.begin(), whole.begin() + cut);
        SessionFile file;
        const int code = loadCode(writeRaw(temp, "cut.ptx", part), 48000, &file);
        EXPECT_TRUE(isLoadCode(code)) << cut;
        // A copy cut between two top-level blocks looks whole; any other cut does not.
        if (cut <= 31) continue;
        const bool between = std::find(topEnds.begin(), topEnds.end(), cut) != topEnds.end();
        EXPECT_EQ(checkImage(file.view()).verdict == DamageVerdict::none, between) << cut;
    }
    std::remove((temp + "/random.ptx").c_str());
    std::remove((temp + "/nineteen.ptx").c_str());
    std::remove((temp + "/cut.ptx").c_str());
}

TEST(BuilderRoundTrip, ABuiltSessionLoadsFromItsFile) {
    ImageBuilder b;
    addSessionHead(b, 44100, {{"Kick_01.wav", 441000}, {"Bass_01.wav", 22050}});
    // Enough further bytes that the cipher changes some (it leaves the first 4096).
    b.block(0x2000, std::vector<uint8_t>(6000, 0x33));
    EXPECT_EQ(checkImage(ImageView{b.image().data(), b.image().size()}).verdict, DamageVerdict::none);
    const std::vector<uint8_t> enciphered = b.fileBytes();
    ASSERT_EQ(enciphered.size(), b.image().size());
    EXPECT_NE(enciphered, b.image());

    const std::string folder = makeTempFolder("builder");
    ASSERT_FALSE(folder.empty());
    const std::string path = b.writeFile(folder, "built.ptx");
    ASSERT_FALSE(path.empty());
    SessionFile file;
    ASSERT_EQ(loadSession(file, path, 44100), 0);
    EXPECT_EQ(file.image, b.image());
    EXPECT_EQ(file.versionByte, 12);
    EXPECT_EQ(file.sessionRate, 44100);
    ASSERT_EQ(file.audioFiles.size(), 2u);
    EXPECT_EQ(file.audioFiles[0].name, "Kick_01.wav");
    EXPECT_EQ(file.audioFiles[0].length, 441000u);
    EXPECT_EQ(file.audioFiles[1].name, "Bass_01.wav");
    EXPECT_EQ(file.audioFiles[1].index, 1);
    EXPECT_EQ(file.audioFiles[1].length, 22050u);

    // The head alone, with nothing behind it, loads as well.
    ImageBuilder bare;
    addSessionHead(bare, 48000, {{"One.wav", 10}, {"Two.wav", 20}, {"Three.wav", 30}});
    ASSERT_EQ(loadSession(file, bare.writeFile(folder, "bare.ptx"), 48000), 0);
    ASSERT_EQ(file.audioFiles.size(), 3u);
    EXPECT_EQ(file.audioFiles[2].name, "Three.wav");
    EXPECT_EQ(file.audioFiles[2].length, 30u);

    // Laid out as real sessions are: the version block at 0x1F, then the header.
    const std::vector<PtxBlock> top = walkBlockTree(file.view());
    ASSERT_GE(top.size(), 4u);
    EXPECT_EQ(top[1].start(), 0x1Fu);
    EXPECT_EQ(top[1].contentType, 0x2067);
    EXPECT_EQ(top[2].contentType, 0x1028);
    EXPECT_EQ(top[3].contentType, 0x1004);
}

}  // namespace
