// The frame of plug-in instance records: name, signature, payload end, key
// input, bypass and active state, the strip each belongs to, and stored names.
#include <gtest/gtest.h>

#include "session/plugin_records.h"
#include "support/image_builder.h"

namespace {

// An instance record whose stated payload ends `statedPayload` bytes behind +17,
// with `tail` behind it inside the block.
void instance(ImageBuilder& b, const std::string& name, uint8_t channelSets, uint32_t statedPayload,
              const std::vector<uint8_t>& tail) {
    b.openBlock(0x1038);
    b.u8(channelSets);  // +9
    b.zeros(3);
    b.u32(statedPayload);  // +13
    b.zeros(8);
    b.text("EvTrCmpE");  // +25: signature
    b.text(name);        // +33
    b.zeros(statedPayload + 17 - 33 - name.size());
    b.bytes(tail);
    b.closeBlock();
}

}  // namespace

TEST(PluginRecords, FrameKeyBypassAndStrip) {
    ImageBuilder b;
    b.openBlock(0x261B);
    const uint64_t strip = b.position() + 2;
    b.zeros(8);
    instance(b, "Comp", 1, 40, {0, 0, 0});  // zeros behind the payload: it ends there
    b.u8(1);                                // active
    b.u8(1);                                // bypassed: the byte in front of the owner block
    b.openBlock(0x2614);
    b.u32(77);
    b.closeBlock();
    b.openBlock(0x260E);
    b.u16(5);  // its key input
    b.closeBlock();
    instance(b, "Gate", 2, 40, {0, 9, 0});  // a non-zero byte: the whole block is payload
    b.u8(0);                                // inactive
    b.openBlock(0x260E);
    b.u16(0xFFFF);  // no key input
    b.closeBlock();
    b.closeBlock();
    instance(b, "Loose", 1, 40, {});  // outside any track, the last bytes of the image
    // The session's table of names: "Channel Strip" for the codes "AvCS" "ChSt", stored back to front.
    b.openBlock(0x1017);
    b.u8(0);
    b.name("Channel Strip");
    b.text("SCvAtShC");
    b.zeros(12);
    b.closeBlock();
    const SessionImage image = makeSessionImage(ImageView{b.image().data(), b.image().size()});

    const std::vector<PluginInstance> plugins = readPluginInstances(image);
    ASSERT_EQ(plugins.size(), 3u);
    EXPECT_EQ(plugins[0].signature, "EvTrCmpE");
    EXPECT_EQ(plugins[0].pluginName, "Comp");
    EXPECT_EQ(plugins[0].payloadEnd, plugins[0].recordStart + 17 + 40);
    EXPECT_EQ(plugins[0].keyInput, 5);
    EXPECT_TRUE(plugins[0].bypassed);
    EXPECT_EQ(plugins[0].ownerWord, 77u);
    EXPECT_FALSE(plugins[0].inactive);
    EXPECT_EQ(plugins[1].channelSets, 2);
    EXPECT_EQ(plugins[1].payloadEnd, plugins[1].recordStart + 60);
    EXPECT_EQ(plugins[1].keyInput, -1);
    EXPECT_TRUE(plugins[1].inactive);
    EXPECT_FALSE(plugins[2].inactive);  // nothing behind it

    StripRow row;
    row.name = "Vox";
    row.present = 1;
    row.position = strip;
    const auto chains = bindInstancesToStrips(plugins, {row});
    ASSERT_EQ(chains.at("Vox").size(), 2u);
    EXPECT_EQ(chains.at("Vox")[1].pluginName, "Gate");

    const std::map<std::string, std::string> names = readStoredPluginNames(image);
    ASSERT_EQ(names.size(), 1u);
    EXPECT_EQ(names.begin()->first, "AvCSChSt");
    EXPECT_EQ(names.begin()->second, "Channel Strip");
}
