// The frame of plug-in instance records: name, signature, payload end, key
// input, bypass and active state, the strip each belongs to, stored names,
// lanes, and records out of shape.
#include <gtest/gtest.h>

#include "driver/convert.h"
#include "plugins/preparation.h"
#include "session/plugin_records.h"
#include "session/session_model.h"
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
    const SessionImage image = imageOf(b);

    const std::vector<PluginInstance> plugins = readPluginInstances(image);
    // Signature, name, sets, payload length from the record's start, key, bypassed, owner word, inactive.
    std::vector<std::string> read;
    for (const PluginInstance& p : plugins)
        read.push_back(p.signature + " " + p.pluginName + " " + std::to_string(p.channelSets) + " " +
                       std::to_string(p.payloadEnd - p.recordStart) + " " + std::to_string(p.keyInput) + " " +
                       std::to_string(p.bypassed) + " " + std::to_string(p.ownerWord) + " " + std::to_string(p.inactive));
    // Loose has nothing behind it: active.
    EXPECT_EQ(read, (std::vector<std::string>{"EvTrCmpE Comp 1 57 5 1 77 0", "EvTrCmpE Gate 2 60 -1 0 0 1",
                                              "EvTrCmpE Loose 1 57 -1 0 0 0"}));

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

// Records and lanes out of shape: each is passed over or named, nothing else is lost.
TEST(PluginRecords, BrokenRecordsAndLanesLoseNothingElse) {
    ImageBuilder b;
    b.openBlock(0x261B);  // the track "Vox"
    const uint64_t strip = b.position() + 2;
    b.zeros(8);
    // A record whose size, 400, runs past the track block: named, not read.
    b.bytes({'Z', 0x01, 0x00, 0x90, 0x01, 0x00, 0x00, 0x38, 0x10});  // "Z", type 1, size 400, content 0x1038
    b.bytes({0x01, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});   // +9 one set, +13 stated payload 0
    b.text("TestBADR");                                              // +25 signature
    b.zeros(8);
    instance(b, "Good", 1, 40, {});  // a good record, inside the bad one's stated span
    b.u8(1);                         // active
    // A lane: one point, its id text claims 200 bytes (out of shape): kept, without an id.
    b.openBlock(0x260F);
    b.bytes({'Z', 0x01, 0x00, 0x2A, 0x00, 0x00, 0x00, 0x0B, 0x26});  // 0x260B, size 42: 49 bytes for 1 point
    b.zeros(16);
    b.bytes({0x01, 0x00});                                           // +25 one point
    b.zeros(8);                                                      // +27 in samples
    b.bytes({0x00, 0x00, 0x00, 0x40});                               // +35 start: 2^30 of 2^31, plus 0.5
    b.bytes({0xE0, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00});       // +39 at 480, value 0.5
    b.zeros(2);
    b.name("Gain");
    b.u32(3);      // its number
    b.zeros(8);
    b.u32(200);    // the id text's length
    b.closeBlock();
    // A lane whose point block is too short for the one point it claims: dropped.
    b.openBlock(0x260F);
    b.bytes({'Z', 0x01, 0x00, 0x14, 0x00, 0x00, 0x00, 0x0B, 0x26});  // size 20
    b.zeros(16);
    b.bytes({0x01, 0x00});
    b.name("Lost");
    b.closeBlock();
    b.closeBlock();
    b.zeros(400);
    // A record at the image's end without room for a signature: no record.
    b.bytes({'Z', 0x01, 0x00, 0x04, 0x00, 0x00, 0x00, 0x38, 0x10, 0x00, 0x00});  // size 4
    const SessionImage image = imageOf(b);

    SessionModel model;
    model.plugins = readPluginInstances(image);
    ASSERT_EQ(model.plugins.size(), 2u);
    EXPECT_EQ(model.plugins[0].signature, "TestBADR");
    EXPECT_TRUE(model.plugins[0].unreadable);
    const PluginInstance& good = model.plugins[1];
    EXPECT_FALSE(good.unreadable);
    EXPECT_EQ(good.pluginName, "Good");
    ASSERT_EQ(good.lanes.size(), 1u);
    const PluginLane& gain = good.lanes[0];
    EXPECT_EQ(gain.name + "|" + std::to_string(gain.number) + "|" + gain.idText + "|" + std::to_string(gain.inTicks),
              "Gain|3||0");
    EXPECT_DOUBLE_EQ(gain.startValue, 1.0);
    EXPECT_EQ(gain.points, (std::vector<std::pair<int32_t, double>>{{480, 0.5}}));

    model.strips.resize(1);
    model.strips[0].name = "Vox";
    model.strips[0].present = 1;
    model.strips[0].position = strip;
    model.pluginsOfStrip = bindInstancesToStrips(model.plugins, model.strips);
    ASSERT_EQ(model.pluginsOfStrip.at("Vox").size(), 1u);
    EXPECT_EQ(model.pluginsOfStrip.at("Vox")[0].pluginName, "Good");

    model.storedPluginNames = {{"TestBADR", "Bad Reverb"}};
    ConvertOptions options;
    options.programPath = "/nonexistent/trellum";
    options.sessionPath = "/nonexistent/session.ptx";
    PluginRun run;
    preparePlugins(options, model, nullptr, run);
    EXPECT_EQ(run.matches.unreadable, std::vector<std::string>{"Bad Reverb on Vox"});
}
