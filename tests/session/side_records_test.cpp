// Group records, the folder tree and track colour values, laid out byte by
// byte and read from the real sessions; the palette against its measured swatches.
#include <gtest/gtest.h>

#include <tuple>

#include "analysis/palette.h"
#include "session/folders.h"
#include "session/groups.h"
#include "session/ptx_file.h"
#include "session/real_sessions.h"
#include "session/session_info.h"
#include "support/image_builder.h"

namespace {

// A group record as Pro Tools lays it out, cut short or spoilt by the arguments.
void groupRecord(ImageBuilder& b, const std::string& name, uint32_t members, bool marker, size_t cutAfterSlot = 0) {
    b.openBlock(0x202A);
    b.name(name);
    b.bytes({2, 7});  // both, slot 7
    if (cutAfterSlot > 0) {
        b.zeros(cutAfterSlot);
        b.closeBlock();
        return;
    }
    b.bytes({0, 0, 0, 0, 0});  // inactive
    b.u32(members);
    for (uint32_t m = 0; m < members && m < 300; ++m) b.u16(static_cast<uint16_t>(m + 3));
    b.bytes({static_cast<uint8_t>(marker ? 0xFE : 0), 0xFF});
    b.zeros(8);
    b.u16(0xFFFF);
    b.block(0x258E, {1, 0, 0, 0, 0, 0, 0, 1, 1}, 3);
    b.closeBlock();
}

}  // namespace

TEST(GroupRecordReader, KeepsWellShapedRecordsAndPassesOverTheRest) {
    ImageBuilder b;
    groupRecord(b, "Drums", 2, true);
    groupRecord(b, "No marker", 2, false);
    groupRecord(b, "Too many", 257, true);
    groupRecord(b, "Bad\x01name", 1, true);
    groupRecord(b, "Short", 0, true, 5);  // the block ends before the member count
    b.zeros(16);
    const std::vector<GroupRecord> groups = readGroupRecords(imageOf(b));
    ASSERT_EQ(groups.size(), 1u);
    const GroupRecord& g = groups[0];
    EXPECT_EQ(std::make_tuple(g.name, g.type, g.slot, g.active, g.vcaPosition, g.hasAttributes),
              std::make_tuple(std::string("Drums"), 2, 7, false, -1, true));
    EXPECT_EQ(g.members, (std::vector<uint16_t>{3, 4}));
    EXPECT_EQ(groups[0].attributes, (std::vector<uint8_t>{1, 0, 0, 0, 0, 0, 0, 1, 1}));
}

TEST(FolderTreeReader, ReadsFoldersAndGivesUpOnBrokenBounds) {
    struct Case {
        uint32_t count;
        uint32_t mark;
        bool readable;
    };
    for (const Case& c : {Case{2, 42, true}, Case{4097, 42, false}, Case{2, 43, false}, Case{3, 42, false}}) {
        ImageBuilder b;
        b.openBlock(0x210C);
        b.u32(c.count);
        b.u32(c.mark);
        b.u64(0x10);
        b.u32(1);
        b.u32(42);
        b.u64(0x11);
        b.zeros(5);
        b.u32(42);  // a folder with no members
        b.u64(0x12);
        b.u32(0);
        b.closeBlock();
        b.zeros(16);
        const FolderTree tree = readFolderTree(imageOf(b));
        EXPECT_EQ(tree.readable, c.readable) << c.count << " " << c.mark;
        if (!c.readable) continue;
        ASSERT_EQ(tree.links.size(), 2u);
        EXPECT_EQ(tree.links[0].folderId, 0x10u);
        EXPECT_EQ(tree.links[0].memberIds, std::vector<uint64_t>{0x11});
        EXPECT_TRUE(tree.links[1].memberIds.empty());
    }
}

// Swatches measured on Pro Tools' palette, and the shades derived or invented
// where none was measured, 0x01BBGGRR.
TEST(Palette, IndicesGiveTheSwatchesClipBodiesAndInventedShades) {
    struct Case {
        int32_t index;
        bool clip;
        uint32_t colour;
        ColourClass colourClass;
    };
    const Case cases[] = {
        {25, false, 0x01FC002C, ColourClass::measured},  {47, false, 0x01FC0019, ColourClass::measured},
        {49, false, 0x01A3001E, ColourClass::measured},  {95, false, 0x015F2211, ColourClass::measured},
        {1, false, 0x01ECB4BE, ColourClass::measured},   {2, false, 0x01FD6699, ColourClass::derived},
        {24, false, 0x0168D8C0, ColourClass::invented},  {48, false, 0x01A8C090, ColourClass::invented},
        {2, true, 0, ColourClass::unknown},              {27, true, 0x01ECB4D2, ColourClass::measured},
        {26, true, 0x01FC0056, ColourClass::measured},   {-5, true, 0x015FB9CD, ColourClass::invented},
    };
    for (const Case& c : cases) {
        const PaletteColour got = c.clip ? clipColour(c.index) : paletteColour(c.index);
        EXPECT_EQ(got.colour, c.colour) << c.index;
        EXPECT_EQ(got.colourClass, c.colourClass) << c.index;
    }
}

// Every colour a real track stores is none or on the palette: a value read at
// the wrong place (behind a comment, a 0x2104 block) is off it. The two mix
// groups of the comping session are those its studio lists.
TEST(SideRecordsRealSessions, TrackColoursAreOnThePaletteAndGroupsAreFound) {
    std::vector<std::string> sessions = filesEnding(TRELLUM_SHARED_DIR "/sessions", ".ptx");
    for (const std::string& path : filesEnding(TRELLUM_SHARED_DIR "/studio", ".ptx")) sessions.push_back(path);
    if (sessions.empty()) GTEST_SKIP() << "no real sessions beside the repository";
    for (const std::string& path : sessions) {
        SessionFile file;
        if (loadSession(file, path, 0) != 0) continue;
        const SessionImage image = makeSessionImage(file.view());
        for (const TrackColourValue& value : readTrackColourValues(image, readTrackListRows(image))) {
            EXPECT_TRUE(value.value == 0xFFFE || onTrackPalette(value.value)) << path << " " << value.name;
        }
        if (path.find("Vocal Comping") == std::string::npos) continue;
        std::vector<std::pair<std::string, size_t>> groups;
        for (const GroupRecord& group : readGroupRecords(image)) groups.emplace_back(group.name, group.members.size());
        EXPECT_EQ(groups, (std::vector<std::pair<std::string, size_t>>{
                              {"<ALL>", 25}, {"Meg BGV", 8}, {"Kk BGV's", 3}, {"<ALL>", 25}, {"Meg BGV", 8}, {"Kk BGV's", 3}}));
    }
}
