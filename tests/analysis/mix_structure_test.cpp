// Folders, groups and VCAs, track and clip colours and comments, converted
// whole from composed sessions.
#include <gtest/gtest.h>

#include <cstdlib>
#include <sstream>

#include "support/run_capture.h"
#include "support/session_builder.h"

namespace {

struct Converted {
    std::string project;
    std::string console;
};

Converted convertBuilt(const BuiltSession& session, ConvertOptions options = {}) {
    const std::string folder = makeTempFolder("mix");
    options.sessionPath = buildSession(session).writeFile(folder, "session.ptx");
    options.programPath = "/nonexistent/trellum";
    const CapturedRun run = runConvert(options);
    EXPECT_EQ(run.code, 0) << run.console;
    return {readFileText(folder + "/session.rpp"), run.console};
}

// "NAME=rest of the keyword's line" for each track that has the keyword, in order.
std::vector<std::string> trackLines(const std::string& project, const std::string& keyword) {
    std::vector<std::string> found;
    std::istringstream lines(project);
    std::string line;
    std::string name;
    while (std::getline(lines, line)) {
        if (line.rfind("    NAME \"", 0) == 0) name = line.substr(10, line.size() - 11);
        if (line.rfind("    " + keyword + " ", 0) == 0) found.push_back(name + "=" + line.substr(5 + keyword.size()));
    }
    return found;
}

// The COLOR of each item, in order.
std::vector<std::string> itemColours(const std::string& project) {
    std::vector<std::string> found;
    std::istringstream lines(project);
    std::string line;
    while (std::getline(lines, line)) {
        if (line.rfind("      COLOR ", 0) == 0) found.push_back(line.substr(12));
    }
    return found;
}

// The ISBUS words of a project never take the depth below 0 and end at 0.
void expectDepthsClose(const std::string& project) {
    int depth = 0;
    for (const std::string& entry : trackLines(project, "ISBUS")) {
        const std::string words = entry.substr(entry.find('=') + 1);
        if (words == "1 1") ++depth;
        if (words[0] == '2') depth += std::stoi(words.substr(2));
        EXPECT_GE(depth, 0) << entry;
    }
    EXPECT_EQ(depth, 0);
}

BuiltTrack track(const std::string& name, const std::string& output = {}, uint32_t inputId = 0) {
    BuiltTrack t{name, 0, 0, 0, false, {}, 1};
    t.output = output;
    t.inputId = inputId;
    return t;
}

BuiltTrack folder(const std::string& name, uint16_t rowType, std::vector<size_t> members) {
    BuiltTrack t = track(name, rowType == 11 ? "" : "Out 1-2", 0);
    t.folder = true;
    t.rowType = rowType;
    t.members = std::move(members);
    return t;
}

// Basic "Band" holds Routing "Drums" (on DrumBus) with Kick, Routing "Toms" (on
// TomBus, into DrumBus) with Tom, Snare (to the main output) and Basic "Perc"
// with Shaker; Bass stands outside.
BuiltSession nestedFolders() {
    BuiltSession s;
    s.paths = {{"Out 1-2", 1, {1, 2}, 5}, {"DrumBus", 2, {3, 4}, 20}, {"TomBus", 2, {5, 6}, 30}};
    s.tracks = {folder("Band", 11, {1}), folder("Drums", 0, {2, 3, 5, 6}), track("Kick", "DrumBus"),
                folder("Toms", 0, {4}), track("Tom", "TomBus"), track("Snare"), folder("Perc", 11, {7}),
                track("Shaker"), track("Bass")};
    s.tracks[1].inputId = 20;
    s.tracks[3].inputId = 30;
    s.tracks[3].output = "DrumBus";
    return s;
}

}  // namespace

TEST(FolderRuns, NestedRoutingAndBasicFoldersKeepTheirTreeAndMoveWhatPlaysPast) {
    const Converted run = convertBuilt(nestedFolders());
    EXPECT_EQ(trackLines(run.project, "ISBUS"),
              (std::vector<std::string>{"Band=1 1", "Drums=1 1", "Kick=0 0", "Toms=1 1", "Tom=2 -2", "Snare=0 0",
                                        "Perc=1 1", "Shaker=2 -2", "Bass=0 0"}));
    expectDepthsClose(run.project);
    for (const char* note : {"  4 folder track(s): 2 Routing folder(s) written as REAPER folders whose\n",
                             "      3 folder(s) sit inside another folder, nested the same way in REAPER\n",
                             "so they follow it here instead of sitting inside it: Perc out of Drums.\n",
                             "so they follow the folder here instead of sitting inside it: Snare out of Drums.\n"}) {
        EXPECT_NE(run.console.find(note), std::string::npos) << note << run.console;
    }
}

// A folder table that names a folder inside itself, a member that is no row,
// or a chain 70 folders deep, is flattened to the rows' order; depths close.
TEST(FolderRuns, BadTreesFallBackToTheRowOrderAndStillClose) {
    std::vector<BuiltSession> cases(3, nestedFolders());
    cases[0].tracks[1].members.push_back(1);
    cases[1].tracks[0].members.push_back(99);
    cases[2].tracks.clear();
    for (size_t i = 0; i < 70; ++i) cases[2].tracks.push_back(folder("F" + std::to_string(i), 11, {i + 1}));
    cases[2].tracks.push_back(track("Deep"));
    for (const BuiltSession& session : cases) {
        const Converted run = convertBuilt(session);
        expectDepthsClose(run.project);
        EXPECT_NE(run.console.find("      The session's folder table could not be read, so folder members are\n"),
                  std::string::npos);
    }
    // Rows in order: the last of the 70 folders holds the one row behind it.
    const std::vector<std::string> deep = trackLines(convertBuilt(cases[2]).project, "ISBUS");
    EXPECT_EQ(deep[69], "F69=1 1");
    EXPECT_EQ(deep[70], "Deep=2 -1");
}

// A hidden folder stays when a written member needs it; without a usable
// table no folder is left out at all.
TEST(FolderRuns, HiddenFoldersStayForTheirMembers) {
    ConvertOptions options;
    options.skipHiddenTracks = true;
    setenv("PTX_DEBUG_HIDE", "Band,Drums,Bass", 1);
    const Converted tree = convertBuilt(nestedFolders(), options);
    BuiltSession broken = nestedFolders();
    broken.tracks[0].members.push_back(0);
    const Converted flat = convertBuilt(broken, options);
    unsetenv("PTX_DEBUG_HIDE");
    EXPECT_NE(tree.console.find("  1 hidden track(s) left out (--skip-hidden-tracks): \"Bass\"\n"), std::string::npos);
    EXPECT_NE(tree.console.find("KEPT, because a written track needs them: \"Drums (Kick needs it)\", "
                                "\"Band (Drums needs it)\"\n"),
              std::string::npos)
        << tree.console;
    EXPECT_NE(flat.console.find("  1 hidden track(s) left out (--skip-hidden-tracks): \"Bass\"\n"), std::string::npos);
    EXPECT_EQ(flat.console.find("KEPT"), std::string::npos);
    expectDepthsClose(tree.project);
}

namespace {

// A, B, C, a VCA master at -6 dB and D; "Mix" links A and B with volume, mute,
// solo and attribute 5; "Old" stands once; "EditOnly" is an Edit group; the
// VCA leads C and D; "Empty VCA" leads nobody; "Fourth" links A and D by
// attribute 4 alone, which no GROUP_FLAGS field carries.
BuiltSession groupedSession(int allMembers) {
    BuiltSession s;
    s.tracks = {track("A"), track("B"), track("C"), track("VCA 1"), track("D")};
    s.tracks[3].kind = 0x261F;
    s.tracks[3].vcaLevelTenths = -60;
    std::vector<uint8_t> attributes(32, 0);
    attributes[0] = attributes[1] = attributes[5] = attributes[7] = 1;
    std::vector<uint16_t> all;
    for (int m = 0; m < allMembers; ++m) all.push_back(static_cast<uint16_t>(m));
    s.groups = {{"<ALL>", 2, 255, all},          {"Mix", 1, 1, {0, 1}, -1, attributes}, {"Old", 1, 2, {2}, -1, {}, 1},
                {"EditOnly", 0, 3, {0, 2}},     {"VCA", 1, 4, {2, 3, 4}, 3},          {"Empty VCA", 1, 5, {3}, 3},
                {"Fourth", 1, 6, {0, 4}, -1, std::vector<uint8_t>{0, 0, 0, 0, 1}}};
    return s;
}

}  // namespace

TEST(GroupRuns, MixGroupsAndVcasBecomeGroupFlags) {
    const Converted run = convertBuilt(groupedSession(5));
    const std::string follow = "0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0";  // fields 0 to 19
    EXPECT_EQ(trackLines(run.project, "GROUP_FLAGS"),
              (std::vector<std::string>{"A=1 1 0 0 1 1 1 1", "B=1 1 0 0 1 1 1 1", "C=" + follow + " 0 2",
                                        "VCA 1=" + follow + " 2", "D=" + follow + " 0 2"}));
    EXPECT_EQ(trackLines(run.project, "VOLPAN")[3], "VCA 1=0.501187 0 -1 -1.000000 1.000000");
    for (const char* note : {"  5 mix/VCA group(s) decoded from the session:\n      Mix\n      EditOnly\n      VCA\n",
                             "      1 written as REAPER fader-link group(s).\n",
                             "      1 group(s) NOT linked in REAPER: none of the controls they link\n",
                             "      mute and solo move on their own:\n      Fourth\n",
                             "      1 VCA group(s) written as REAPER VCA links.",
                             "        VCA master \"VCA 1\" at -6.0 dB\n",
                             "  WARNING: 1 group record(s) ignored -- they appeared only once,\n",
                             "  1 group(s) are EDIT groups and were deliberately not linked:\n      EditOnly\n",
                             "carried yet (Pro Tools attribute numbers shown): Mix (#5).\n"}) {
        EXPECT_NE(run.console.find(note), std::string::npos) << note << run.console;
    }
}

// Members are positions: a table of another size than "<ALL>" says links
// nothing; past 32 groups the rest are counted, not written.
TEST(GroupRuns, MismatchedTablesAndGroupsPast32AreNamedNotLinked) {
    const Converted mismatch = convertBuilt(groupedSession(6));
    EXPECT_TRUE(trackLines(mismatch.project, "GROUP_FLAGS").empty());
    EXPECT_EQ(mismatch.project.find("NAME \"VCA 1\""), std::string::npos);
    EXPECT_NE(mismatch.console.find("      has 6 strips; this decoder found 5."), std::string::npos);

    BuiltSession many;
    many.tracks = {track("A")};
    for (int g = 1; g <= 33; ++g) many.groups.push_back({"G" + std::to_string(g), 1, 1, {0}});
    const Converted past = convertBuilt(many);
    EXPECT_EQ(trackLines(past.project, "GROUP_FLAGS"),
              std::vector<std::string>{"A=4294967295 4294967295"});
    EXPECT_NE(past.console.find("      WARNING: 1 group(s) past the first 32 were not written (REAPER\n"),
              std::string::npos);
}

namespace {

// "Own" stores palette 27 and a comment, "Off" a value off the palette, "Row"
// nothing: under "Track Type" an aux's colour, and on display row 1 under
// "Tracks and MIDI Channels" its clips take that row's tint.
BuiltSession colouredSession() {
    BuiltSession s;
    s.trackCoding = 4;
    s.clipCoding = 1;
    s.displayRecords = true;
    s.files = {{"a.wav", 48000}};
    s.clips = {{"a", 0, 0, 4800}};
    BuiltPlaylist own{"", false, {}};
    for (int16_t colour : {27, 2, 24, 49}) {
        own.placements.push_back({0, own.placements.size() * 9600, false, true, 0, false, colour});
    }
    s.tracks = {track("Own"), track("Off"), track("Row")};
    s.tracks[0].playlists = {own};
    s.tracks[0].colour = 27;
    s.tracks[0].comment = "first line\nsecond\n>";
    s.tracks[1].colour = 24;
    s.tracks[2].playlists = {{"", false, {{0, 0}}}};
    s.tracks[2].displayRow = 1;
    return s;
}

}  // namespace

// Palette values, measured swatches and derived shades, 0x01BBGGRR: swatch 27
// FC0088, Track Type aux 86 = 0C4A32; clip 27 ECB4D2, 24 invented (192, 216,
// 104), 49 A3001E, row 1 tint D7C090 (index 93); Dark: 592541, 2 from FC0056 x
// 0.22 + 36, 5A242F, tint 243A44, each through the display step.
TEST(ColourRuns, TracksAndClipsTakeThePaletteTheirCodingAndThemeGive) {
    const auto colour = [](uint32_t value) { return std::to_string(value) + " R"; };
    struct Case {
        const char* theme;
        std::vector<std::string> clipColours;
    };
    const Case cases[] = {
        {"classic", {colour(0x01ECB4D2), colour(0x0168D8C0), colour(0x01A3001E), colour(0x01D7C090)}},
        {"dark", {colour(0x01FF42A8), colour(0x01FF3E83), colour(0x0168D8C0), colour(0x01FF3E66), colour(0x01B38E3E)}},
    };
    for (const Case& c : cases) {
        ConvertOptions options;
        options.ptTheme = std::string(c.theme) == "dark" ? 2 : 1;
        options.commentsMode = 0;
        const Converted run = convertBuilt(colouredSession(), options);
        EXPECT_EQ(trackLines(run.project, "PEAKCOL"),
                  (std::vector<std::string>{"Own=" + std::to_string(0x01FC0088), "Off=16576",
                                            "Row=" + std::to_string(0x010C4A32)}));
        EXPECT_EQ(itemColours(run.project), c.clipColours) << c.theme;
        EXPECT_NE(run.project.find("      NAME \"Pro Tools comment\"\n      <NOTES\n        |first line\n"
                                   "        |second\n        | >\n      >\n"),
                  std::string::npos);
    }
    const Converted classic = convertBuilt(colouredSession(), [] { ConvertOptions o; o.ptTheme = 1; return o; }());
    for (const char* note : {"  1 track(s) carried a color onto REAPER track colors\n",
                             "  NOTE: 1 track record(s) held a value where the color belongs\n",
                             "  1 track(s) had NO color of their own and were given the one\n",
                             "  1 clip(s) carry a Pro Tools auto-assigned color (palette index 2)\n",
                             "  3 clip(s) carried a color, 3 distinct Pro Tools palette\n",
                             "      WARNING: 1 clip(s) carry a palette index off the known\n",
                             "  1 track(s) carry a COMMENT in Pro Tools: \"Own\"\n"}) {
        EXPECT_NE(classic.console.find(note), std::string::npos) << note << classic.console;
    }

    ConvertOptions off;  // Dark, as a session that names no version: palette 2 has a shade there
    off.noTrackColors = off.noClipColors = true;
    const Converted plain = convertBuilt(colouredSession(), off);
    EXPECT_EQ(trackLines(plain.project, "PEAKCOL"), (std::vector<std::string>{"Own=16576", "Off=16576", "Row=16576"}));
    EXPECT_TRUE(itemColours(plain.project).empty());
    EXPECT_NE(plain.console.find("  --no-clip-colors: 4 clip(s) that would carry a color are drawn\n"), std::string::npos);
}
