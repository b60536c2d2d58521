// Plug-in automation lanes through whole runs: the tables beside the program,
// each way a lane is placed or not, the <PARMENV text, the notes, the report
// and the --want-params file.
#include <gtest/gtest.h>

#include "project/text.h"
#include "reporting/note_order.h"
#include "support/run_capture.h"
#include "support/session_builder.h"

namespace {

std::vector<uint8_t> bytesOf(const std::string& text) { return std::vector<uint8_t>(text.begin(), text.end()); }

// Each <PARMENV block of the project, its EGUID value left out.
std::vector<std::string> laneBlocks(const std::string& project) {
    std::vector<std::string> blocks;
    for (size_t at = project.find("      <PARMENV"); at != std::string::npos; at = project.find("      <PARMENV", at + 1)) {
        std::string block = project.substr(at, project.find("      >\n", at) + 8 - at);
        const size_t guid = block.find("EGUID ") + 6;
        blocks.push_back(block.replace(guid, block.find('\n', guid) - guid, "G"));
    }
    return blocks;
}

std::string laneBlock(const std::string& head, bool active, const std::string& points) {
    return "      <PARMENV " + head + "\n        EGUID G\n        ACT " + (active ? "1" : "0") +
           " -1\n        VIS 1 1 1\n        LANEHEIGHT 0 0\n        ARM 0\n        DEFSHAPE 0 -1 -1\n" + points +
           "      >\n";
}

}  // namespace

TEST(ParameterLanes, PlacedWrittenCountedAndWanted) {
    const std::string folder = makeTempFolder("lanes");
    writeFileText(folder + "/trellum-plugins.txt",
                  "TestABCD | VST3: Abcd (Maker) | abcd.vst3 | 7{00112233445566778899AABBCCDDEEFF}\n"
                  "FabFTest | VST3: Fab (Maker) | fab.vst3 | 8{00112233445566778899AABBCCDDEEFF}\n");
    // Two builds that agree on all but parameter 7; lines out of shape are passed over.
    const std::string abcd = "VST3: Abcd (Maker)\t";
    writeFileText(folder + "/trellum-params.tsv",
                  "plugin\tbuild\tnumber\tname\n" + abcd + "v1\t4\tCutoff\r\n" + abcd + "v1\t7\tMix\n" + abcd +
                      "v1\t9\tDrive\n" + abcd + "v1\t10\tDrive\tignored\n" + abcd + "v1\t12a\tLevel\n" + abcd +
                      "v1\t0\n" + abcd + "v1\t1234567\tLevel\n");
    writeFileText(folder + "/trellum-params-local.tsv",
                  abcd + "v2\t4\tCutoff\n" + abcd + "v2\t7\tWet\n" + abcd + "v2\t9\tDrive\n" + abcd + "v2\t10\tDrive\n");

    BuiltSession s;
    s.files = {{"v.wav", 48000}};
    s.clips = {{"v", 0, 0, 48000}};
    BuiltTrack vox;
    vox.name = "Vox";
    vox.playlists = {{"", false, {{0, 0}}}};
    const std::vector<uint8_t> ffbs = {'F', 'F', 'B', 'S', 1, 0, 0, 0, 0, 0, 0, 0};
    std::string eq3Values;
    for (int k = 0; k < 38; ++k) eq3Values += std::string("d_") + std::string(10, '\0');
    BuiltPlugin placed{"", -1, "TestABCD", 1, ffbs};
    placed.lanes = {
        {"Cutoff", 5, {{0, 0.25}, {48000, 1.2}}, "4"},           // its own number; 1.2 held to 1
        {"Resonance", 3, {{24000, 0.75}}, "012", false, 0.25},  // "012" is no number: ASSIGN at 2
        {"Gain", 1, {{-100, -0.5}}, "0"},                        // "0" is: 0; the time and value held to 0
        {"Filter: Cutoff", 30, {{0, 0.5}}, "77"},                // 77 is far off: by name, after the ": "
        {"Drive", 11, {{0, 0.5}}},                               // at both 10 and 9: not by the table
        {"Wet", 8, {{0, 0.5}}},                                  // the builds disagree on 7
        {"Level", 0, {{0, 0.5}}},                                // ASSIGN at -1: tallied, not written
        {"Global Bypass", 1, {{0, 1.0}}},
        {"Quiet", 2, {}},                                        // no points: no lane
    };
    BuiltPlugin offset{"", -1, "FabFTest", 1, ffbs};
    offset.lanes = {{"Freq", 12, {{960000, 0.5}}, "", true}, {"Q", 1, {{0, 0.5}}}};
    BuiltPlugin standIn{"", -1, "Digi47e3", 1, bytesOf(eq3Values)};
    standIn.lanes = {{"Gain", 3, {{0, 0.5}}}};
    BuiltPlugin noState{"", -1, "TestABCD"};
    noState.lanes = {{"Cutoff", 5, {{0, 0.5}}, "4"}};
    BuiltPlugin unknown{"", -1, "ZzzzUnkn"};
    unknown.lanes = {{"Gain", 3, {{0, 0.5}}}, {"Master Bypass", 1, {{0, 0.5}}}};
    vox.plugins = {placed, offset, standIn, noState, unknown};
    s.tracks = {vox};
    const ImageBuilder built = buildSession(s);
    const std::string session = built.writeFile(folder, "lanes.ptx");

    ConvertOptions options = optionsFor(session);
    options.programPath = folder + "/trellum";
    options.wantParamsPath = folder + "/wanted.txt";
    options.overwrite = true;
    const CapturedRun run = runConvert(options);
    ASSERT_EQ(run.code, 0) << run.console;
    const std::string project = readFileText(folder + "/lanes.rpp");
    EXPECT_EQ(checkProjectText(project), std::nullopt);
    const std::string abcdTitle = " / VST3: Abcd (Maker)\"";
    const std::vector<std::string> expected = {
        laneBlock("4:4 0 1 0.5 \"Cutoff" + abcdTitle, true,
                  "        PT 0.0000000000 0.250000000 0\n        PT 1.0000000000 1.000000000 0\n"),
        laneBlock("2:2 0 1 0.5 \"ASSIGN: Resonance" + abcdTitle, false,
                  "        PT 0 0.250000000 0\n        PT 0.5000000000 0.750000000 0\n"),
        laneBlock("0:0 0 1 0.5 \"Gain" + abcdTitle, true, "        PT 0.0000000000 0.000000000 0\n"),
        laneBlock("4:4 0 1 0.5 \"Filter: Cutoff" + abcdTitle, true, "        PT 0.0000000000 0.500000000 0\n"),
        laneBlock("10:10 0 1 0.5 \"ASSIGN: Drive" + abcdTitle, false, "        PT 0.0000000000 0.500000000 0\n"),
        laneBlock("7:7 0 1 0.5 \"ASSIGN: Wet" + abcdTitle, false, "        PT 0.0000000000 0.500000000 0\n"),
        // A quarter note at 120 BPM: half a second.
        laneBlock("10:10 0 1 0.5 \"Freq / VST3: Fab (Maker)\"", true,
                  "        PT 0 0.500000000 0\n        PT 0.5000000000 0.500000000 0\n"),
    };
    EXPECT_EQ(laneBlocks(project), expected) << project;
    // The first lane's GUID: seed (recordStart << 4) ^ (5 * 0x9E3779B1), the record
    // standing 25 bytes in front of its signature.
    const std::string image(built.image().begin(), built.image().end());
    const uint32_t recordStart = static_cast<uint32_t>(image.find("TestABCD") - 25);
    EXPECT_NE(project.find("EGUID " + makeGuid((recordStart << 4) ^ (5u * 0x9E3779B1u)) + "\n"), std::string::npos);

    for (const std::string& note : {
             "  plug-in parameter names: 1 plug-in build(s) from " + folder + "/trellum-params.tsv\n",
             "  plug-in parameter names: 0 plug-in build(s) from " + folder + "/trellum-params-local.tsv\n",
             std::string("  5 plug-in parameter automation points\n"),
             std::string("      2 automated control(s) placed by the parameter number the\n"),
             std::string("      1 automated control(s) placed by matching their name in the\n"),
             std::string("  4 automation lane(s) written SWITCHED OFF, titled \"ASSIGN\": which\n"),
             std::string("      value the session saved: VST3: Abcd (Maker) (4).\n"),
             std::string("  2 automation lane(s) NOT carried on plug-ins that arrive at their\n"),
             std::string("      automation moving them): VST3: Abcd (Maker) (1), ZzzzUnkn (1).\n"),
             std::string("  1 automation lane(s) NOT carried on Avid plug-ins written as REAPER's\n"
                         "      own stand-ins: each stand-in holds the value the session saved: EQ3 7-Band (1).\n"),
             std::string("  2 plug-in bypass automation lane(s) NOT carried -- the plug-in stays\n"),
         }) {
        EXPECT_NE(run.console.find(note), std::string::npos) << note << run.console;
    }
    EXPECT_EQ(noteOrderFault(run.console), "");
    EXPECT_NE(run.result.reportText.find("     1 [settings] VST3: Abcd (Maker)          7 automation point(s)\n"),
              std::string::npos)
        << run.result.reportText;
    EXPECT_EQ(readFileText(folder + "/wanted.txt"), "VST3: Abcd (Maker)\nVST3: Fab (Maker)\n");

    // A --params file that can't be read is said, and the run goes on without tables.
    options.paramFiles = {folder + "/none.tsv"};
    const CapturedRun unread = runConvert(options);
    EXPECT_EQ(unread.code, 0);
    EXPECT_NE(unread.console.find("  --params " + folder + "/none.tsv: nothing read\n"), std::string::npos);
    EXPECT_NE(readFileText(folder + "/lanes.rpp").find("ASSIGN: Filter: Cutoff"), std::string::npos);
}
