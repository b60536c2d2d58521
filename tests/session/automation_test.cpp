// Automation lanes on built images: the lane record, which control a lane is
// by its place, the stereo pan test, and MIDI track mute lanes.
#include <gtest/gtest.h>

#include "session/automation.h"
#include "session/strips.h"
#include "support/image_builder.h"

namespace {

struct Lane {
    int16_t initial = 0;
    std::vector<std::pair<uint32_t, int16_t>> points;
    uint16_t statedCount = 0xFFFF;  // the count the block states; its points when left alone
};

void lane(ImageBuilder& b, const Lane& l) {
    b.openBlock(0x260A);
    b.zeros(16);
    b.u16(l.statedCount == 0xFFFF ? static_cast<uint16_t>(l.points.size()) : l.statedCount);  // +25
    b.zeros(5);   // +27: samples
    b.zeros(3);
    b.u16(static_cast<uint16_t>(l.initial));  // +35
    for (const auto& p : l.points) {
        b.u32(p.first);
        b.u16(static_cast<uint16_t>(p.second));
    }
    b.zeros(2);
    b.closeBlock();
}

// A track block with a row holder of the given lanes; gives the strip whose
// row lies inside it.
StripRow track(ImageBuilder& b, uint16_t kind, const std::vector<Lane>& lanes, int16_t groupOf = -1) {
    b.openBlock(kind);
    StripRow strip;
    strip.name = "T";
    strip.present = 1;
    strip.faderDb = -3;
    strip.position = b.position() + 10;
    b.zeros(4);
    b.openBlock(0x260D);
    for (size_t k = 0; k < lanes.size(); ++k) {
        if (static_cast<int16_t>(k) == groupOf) b.openBlock(0x260C);
        lane(b, lanes[k]);
        if (static_cast<int16_t>(k) == groupOf) b.closeBlock();
    }
    b.closeBlock();
    b.closeBlock();
    return strip;
}

StripRow readOne(uint16_t kind, const std::vector<Lane>& lanes) {
    ImageBuilder b;
    StripRow strip = track(b, kind, lanes);
    b.zeros(16);
    std::vector<StripRow> strips{strip};
    readStripLanes(makeSessionImage(ImageView{b.image().data(), b.image().size()}), strips);
    return strips[0];
}

}  // namespace

TEST(AutomationLanes, PlaceDecidesTheControl) {
    const Lane volume{-60, {{100, -20}}};
    const Lane flat{0, {}};
    const Lane trim{5, {{200, 30}}};

    StripRow four = readOne(0x261B, {volume, flat, {0, {{50, 40}}}, trim});
    EXPECT_EQ(four.controlSlots, 4);
    EXPECT_EQ(four.volumeLane.points.size(), 1u);
    EXPECT_EQ(four.volumeLane.points[0].second, -20);
    EXPECT_EQ(four.panLane.points.size(), 1u);
    EXPECT_EQ(four.trimLane.initial, 5);
    EXPECT_EQ(four.faderDb, -3);  // a volume lane with points leaves the fader as the row has it

    // Five lanes: the fourth is the right pan, the fifth the trim.
    StripRow five = readOne(0x261B, {flat, flat, {-100, {}}, {100, {}}, trim});
    EXPECT_TRUE(five.stereoLanes);
    EXPECT_EQ(five.trimLane.initial, 5);
    EXPECT_EQ(five.rightPanLane.initial, 100);
    EXPECT_EQ(five.faderDb, 0);  // the volume lane's resting value, with no points
    EXPECT_EQ(five.dualPanPoints, 0);

    // A stated count that overruns the block gives no points and keeps the resting value.
    StripRow overrun = readOne(0x261B, {{-120, {{1, 1}}, 9}});
    EXPECT_TRUE(overrun.volumeLane.points.empty());
    EXPECT_EQ(overrun.faderDb, -12);
}

TEST(AutomationLanes, StereoPansAtTheirDefaultsAreNoAutomation) {
    const Lane flat{0, {}};
    const Lane trim{0, {}};
    StripRow hard = readOne(0x261B, {flat, flat, {-100, {{10, -100}}}, {100, {{10, 100}}}, trim});
    EXPECT_TRUE(hard.panLane.points.empty());
    EXPECT_TRUE(hard.rightPanLane.points.empty());
    EXPECT_EQ(hard.dualPanPoints, 0);

    StripRow moved = readOne(0x261B, {flat, flat, {-100, {{10, -99}}}, {100, {{10, 100}}}, trim});
    EXPECT_EQ(moved.dualPanPoints, 2);
    EXPECT_TRUE(moved.panLane.points.empty());
    EXPECT_EQ(moved.dualPanLeftLane.points.size(), 1u);

    StripRow narrow = readOne(0x261B, {flat, flat, {-50, {}}, {50, {}}, trim});
    EXPECT_EQ(narrow.dualPanPoints, 2);
}

TEST(AutomationLanes, GroupsAndMidiMuteLanes) {
    // Lanes of one panner group: six give no surround lanes, seven do.
    ImageBuilder b;
    b.zeros(4);
    b.openBlock(0x260C);
    const size_t first = b.position();
    for (int k = 0; k < 7; ++k) lane(b, {static_cast<int16_t>(k), {}});
    b.closeBlock();
    const SessionImage image = makeSessionImage(ImageView{b.image().data(), b.image().size()});
    const LaneGroups groups = groupLanes(image, 0, b.position());
    ASSERT_EQ(groups.groups.size(), 1u);
    EXPECT_EQ(groups.groups[0].size(), 7u);
    EXPECT_EQ(groups.groups[0][0], first);
    EXPECT_TRUE(groups.ungrouped.empty());
    EXPECT_TRUE(groups.multiLane);

    // A MIDI track with a 0/1 lane has a mute lane; with a 0.5 step, other lanes.
    ImageBuilder m;
    std::vector<SessionTrack> tracks;
    for (int16_t value : {1, 5}) {
        SessionTrack t;
        t.kind = 0x2620;
        t.name = value == 1 ? "Muted" : "Other";
        t.blockStart = m.position();
        m.openBlock(0x2620);
        m.openBlock(0x2611);
        m.openBlock(0x2036);
        m.zeros(4);
        m.u32(value == 1 ? 1 : 0);  // +13: muted
        m.closeBlock();
        lane(m, {0, {{10, value == 1 ? int16_t(1) : int16_t(5)}}});
        m.closeBlock();
        m.closeBlock();
        t.blockEnd = m.position();
        tracks.push_back(t);
    }
    const SessionImage midi = makeSessionImage(ImageView{m.image().data(), m.image().size()});
    std::map<std::string, MidiTrackState> states = readMidiTrackStates(midi, tracks);
    EXPECT_EQ(states["Muted"].muted, 1);
    EXPECT_EQ(states["Muted"].hasMuteLane, 1);
    EXPECT_EQ(states["Muted"].muteLane.points.size(), 1u);
    EXPECT_EQ(states["Other"].muted, 0);
    EXPECT_EQ(states["Other"].hasMuteLane, 0);
    EXPECT_EQ(states["Other"].otherLanes, 1);
}
