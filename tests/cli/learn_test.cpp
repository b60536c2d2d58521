// --learn with chain files laid out as REAPER saves them: the line it appends,
// what it refuses, and the next conversion's table finding the plug-in.
#include <gtest/gtest.h>

#include "cli/console.h"
#include "cli/learn.h"
#include "plugins/table.h"
#include "project/text.h"
#include "support/image_builder.h"
#include "support/run_capture.h"

namespace {

// "BYPASS", the <VST line, the header words as one base64 line, the state as another, and the lines behind.
std::string chainText(const std::string& vstLine, const std::vector<uint32_t>& header, const std::string& state) {
    std::string bytes;
    for (uint32_t word : header) {
        for (int shift = 0; shift < 32; shift += 8) bytes += static_cast<char>((word >> shift) & 0xFF);
    }
    return "BYPASS 0 0 0\n" + vstLine + "\n  " + base64(bytes) + "\n  " + base64(state) +
           "\n>\nPRESETNAME \"Default\"\nFLOATPOS 0 0 0 0\nFXID {3F2504E0-4F89-11D3-9A0C-0305E82C3301}\nWAK 0 0\n";
}

}  // namespace

TEST(Learn, ChainsAsReaperWritesThem) {
    const std::string folder = makeTempFolder("learn");
    const std::string program = folder + "/trellum";
    writeFileText(folder + "/trellum-plugins.txt", "# by hand\nAbCdEfGh | VST: Kept | kept.dll | 1<00>");
    const std::string proQ = "<VST \"VST3: Pro-Q 3 (FabFilter)\" \"FabFilter Pro-Q 3.vst3\" 0 \"\" "
                             "1476233520{72C4DB717A4D459AB97E51745D84B39D} \"\"";
    const std::string vst2 = "<VST \"VST: Decapitator (Soundtoys)\" Decapitator.dll 0 \"Pete's\" 1145258356<56535444>";
    struct Case {
        std::string chain;
        int code;
        std::string said;  // a line of what it says
    };
    const Case cases[] = {
        // 8-byte masks, two pins each way, a FabFilter state: the settings carry.
        {chainText(proQ, {0x5A0C5A0C, 0xFEED5EEE, 2, 1, 0, 2, 0, 2, 1, 0, 2, 0, 9, 1, 0x100000}, "FabF\1\2\3\4\5"), 0,
         "    pins     2 in, 2 out    tail word 1048576    chunk 9 bytes\n"},
        // 4-byte masks under the other magic, one pin in, two out.
        {chainText(vst2, {0x44656361, 0xFEED5EEF, 1, 1, 2, 1, 2, 4, 1, 0}, "SNDT"), 0,
         "  so SETTINGS will not transfer: it goes in offline and labeled\n"},
        // No pins: written as stereo, and told.
        {chainText(vst2, {0x44656361, 0xFEED5EEE, 0, 4, 1}, "abcd"), 0,
         "    pins     could not be read from this header variant (FEED5EEE,\n"},
        {chainText(vst2, {0x44656361, 0xDEADBEEF, 1, 1}, ""), 1,
         "  header magic is DEADBEEF, expected FEED5EEE/FEED5EEF - is this one plug-in?\n"},
        {chainText("<VST \"VST: Nameless\" x.dll 0 \"\" \"\"", {1, 0xFEED5EEE}, ""), 1, "  could not read the <VST line\n"},
        {"<JS utility/volume \"\"\n0 0 -\n>\n", 1, " does not look like an .RfxChain\n"},
    };
    for (const Case& c : cases) {
        writeFileText(folder + "/chain.RfxChain", c.chain);
        std::string said;
        setConsoleCapture(&said);
        EXPECT_EQ(learnPlugin(folder + "/chain.RfxChain", "FabFPQ3x", program), c.code) << c.said;
        setConsoleCapture(nullptr);
        EXPECT_NE(said.find(c.said), std::string::npos) << said;
    }
    EXPECT_EQ(readFileText(folder + "/trellum-plugins.txt"),
              "# by hand\nAbCdEfGh | VST: Kept | kept.dll | 1<00>\n"
              "FabFPQ3x | VST3: Pro-Q 3 (FabFilter) | FabFilter Pro-Q 3.vst3 | "
              "1476233520{72C4DB717A4D459AB97E51745D84B39D} | 2 | 2 | 1048576 | Default Setting\n"
              "FabFPQ3x | VST: Decapitator (Soundtoys) | Decapitator.dll | 1145258356<56535444> | 1 | 2 | 0\n"
              "FabFPQ3x | VST: Decapitator (Soundtoys) | Decapitator.dll | 1145258356<56535444> | 2 | 2 | 0\n");

    // The next conversion's table answers for the signature with the first line learned.
    PluginTables tables;
    EXPECT_EQ(loadLearnedEntries(program, tables), 4);
    const PluginRow* row = findRow(tables, "FabFPQ3x");
    ASSERT_NE(row, nullptr);
    EXPECT_EQ(row->identity + " " + row->program, "1476233520{72C4DB717A4D459AB97E51745D84B39D} Default Setting");

    writeFileText(folder + "/chain.RfxChain", cases[0].chain);
    std::string said;
    setConsoleCapture(&said);
    EXPECT_EQ(learnPlugin(folder + "/chain.RfxChain", "X", folder + "/no such folder/trellum"), 1);
    setConsoleCapture(nullptr);
    EXPECT_NE(said.find("\n  cannot write " + folder + "/no such folder/trellum-plugins.txt\n"), std::string::npos);
}
