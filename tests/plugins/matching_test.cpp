// Matching: each rule on a small list that holds class ids and on the real list
// of a studio machine; the pass with its printed lines, Kontakt, the learned
// file, the find order; whole runs on built and real sessions.
#include <gtest/gtest.h>

#include "cli/console.h"
#include "plugins/identity.h"
#include "plugins/matching.h"
#include "session/plugin_records.h"
#include "support/image_builder.h"
#include "support/run_capture.h"
#include "support/session_builder.h"

namespace {

const std::string kReaper = std::string(TRELLUM_SHARED_DIR) + "/reaper/";

// Codes: "ABCD" is 1094861636 and its VST3 has the compat id; "EFGH" (1162233672) has a
// VST3 of the same file stem; "IJKL" ends a class id; "Makr" and "MNOP" stand inside one.
const char* const kList =
    "abcd.vst=0,1094861636,Abcd Plug (Maker)\n"
    "abcd.vst3=0,555{565354414243446162636420706C7567},Abcd Plug (Maker)\n"
    "Efgh Tool.vst=0,1162233672,Efgh Tool (Maker)\n"
    "Efgh_Tool.vst3<0123456789ABCDEF0123456789ABCDEF>=0,777,Efgh Tool (Maker)\n"
    "ijkl.vst3=0,888{000102030405060708090A0B494A4B4C},Ijkl (Maker)\n"
    "mnop.vst3=0,999{4D616B72004D4E4F5000000000000000},Mnop (Maker)\n"
    "uvwx.vst3=0,321,Uvwx (Maker)\n"
    "shell.vst3=0,654{5653545758595A776176657320746869},Waves Thing (Waves)\n"
    "xy.dll=0,42,Xy (M)\n";

PluginCache cacheIn(const std::string& folder, const std::string& list, const std::string& clap = "") {
    writeFileText(folder + "/reaper-vstplugins64.ini", list);
    if (!clap.empty()) writeFileText(folder + "/reaper-clap-linux-x86_64.ini", clap);
    return loadPluginCache(folder + "/reaper-vstplugins64.ini", "", "");
}

// The file of the entry found and the rule's label.
std::string found(const CacheIndex& index, const MatchResult& match) {
    return (match.index < 0 ? std::string("-") : (*index.entries)[static_cast<size_t>(match.index)].file) + " " +
           match.label;
}

PluginInstance instance(const std::string& signature, int32_t keyInput = -1) {
    PluginInstance i;
    i.signature = signature;
    i.keyInput = keyInput;
    return i;
}

// The pass, and what it printed.
std::string runPass(const std::vector<PluginInstance>& instances, const CacheIndex& index, bool preferVst3,
                    PluginTables& tables, MatchReport& report, const std::map<std::string, std::string>& names = {}) {
    std::string text;
    NullSink silence;
    PtxSink* previous = consoleSink();
    setConsoleSink(&silence);
    setConsoleCapture(&text);
    runMatchingPass(instances, names, index, {preferVst3, false}, nullptr, tables, report);
    setConsoleCapture(nullptr);
    setConsoleSink(previous);
    return text;
}

std::string line(const std::string& key, const std::string& display, const std::string& tag) {
    return "    " + key + " -> " + display + std::string(46 - std::min<size_t>(46, display.size()), ' ') + " [" + tag + "]\n";
}

}  // namespace

TEST(PluginMatch, EachRuleOnASmallListAndTheRealOne) {
    const PluginCache cache =
        cacheIn(makeTempFolder("match-rules"), kList, "[/clap/Qrst.clap]\ncom.maker.qrst=0|Qrst Synth (Maker)\n");
    const CacheIndex index = indexCache(cache.entries);
    const std::vector<std::tuple<std::string, std::string, bool, std::string>> cases = {
        {"TestABCD", "", true, "abcd.vst3 VST3 compat id (--prefer-vst3)"},
        {"TestABCD", "", false, "abcd.vst VST2 id"},
        {"TestEFGH", "", true, "Efgh_Tool.vst3 VST3 by filename stem (--prefer-vst3)"},
        {"TestEFGH", "", false, "Efgh Tool.vst VST2 id"},
        {"TestIJKL", "", true, "ijkl.vst3 VST3 class id ends in the AAX code"},
        {"MakrMNOP", "", true, "mnop.vst3 VST3 class id holds both AAX codes"},
        {"TestQRST", "", true, "- "},  // a CLAP entry is passed over by the code rules
        {"TestQRST", "Qrst Synth", true, "/clap/Qrst.clap name"},
        {"ZzzzZzzz", "Qrst", true, "/clap/Qrst.clap name (partial)"},
        {"ZzzzZzzz", "Xyz Big", true, "- "},  // "xy" is too short to stand in a name
    };
    for (const auto& [signature, name, preferVst3, expected] : cases) {
        EXPECT_EQ(found(index, matchPlugin(index, signature, name, preferVst3)), expected) << signature << name;
    }

    if (!fileExists(kReaper + "reaper-vstplugins64.ini")) GTEST_SKIP() << "no REAPER lists";
    const PluginCache real = loadPluginCache(kReaper + "reaper-vstplugins64.ini", "", "");
    const CacheIndex realIndex = indexCache(real.entries);
    // "FC2p" is 1178808944 and this list has no class ids; the iZotope rule looks for "ZnO7".
    EXPECT_EQ(found(realIndex, matchPlugin(realIndex, "FabFFC2p", "", true)), "FabFilter_Pro_C_2.vst VST2 id");
    EXPECT_EQ(found(realIndex, matchPlugin(realIndex, "iZtpZO70", "", true)), "iZotope_Ozone_7.vst iZotope code rule (VST2)");
    EXPECT_EQ(found(realIndex, matchPlugin(realIndex, "ZzzzZzzz", "Ozone 8 Dynamics", true)), "Ozone_8_Dynamics.vst name");
    EXPECT_EQ(found(realIndex, matchPlugin(realIndex, "ZzzzZzzz", "Maxim", true)),
              "iZotope_Ozone_7_Maximizer.vst name (partial)");
    // Brusfri has a VST2 and a VST3 of one maker: the VST3 is taken. Kontakt 5's
    // entries end in different output groups, which count as different makers.
    EXPECT_EQ(found(realIndex, matchStoredName(realIndex, "Brusfri")), "Brusfri.vst3 the name Pro Tools stores");
    EXPECT_EQ(matchStoredName(realIndex, "Kontakt 5").index, -1);
}

TEST(PluginMatch, PassPrintsWhatItMatched) {
    const PluginCache cache = cacheIn(makeTempFolder("match-pass"), kList);
    const CacheIndex index = indexCache(cache.entries);
    PluginInstance waves = instance("WavSShll");
    waves.stateForm = 9;
    waves.subComponent = "WXYZ";
    PluginInstance unreadable = instance("TestEFGH");
    unreadable.unreadable = true;
    PluginTables tables;
    MatchReport report;
    const std::string text = runPass({instance("TestABCD", 2), instance("TestUVWX"), waves, instance("Digi47e3"),
                                      unreadable, instance("TestABCD")},
                                     index, true, tables, report, {{"TestUVWX", "Uvwx"}, {"Digi47e3", "EQ3 7-Band"}});
    EXPECT_EQ(text, line("TestABCD", "VST3: Abcd Plug (Maker)", "VST3 compat id (--prefer-vst3)") +
                        line("TestUVWX", "VST3: Uvwx (Maker)",
                             "the name Pro Tools stores, VST3 class id unknown - marker only") +
                        line("WavSShllWXYZ", "VST3: Waves Thing (Waves)", "Waves PluginSubComp"));
    const PluginRow* abcd = findRow(tables, "TestABCD");  // 4 pins in: a key input is wired
    EXPECT_EQ(abcd->identity + formatText(" %u %u %u", abcd->pinsIn, abcd->pinsOut, abcd->tailWord),
              "555{565354414243446162636420706C7567} 4 2 65535");
    EXPECT_FALSE(classKnown(tables, "TestUVWX"));
    EXPECT_EQ(findRow(tables, "Digi47e3"), nullptr);

    // --prefer-vst2: a FabFilter whose settings only its VST3 takes stays there.
    PluginTables vst2Tables;
    MatchReport vst2Report;
    EXPECT_EQ(runPass({instance("FabFABCD")}, index, false, vst2Tables, vst2Report),
              line("FabFABCD", "VST3: Abcd Plug (Maker)", "kept on VST3: its VST2 build cannot take these settings"));
    EXPECT_EQ(vst2Report.keptOnVst3.at(0).name, "FabFilter Abcd Plug");
    EXPECT_EQ(findRow(vst2Tables, "FabFABCD")->program, "Default Setting");
}

TEST(PluginMatch, KontaktLearnedRowsAndFindOrder) {
    const std::string k8 = "K8.vst3=0,11{0123456789ABCDEF0123456789ABCDEF},Kontakt 8 (Native Instruments) (64 out)!!!VSTi\n";
    const std::string k7 = "K7.vst3=0,12{5653544E694B376B6F6E74616B742037},Kontakt 7 (Native Instruments) (16 out)!!!VSTi\n";
    const std::string vst2 = "Kontakt.dll=0,1315513412,Kontakt (Native Instruments)!!!VSTi\n";
    const std::tuple<std::string, std::string, std::string, uint32_t> cases[] = {
        {k8, "VST3i: Kontakt 8 (Native Instruments) (64 out)", "predicted: written the way Kontakt 7 takes them", 64},
        {k8 + k7, "VST3i: Kontakt 7 (Native Instruments) (16 out)", "Kontakt 7 takes Kontakt 6's settings, measured", 16},
        {k8 + vst2, "VSTi: Kontakt (Native Instruments GmbH) (64 out)", "", 64},  // a VST2 Kontakt: the row stands
    };
    for (const auto& [list, display, tag, outputs] : cases) {
        const PluginCache cache = cacheIn(makeTempFolder("match-kontakt"), list);
        PluginTables tables;
        MatchReport report;
        const std::string text =
            runPass({instance("NiInNi$D"), instance("NiInNi$D")}, indexCache(cache.entries), true, tables, report);
        EXPECT_EQ(text, tag.empty() ? "" : line("NiInNi$D", display, tag));
        EXPECT_EQ(findRow(tables, "NiInNi$D")->display, display);
        EXPECT_EQ(findRow(tables, "NiInNi$D")->pinsOut, outputs);
        EXPECT_EQ(report.kontaktInstances, tag.empty() ? 0 : 2);
    }

    const std::string folder = makeTempFolder("match-learned");
    writeFileText(folder + "/trellum-plugins.txt",
                  "# learned by hand\nNiInNi$D | VST: Fake | fake.dll | 1<X>\n"
                  "FabFTEST|VST3: Pro-Something (FabFilter)|pro.vst3|123{ABC}|0|64|65535\r\n"
                  "short|x|y|z\nTestLRND |  | l.dll | 9<Y> | |\nTestNOID|VST: No|n.dll|\n");
    PluginTables tables;
    EXPECT_EQ(loadLearnedEntries(folder + "/trellum", tables), 3);
    EXPECT_EQ(findRow(tables, "NiInNi$D")->file, "Kontakt.vst");  // a table row with an identity wins
    const PluginRow* fab = findRow(tables, "FabFTEST");
    EXPECT_EQ(fab->program + formatText(" %u %u %u", fab->pinsIn, fab->pinsOut, fab->tailWord), "Default Setting 0 64 65535");
    const PluginRow* plain = findRow(tables, "TestLRND");
    EXPECT_EQ(plain->name + formatText(" %u %u %u", plain->pinsIn, plain->pinsOut, plain->tailWord), "TestLRND 2 2 0");
}

// Whole runs: a list beside a built session, matches printed while reading and
// the multi-mono insert told at the end; real sessions and the real list.
TEST(PluginMatch, WholeRuns) {
    BuiltSession s;
    s.tracks = {{"Vox", 0, 0, 0, false, {}, 1}};
    s.tracks[0].plugins = {{"Abcd", -1, "TestABCD"}, {"Pair", -1, "TestIJKL", 2}};
    const std::string folder = makeTempFolder("match-run");
    writeFileText(folder + "/reaper-vstplugins64.ini", kList);
    ConvertOptions options = optionsFor(buildSession(s).writeFile(folder, "session.ptx"));
    options.checkOnly = true;
    const CapturedRun run = runConvert(options);
    ASSERT_EQ(run.code, 0) << run.console;
    EXPECT_NE(run.console.find("  plug-in cache: 9 entries from " + folder + "/reaper-vstplugins64.ini\n" +
                               line("TestABCD", "VST3: Abcd Plug (Maker)", "VST3 compat id (--prefer-vst3)") +
                               line("TestIJKL", "VST3: Ijkl (Maker)", "VST3 class id ends in the AAX code") + "\n"),
              std::string::npos)
        << run.console;
    EXPECT_NE(run.console.find("  WARNING: 1 unlinked MULTI-MONO instance(s). Pro Tools stores a\n"), std::string::npos);
    EXPECT_NE(run.console.find("      these by hand:\n      Ijkl on Vox (2 channels)\n"), std::string::npos);

    const std::string shared = std::string(TRELLUM_SHARED_DIR) + "/";
    if (!fileExists(kReaper + "reaper-vstplugins64.ini") || !fileExists(shared + "studio/SinkDown.ptx")) {
        GTEST_SKIP() << "no real sessions or lists";
    }
    ConvertOptions list = optionsFor(shared + "sessions/2 stereo plus click.ptx");
    list.listOnly = true;
    EXPECT_NE(runConvert(list).console.find("     2  Click 1\n"
                                            "          1  Click II [Digiclik], maker Avid, 333 bytes, AAX only\n"),
              std::string::npos);
    // No insert of the studio sessions (Avid's and AIR's) has a build in this list.
    for (const char* name : {"SinkDown.ptx", "Stayin' Alive.ptx", "Vocal Comping Session.ptx"}) {
        ConvertOptions real = optionsFor(shared + "studio/" + name);
        real.checkOnly = true;
        real.vstIniPath = kReaper + "reaper-vstplugins64.ini";
        const std::string console = runConvert(real).console;
        EXPECT_NE(console.find("  plug-in cache: 1656 entries"), std::string::npos) << name;
        EXPECT_EQ(console.find(" -> VST"), std::string::npos) << name;
    }
}
