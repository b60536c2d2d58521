// Plug-in automation lanes through whole runs: the tables beside the program,
// each way a lane is placed or not, the <PARMENV text, the notes, the report
// and the --want-params file; the project and console kept as golden files too.
#include <gtest/gtest.h>

#include "project/text.h"
#include "reporting/note_order.h"
#include "support/run_capture.h"
#include "support/session_builder.h"

TEST(ParameterLanes, PlacedWrittenCountedAndWanted) {
    const std::string folder = makeTempFolder("lanes");
    writeFileText(folder + "/trellum-plugins.txt", "TestABCD | VST3: Abcd (Maker) | abcd.vst3 | 7{00112233445566778899AABBCCDDEEFF}\n"
                                                   "FabFTest | VST3: Fab (Maker) | fab.vst3 | 8{00112233445566778899AABBCCDDEEFF}\n");
    // Two builds that agree on all but parameter 7; lines out of shape are passed over.
    const std::string v1 = "VST3: Abcd (Maker)\tv1\t", v2 = "VST3: Abcd (Maker)\tv2\t";
    writeFileText(folder + "/trellum-params.tsv", "plugin\tbuild\tnumber\tname\n" + v1 + "4\tCutoff\r\n" + v1 + "7\tMix\n" +
                  v1 + "9\tDrive\n" + v1 + "10\tDrive\tmore\n" + v1 + "12a\tLevel\n" + v1 + "0\n" + v1 + "1234567\tLevel\n");
    writeFileText(folder + "/trellum-params-local.tsv", v2 + "4\tCutoff\n" + v2 + "7\tWet\n" + v2 + "9\tDrive\n" + v2 + "10\tDrive\n");
    BuiltSession s;
    s.files = {{"v.wav", 48000}};
    s.clips = {{"v", 0, 0, 48000}};
    s.tempos = {{0, 120}, {480000, 60}};
    const std::vector<uint8_t> ffbs = {'F', 'F', 'B', 'S', 1, 0, 0, 0, 0, 0, 0, 0};
    BuiltPlugin placed{"", -1, "TestABCD", 1, ffbs}, offset{"", -1, "FabFTest", 1, ffbs}, noState{"", -1, "TestABCD"};
    placed.lanes = {
        {"Cutoff", 5, {{0, 0.25}, {48000, 1.2}}, "4"},           // its own number; 1.2 held to 1
        {"Resonance", 3, {{24000, 0.75}}, "012", false, 0.25},  // "012" is no number: ASSIGN at 2
        {"Gain", 1, {{-100, -0.5}}, "0"},                        // "0" is; time and value held to 0
        {"Filter: Cutoff", 30, {{0, 0.5}}, "77"},                // 77 is far off: by name, after the ": "
        {"Drive", 11, {{0, 0.5}}},                               // at both 10 and 9: not by the table
        {"Wet", 8, {{0, 0.5}}},                                  // the builds disagree on 7
        {"Level", 0, {{0, 0.5}}},                                // ASSIGN at -1: tallied, not written
        {"Global Bypass", 1, {{0, 1.0}}}, {"Quiet", 2, {}}};
    offset.lanes = {{"Freq", 12, {{960000, 0.5}}, "", true}, {"Q", 1, {{0, 0.5}}}};
    noState.lanes = {{"Cutoff", 5, {{0, 0.5}}, "4"}};
    std::vector<uint8_t> eq3;
    for (int k = 0; k < 38; ++k) eq3.insert(eq3.end(), {'d', '_', 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});
    BuiltPlugin standIn{"", -1, "Digi47e3", 1, eq3}, unknown{"", -1, "ZzzzUnkn"};
    standIn.lanes = {{"Gain", 3, {{0, 0.5}}}};
    unknown.lanes = {{"Gain", 3, {{0, 0.5}}}, {"Master Bypass", 1, {{0, 0.5}}}};
    s.tracks = {{"Vox", 0, 0, 0, false, {{"", false, {{0, 0}}}}, 1}};
    s.tracks[0].plugins = {placed, offset, standIn, noState, unknown};
    const ImageBuilder built = buildSession(s);
    ConvertOptions options = optionsFor(built.writeFile(folder, "lanes.ptx"));
    options.programPath = folder + "/trellum";
    options.wantParamsPath = folder + "/wanted.txt";
    options.overwrite = true;
    const CapturedRun run = runConvert(options);
    const std::string project = readFileText(folder + "/lanes.rpp");
    EXPECT_EQ(checkProjectText(project), std::nullopt);

    // Each block as written, its EGUID value left out.
    std::vector<std::string> blocks;
    for (size_t at = project.find("      <PARMENV"); at != std::string::npos; at = project.find("      <PARMENV", at + 1)) {
        std::string block = project.substr(at, project.find("      >\n", at) + 8 - at);
        blocks.push_back(block.replace(block.find("EGUID ") + 6, 38, "G"));
    }
    auto lane = [](const std::string& head, const char* act, const std::string& points) {
        return "      <PARMENV " + head + "\"\n        EGUID G\n        ACT " + act + " -1\n        VIS 1 1 1\n"
               "        LANEHEIGHT 0 0\n        ARM 0\n        DEFSHAPE 0 -1 -1\n" + points + "      >\n";
    };
    const std::string title = " / VST3: Abcd (Maker)", half = "        PT 0.0000000000 0.500000000 0\n";
    const std::vector<std::string> expected = {
        lane("4:4 0 1 0.5 \"Cutoff" + title, "1", "        PT 0.0000000000 0.250000000 0\n        PT 1.0000000000 1.000000000 0\n"),
        lane("2:2 0 1 0.5 \"ASSIGN: Resonance" + title, "0", "        PT 0 0.250000000 0\n        PT 0.5000000000 0.750000000 0\n"),
        lane("0:0 0 1 0.5 \"Gain" + title, "1", "        PT 0.0000000000 0.000000000 0\n"),
        lane("4:4 0 1 0.5 \"Filter: Cutoff" + title, "1", half),
        lane("10:10 0 1 0.5 \"ASSIGN: Drive" + title, "0", half),
        lane("7:7 0 1 0.5 \"ASSIGN: Wet" + title, "0", half),
        // Half a quarter note at 120 BPM and half at 60: 0.25 s and 0.5 s.
        lane("10:10 0 1 0.5 \"Freq / VST3: Fab (Maker)", "1", "        PT 0 0.500000000 0\n        PT 0.7500000000 0.500000000 0\n")};
    EXPECT_EQ(blocks, expected) << project;
    // The seed of the first: (recordStart << 4) ^ (5 * 0x9E3779B1), the record 25 bytes before its signature.
    const uint32_t record = static_cast<uint32_t>(std::string(built.image().begin(), built.image().end()).find("TestABCD") - 25);
    EXPECT_NE(project.find("EGUID " + makeGuid((record << 4) ^ (5u * 0x9E3779B1u)) + "\n"), std::string::npos);

    for (const std::string& note :
         {"  plug-in parameter names: 1 plug-in build(s) from " + folder + "/trellum-params.tsv\n",
          "  plug-in parameter names: 0 plug-in build(s) from " + folder + "/trellum-params-local.tsv\n",
          std::string("  5 plug-in parameter automation points\n      2 automated control(s) placed by the parameter"),
          std::string("      1 automated control(s) placed by matching their name in the\n"),
          std::string("  4 automation lane(s) written SWITCHED OFF, titled \"ASSIGN\": which\n"),
          std::string("      value the session saved: VST3: Abcd (Maker) (4).\n  2 automation lane(s) NOT carried on"),
          std::string("      automation moving them): VST3: Abcd (Maker) (1), ZzzzUnkn (1).\n"),
          std::string("      own stand-ins: each stand-in holds the value the session saved: EQ3 7-Band (1).\n"
                      "  2 plug-in bypass automation lane(s) NOT carried")}) {
        EXPECT_NE(run.console.find(note), std::string::npos) << note << run.console;
    }
    EXPECT_EQ(noteOrderFault(run.console), "");
    EXPECT_NE(run.result.reportText.find("     1 [settings] VST3: Abcd (Maker)          7 automation point(s)\n"),
              std::string::npos) << run.result.reportText;
    EXPECT_EQ(readFileText(folder + "/wanted.txt"), "VST3: Abcd (Maker)\nVST3: Fab (Maker)\n");
    for (auto [file, text] : {std::pair{"plugin-lanes.rpp", project}, std::pair{"plugin-lanes.console", run.console}}) {
        for (size_t at; (at = text.find(folder)) != std::string::npos;) text.replace(at, folder.size(), "SESSION");
        EXPECT_EQ(text, storedText(file, text));
    }

    // A --params file that can't be read is said, and the run goes on without tables.
    options.paramFiles = {folder + "/none.tsv"};
    EXPECT_NE(runConvert(options).console.find("  --params " + folder + "/none.tsv: nothing read\n"), std::string::npos);
    EXPECT_NE(readFileText(folder + "/lanes.rpp").find("ASSIGN: Filter: Cutoff"), std::string::npos);
}
