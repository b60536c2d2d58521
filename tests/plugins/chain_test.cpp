// Plug-in state carried into FX chains: each form of stored state, built into
// a record, comes out of the chain as the bytes its REAPER build takes; the
// slots, outcomes and notes of whole runs; the studio sessions' inserts.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "driver/run_state.h"
#include "plugins/chain_writer.h"
#include "plugins/table.h"
#include "project/text.h"
#include "standins/slot_reading.h"
#include "support/image_builder.h"
#include "support/run_capture.h"
#include "support/session_builder.h"

namespace {

using Bytes = std::vector<uint8_t>;

// Bytes laid out by hand: texts, little- and big-endian words, floats, zeros.
struct Pack {
    Bytes b;
    Pack& text(const std::string& t) { b.insert(b.end(), t.begin(), t.end()); return *this; }
    Pack& le(uint32_t w) { for (int k = 0; k < 4; ++k) b.push_back(uint8_t(w >> 8 * k)); return *this; }
    Pack& be(uint32_t w) { for (int k = 3; k >= 0; --k) b.push_back(uint8_t(w >> 8 * k)); return *this; }
    Pack& f(float v) { uint32_t w; std::memcpy(&w, &v, 4); return le(w); }
    Pack& zeros(size_t n) { b.insert(b.end(), n, 0); return *this; }
    Pack& bytes(const Bytes& more) { b.insert(b.end(), more.begin(), more.end()); return *this; }
};

const char kVst3[] = "1{00112233445566778899AABBCCDDEEFF}";
const char kVst2[] = "1<00112233445566778899AABBCCDDEEFF>";

PluginRow rowOf(const std::string& key, const std::string& identity, const std::string& program = "") {
    PluginRow row;
    row.signature = key;
    row.name = "Test";
    row.display = std::string(identity.find('{') != std::string::npos ? "VST3" : "VST") + ": Test (Maker)";
    row.file = "test.dll";
    row.identity = identity;
    row.program = program;
    return row;
}

// An insert's record: head stands for its bytes 10 to 24 (zeros when not given).
struct Record {
    std::string signature;
    Bytes body;
    Bytes head = Bytes(15, 0);
};

// The chain of inserts whose records hold a body behind their signature.
std::string chainOf(RunState& state, const std::vector<Record>& records, const PluginRow& row, ChainPlace place = {}) {
    ImageBuilder b;
    for (const auto& [signature, body, head] : records) {
        b.openBlock(0x1038);
        b.u8(1);
        b.bytes(head);
        b.text(signature);
        b.bytes(body);
        b.closeBlock();
        b.u8(1);
        b.u8(0);
        b.block(0x2614, {0, 0, 0, 0});
    }
    static Bytes image;
    image = b.image();
    state.image = makeSessionImage(ImageView{image.data(), image.size()});
    state.model.plugins = readPluginInstances(state.image);
    state.pluginRun.tables.learned = {row};
    std::string text;
    ProjectText project(text, 1);
    place.trackName = "Vox";
    writeFxChain(state, project, state.model.plugins, place);
    return text;
}

// The state REAPER reads: a CLAP's <STATE lines, or a <VST block's data behind its header.
Bytes stateOf(const std::string& chain) {
    const bool clap = chain.find("<STATE\n") != std::string::npos;
    size_t at = chain.find('\n', chain.find(clap ? "<STATE\n" : "<VST ")) + 1;
    Bytes all;
    while (chain[chain.find_first_not_of(' ', at)] != '>') {
        const size_t end = chain.find('\n', at);
        const Bytes line = base64Decode(chain.substr(at, end - at));
        all.insert(all.end(), line.begin(), line.end());
        at = end + 1;
    }
    if (clap) return all;
    auto word = [&](size_t k) { return uint32_t(all[k]) | uint32_t(all[k + 1]) << 8 | uint32_t(all[k + 2]) << 16 | uint32_t(all[k + 3]) << 24; };
    size_t head = 8;
    head += 4 + 8 * size_t(word(head));
    head += 4 + 8 * size_t(word(head));
    return Bytes(all.begin() + long(head) + 12, all.begin() + long(head) + 12 + word(head));
}

Bytes juceTail() {
    return Pack().text("JUCEPrivateData").zeros(1).bytes({1, 1}).text("Bypass").zeros(1).bytes({1, 1, 3, 0, 0x1D})
        .zeros(7).text("JUCEPrivateData").b;
}

}  // namespace

TEST(StateForms, EachFormComesOutAsItsBuildTakesIt) {
    const std::string xml = "<?xml version=\"1.0\"?><Program name=\"a\">x</Program>";
    std::string bank = "<?xml version=\"1.0\"?><Bank><Program name=\"a\">x</Program>";
    for (int k = 0; k < 99; ++k) bank += "<Program />";
    const std::string waves = "<PresetChunkXMLTree><PluginSubComp>ABCD</PluginSubComp><ActiveSetup>SETUP_B</ActiveSetup>"
                              "</PresetChunkXMLTree>";
    const uint32_t w = static_cast<uint32_t>(waves.size());
    const Bytes zlibEmpty = {0x78, 0x9C, 0x03, 0x00, 0x00, 0x00, 0x00, 0x01};
    const Bytes fortyEight(48, 'k');
    const std::string archive = "22 serialization::archive" + std::string(39, '.');
    const std::string warm = "<Parameters><AntrWarm a=\"1\"><PARAM id=\"sld1\" value=\"0.5\"/></Parameters>";
    const std::string warmed = "<Parameters><AntrWarm a=\"1\"><PARAM id=\"bypa\" value=\"0.0\"/><PARAM id=\"driv\" "
                               "value=\"0.5\"/><PARAM id=\"ingn\" value=\"0.0\"/><PARAM id=\"omni\" value=\"0.0\"/>"
                               "<PARAM id=\"outg\" value=\"0.0\"/><PARAM id=\"vlcr\" value=\"0.0\"/></AntrWarm>"
                               "</Parameters>";
    PluginRow flat = rowOf("FabFTst5", kVst2);
    flat.stateRule = 1;
    flat.flatCount = 3;
    flat.flatZeros = 4;
    PluginRow clap = rowOf("FabFTst5", "com.test.clap", "P");
    clap.display = "CLAP: Test (Maker)";
    const Bytes values = Pack().text("d_").zeros(2).be(0x3FE00000).be(0).text("d_").zeros(2).be(0x40000000).be(0).b;
    struct Case {
        const char* form;
        std::string signature;
        PluginRow row;
        Bytes body;
        Bytes expected;
        const char* detail;
        Bytes head = Bytes(15, 0);
    };
    // AAX chunks from byte 17 of the record: "elck" (its first word, then a
    // "d_" item of 0.5), and behind it chunks named "nam1" and "nam2".
    const Bytes elckHead = Pack().zeros(7).be(72).zeros(4).b;
    auto link = [](const std::string& name, const Bytes& data) {
        return Pack().be(uint32_t(56 + data.size())).zeros(4).text("Test").zeros(8).text(name).zeros(32).bytes(data).b;
    };
    const Bytes named = Pack().be(0x11111111).be(4).bytes({0, 'a', 0, 'b'}).text(std::string(28, 'q')).b;
    const Bytes multi = Pack().zeros(4).text("elck").zeros(32).zeros(4).text("d_").zeros(2).be(0x3FE00000).be(0)
                            .bytes(link("nam1", named)).bytes(link("nam2", named)).b;
    const Bytes oneChunkData = Pack().bytes({1}).text(std::string(31, 'q')).b;
    const Bytes oneChunk = Pack().zeros(4).text("elck").zeros(48).bytes(link("data", oneChunkData)).b;
    // Helix Native: "6SMC" behind a length word that closes the record (136 bytes
    // from "6SMC" on), and 36 bytes on the sections "DHSH", "LGSH" (4 bytes) and "APSH".
    auto section = [](const char* tag, const Bytes& data) {
        return Pack().text(tag).zeros(4).le(uint32_t(data.size())).le(0).zeros(8).bytes(data).b;
    };
    const Bytes sections = Pack().bytes(section("DHSH", {})).bytes(section("LGSH", {7, 'a', 'b', 'c'}))
                               .bytes(section("APSH", {})).b;
    Bytes carried = sections;
    carried[24 + 24] = 0;
    const Case cases[] = {
        {"1, VST3", "FabFTst1", rowOf("FabFTst1", kVst3),
         Pack().text("FFBS").le(1).le(2).f(0.5f).f(0.25f).text("tailFFEx").le(7).le(9).text("zz").b,
         Pack().le(32).le(1).text("FFBS").le(1).le(2).f(0.5f).f(0.25f).text("FFpr").le(1).le(0)
             .le(16).le(0).text("tailFFed").le(0).le(0).b, ""},
        {"2, VstW", "TestVC2x", rowOf("TestVC2x", kVst3),
         Pack().text("VC2!").le(20).text("ChunkVersion=\"1.2.3\"").zeros(1).b,
         Pack().le(236).le(1).text("VstW").be(8).be(1).be(0).text("CcnK").be(212).text("FBCh").be(2).text("VC2x")
             .be(66051).be(0).zeros(128).be(60).text("VC2!").le(20).text("ChunkVersion=\"1.2.3\"").zeros(17)
             .text("JUCEPrivateData").zeros(8).b, ""},
        {"2, Antares in JUCE", "AntrWarm", rowOf("AntrWarm", "1{565354564D723241564F58205448524F}"),
         Pack().text("VC2!").le(uint32_t(warm.size())).text(warm).zeros(1).b,
         Pack().le(uint32_t(warmed.size()) + 61).le(1).text("VC2!").le(uint32_t(warmed.size())).text(warmed).zeros(1)
             .bytes(juceTail()).le(0).le(0).b, ""},
        {"3, a program made a bank", "TestXmlP", rowOf("TestXmlP", kVst2), Pack().text(xml).zeros(2).b,
         Pack().text(bank + "</Bank>").zeros(1).b, ""},
        {"4", "TestHxmc", rowOf("TestHxmc", kVst2), Pack().text("HXMCpayload!").b, Pack().text("payload!").b, ""},
        {"5, FabFilter values", "FabFTst5", rowOf("FabFTst5", kVst3, "Default Setting"), values,
         Pack().le(51).le(1).text("FabF").le(2).le(15).text("Default Setting").le(0).le(2).f(0.5f).f(2.0f)
             .le(1).le(1).le(12).le(0).text("FFed").le(0).f(1.0f).b, ""},
        {"5, flat array", "FabFTst5", flat, values, Pack().le(16).le(1).zeros(4).f(0.5f).f(2.0f).f(0).le(0).le(0).b, ""},
        {"5, CLAP", "FabFTst5", clap, values,
         Pack().text("FFBS").le(1).le(2).f(0.5f).f(2.0f).text("Tst5").le(3).le(1).text("P").le(0xFFFFFFFF).le(1)
             .le(0).le(0).text("CuSV").le(1).le(0).b, ""},
        {"6", "TestMeta", rowOf("TestMeta", kVst3), Pack().text("/*@Meta x").b,
         Pack().le(33).le(1).le(29).text("#pgm=From Pro Tools\n/*@Meta x").le(33).le(0).le(29)
             .text("#pgm=From Pro Tools\n/*@Meta x").b, ""},
        {"7", "TestCntd", rowOf("TestCntd", kVst2), Pack().bytes({0x8D, 0x98, 0x85, 0}).le(0).le(4).text("abcd").b,
         Pack().le(16).bytes({0x8D, 0x98, 0x85, 0}).le(0).le(4).text("abcd").le(7).text("Default").b, ""},
        {"8", "TestZlib", rowOf("TestZlib", kVst3), Pack().le(5).le(6).le(12).le(64).bytes(zlibEmpty).b,
         Pack().le(24).le(1).le(5).le(6).le(12).le(64).bytes(zlibEmpty).le(24).le(0).le(5).le(6).le(12).le(64)
             .bytes(zlibEmpty).b, ""},
        {"8, a stream that does not inflate", "TestZlib", rowOf("TestZlib", kVst3),
         Pack().le(5).le(6).le(12).le(64).bytes({0x78, 0x9C, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}).b, {},
         "state unreadable"},
        {"9, Waves", "WaveShll", rowOf("WaveShllABCD", kVst3), Pack().be(w + 20).zeros(16).text("XPst" + waves).b,
         Pack().le(w + 62).le(1).be(w + 28).be(3).be(1).text("ABCDsetB").be(w).text("XPst" + waves)
             .text("<Bypass Version=\"1\" Bypass=\"0\" />\n").zeros(8).b, ""},
        {"10", "TestBrcd", rowOf("TestBrcd", kVst3), Pack().text("{\n\tindex = 1 }").b,
         Pack().le(14).le(1).text("{\n\tindex = 1 }").zeros(8).b, ""},
        {"11", "TestArch", rowOf("TestArch", kVst3), Pack().le(64).text(archive).le(0).text(archive.substr(0, 25)).b,
         Pack().le(64).le(1).text(archive).le(64).le(0).text(archive).b, ""},
        {"12, Kontakt", "NiInNi$D", *builtInRow("NiInNi$D"), Pack().le(88).le(0).le(1).text("hsin").bytes(fortyEight)
             .zeros(24).b, Pack().le(88).le(0).le(1).text("hsin").bytes(fortyEight).zeros(24).b, ""},
        {"13, a chunk its length word closes", "TestRiff", rowOf("TestRiff", kVst3),
         Pack().text("abcdefgh").le(40).text("RIFF0123456789abcdefghijklmnopqrstuvwxyz").b,
         Pack().le(40).le(1).text("RIFF0123456789abcdefghijklmnopqrstuvwxyz").le(0).le(0).b, ""},
        {"5, three AAX chunks", "TestMult", rowOf("TestMult", kVst3), multi,
         Pack().le(112).le(1).le(96).zeros(12).le(1).f(0.5f).le(40).bytes(named).le(40).bytes(named).le(0).le(0).b,
         "", elckHead},
        {"13, one AAX chunk behind elck, VST2", "TestOneC", rowOf("TestOneC", kVst2), oneChunk, oneChunkData, "",
         elckHead},
        {"13, one AAX chunk behind elck, VST3", "TestOneC", rowOf("TestOneC", kVst3), oneChunk, {},
         "tried: its settings ARE in the session, but how this build of the plug-in takes them is not known yet, and a "
         "wrong guess loads wrong settings silently - so nothing was guessed. Worth telling us about", elckHead},
        {"Line 6", "Lin66SAX", rowOf("Lin66SAX", kVst3), Pack().le(136).text("6SMC").zeros(32).bytes(sections).zeros(24).b,
         Pack().le(84).le(1).text("CMS6").le(76).bytes(carried).zeros(8).b, ""},
        {"Line 6 without its sections", "Lin66SAX", rowOf("Lin66SAX", kVst3), Pack().text("6SMC").zeros(20).b, {},
         "Pro Tools stored no transferable settings for it"},
        {"1, its count past the state", "FabFTst1", rowOf("FabFTst1", kVst3), Pack().text("FFBS").le(1).le(9).f(1).b,
         {}, "state unreadable"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.form);
        RunState state;
        const std::string chain = chainOf(state, {{c.signature, c.body, c.head}}, c.row);
        EXPECT_EQ(checkProjectText(chain, 1), std::nullopt) << chain;
        EXPECT_EQ(stateOf(chain), c.expected) << chain;
        ASSERT_EQ(state.pluginOutcomes.size(), 1u);
        EXPECT_EQ(state.pluginOutcomes[0].detail, c.detail);
        if (c.expected.empty()) {
            EXPECT_NE(chain.find("BYPASS 1 1 0\n"), std::string::npos);
            EXPECT_NE(chain.find("PRESETNAME \"** Pro Tools settings not transferred **\"\n"), std::string::npos);
        }
    }
    RunState state;
    EXPECT_NE(chainOf(state, {{"TestXmlP", Pack().text(xml).zeros(2).b}}, rowOf("TestXmlP", kVst2))
                  .find("    FLOATPOS 0 0 0 0\n    PRESETNAME \"Program 0\"\n    FXID "),
              std::string::npos);
}

// A plug-in keyed from the track's second key pair reads it on its inputs 3/4,
// and as the last slot before an AAX-only one passes the key channels by.
TEST(FxChains, KeyedPinsAndTheLastSlot) {
    RunState state;
    PluginRow row = rowOf("TestKeyd", kVst3);
    row.pinsIn = 4;
    state.analysis.routing.keyPairOf[20] = 1;  // the first record stands behind the image's 20-byte head
    ChainPlace place;
    place.pinFlags = true;
    const std::string chain = chainOf(state, {{"TestKeyd", {}}, {"Digi47e3", {}}}, row, place);
    EXPECT_EQ(checkProjectText(chain, 1), std::nullopt) << chain;
    const Bytes header = Pack().le(1).le(0xFEED5EEE).le(4).le(1).le(0).le(2).le(0).le(16).le(0).le(32).le(0)
                             .le(2).le(1).le(0).le(2).le(0).le(0).le(1).le(0).b;
    const size_t from = chain.find_first_not_of(' ', chain.find('\n', chain.find("<VST ")) + 1);
    EXPECT_EQ(base64Decode(chain.substr(from, chain.find('\n', from) - from)), header) << chain;
    EXPECT_NE(chain.find("    PINFLAGS 1\n    WAK 0 0\n    BYPASS 1 0 0\n    <VST \"VST3: EQ3 7-Band\""),
              std::string::npos) << chain;
    EXPECT_EQ(chain.find("PINFLAGS"), chain.rfind("PINFLAGS"));
}

// A fuzz finding: an EQ3 on the master was rebuilt with a track chain's six
// blanks of indent, a project REAPER reads wrongly. The master's slots take four.
TEST(FxChains, StandInInTheMastersChainTakesItsIndent) {
    std::vector<double> eq(38, 0.0);  // all out but LMF, -4 dB at 1 kHz
    eq[5] = eq[32] = eq[15] = 1, eq[16] = -4, eq[17] = 1000, eq[18] = 2;
    Pack body;
    for (double value : eq) {
        uint64_t bits;
        std::memcpy(&bits, &value, 8);
        body.text("d_").zeros(2).be(uint32_t(bits >> 32)).be(uint32_t(bits));
    }
    RunState state;
    ChainPlace place;
    place.blockName = "MASTERFXLIST";
    const std::string chain = chainOf(state, {{"Digi47e3", body.b}}, rowOf("TestKeyd", kVst3), place);
    EXPECT_EQ(checkProjectText(chain, 1), std::nullopt) << chain;
    EXPECT_NE(chain.find("\n    BYPASS 0 0 0\n    <VST \"VST: ReaEQ (Cockos)\""), std::string::npos) << chain;
}

// A Channel Strip whose "elck" controls are set by hand arrives as REAPER's own
// plug-ins in chain order, each on the next seed; without "Sc Source" it stays
// an AAX-only slot.
TEST(FxChains, ChannelStripArrivesAsItsStandInChain) {
    auto elck = [](const std::vector<std::pair<std::string, double>>& controls) {
        Pack data = Pack().zeros(4);
        for (const auto& [name, value] : controls) {
            const bool whole = name == "Sc Source";
            data.text((whole ? "l_" : "d_") + name).zeros(((name.size() + 6) & ~size_t(3)) - name.size() - 2);
            uint64_t bits;
            std::memcpy(&bits, &value, 8);
            if (whole) data.be(uint32_t(int32_t(value)));
            else data.be(uint32_t(bits >> 32)).be(uint32_t(bits));
        }
        Record record{"AVIDChSt", Pack().zeros(4).text("elck").zeros(32).bytes(data.b).b};
        const size_t link = 56 + data.b.size();  // the link's big-endian size, at byte 17
        record.head[9] = uint8_t(link >> 8), record.head[10] = uint8_t(link);
        return record;
    };
    const std::vector<std::pair<std::string, double>> controls = {
        {"Phase Switch In/Out", 1}, {"Input Trim", -3.5}, {"EQ Low Type", 1}, {"EQ Low Gain", 6},
        {"EQ Low Frequency", 100}, {"EQ Low-Mid Gain", -9}, {"EQ Low-Mid Frequency", 1000}, {"EQ Low-Mid Q", 2},
        {"EQ High-Mid In/Out", 0}, {"Filter 1 In/Out", 1}, {"Filter 1 Frequency", 80}, {"Filter 1 Slope 12/24dB", 1},
        {"Filter 2 Type", 1}, {"Dynamics On/Off", 0}, {"Exp Ratio", 20}, {"Exp Threshold", -50},
        {"Exp Attack Time", 0.002}, {"Exp Release Time", 0.1}, {"Exp Hold Time", 5}, {"Exp Depth", -40},
        {"Cmp Ratio", 4}, {"Cmp Threshold", -20}, {"Cmp Attack Time", 0.01}, {"Cmp Release Time", 6},
        {"Cmp Knee", 12}, {"Cmp Gain Makeup", 9}, {"Sc Filter Frequency", 200}, {"Sc Source", 1},
        {"Sc Detector Type Avg/Pk", 0}, {"Fader Volume", -2}, {"Process Order", 1}};
    RunState state;
    const std::string chain = chainOf(state, {elck(controls)}, rowOf("TestABCD", kVst3));
    const std::vector<ReadSlot> slots = readSlots(chain.substr(chain.find("BYPASS")));
    const char* kinds[] = {"StereoPhaseInvert", "utility/volume", "ReaEQ", "ReaEQ", "ReaGate", "ReaComp",
                           "utility/volume", "utility/volume"};
    const char* presets[] = {"polarity", "input trim -3.5 dB", "EQ", "Filters", "Exp/Gate 1:20", "Comp/Lim 4:1",
                             "makeup +9.0 dB", "fader -2.0 dB"};
    ASSERT_EQ(slots.size(), 8u) << chain;
    for (size_t k = 0; k < 8; ++k) {
        EXPECT_NE(slots[k].open.find(kinds[k]), std::string::npos) << slots[k].open;
        EXPECT_EQ(slots[k].preset, std::string("\"Channel Strip ") + presets[k] + "\"");
        EXPECT_EQ(slots[k].fxid, makeGuid(0x53540014 + uint32_t(k)));  // the record at byte 20
        EXPECT_EQ(slots[k].bypass, k >= 4 && k <= 6 ? "BYPASS 1 0 0" : "BYPASS 0 0 0");  // dynamics off
    }
    EXPECT_EQ(slots[1].parameters.rfind("-3.488024 150 -", 0), 0u);  // -3.5 dB * 6 / 6.0206
    // ReaEQ bands: type, enabled, frequency, gain factor, width. The shelf's
    // corner moved by atan(tan(pi 100 / 48000) 10^(6/40)); the bell's width in
    // octaves of Q 2 * 0.4044 * 0.9508 at 1 kHz; the high-pass a Butterworth
    // pair (Q 1/sqrt 2) in octaves at 80 Hz, twice for 24 dB/oct.
    const struct { size_t slot, band; uint32_t type, enabled; double frequency, gain, width; } bands[] = {
        {2, 0, 0, 1, 141.2517471, 1.9952623, 1.41421356}, {2, 1, 8, 1, 1000, 0.3548134, 1.7590445},
        {2, 2, 8, 0, 1000, 1, -1},                         {3, 0, 4, 1, 80, 1, 1.8999339},
        {3, 1, 4, 1, 80, 1, 1.8999339},                    {3, 2, 3, 0, 1000, 1, -1}};
    for (const auto& b : bands) {
        const std::vector<uint8_t>& eq = slots[b.slot].state;
        const size_t at = 8 + 33 * b.band;
        EXPECT_EQ(wordAt(eq, 4), b.slot == 2 ? 4u : 3u);
        EXPECT_EQ(wordAt(eq, at), b.type) << b.slot << b.band;
        EXPECT_EQ(wordAt(eq, at + 4), b.enabled);
        EXPECT_NEAR(doubleAt(eq, at + 8), b.frequency, 1e-6);
        EXPECT_NEAR(doubleAt(eq, at + 16), b.gain, 1e-6);
        if (b.width > 0) {
            EXPECT_NEAR(doubleAt(eq, at + 24), b.width, 1e-6);
        }
    }
    // Gate: threshold -50 dB, 2 ms / 500, 100 ms / 5000, hold 5 ms / 1000, the
    // 200 Hz side-chain high-pass / 20000, floor -40 dB, the average detector.
    // Compressor: -20 dB, (4 - 1) / 99, 10 ms / 500, 6 s held at 1, knee 12 / 24.
    const struct { size_t slot; int index; float value; } floats[] = {
        {4, 0, 0.0031623f}, {4, 1, 0.004f}, {4, 2, 0.02f}, {4, 4, 0.005f}, {4, 5, 1}, {4, 6, 0.01f}, {4, 7, 0},
        {4, 9, 0.01f}, {4, 10, 0.99f}, {4, 12, 1}, {4, 14, 0}, {5, 0, 0.1f}, {5, 1, 3.0f / 99}, {5, 2, 0.02f},
        {5, 3, 1}, {5, 7, 0.01f}, {5, 8, 0}, {5, 11, 1}, {5, 13, 0}, {5, 14, 0.5f}};
    for (const auto& f : floats) EXPECT_NEAR(floatAt(slots[f.slot].state, 8 + 4 * f.index), f.value, 1e-6) << f.slot << f.index;
    const std::string& detail = state.pluginOutcomes.at(0).detail;
    for (const char* note : {"expander at 1:10 or more written as a gate", "compressor time past ReaComp's range",
                             "side chain set to Key with no key input wired", "processing order other than EQ"})
        EXPECT_NE(detail.find(note), std::string::npos) << detail;
    EXPECT_EQ(detail.find("expander hold"), std::string::npos);  // a gate has its hold

    std::vector<std::pair<std::string, double>> unnamed = controls;
    unnamed.pop_back(), unnamed.erase(unnamed.end() - 3);  // no "Sc Source"
    RunState marker;
    const std::string kept = chainOf(marker, {elck(unnamed)}, rowOf("TestABCD", kVst3));
    EXPECT_NE(kept.find("<VST \"VST3: Channel Strip\""), std::string::npos) << kept;
    EXPECT_EQ(marker.pluginOutcomes.at(0).status, OutcomeStatus::aaxOnly);
}

// One track's inserts through whole runs: written with settings, bypassed,
// inactive, AAX-only, unknown, without settings; then the options that leave
// slots out or take them offline.
TEST(FxChains, SlotsOutcomesAndNotesOfWholeRuns) {
    const std::string folder = makeTempFolder("chains");
    writeFileText(folder + "/other.ini", "[vstcache]\nother.dll=0,99,Other (M)\n");
    writeFileText(folder + "/trellum-plugins.txt", "TestABCD | VST3: Abcd (Maker) | abcd.vst3 | 7{00112233445566778899AABBCCDDEEFF}\n");
    BuiltSession s;
    s.files = {{"v.wav", 48000}};
    s.clips = {{"v", 0, 0, 48000}};
    BuiltTrack vox;
    vox.name = "Vox";
    vox.playlists = {{"", false, {{0, 0}}}};
    const Bytes ffbs = Pack().text("FFBS").le(1).le(0).b;
    vox.plugins = {{"", -1, "TestABCD", 1, ffbs},      {"", -1, "TestABCD", 1, ffbs, true},
                   {"", -1, "TestABCD", 1, ffbs, false, true}, {"", -1, "Digi47e3"},
                   {"", -1, "ZzzzUnkn"},                {"", -1, "TestABCD"}};
    s.tracks = {vox};
    const std::string session = buildSession(s).writeFile(folder, "chains.ptx");
    const std::string abcd = "      <VST \"VST3: Abcd (Maker)\" \"abcd.vst3\" 0 \"\" 7{00112233445566778899AABBCCDDEEFF} \"\"\n";
    struct Run {
        int bypassMode;
        bool trimmed;  // --no-aax-slots --no-placeholders
        int missing;   // 1: REAPER's list names another plug-in only; 2: with --skip-missing-fx
        int slots;
        std::vector<std::string> texts;
    };
    const Run runs[] = {
        {0, false, 0, 5,
         {"      BYPASS 0 0 0\n" + abcd, "      BYPASS 1 0 0\n" + abcd, "      BYPASS 1 1 0\n" + abcd,
          "      BYPASS 1 0 0\n      <VST \"VST3: EQ3 7-Band\" \"\" 0 \"\" 3790509539{44696769343765337E4CA87BCF191431} \"\"\n",
          "      BYPASS 1 1 0\n" + abcd, "      PRESETNAME \"** Pro Tools settings not transferred **\"\n",
          "  1 plug-in(s) carried across bypassed\n", "  1 plug-in(s) were INACTIVE in Pro Tools, written offline\n",
          "  6 plug-in instances found, 3 written with their settings\n",
          "    1 cannot transfer - AAX only, no VST/VST3 version exists:\n      EQ3 7-Band               x1\n",
          "      1 empty slot(s) were left in place", "    1 not recognized:\n      ZzzzUnkn                 x1\n",
          "    1 placed OFFLINE - the plug-in is named but its\n"}},
        {1, false, 0, 5, {"      BYPASS 1 1 0\n" + abcd, "  1 of them written OFFLINE - no DSP, no RAM, one click to restore\n"}},
        {0, false, 1, 5,
         {"    4 written but NOT INSTALLED for REAPER on this machine:\n"
          "      VST3: Abcd (Maker)       needs VST3: Abcd (Maker)\n"}},
        {0, false, 2, 1,
         {"    4 NOT INSTALLED for REAPER on this machine and LEFT OUT (as asked):\n",
          "  6 plug-in instances found, 0 written with their settings\n"}},
        {2, true, 0, 1,
         {"  6 plug-in instances found, 1 written with their settings\n",
          "    1 skipped - Pro Tools stored no transferable state:\n      VST3: Abcd (Maker)       x1\n",
          "    2 left out - bypassed or inactive in Pro Tools (--skip-bypassed-fx)\n"}},
    };
    for (const Run& r : runs) {
        ConvertOptions options = optionsFor(session);
        options.programPath = folder + "/trellum";
        options.overwrite = true;
        options.bypassedFxMode = r.bypassMode;
        options.aaxSlots = options.placeholders = !r.trimmed;
        if (r.missing > 0) options.vstIniPath = folder + "/other.ini";
        options.skipMissingFx = r.missing == 2;
        const std::string corpus = makeTempFolder("corpus");
        options.corpusDir = corpus;
        const CapturedRun run = runConvert(options);
        ASSERT_EQ(run.code, 0) << run.console;
        const std::string project = readFileText(folder + "/chains.rpp");
        EXPECT_EQ(checkProjectText(project), std::nullopt);
        size_t slots = 0;
        for (size_t at = project.find("<VST "); at != std::string::npos; at = project.find("<VST ", at + 1)) ++slots;
        EXPECT_EQ(slots, size_t(r.slots)) << project;
        for (const std::string& text : r.texts) {
            EXPECT_NE((project + run.console).find(text), std::string::npos) << text << "\n" << project << run.console;
        }
        // The three records with a state are alike: the corpus holds them once.
        if (r.slots < 5) continue;
        const std::string index = readFileText(corpus + "/index.tsv");
        EXPECT_EQ(index.rfind("name\tsig\tproduct\tident\tkind\tblocklen\tdocoff\tdoclen\tchunklen\tsession\n", 0), 0u);
        EXPECT_EQ(std::count(index.begin(), index.end(), '\n'), 2) << index;
        EXPECT_NE(index.find("\tTestABCD\tVST3: Abcd (Maker)\t7{00112233445566778899AABBCCDDEEFF}\t1\t"),
                  std::string::npos) << index;
    }
}

// The studio sessions' inserts (their README counts them): each is a slot of a
// chain or named in a note; EQ3 and Dyn3 become REAPER's own plug-ins (the
// studio README's counts of them), the other AAX-only ones keep their places.
TEST(FxChains, EveryInsertOfTheStudioSessionsIsAccountedFor) {
    const std::string studio = std::string(TRELLUM_SHARED_DIR) + "/studio/";
    if (!fileExists(studio + "SinkDown.ptx")) GTEST_SKIP() << "no studio sessions";
    struct Case { const char* file; int found; int standIns; int aaxOnly; int unknown; };
    for (const Case& c : {Case{"Stayin' Alive", 30, 26, 0, 4}, Case{"SinkDown", 9, 3, 4, 2},
                          Case{"Vocal Comping Session", 6, 1, 5, 0}}) {
        const std::string folder = makeTempFolder("studio-chains");
        ConvertOptions options = optionsFor(studio + c.file + ".ptx");
        options.outputPath = folder + "/out.rpp";
        const CapturedRun run = runConvert(options);
        const std::string project = readFileText(folder + "/out.rpp");
        EXPECT_EQ(checkProjectText(project), std::nullopt) << c.file;
        int markers = 0;
        for (size_t at = project.find("no VST exists"); at != std::string::npos; at = project.find("no VST exists", at + 1)) ++markers;
        EXPECT_EQ(markers, c.aaxOnly) << c.file;
        int reaper = 0;
        for (size_t at = project.find("<VST \"VST: Rea"); at != std::string::npos; at = project.find("<VST \"VST: Rea", at + 1)) ++reaper;
        EXPECT_GE(reaper, c.standIns) << c.file;  // a keyed Dyn3 may take two slots
        EXPECT_NE(run.console.find(formatText("  %d plug-in instances found, %d written", c.found, c.standIns)),
                  std::string::npos);
        EXPECT_EQ(run.console.find(formatText("    %d cannot transfer - AAX only", c.aaxOnly)) != std::string::npos,
                  c.aaxOnly > 0);
        EXPECT_EQ(run.console.find(formatText("    %d not recognized", c.unknown)) != std::string::npos, c.unknown > 0);
    }
}
