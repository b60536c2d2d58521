// REAPER's plug-in lists: the real lists of a studio machine line by line, the
// grammar's edge cases, CLAP lists, the places searched, and broken files.
#include <gtest/gtest.h>

#include "plugins/cache.h"
#include "support/image_builder.h"
#include "support/run_capture.h"

namespace {

const std::string kReaper = std::string(TRELLUM_SHARED_DIR) + "/reaper/";

ListReading readListFile(const std::string& path) {
    std::FILE* file = std::fopen(path.c_str(), "rb");
    if (!file) return {};
    ListReading reading = readVstList(file);
    std::fclose(file);
    return reading;
}

// "file|display|class id|id", then " vst3" and " inst" for the flags.
std::string describe(const PluginCacheEntry& e) {
    return e.file + "|" + e.display + "|" + e.classId + "|" + std::to_string(e.vstId) + (e.isVst3 ? " vst3" : "") +
           (e.isInstrument ? " inst" : "");
}

}  // namespace

TEST(PluginCache, RealListsOfAStudioMachine) {
    if (!fileExists(kReaper + "reaper-vstplugins64.ini")) GTEST_SKIP() << "no REAPER lists";
    const PluginCache cache = loadPluginCache(kReaper + "reaper-vstplugins64.ini", "", "");
    // 1,665 lines: the section line, 5 files REAPER could not scan (no id), 2 shells of id 0.
    ASSERT_EQ(cache.entries.size(), 1656u);
    EXPECT_EQ(cache.linesNotUnderstood, 0);
    int instruments = 0;
    std::vector<std::string> seen;
    for (const PluginCacheEntry& e : cache.entries) {
        instruments += e.isInstrument;
        if (e.vstId == 1315513412 || e.vstId == 1016495808 || e.vstId == 1515140931) seen.push_back(describe(e));
    }
    EXPECT_EQ(instruments, 77);  // the lines ending in "!!!VSTi"
    EXPECT_EQ(seen, (std::vector<std::string>{
                        "iZotope_Ozone_7_Vintage_Compressor.vst|iZotope Ozone 7 Vintage Compres (iZotope, Inc.)||1515140931",
                        "Kontakt.vst|Kontakt (Native Instruments GmbH) (64 out)||1315513412 inst",
                        "WaveShell_VST3_9.6.vst3|C6 Stereo (Waves)||1016495808 vst3"}));  // the digits behind "<" go

    // REAPER's own plug-ins that the stand-ins write are installed; ReaSurroundPan ("rsr2") is not.
    for (const char* stock : {"1919247729<56535472656571726561657100000000>", "1919248244<56535472656774726561676174650000>",
                              "1919247213<5653547265636D726561636F6D700000>"}) {
        EXPECT_TRUE(isInstalled(cache, stock)) << stock;
    }
    EXPECT_FALSE(isInstalled(cache, "1920168498<56535472737232726561737572726F75>"));
    EXPECT_TRUE(isInstalled(PluginCache(), "1920168498<56535472737232726561737572726F75>"));  // no list: all count

    // The AU list has no line of the VST grammar and is passed over without a word.
    const ListReading au = readListFile(kReaper + "reaper-auplugins64.ini");
    EXPECT_EQ(au.entries.size() + au.notUnderstood, 0u);
}

TEST(PluginCache, LineGrammar) {
    const std::string folder = makeTempFolder("cache-grammar");
    writeFileText(folder + "/list.ini",
                  "; comment\n[vstcache]\nzero.dll=0,0,Zero (X)\n"
                  "inst.vst3=0,1234{0123456789abcdefABCDEF0123456789}},Synth (Maker)!!!VSTi\r\n"
                  "key.vst3<0123456789ABCDEF0123456789ABCDEF>=0,5,Keyed (M)\n"
                  "two.vst3<12>=0,6,Two (M)\n"
                  "tail.dll<123=0,7,Tail (M)\n"
                  "long.vst3=0,8{0123456789ABCDEF0123456789ABCDEF0},Long (M)\n"
                  "comma.dll=0,9,Name, With Comma (M)\n"
                  "both.vst3<AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA>=0,10{BBBBBBBBBBBBBBBBBBBBBBBBBBBBBBBB},Both (M)\n");
    std::vector<std::string> got;
    for (const PluginCacheEntry& e : readListFile(folder + "/list.ini").entries) got.push_back(describe(e));
    EXPECT_EQ(got, (std::vector<std::string>{
                       "inst.vst3|Synth (Maker)|0123456789abcdefABCDEF0123456789|1234 vst3 inst",
                       "key.vst3|Keyed (M)|0123456789ABCDEF0123456789ABCDEF|5 vst3",
                       "two.vst3|Two (M)|12|6 vst3",  // taken from the key; later rules pass it over
                       "tail.dll|Tail (M)||7",
                       "long.vst3|Long (M)||8 vst3",  // 33 digits are no class id
                       "comma.dll|Name, With Comma (M)||9",
                       "both.vst3|Both (M)|AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA|10 vst3"}));
}

TEST(PluginCache, PlacesSearchedAndClapListBeside) {
    const std::vector<std::string> places = cacheCandidates("my.ini", "/s/x.ptx", "/p/trellum", "/A", nullptr);
    ASSERT_EQ(places.size(), 25u);
    EXPECT_EQ(std::vector<std::string>(places.begin(), places.begin() + 8),
              (std::vector<std::string>{"my.ini", "/s/reaper-vstplugins_arm64.ini", "/p/reaper-vstplugins_arm64.ini",
                                        "./reaper-vstplugins_arm64.ini", "/A/REAPER/reaper-vstplugins_arm64.ini",
                                        "/A/Library/Application Support/REAPER/reaper-vstplugins_arm64.ini",
                                        "/A/.config/REAPER/reaper-vstplugins_arm64.ini",
                                        "/s/reaper-vstplugins_aarch64.ini"}));
    // A session at the root has an empty folder: that place is skipped.
    EXPECT_EQ(cacheCandidates("", "/x.ptx", "trellum", nullptr, nullptr).size(), 8u);

    const std::string folder = makeTempFolder("cache-places");
    writeFileText(folder + "/reaper-vstplugins64.ini", "[vstcache]\nbeside.dll=0,1,Beside (M)\n");
    writeFileText(folder + "/comments.ini", "; only comments\n");
    writeFileText(folder + "/given.ini", "given.dll=0,2,Given (M)\n");
    writeFileText(folder + "/reaper-clap-linux-x86_64.ini",
                  "[/clap/Surge XT.clap]\n_=0067D1B8A2E8D801\norg.surge=1|Surge XT (Surge)\nbad\n");
    const std::string session = folder + "/song.ptx";
    const PluginCache passedOver = loadPluginCache(folder + "/comments.ini", session, "/nonexistent/trellum");
    EXPECT_EQ(passedOver.path, folder + "/reaper-vstplugins64.ini");
    ASSERT_EQ(passedOver.entries.size(), 2u);
    const PluginCacheEntry& clap = passedOver.entries[1];
    EXPECT_EQ(clap.file + "|" + clap.clapId + "|" + clap.display, "/clap/Surge XT.clap|org.surge|Surge XT (Surge)");
    EXPECT_TRUE(clap.isClap && clap.isInstrument);
    EXPECT_EQ(passedOver.linesNotUnderstood, 1);  // "bad"
    EXPECT_EQ(loadPluginCache(folder + "/given.ini", session, "/nonexistent/trellum").path, folder + "/given.ini");
}

// Broken lists: each bad line is counted, the good ones around it are kept.
TEST(PluginCache, BrokenListsAreReadAsFarAsTheyMakeSense) {
    const std::string folder = makeTempFolder("cache-broken");
    writeFileText(folder + "/broken.ini",
                  "good.dll=0,1,Good (M)\n" + std::string("\x01\x02junk=\x7F,1,x\n", 13) +  // binary bytes
                      "no equals sign here\n"
                      "noname.dll=0,1234,\n"                                     // an id but no name
                      "word.dll=0,abc,Name (M)\n"                                // no number
                      "long.dll=0,3," + std::string(5000, 'x') + "\n" +          // 4095 bytes, then a rest
                      "dup.dll=0,4,Dup (M)\ndup.dll=0,4,Dup (M)\n" +             // duplicates kept, in order
                      std::string("zero\0byte.dll=0,5,Zero (M)\n", 27));         // a NUL
    const ListReading reading = readListFile(folder + "/broken.ini");
    ASSERT_EQ(reading.entries.size(), 4u);
    EXPECT_EQ(reading.entries[1].display.size(), 4095u - 13u);
    EXPECT_EQ(reading.entries[2].file + reading.entries[3].file, "dup.dlldup.dll");
    EXPECT_EQ(reading.notUnderstood, 6);

    // A list longer than any REAPER writes: read up to the limit, the rest counted.
    std::string longList;
    for (size_t k = 0; k < kMostCacheEntries + 2; ++k) longList += "p" + std::to_string(k) + ".dll=0,1,P\n";
    writeFileText(folder + "/long.ini", longList);
    const ListReading capped = readListFile(folder + "/long.ini");
    EXPECT_EQ(capped.entries.size(), kMostCacheEntries);
    EXPECT_EQ(capped.pastLimit, 2);
}
