// I/O paths, key input names and hardware inserts on built images; the routing
// rows themselves run end to end in the golden runs.
#include <gtest/gtest.h>

#include "session/routing.h"
#include "support/image_builder.h"

namespace {

void path(ImageBuilder& b, const std::string& name, uint8_t kind, uint32_t channels, uint32_t id) {
    b.openBlock(0x1021);
    b.u8(kind);
    b.u8(0);
    b.name(name);
    b.u32(channels);
    for (uint32_t c = 0; c < channels; ++c) b.u16(static_cast<uint16_t>(c + 1));
    b.zeros(3);
    b.u32(0x2A);
    b.u32(1);
    b.u32(id);
    b.closeBlock();
}

}  // namespace

TEST(RoutingRecords, PathsKeyNamesAndHardwareInserts) {
    ImageBuilder b;
    path(b, "Bus 1-2", 2, 2, 7);
    path(b, "Bus 1-2", 2, 2, 7);    // stored twice: listed once
    path(b, "Wide", 2, 17, 8);      // seventeen channels: no path
    path(b, "Bus 1-2", 2, 2, 9);    // another id: a path of its own
    b.openBlock(0x260E);
    b.u16(3);
    b.zeros(2);
    b.name("Kick In");
    b.closeBlock();
    b.openBlock(0x260E);
    b.u16(0xFFFF);                  // no key input number
    b.name("Nothing");
    b.closeBlock();
    // A hardware insert on a track, and one outside any track without a name.
    b.openBlock(0x261B);
    b.openBlock(0x2619);
    b.name("Gtr");
    b.closeBlock();
    b.openBlock(0x2612);
    b.openBlock(0x260E);
    b.zeros(36);
    b.name("Outboard Comp");
    b.closeBlock();
    b.closeBlock();
    b.closeBlock();
    b.block(0x2612, std::vector<uint8_t>(8, 0));
    b.zeros(16);
    const SessionImage image = imageOf(b);

    const std::vector<BusRecord> paths = readPaths(image);
    ASSERT_EQ(paths.size(), 2u);
    EXPECT_EQ(paths[0].name, "Bus 1-2");
    EXPECT_EQ(paths[0].kind, kBusPath);
    EXPECT_EQ(paths[0].channels, (std::vector<int32_t>{1, 2}));
    EXPECT_EQ(paths[0].idHigh, 7u);
    EXPECT_EQ(paths[1].idHigh, 9u);

    const std::map<uint16_t, std::string> keys = readKeyInputNames(image);
    ASSERT_EQ(keys.count(3), 1u);
    EXPECT_EQ(keys.at(3), "Kick In");
    EXPECT_EQ(keys.count(0xFFFF), 0u);

    const std::vector<HardwareInsert> inserts = readHardwareInserts(image);
    ASSERT_EQ(inserts.size(), 2u);
    EXPECT_EQ(inserts[0].trackName, "Gtr");
    EXPECT_EQ(inserts[0].name, "Outboard Comp");
    EXPECT_EQ(inserts[1].trackName, "<unknown track>");
    EXPECT_EQ(inserts[1].name, "<unnamed>");
}
