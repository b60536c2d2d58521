#include <gtest/gtest.h>

#include "session/clips.h"
#include "session/file_folders.h"
#include "session/playlists.h"
#include "support/image_builder.h"

namespace {

// A clip: its head block (name, three-point record) and the file index behind it.
void clip(ImageBuilder& b, uint16_t type, const std::string& name, uint64_t offset, uint8_t offsetWidth,
          uint64_t length, uint8_t lengthWidth, uint64_t start, uint8_t startWidth, uint16_t file = 0,
          uint64_t sync = 0, uint8_t syncWidth = 0) {
    b.openBlock(type);
    b.openBlock(0x2628);
    b.name(name);
    b.threePoint(offset, offsetWidth, sync, syncWidth, length, lengthWidth, start, startWidth);
    b.closeBlock();
    b.u16(file);
    b.zeros(4);
    b.closeBlock();
}

// The unit mark of a tick position, in the eighth byte of the stored value.
constexpr uint64_t kTicksMark = uint64_t{0x40} << 56;

// A placement holder (0x1050) around its placement record (0x104F); `stored`
// is the position's eight bytes as the session keeps them.
void holder(ImageBuilder& b, uint32_t clipNumber, uint64_t stored, uint8_t muted = 0) {
    b.openBlock(0x1050, 2);
    b.openBlock(0x104F, 10);
    b.u8(muted);
    b.u8(0);
    b.u32(clipNumber);
    b.u8(0);
    b.u64(stored);
    b.zeros(27);
    b.closeBlock();
    b.u16(0);
    b.closeBlock();
}

std::string describe(const ClipDefinition& c) {
    return std::to_string(c.index) + " '" + c.name + "' " + c.fileName + "#" + std::to_string(c.fileIndex) + " " +
           std::to_string(c.sourceOffset) + "+" + std::to_string(c.length) + " @" + std::to_string(c.start.value) + "/" +
           std::to_string(c.filePosition) + "/" + std::to_string(c.fileLength);
}

std::vector<std::string> describe(const std::vector<ClipPlacement>& placements) {
    std::vector<std::string> lines;
    for (const ClipPlacement& p : placements)
        lines.push_back(std::to_string(p.trackIndex) + " " + p.trackName + " clip " + std::to_string(p.clipIndex) +
                        " at " + std::to_string(p.start.value) + (p.start.inTicks() ? " ticks" : "") +
                        (p.muted ? " muted" : ""));
    return lines;
}

}  // namespace

TEST(ClipList, ReadsBothListFormsWithFilesAndValueWidths) {
    ImageBuilder b;
    b.openBlock(0x100B);
    b.u32(2);
    clip(b, 0x1008, "drum", 1000, 2, 48000, 3, 5, 1, 1);
    b.openBlock(0x1008);  // no head block: the name still stands at +18, the file index is 0
    b.zeros(9);
    b.name("bare");
    b.threePoint(0, 0, 0, 0, 300, 2, 0, 0);
    b.closeBlock();
    b.closeBlock();
    b.openBlock(0x262A);
    b.u32(1);
    clip(b, 0x2629, "", 0xFFFFFFFFFFull, 5, 77, 6, 0, 0, 7);  // width 5 counts, 6 does not
    b.closeBlock();
    b.openBlock(0x262A);
    b.u32(1);
    b.openBlock(0x2629);  // a name that runs past the image ends with it
    b.zeros(9);
    b.u32(1000);
    b.text("tail");
    b.closeBlock();
    b.closeBlock();
    const SessionImage image = imageOf(b);

    std::vector<AudioFileRef> files = {{"a.wav", 0, 0, 10}, {"b.wav", 1, 0, 20}};
    std::vector<std::string> clips;
    for (const ClipDefinition& c : readClipsAndPlacements(image, files).audioClips) clips.push_back(describe(c));
    EXPECT_EQ(clips, (std::vector<std::string>{"0 'drum' b.wav#1 1000+48000 @5/5/48000", "1 'bare' a.wav#0 0+300 @0/0/300",
                                               "2 '' #7 1099511627775+0 @0/0/0", "3 'tail' a.wav#0 0+0 @0/0/0"}));
    // A file entry with an empty name answers every file index.
    files.insert(files.begin(), AudioFileRef{"", 9, 0, 0});
    EXPECT_EQ(readClipsAndPlacements(image, files).audioClips[0].fileName, "");
    // Without a tree (a big-endian image) nothing is read.
    b.patchU8(17, 1);
    const SessionImage noTree = imageOf(b);
    EXPECT_TRUE(readClipsAndPlacements(noTree, files).audioClips.empty());
}

TEST(ClipPlacements, BothFormsPlaceClipsOnTracksAndCloseTrackNumbers) {
    ImageBuilder b;
    b.openBlock(0x262A);
    b.u32(2);
    clip(b, 0x2629, "one", 0, 0, 100, 1, 4410, 2);
    clip(b, 0x2629, "two", 0, 0, 200, 1, 0, 0);
    b.closeBlock();
    b.openBlock(0x1015);
    for (auto track : {std::make_pair("Left", std::vector<uint16_t>{2}), std::make_pair("Pair", std::vector<uint16_t>{3, 7}),
                       std::make_pair("Again", std::vector<uint16_t>{3})}) {  // 3 is known: stays with Pair
        b.openBlock(0x1014);
        b.name(track.first);
        b.u8(0);
        b.u32(static_cast<uint32_t>(track.second.size()));
        for (uint16_t n : track.second) b.u16(n);
        b.closeBlock();
    }
    b.closeBlock();
    b.openBlock(0x1054);
    for (int track = 0; track < 8; ++track) {
        b.openBlock(0x1052, 3);
        b.name("T");
        b.u32(track == 3 ? 5 : track == 7 ? 5 : track == 0 || track == 2);
        if (track == 0) holder(b, 0, 10);  // no track holds number 0
        if (track == 2) holder(b, 1, kTicksMark | (kPositionBias + 5), 1);
        if (track == 3) {
            holder(b, 0, 300);
            holder(b, 1, 250);    // file order stands within a track
            holder(b, 2, 400);    // past the clip list
            holder(b, 65535, 0);  // the number of no clip
            holder(b, 1, 999);    // the byte 2 behind its end is 1: skipped
        }
        if (track == 7) {
            holder(b, 1, 700);
            holder(b, 0, 5000000000);                                  // samples past 2^32
            holder(b, 0, kTicksMark | (kPositionBias + 691868160000));  // ticks in six bytes
            holder(b, 1, uint64_t{0x41} << 56 | (kPositionBias - 67));   // an unknown mark: by its ticks bit
            holder(b, 1, (uint64_t{1} << 55) + 9);                     // past any timeline: held at its end
        }
        b.bytes(track == 3 ? std::vector<uint8_t>{1, 0, 1} : std::vector<uint8_t>{1, 0});
        b.closeBlock();
    }
    b.closeBlock();
    b.openBlock(0x1012);
    for (int track = 0; track < 3; ++track) {
        b.openBlock(0x1011);
        b.u32(0);
        b.openBlock(0x100F);
        b.u32(0);
        b.block(0x100E, {0, 0, static_cast<uint8_t>(track == 2 ? 0 : 1), 0, 0, 0, 0, 0});
        b.closeBlock();
        b.closeBlock();
    }
    b.closeBlock();
    b.zeros(512);  // the tree stops looking for children near the end of the image
    const SessionImage image = imageOf(b);

    PositionFaults faults;
    ClipLists lists = readClipsAndPlacements(image, {}, &faults);
    EXPECT_EQ(describe(lists.audioPlacements),
              (std::vector<std::string>{"0 Left clip 1 at 5 ticks muted", "0 Left clip 0 at 4410",
                                        "1 Pair clip 0 at 300", "1 Pair clip 1 at 250", "2 Pair clip 1 at 700",
                                        "2 Pair clip 0 at 5000000000", "2 Pair clip 0 at 691868160000 ticks",
                                        "2 Pair clip 1 at -67 ticks", "2 Pair clip 1 at 36028797018963968"}));
    EXPECT_EQ(faults.unknownUnit, 1);
    EXPECT_EQ(faults.pastTimeline, 1);
    EXPECT_EQ(lists.audioClips[lists.audioPlacements.back().clipIndex].length, 200);
    EXPECT_TRUE(lists.midiPlacements.empty());
}

TEST(ClipSyncOffsets, ReadsTheSecondValueOfEachClipInListOrder) {
    ImageBuilder b;
    b.openBlock(0x262A);
    b.u32(90);  // a count whose first byte looks like a block start
    clip(b, 0x2629, "a", 7, 2, 100, 1, 0, 0, 0, 1234, 3);
    clip(b, 0x2629, "b", 7, 2, 100, 1, 0, 0, 0, 55, 0);   // no second value
    clip(b, 0x2629, "c", 7, 6, 100, 1, 0, 0, 0, 55, 1);   // first width past 5
    clip(b, 0x2629, std::string(255, 'n'), 0, 0, 0, 0, 0, 0, 0, 0xFFFFFFFFFFull, 5);
    clip(b, 0x2629, std::string(256, 'n'), 0, 0, 0, 0, 0, 0, 0, 9, 1);  // name too long
    b.block(0x4403, {0, 0, 0, 0});  // other blocks are jumped over
    b.openBlock(0x2629);            // without a head block; the list inside is jumped over with it
    b.zeros(9);
    b.name("headless");
    b.threePoint(0, 0, 9, 1, 0, 0, 0, 0);
    b.openBlock(0x262A);
    b.u32(1);
    clip(b, 0x2629, "inner", 0, 0, 0, 0, 0, 0, 0, 1, 1);
    b.closeBlock();
    b.closeBlock();
    b.closeBlock();
    const SessionImage image = imageOf(b);

    ClipSyncOffsets offsets = readClipSyncOffsets(image);
    EXPECT_EQ(offsets.names, (std::vector<std::string>{"a", "b", "c", std::string(255, 'n'), "", ""}));
    EXPECT_EQ(offsets.values, (std::vector<uint64_t>{1234, 0, 0, 0xFFFFFFFFFFull, 0, 0}));
    std::vector<ClipDefinition> clips(6);
    for (uint16_t i = 0; i < clips.size(); ++i) {
        clips[i].index = i;
        clips[i].name = offsets.names[i];
    }
    EXPECT_TRUE(syncOffsetsMatch(offsets, clips));
    clips[2].index = 3;
    EXPECT_FALSE(syncOffsetsMatch(offsets, clips));
    clips.pop_back();
    EXPECT_FALSE(syncOffsetsMatch(offsets, clips));
}

TEST(FileFolders, MapsEachFileToTheFolderListedBeforeIt) {
    ImageBuilder b;
    auto list = [&b](const std::vector<std::pair<std::string, std::string>>& entries) {
        b.openBlock(0x103A);
        b.zeros(9);
        for (const auto& entry : entries) {
            b.name(entry.first);
            b.text(entry.second.empty() ? std::string(4, '\0') : entry.second);
            b.zeros(5);
        }
        b.closeBlock();
    };
    list({{"early.wav", "WAVE"},  // before any folder: left out
          {"Audio Files", ""}, {"a.wav", "EVAW"}, {"b.aif", "FFIA"}, {"c.mxf", "MXFf"},
          {std::string(512, 'x'), ""}, {"d.aif", "AIFF"},  // the longest name
          {"Macintosh HD", "\x88t\x8f\xd5"},              // any other type word ends the list
          {"Later", ""}, {"e.wav", "WAVE"}});
    list({{"Other", ""}, {"a.wav", "WAVE"}, {"f.wav", "fFXM"},  // a.wav keeps its first folder
          {std::string(513, 'y'), ""}, {"g.wav", "WAVE"}});     // too long: ends the list
    list({{"Bad\x7f", ""}, {"h.wav", "WAVE"}});
    b.openBlock(0x103A);
    b.zeros(9);
    b.name("Cut");
    b.zeros(9);
    b.name("i.wav");  // the entry runs past its block
    b.text("WAVE");
    b.closeBlock();
    const SessionImage image = imageOf(b);

    FileFolderMap expected = {{"a.wav", "Audio Files"}, {"b.aif", "Audio Files"}, {"c.mxf", "Audio Files"},
                              {"d.aif", std::string(512, 'x')}, {"f.wav", "Other"}};
    EXPECT_EQ(readFileFolders(image), expected);
}
