// Plug-in identity: identity texts and display names of real list lines, keys,
// maker groups and name keys, with values worked out by hand from the rules.
#include <gtest/gtest.h>

#include <cstdio>

#include "plugins/cache.h"
#include "plugins/identity.h"
#include "session/plugin_records.h"

TEST(PluginIdentity, IdentityAndDisplayOfListLines) {
    struct Case {
        std::string line, identity, display, shortName;
    } cases[] = {
        // "reeq" is 1919247729; "VST", the id, "reaeq" and four zero bytes.
        {"reaeq.vst.dylib=0064A3ED2DC8D601,1919247729,ReaEQ (Cockos)", "1919247729<56535472656571726561657100000000>",
         "VST: ReaEQ (Cockos)", "ReaEQ"},
        // A .vst3 file: braces. 2100885422 is 7D 38 F7 AE, "b-3 v" 62 2D 33 20 76.
        {"B_3_V.vst3=003855A18774D301,2100885422,B-3 V (Arturia)!!!VSTi", "2100885422{5653547D38F7AE622D33207600000000}",
         "VST3i: B-3 V (Arturia)", "B-3 V"},
        // The short name runs to the last " (": "kontakt (" are its first nine bytes.
        {"Kontakt.vst=80BEB91F53AFD401,1315513412,Kontakt (Native Instruments GmbH) (64 out)!!!VSTi",
         "1315513412<5653544E6924446B6F6E74616B742028>", "VSTi: Kontakt (Native Instruments GmbH) (64 out)",
         "Kontakt (Native Instruments GmbH)"},
        // A class id from the key keeps its case.
        {"Pro-Q 3.vst3<72c4db717A4D459AB97E51745D84B39D>=0,1,Pro-Q 3 (FabFilter)", "1{72c4db717A4D459AB97E51745D84B39D}",
         "VST3: Pro-Q 3 (FabFilter)", "Pro-Q 3"},
        {"[Surge XT.clap]\norg.surge-synth-team.surge-xt=1|Surge XT (Surge Synth Team)", "org.surge-synth-team.surge-xt",
         "CLAPi: Surge XT (Surge Synth Team)", "Surge XT"},
    };
    for (const Case& c : cases) {
        std::FILE* file = std::tmpfile();
        std::fputs(c.line.c_str(), file);
        std::rewind(file);
        const ListReading reading = c.line[0] == '[' ? readClapList(file) : readVstList(file);
        std::fclose(file);
        ASSERT_EQ(reading.entries.size(), 1u) << c.line;
        EXPECT_EQ(identityText(reading.entries[0]), c.identity) << c.line;
        EXPECT_EQ(displayName(reading.entries[0]), c.display) << c.line;
        EXPECT_EQ(reading.entries[0].shortName, c.shortName) << c.line;
    }
    // ReaSurroundPan ("rsr2", 1920168498) gives nine bytes of its name: "reasurrou".
    EXPECT_EQ(compatId(1920168498, "ReaSurroundPan"), "56535472737232726561737572726F75");
    EXPECT_EQ(hexToBytes("4a5"), (std::vector<uint8_t>{0x4A}));  // an odd last digit is dropped
}

TEST(PluginIdentity, KeysMakersAndNameKeys) {
    PluginInstance waves;
    waves.signature = "WavSShll";
    waves.stateForm = 9;
    waves.subComponent = "ABCD";
    EXPECT_EQ(signatureKey(waves), "WavSShllABCD");
    waves.subComponent = "ABC";  // any other length keeps 8 bytes
    EXPECT_EQ(signatureKey(waves), "WavSShll");
    for (const char* avid : {"Digi47e3", "AVIDChSt", "Avidmdl3", "BFD Drum", "TrLnXXXX"}) EXPECT_TRUE(isAvidFamily(avid));
    for (const char* other : {"WzooRevb", "digi47e3", "Dig"}) EXPECT_FALSE(isAvidFamily(other));
    EXPECT_EQ(stockName("Digidn3e"), "Dyn3 Expander/Gate");
    EXPECT_EQ(stockName("Digi47e3ABCD"), "");  // the whole key must match

    const std::pair<std::string, std::string> makers[] = {
        {"ReaEQ (Cockos)", "Cockos"},
        {"Kontakt (Native Instruments GmbH) (64 out)", "Native Instruments GmbH"},
        {"Insight (iZotope, Inc.) (6ch)", "iZotope, Inc."},
        {"H-Reverb Stereo/5.0 (Waves) (2->5ch)", "2->5ch"},  // digits, an arrow: not a channel group
        {"Synth (128)", "128"},
        {"Name ()", ""},
    };
    for (const auto& [display, maker] : makers) EXPECT_EQ(makerOfDisplay(display), maker) << display;
    EXPECT_EQ(withoutTrailingGroups("Kontakt (Native Instruments GmbH) (64 out)"), "Kontakt");
    EXPECT_EQ(withoutTrailingGroups("A (b) x"), "A (b) x");
    EXPECT_EQ(makerKey("X (Waves) (2->5ch)"), "25ch");
    EXPECT_EQ(makerKey("a) (b"), "");
    EXPECT_EQ(fileStemKey("C:\\VST\\FabFilter Pro-Q 3.vst3"), "fabfilterproq3");
    EXPECT_EQ(repairFileName("FabFilter_Pro_C_2__Mono_.vst", "FabFilter Pro-C 2 (Mono)"), "FabFilter Pro-C 2 (Mono).vst");
    EXPECT_EQ(repairFileName("_Hz_.dll", "(Hz)"), "(Hz).dll");  // the first character too
    EXPECT_EQ(repairFileName("Kontakt_5_16out.vst", "Kontakt 5"), "Kontakt_5_16out.vst");  // lengths differ
    EXPECT_EQ(reportName("  Pro-Q 3 / x\t "), "Pro-Q 3 - x-");
    EXPECT_EQ(reportName("\xC3\xA9\xC3\xA8"), "(unnamed)");
    EXPECT_EQ(reportName(std::string(70, 'a')), std::string(64, 'a'));

    // Worked out apart from the program by the same 32-bit arithmetic.
    EXPECT_EQ(fxGuid(63129), "{7C4F4A82-48FC-366E-0593-BC36BA9D1FEA}");
    EXPECT_EQ(aaxOnlyIdentity("Digi47e3"), "3790509539{44696769343765337E4CA87BCF191431}");
    EXPECT_EQ(aaxOnlyIdentity(""), "2166136261{B277E0FD8EBD7E44CDE54FFAC8865090}");
}
