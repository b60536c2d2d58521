// Automation lanes on built images: the lane record, which control a lane is
// by its place, the stereo pan test, panner groups and MIDI track mute lanes.
#include <gtest/gtest.h>

#include <sstream>

#include "session/automation.h"
#include "session/strips.h"
#include "support/image_builder.h"

namespace {

struct Lane {
    int16_t initial = 0;
    std::vector<std::pair<uint32_t, int16_t>> points;
    uint16_t statedCount = 0xFFFF;  // the count the block states; its points when left alone
    uint8_t ticks = 0;              // the last byte of the 5-byte tick flag at +27
};

void lane(ImageBuilder& b, const Lane& l) {
    b.openBlock(0x260A);
    b.zeros(16);
    b.u16(l.statedCount == 0xFFFF ? static_cast<uint16_t>(l.points.size()) : l.statedCount);  // +25
    b.zeros(4);  // +27
    b.u8(l.ticks);
    b.zeros(3);
    b.u16(static_cast<uint16_t>(l.initial));  // +35
    for (const auto& p : l.points) {
        b.u32(p.first);
        b.u16(static_cast<uint16_t>(p.second));
    }
    b.zeros(2);  // the smallest lane block, without points, is 32 bytes
    b.closeBlock();
}

// A present strip whose row position lies inside the block just opened.
StripRow presentStrip(const ImageBuilder& b) {
    StripRow strip;
    strip.name = "T";
    strip.present = 1;
    strip.faderDb = -3;
    strip.position = b.position() + 10;
    return strip;
}

// Control slots, stereo lanes, fader, the resting values of pan, right pan and
// trim, and the pan lane's point count.
std::string slots(const StripRow& s) {
    std::ostringstream out;
    out << s.controlSlots << (s.stereoLanes ? " stereo " : " mono ") << s.faderDb << " " << s.panLane.initial << "/"
        << s.rightPanLane.initial << " trim " << s.trimLane.initial << " points " << s.panLane.points.size();
    return out.str();
}

std::vector<StripRow> readAll(ImageBuilder& b, std::vector<StripRow> strips) {
    b.zeros(16);
    readStripLanes(imageOf(b), strips);
    return strips;
}

// A track block of the given kind whose own row holder holds the lanes.
StripRow readOne(uint16_t kind, const std::vector<Lane>& lanes) {
    ImageBuilder b;
    b.openBlock(kind);
    StripRow strip = presentStrip(b);
    b.zeros(4);
    b.openBlock(0x260D);
    for (const Lane& l : lanes) lane(b, l);
    b.closeBlock();
    b.closeBlock();
    return readAll(b, {strip})[0];
}

// A row holder that mixes panners: volume, mute, a group of firstGroup lanes
// led by a -100 pan, one of secondGroup lanes led by a 100 pan, an extra lane
// and the trim. widthByte follows the track's first child block.
StripRow readPanners(uint16_t kind, uint8_t widthByte, int16_t firstGroup, int16_t secondGroup) {
    ImageBuilder b;
    b.openBlock(kind);
    StripRow strip = presentStrip(b);
    b.block(0x1111, {0, 0});
    b.u8(widthByte);
    b.openBlock(0x260D);
    lane(b, {-60, {}});
    lane(b, {0, {}});
    for (int16_t count : {firstGroup, secondGroup}) {
        const int16_t lead = count == firstGroup ? -100 : 100;
        b.openBlock(0x260C);
        for (int16_t k = 0; k < count; ++k) lane(b, {k == 0 ? lead : k, {}});
        b.closeBlock();
    }
    lane(b, {7, {}});
    lane(b, {30, {}});
    b.closeBlock();
    b.closeBlock();
    return readAll(b, {strip})[0];
}

}  // namespace

TEST(AutomationLanes, LaneRecordAndPlaceInTheStrip) {
    ImageBuilder r;
    const uint64_t first = r.position();
    lane(r, {-5, {{4000000000u, -300}, {7, 12}}, 0xFFFF, 1});
    const uint64_t small = r.position();
    r.block(0x260A, std::vector<uint8_t>(22, 0));  // a 24-byte block: too small to be a lane
    const ImageView view{r.image().data(), r.image().size()};
    AutomationLane read;
    readLane(view, first, read);
    EXPECT_EQ(read.inTicks, 1);
    EXPECT_EQ(read.initial, -5);
    ASSERT_EQ(read.points.size(), 2u);
    EXPECT_EQ(read.points[0], std::make_pair(4000000000.0, -300.0));
    readLane(view, small, read);  // the second block leaves the lane as it was
    EXPECT_EQ(read.initial, -5);
    EXPECT_EQ(read.points.size(), 2u);

    const Lane flat{0, {}};
    const Lane trim{5, {{200, 30}}};
    // A volume lane with points leaves the fader as the row has it; without, its resting value is the
    // fader. Six lanes or more name only volume, mute and pan.
    EXPECT_EQ(slots(readOne(0x261B, {{-60, {{100, -20}}}, flat, {0, {{50, 40}}}, trim})),
              "4 mono -3 0/0 trim 5 points 1");
    EXPECT_EQ(slots(readOne(0x261B, {{-45, {}}, flat, {-100, {}}, {100, {}}, trim})),
              "5 stereo -4.5 -100/100 trim 5 points 0");
    EXPECT_EQ(slots(readOne(0x261B, {flat, flat, {-100, {}}, {100, {}}, trim, trim})),
              "6 mono 0 -100/0 trim 0 points 0");

    // A stated count that overruns the block gives no points and keeps the resting value.
    StripRow overrun = readOne(0x261B, {{-120, {{1, 1}}, 9}});
    EXPECT_TRUE(overrun.volumeLane.points.empty());
    EXPECT_EQ(overrun.volumeLane.initial, -120);
    EXPECT_EQ(overrun.faderDb, -12);
}

TEST(AutomationLanes, StereoPansAtTheirDefaultsAreNoAutomation) {
    const Lane flat{0, {}};
    StripRow hard = readOne(0x261B, {flat, flat, {-100, {{10, -100}}}, {100, {{10, 100}, {20, 100}}}, flat});
    EXPECT_TRUE(hard.panLane.points.empty());
    EXPECT_TRUE(hard.rightPanLane.points.empty());
    EXPECT_EQ(hard.dualPanPoints, 0);

    StripRow moved = readOne(0x261B, {flat, flat, {-100, {{10, -99}}}, {100, {{10, 100}, {20, 100}}}, flat});
    EXPECT_EQ(moved.dualPanPoints, 3);
    EXPECT_TRUE(moved.panLane.points.empty());
    ASSERT_EQ(moved.dualPanLeftLane.points.size(), 1u);
    EXPECT_EQ(moved.dualPanLeftLane.initial, -100);
    EXPECT_EQ(moved.rightPanLane.points.size(), 2u);

    EXPECT_EQ(readOne(0x261B, {flat, flat, {-100, {}}, {100, {}}, flat}).dualPanPoints, 0);
    EXPECT_EQ(readOne(0x261B, {flat, flat, {-50, {}}, {50, {}}, flat}).dualPanPoints, 2);
}

TEST(AutomationLanes, RangeIsTheTracksOwnRowHolder) {
    ImageBuilder b;
    // No row holder: the lanes come from the whole track block.
    b.openBlock(0x261B);
    StripRow whole = presentStrip(b);
    b.zeros(4);
    for (int16_t k = 0; k < 3; ++k) lane(b, {k, {}});
    b.closeBlock();
    // The own holder's two lanes; a send's holder behind it is not the strip's.
    b.openBlock(0x261B);
    StripRow own = presentStrip(b);
    b.zeros(4);
    for (int holder = 0; holder < 2; ++holder) {
        b.openBlock(0x260D);
        for (int k = holder; k < 2; ++k) lane(b, {-20, {}});
        b.closeBlock();
    }
    b.closeBlock();
    std::vector<StripRow> strips = readAll(b, {whole, own});
    EXPECT_EQ(strips[0].controlSlots, 3);
    EXPECT_EQ(strips[0].panLane.initial, 2);
    EXPECT_EQ(strips[1].controlSlots, 2);
    EXPECT_EQ(strips[1].faderDb, -2);
}

TEST(AutomationLanes, PannerGroupsRebuildTheLaneList) {
    // A track whose width comes from its first group's lead pan: both groups' pans.
    StripRow stereo = readPanners(0x261B, 0, 7, 6);
    EXPECT_EQ(slots(stereo), "5 stereo -6 -100/100 trim 30 points 0");
    EXPECT_TRUE(stereo.hasPannerExtraLane);
    EXPECT_EQ(stereo.pannerExtraLane.initial, 7);
    ASSERT_EQ(stereo.surroundLanes[0].size(), 7u);
    EXPECT_EQ(stereo.surroundLanes[0][0].initial, -100);
    EXPECT_EQ(stereo.surroundLanes[0][6].initial, 6);
    EXPECT_TRUE(stereo.surroundLanes[1].empty());  // six lanes are no surround panner

    // The byte behind the first child says two pans: no group lane is taken.
    StripRow wide = readPanners(0x261B, 2, 7, 6);
    EXPECT_EQ(wide.controlSlots, 3);
    EXPECT_EQ(wide.panLane.initial, 30);

    // A master fader takes no pan group, nor the last ungrouped lane.
    StripRow master = readPanners(0x261D, 0, 9, 6);
    EXPECT_EQ(master.controlSlots, 2);
    ASSERT_EQ(master.surroundLanes[0].size(), 7u);
    EXPECT_EQ(master.surroundLanes[0][6].initial, 6);
}

TEST(AutomationLanes, MidiTrackStates) {
    ImageBuilder m;
    std::vector<SessionTrack> tracks;
    // kind, name, the muted word (-1: no 0x2036 block), the lane's point value (-1: no lane)
    const struct {
        uint16_t kind;
        const char* name;
        int muted;
        int16_t value;
    } rows[] = {{0x2620, "Muted", 1, 1}, {0x2620, "Other", 0, 5}, {0x2621, "Instrument", 1, 1}, {0x2620, "Bare", -1, -1}};
    for (const auto& row : rows) {
        SessionTrack t;
        t.kind = row.kind;
        t.name = "stored";
        t.currentName = row.name;
        t.blockStart = m.position();
        m.openBlock(row.kind);
        m.openBlock(0x2611);
        if (row.muted >= 0) {
            m.openBlock(0x2036);
            m.zeros(4);
            m.u32(static_cast<uint32_t>(row.muted));  // +13
            m.closeBlock();
        }
        if (row.value >= 0) lane(m, {0, {{10, row.value}}});
        m.closeBlock();
        m.closeBlock();
        t.blockEnd = m.position();
        tracks.push_back(t);
    }
    const SessionImage midi = imageOf(m);
    std::map<std::string, MidiTrackState> states = readMidiTrackStates(midi, tracks);
    ASSERT_EQ(states.size(), 2u);  // not the instrument track, nor the track with nothing
    EXPECT_EQ(states["Muted"].muted, 1);
    EXPECT_EQ(states["Muted"].hasMuteLane, 1);
    EXPECT_EQ(states["Muted"].otherLanes, 0);
    EXPECT_EQ(states["Muted"].muteLane.points.size(), 1u);
    EXPECT_EQ(states["Other"].muted, 0);
    EXPECT_EQ(states["Other"].hasMuteLane, 0);
    EXPECT_EQ(states["Other"].otherLanes, 1);
}
