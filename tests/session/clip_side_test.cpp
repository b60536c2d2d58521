// The lists beside the clip list: clip gain curves and the curve each name
// plays with, clip groups, warp maps and pitch shifts.
#include <gtest/gtest.h>

#include "session/clip_gain.h"
#include "session/clip_groups.h"
#include "session/warp.h"
#include "support/image_builder.h"

namespace {

// A gain record: its size S, the point count it states, and the points, each
// a position and the bits of a float of dB.
void gainRecord(ImageBuilder& b, uint32_t size, uint32_t stated, const std::vector<uint32_t>& points) {
    b.bytes({1, 0x46, 1, 0});
    b.u32(size);
    b.u16(0);
    b.u32(stated);
    b.zeros(8);
    for (uint32_t value : points) b.u32(value);
}

// A name block whose curve number stands 27 bytes behind the mark, or 17
// behind the block a clip group keeps 10 bytes behind the mark.
void namedCurve(ImageBuilder& b, const std::string& name, uint32_t curve, bool groupForm = false) {
    b.openBlock(0x2628);
    b.name(name);
    b.bytes({0xFF, 0xFF, 4, 0, 4, 0, 0, 0, 0, 0});
    if (groupForm) b.block(0x2523, std::vector<uint8_t>(14, 0));
    b.zeros(17);
    b.u32(curve);
    b.u16(0);
    b.closeBlock();
}

}  // namespace

TEST(ClipSideLists, GainCurvesGroupsWarpMapsAndPitch) {
    ImageBuilder b;
    b.openBlock(0x2637);
    b.u32(4);
    gainRecord(b, 22, 1, {0, 0x40266666});                          // 2.6 dB
    gainRecord(b, 14, 0, {});                                       // no points: the point (0, 0)
    gainRecord(b, 30, 5, {48000, 0x42140000, 96000, 0xC0C00000});  // 37 dB reads 0, -6 dB; five stated
    gainRecord(b, 15, 0, {});                                       // S mod 8 is not 6: the list ends
    b.closeBlock();
    namedCurve(b, "A", 2);
    namedCurve(b, "G", 0, true);
    namedCurve(b, "C", 0xFFFFFFFF);
    b.block(0x2628, {1, 0, 0, 0, 'B', 1, 0, 0, 0});  // no mark: the block's last u32

    b.openBlock(0x262C);
    b.u32(2);
    b.openBlock(0x262B);
    b.openBlock(0x2628);
    b.name("Cue 1");
    b.threePoint(kPositionBias + 960000, 5, 0, 0, 96000, 5, 0, 0);
    b.closeBlock();
    b.closeBlock();
    b.block(0x262B, std::vector<uint8_t>(20, 0));  // no name block: a place-holder keeps the numbers
    b.closeBlock();

    // Clip "W": a warp map of four points, the third running back in time,
    // and behind its name block a pitch of -3 semitones and 50 cents.
    b.openBlock(0x2629);
    b.openBlock(0x2628);
    b.name("W");
    b.openBlock(0x2636);
    b.zeros(26);
    b.u16(4);
    b.zeros(14);
    for (const uint64_t ticks : {0, 960000, 480000, 1920000}) {
        for (int k = 0; k < 5; ++k) b.u8(static_cast<uint8_t>((kPositionBias + ticks) >> (8 * k)));
        b.zeros(3);
        b.u32(static_cast<uint32_t>(ticks / 20 + 48000));  // the source of the next point
    }
    b.closeBlock();
    b.closeBlock();
    b.zeros(14);
    b.u32(static_cast<uint32_t>(-3));
    b.u32(0x42480000);  // 50 cents
    b.u8(0);
    b.closeBlock();
    b.zeros(16);
    const SessionImage image = imageOf(b);

    const ClipGainList list = readClipGains(image);
    ASSERT_EQ(list.curves.size(), 3u);
    EXPECT_EQ(list.countDisagreements, 1);
    std::vector<std::pair<uint32_t, double>> points;
    for (const ClipGainCurve& curve : list.curves) {
        for (const ClipGainPoint& point : curve) points.emplace_back(point.position, point.gainDb);
    }
    EXPECT_EQ(points, (std::vector<std::pair<uint32_t, double>>{{0, 2.6}, {0, 0}, {48000, 0}, {96000, -6}}));
    const ClipGainsOfNames gains = bindClipGains(image, list.curves);
    EXPECT_EQ(gains.gainOfName, (std::map<std::string, double>{{"A", 0.0}, {"B", 0.0}, {"G", 2.6}}));
    EXPECT_TRUE(gains.curveOfName.size() == 1 && gains.curveOfName.count("A") && gains.curveOfName.at("A").size() == 2);

    const std::vector<ClipGroup> groups = readClipGroups(image);
    ASSERT_EQ(groups.size(), 2u);
    EXPECT_TRUE(groups[0].readable && groups[0].name == "Cue 1" && groups[0].length == 96000 &&
                groups[0].start == ticksAt(960000));
    EXPECT_FALSE(groups[1].readable);

    const WarpMaps maps = readWarpMaps(image);
    EXPECT_EQ(maps.crossing, 1);
    ASSERT_EQ(maps.mapOfName.count("W"), 1u);
    std::vector<std::pair<double, double>> warp;
    for (const WarpPoint& point : maps.mapOfName.at("W")) warp.emplace_back(point.timelineTicks, point.sourceSamples);
    EXPECT_EQ(warp, (std::vector<std::pair<double, double>>{{0, 0}, {960000, 48000}, {1920000, 72000}}));
    EXPECT_EQ(readPitchShifts(image), (std::map<std::string, double>{{"W", -2.5}}));
}
