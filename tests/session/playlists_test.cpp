#include <gtest/gtest.h>

#include <fstream>

#include "session/playlists.h"
#include "session/ptx_file.h"
#include "session/real_sessions.h"
#include "support/image_builder.h"

namespace {

struct Placement {
    uint32_t clip = 0;
    uint64_t position = 0;  // its eight bytes as stored
    uint8_t muted = 0;
    uint8_t lock10 = 0;
    uint8_t overlap = 0;
    int16_t colour = -2;
    uint8_t group = 0;
    uint8_t lock39 = 0;
    std::vector<uint8_t> behind = {0, 0};  // bytes of the holder behind the record
    uint8_t last = 0;                       // the record's own last byte
};

// A placement holder (0x1050) around its placement record (0x104F).
void holder(ImageBuilder& b, const Placement& p) {
    b.openBlock(0x1050, 2);
    b.openBlock(0x104F, 10);
    b.u8(p.muted);
    b.u8(p.lock10);
    b.u32(p.clip);
    b.u8(0);
    b.u64(p.position);
    b.u8(p.overlap);
    b.u16(static_cast<uint16_t>(p.colour));
    b.u8(p.group);
    b.zeros(11);
    b.u8(p.lock39);
    b.zeros(3);
    b.u8(p.last);
    b.closeBlock();
    b.bytes(p.behind);
    b.closeBlock();
}

// A playlist block: name, count, the blocks, the timebase byte and one more.
void playlist(ImageBuilder& b, const std::string& name, const std::vector<Placement>& placements,
              uint8_t timebase = 1, int declared = -1) {
    b.openBlock(0x1052, 3);
    b.name(name);
    b.u32(declared < 0 ? static_cast<uint32_t>(placements.size()) : static_cast<uint32_t>(declared));
    for (const Placement& p : placements) holder(b, p);
    b.u8(timebase);
    b.u8(0);
    b.closeBlock();
}

// A playlist of `count` empty blocks.
void emptyBlocks(ImageBuilder& b, const std::string& name, uint32_t count) {
    b.openBlock(0x1052, 3);
    b.name(name);
    b.u32(count);
    for (uint32_t i = 0; i < count; ++i) b.block(0x1050, {}, 2);
    b.u8(2);
    b.u8(0);
    b.closeBlock();
}

}  // namespace

TEST(TimebaseRecords, KeepOnlyPlaylistBlocksOfTheRightShapeNumberedByTheTrackList) {
    ImageBuilder b;
    // Playlists outside the track playlist list: a clip group list's own, and a loose one.
    b.openBlock(0x2428);
    b.openBlock(0x1054);
    playlist(b, "?", {Placement{}});
    b.closeBlock();
    b.closeBlock();
    playlist(b, "?", {Placement{}});
    b.openBlock(0x1054);  // the track playlist list; a playlist read badly keeps its place
    b.u32(9);
    playlist(b, "Audio 1", {Placement{}, Placement{}}, 1);
    playlist(b, std::string(64, 'L'), {}, 2);   // the longest name
    playlist(b, "", {}, 1);                     // empty, as real sessions hold them
    playlist(b, std::string(65, 'L'), {}, 1);   // too long
    playlist(b, "Bad\x7f", {}, 1);              // not name bytes
    playlist(b, "Three", {}, 3);                // timebase neither 1 nor 2
    playlist(b, "Short", {Placement{}}, 1, 2);  // declares more blocks than it holds
    emptyBlocks(b, "Most", 20000);
    emptyBlocks(b, "Too many", 20001);
    b.closeBlock();
    const SessionImage image = imageOf(b);

    std::vector<std::string> records;
    for (const TimebaseRecord& r : readTimebaseRecords(image)) {
        records.push_back(std::to_string(r.trackNumber) + " " + r.name + (r.tickBased ? " ticks " : " samples ") +
                          std::to_string(r.placementCount));
    }
    EXPECT_EQ(records, (std::vector<std::string>{"-1 ? samples 1", "-1 ? samples 1", "0 Audio 1 samples 2",
                                                 "1 " + std::string(64, 'L') + " ticks 0", "2  samples 0",
                                                 "7 Most ticks 20000"}));

    // The rows come from the same blocks, in the same order.
    std::vector<PlaylistRow> rows = readPlaylistRows(image);
    ASSERT_EQ(rows.size(), 6u);
    EXPECT_EQ(rows[2].name, "Audio 1");
    EXPECT_EQ(rows[2].clipIndex.size(), 2u);
    EXPECT_TRUE(rows[3].tickBased);
    EXPECT_TRUE(rows[5].clipIndex.empty());  // blocks without a placement record
}

TEST(PlaylistRows, ReadTheStateOfEachPlacement) {
    ImageBuilder b;
    //              clip  position           mute +10 over col grp +39 behind  last
    Placement onTimeline{5, 0x40ull << 56 | (kPositionBias + 5), 1, 0, 2, 3, 0, 1};
    Placement fade{1, 0, 0, 0, 1, -2, 0, 0, {1, 0}};
    Placement deleted{2, 0, 0, 0, 2, -2, 0, 0, {1, 0}};
    Placement group{7, 0, 0, 1, 0, -2, 1, 0};  // +39 is in the image and 0: not locked
    Placement noRoomBehind{8, 0, 0, 0, 1, -2, 0, 0, {}, 4};  // the block's last byte is the mark
    b.openBlock(0x1052, 3);
    b.name("Row");
    b.u32(6);
    holder(b, onTimeline);
    holder(b, fade);
    b.openBlock(0x1050, 2);  // no placement record at +9: passed over
    b.u16(0);
    b.block(0x104F, std::vector<uint8_t>(37, 0), 10);
    b.closeBlock();
    holder(b, deleted);
    holder(b, group);
    holder(b, noRoomBehind);
    b.u8(2);
    b.u8(0);
    b.closeBlock();
    const SessionImage image = imageOf(b);

    std::vector<PlaylistRow> rows = readPlaylistRows(image);
    ASSERT_EQ(rows.size(), 1u);
    const PlaylistRow& row = rows[0];
    EXPECT_EQ(row.name, "Row");
    EXPECT_TRUE(row.tickBased);
    EXPECT_EQ(row.clipIndex, (std::vector<uint32_t>{5, 1, 2, 7, 8}));
    EXPECT_EQ(row.position, (std::vector<TimelinePosition>{ticksAt(5), {}, {}, {}, {}}));
    EXPECT_EQ(row.colour, (std::vector<int32_t>{3, -2, -2, -2, -2}));
    EXPECT_EQ(row.overlapState, (std::vector<uint8_t>{2, 1, 2, 0, 1}));
    EXPECT_EQ(row.muted, (std::vector<uint8_t>{1, 0, 0, 0, 0}));
    EXPECT_EQ(row.live, (std::vector<bool>{true, false, false, true, false}));
    EXPECT_EQ(row.isFade, (std::vector<bool>{false, true, false, false, true}));
    EXPECT_EQ(row.isGroup, (std::vector<bool>{false, false, false, true, false}));
    EXPECT_EQ(row.locked, (std::vector<bool>{true, false, false, false, false}));
}

namespace {

// A playlist of one block of `size` whose record runs past the image: the
// image ends with the timebase byte at the block's +7 + size.
std::vector<PlaylistRow> rowsOfCutBlock(uint32_t size) {
    ImageBuilder b;
    b.openBlock(0x1052, 3);
    b.name("End");
    b.u32(1);
    const size_t c = b.position();
    b.bytes({'Z', 2, 0});
    b.u32(size);
    b.u16(0x1050);
    b.bytes({'Z', 10, 0});
    b.u32(37);
    b.u16(0x104F);
    b.bytes({0, 1, 9});  // +9 muted, +10 locked, +11 clip
    b.zeros(c + 7 + size - b.position());
    b.u8(1);
    b.closeBlock();
    const SessionImage image = imageOf(b);
    return readPlaylistRows(image);
}

}  // namespace

TEST(PlaylistRows, ReadOnlyWhatTheImageHolds) {
    // The image ends at the block's +36: the record is read, and `locked` comes
    // from +10 since +39 lies outside.
    std::vector<PlaylistRow> rows = rowsOfCutBlock(28);
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows[0].clipIndex, std::vector<uint32_t>{9});
    EXPECT_EQ(rows[0].locked, std::vector<bool>{true});
    EXPECT_EQ(rows[0].live, std::vector<bool>{true});
    // One byte shorter: no entry, but the row stands.
    rows = rowsOfCutBlock(27);
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_TRUE(rows[0].clipIndex.empty());
}

TEST(PlaylistRows, RealSessionsHoldTheirTimebaseAndPlacementState) {
    const std::string folder = realSessionFolder();
    if (!std::ifstream(folder + "/TempoTimeKeySig.ptx")) GTEST_SKIP() << "no real sessions";
    SessionFile tempo;
    ASSERT_EQ(loadSession(tempo, folder + "/TempoTimeKeySig.ptx", 44100), 0);
    SessionImage image = makeSessionImage(tempo.view());
    std::vector<TimebaseRecord> records = readTimebaseRecords(image);
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[0].name + " " + std::to_string(records[0].tickBased) + " " + std::to_string(records[0].placementCount) +
                  ", " + records[1].name + " " + std::to_string(records[1].tickBased),
              "Audio 1 0 7, Audio 2 1");
    std::vector<PlaylistRow> rows = readPlaylistRows(image);
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows[1].clipIndex, (std::vector<uint32_t>{2, 3, 4, 0, 0, 0, 0}));
    EXPECT_EQ(rows[1].position.at(0), ticksAt(3120000));
    EXPECT_EQ(rows[1].position.at(3), ticksAt(7342800000));  // past 2^32 ticks
    EXPECT_EQ(rows[0].position.at(1), samplesAt(327278));
    EXPECT_EQ(rows[0].live, std::vector<bool>(7, true));

    // RegionTest keeps a fade and placements that were cut away, not live.
    SessionFile region;
    ASSERT_EQ(loadSession(region, folder + "/RegionTest.ptx", 44100), 0);
    image = makeSessionImage(region.view());
    rows = readPlaylistRows(image);
    ASSERT_EQ(rows.size(), 6u);
    EXPECT_EQ(rows[0].clipIndex, (std::vector<uint32_t>{3, 1}));
    EXPECT_EQ(rows[0].isFade, (std::vector<bool>{true, false}));
    EXPECT_EQ(rows[4].clipIndex, (std::vector<uint32_t>{4, 2, 0}));
    EXPECT_EQ(rows[4].live, (std::vector<bool>{false, true, false}));
}

// Behind each audio track's block: its current entry, the entries it owns, then
// FF FF; the track entries (0x1015) give each entry's track numbers.
TEST(PlaylistOwners, EachTrackNumberGoesToTheTrackThatOwnsItsEntry) {
    ImageBuilder b;
    b.openBlock(0x1015);
    for (const auto& [name, numbers] : std::vector<std::pair<std::string, std::vector<uint16_t>>>{
             {"Lead", {0}}, {"Pad", {1, 2}}, {"Take A", {3}}, {"Take B", {4}}, {"Loose", {5}}}) {
        b.openBlock(0x1014);
        b.name(name);
        b.u8(0);
        b.u32(static_cast<uint32_t>(numbers.size()));
        for (uint16_t number : numbers) b.u16(number);
        b.closeBlock();
    }
    b.closeBlock();
    struct Owner { uint16_t track; uint32_t current; std::vector<uint32_t> owned; uint16_t end; };
    for (const Owner& o : {Owner{0x261B, 0, {2, 3, 0}, 0xFFFF}, Owner{0x261B, 1, {1, 9}, 0xFFFF},  // 9: no entry
                           Owner{0x261B, 4, {4}, 0xFFFE}, Owner{0x2621, 4, {4}, 0xFFFF}}) {    // no list
        b.openBlock(0x261C);
        b.block(o.track, {0, 0});
        b.u32(o.current);
        b.u16(static_cast<uint16_t>(o.owned.size()));
        for (uint32_t entry : o.owned) b.u32(entry);
        b.u16(o.end);
        b.closeBlock();
    }
    b.zeros(16);
    EXPECT_EQ(readPlaylistOwners(imageOf(b)),
              (std::map<uint16_t, std::string>{{0, "Lead"}, {1, "Pad"}, {2, "Pad"}, {3, "Lead"}, {4, "Lead"}}));
}
