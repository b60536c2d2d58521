#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <sstream>
#include <tuple>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "cli/console.h"
#include "session/real_sessions.h"
#include "support/image_builder.h"
#include "support/run_capture.h"
#include "support/session_builder.h"

namespace {

bool contains(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

// A copy of a real session in a fresh folder, so that projects land beside it.
std::string copyRealSession(const std::string& name, const std::string& folder) {
    const std::string from = realSessionFolder() + "/" + name;
    const std::string to = folder + "/" + name;
    std::filesystem::copy_file(from, to);
    return to;
}

// Each item of the project as "track: take name, channel mode[, take pan]", unquoted.
std::vector<std::string> itemsOf(std::string project) {
    project.erase(std::remove(project.begin(), project.end(), '"'), project.end());
    std::vector<std::string> items;
    std::istringstream lines(project);
    std::string track, mode;
    for (std::string line; std::getline(lines, line);) {
        if (line.rfind("    NAME ", 0) == 0) track = line.substr(9);
        if (line.rfind("      CHANMODE ", 0) == 0) mode = line.substr(15);
        if (line.rfind("      NAME ", 0) == 0) items.push_back(track + ": " + line.substr(11) + ", " + mode);
        if (line.rfind("      VOLPAN ", 0) == 0) items.back() += ", " + line.substr(25, line.find(' ', 25) - 25);
    }
    return items;
}

}  // namespace

// Each refusal in its words, code 1 and no project: a path that names nothing,
// a folder, a file that does not open (a socket), an older session by name or
// by its first bytes, an empty file, a rate out of range, bytes that are no
// session. Under the progress protocol the console closes with "Not converted".
TEST(ConvertRefusals, EachRefusalInItsWords) {
    const std::string f = makeTempFolder("refusals");
    EXPECT_EQ(runConvert(optionsFor("")).console, "trellum: drag a .ptx file onto this program.\n");
    ConvertOptions unquoted = optionsFor(f + "/No Such.ptx");
    unquoted.sessionPathJoined = true;
    EXPECT_EQ(runConvert(unquoted).console, "\n  No such file:\n    " + f + "/No Such.ptx\n\n  If the name has spaces, "
                                            "put it in quotes:\n    trellum \"My Song.ptx\"\n");
    std::filesystem::create_directory(f + "/x.ptx");
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::snprintf(address.sun_path, sizeof address.sun_path, "%s", (f + "/socket.ptx").c_str());
    const int socketFile = socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_EQ(bind(socketFile, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    writeFileText(f + "/old.PTF", "anything at all, not a session");
    std::string head(40, '\0');
    head[0] = 3;
    head[18] = 1;
    writeFileText(f + "/old.ptx", head);
    writeFileText(f + "/empty.ptx", "");
    for (const char* rate : {"22050", "384000"}) {
        ImageBuilder b;
        addSessionHead(b, std::stoi(rate));
        b.writeFile(f, std::string(rate) + ".ptx");
    }
    writeFileText(f + "/junk.ptx", std::string(300, 'j'));
    // The file, whether under the protocol, and what the console holds ("-": what it does not).
    const std::tuple<std::string, bool, std::vector<std::string>> cases[] = {
        {"No Such.ptx", false, {"\n  No such file:\n    " + f + "/No Such.ptx\n", "-Not converted"}},
        {"No Such.ptx", true, {"Not converted: the session file was not found.", "-put it in quotes"}},
        {"x.ptx", false, {"\n  Could not convert: " + f + "/x.ptx\n  Reason: that is a folder, not a session file. A "
                          "Pro Tools session\n          folder holds the session's .ptx file: name that file.\n"}},
        {"socket.ptx", false, {"\n  Could not read: " + f + "/socket.ptx\n  Reason: the file is there, but it does "
                               "not open: No such device"}},
        {"old.PTF", false, {"\n  Could not convert: " + f + "/old.PTF\n  Reason: this is an OLDER Pro Tools session "
                            "format", "-Not converted"}},
        {"old.ptx", true, {"OLDER Pro Tools session format",
                           "\n  Not converted: this is an older Pro Tools session format (.pts or .ptf)."}},
        {"empty.ptx", false, {"Reason: the file is EMPTY (0 bytes)."}},
        {"22050.ptx", true, {"Reason: this session is at 22050 Hz, which is outside",
                             "Not converted: the session is at 22050 Hz"}},
        {"384000.ptx", false, {"Reason: this session is at 384000 Hz, which is outside"}},
        {"junk.ptx", true, {"\n  Could not read: " + f + "/junk.ptx\n  Reason: that session could not be decrypted - "
                            "is this really a Pro Tools session file?  (code -1)\n", "  Decryption: FAILED\n",
                            "varnoak will offer to send this as a problem report."}},
    };
    for (const auto& [name, protocol, parts] : cases) {
        CapturedRun run = runConvert(optionsFor(f + "/" + name), protocol);
        EXPECT_EQ(run.code, 1) << name;
        for (const std::string& part : parts) {
            EXPECT_EQ(contains(run.console, part.substr(part[0] == '-')), part[0] != '-') << name << ": " << part;
        }
        EXPECT_FALSE(fileExists(f + "/" + name.substr(0, name.size() - 4) + ".rpp")) << name;
    }
    close(socketFile);
    EXPECT_EQ(problemKind(), "unreadable");
    EXPECT_EQ(problemDetail(), "the session could not be decrypted - is this really a Pro Tools session file? (code -1)");
    runConvert(optionsFor(""));  // a later run starts with a clean problem record
    EXPECT_EQ(problemKind(), "");
}

TEST(ConvertOutput, WritesBesideTheSessionAndNeverOverwrites) {
    const std::string folder = makeTempFolder("output");
    ImageBuilder builder;
    addSessionHead(builder, 48000);
    const std::string session = builder.writeFile(folder, "song.ptx");

    CapturedRun first = runConvert(optionsFor(session));
    ASSERT_EQ(first.code, 0) << first.console;
    EXPECT_TRUE(contains(first.console, "  Wrote: " + folder + "/song.rpp\n"));
    const std::string project = readFileText(folder + "/song.rpp");
    EXPECT_EQ(project.rfind("<REAPER_PROJECT 0.1 \"7.0\" 0\n", 0), 0u);
    EXPECT_EQ(project.substr(project.size() - 2), ">\n");
    EXPECT_FALSE(contains(first.console, "Media folder")) << "no clip, no FILE line";

    // The same again: the first project stays, the second gets a number.
    writeFileText(folder + "/song.rpp", "keep me");
    CapturedRun second = runConvert(optionsFor(session));
    ASSERT_EQ(second.code, 0);
    EXPECT_EQ(readFileText(folder + "/song.rpp"), "keep me");
    EXPECT_TRUE(contains(second.console, "\n  " + folder + "/song.rpp already exists - writing " + folder +
                                             "/song (1).rpp instead\n  (--overwrite to replace it)\n"));
    EXPECT_EQ(readFileText(folder + "/song (1).rpp"), project);

    // --check writes nothing and says the same but for the closing lines.
    ConvertOptions check = optionsFor(session);
    check.checkOnly = true;
    std::filesystem::remove(folder + "/song (1).rpp");
    CapturedRun checked = runConvert(check);
    ASSERT_EQ(checked.code, 0);
    EXPECT_EQ(readFileText(folder + "/song.rpp"), "keep me");
    EXPECT_FALSE(fileExists(folder + "/song (1).rpp"));
    EXPECT_TRUE(contains(checked.console, "damage none\n"));
    EXPECT_TRUE(contains(checked.console, "  Not written (--check).\n"));
    EXPECT_TRUE(contains(checked.console, "\n  --check: nothing was written."));
    EXPECT_FALSE(contains(checked.console, "already exists"));

    // --overwrite replaces, and leaves no temporary file behind.
    ConvertOptions overwrite = optionsFor(session);
    overwrite.overwrite = true;
    ASSERT_EQ(runConvert(overwrite).code, 0);
    EXPECT_EQ(readFileText(folder + "/song.rpp"), project);
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        EXPECT_EQ(entry.path().string().find(".partial"), std::string::npos) << entry.path();
    }

    // An output folder that does not exist: the program's words, code 1.
    ConvertOptions nowhere = optionsFor(session);
    nowhere.outputPath = folder + "/no/such/folder/out.rpp";
    CapturedRun failed = runConvert(nowhere);
    EXPECT_EQ(failed.code, 1);
    EXPECT_TRUE(contains(failed.console, "\nCould not write " + folder +
                                             "/no/such/folder/out.rpp\n  Reason: No such file or directory.\n"));

    // The session itself, by name, through "..", through a link, or under a session's extension: refused,
    // --overwrite or not, and nothing in the folder changes.
    const std::string sessionBytes = readFileText(session);
    std::filesystem::create_symlink(session, folder + "/link.rpp");
    const auto count = [&] { return std::distance(std::filesystem::directory_iterator(folder), {}); };
    const auto before = count();
    const std::string base = std::filesystem::path(folder).filename().string();
    const std::string over = "over the session file itself:\n    ", named = "under a Pro Tools session's name:\n    ";
    const std::pair<std::string, std::string> outputs[] = {{session, over}, {folder + "/../" + base + "/song.ptx", over},
        {folder + "/link.rpp", over}, {folder + "/other.PTX", named}, {folder + "/song (1).ptf", named}};
    for (const auto& [output, reason] : outputs) {
        for (bool overwrite : {false, true}) {
            ConvertOptions onto = optionsFor(session);
            onto.outputPath = output;
            onto.overwrite = overwrite;
            CapturedRun refused = runConvert(onto);
            EXPECT_EQ(refused.code, 1) << output;
            EXPECT_TRUE(contains(refused.console, "\n  Could not convert: " + session +
                                                      "\n  Reason: the project would be written " + reason + output))
                << refused.console;
        }
    }
    EXPECT_EQ(readFileText(session), sessionBytes);
    EXPECT_EQ(count(), before);
}

// A clip plays its channel of a file: alone on a mono track (channel c from 1 is
// mode c + 2); with its neighbour on a stereo track as one item (a stereo file
// whole, wider ones by REAPER's pair mode 66 + c); six legs of six channels fold.
TEST(ConvertChannels, ClipsPlayTheirChannelOfAnInterleavedFile) {
    BuiltSession s;
    s.files = {{"keys.wav", 48000, 2}, {"mix.wav", 48000, 6}};
    s.clips = {{"keys.L", 0, 0, 48000}, {"keys.R", 0, 0, 48000, 0, 1}, {"keys.X", 0, 0, 48000, 0, 7}};
    for (uint32_t c = 0; c < 6; ++c) s.clips.push_back({"mix." + std::to_string(c), 1, 0, 48000, 0, c});
    auto track = [](const std::string& name, const std::vector<uint32_t>& legClips) {
        BuiltTrack built{name, 0, 0, 0, false, {}, static_cast<int>(legClips.size())};
        for (uint32_t clip : legClips) built.playlists.push_back({"", false, {{clip, 48000}}});
        return built;
    };
    s.tracks = {track("Keys", {0, 1}), track("Keys R", {1}), track("Odd", {2}), track("Mix", {3, 4, 5, 6, 7, 8}),
                track("Mix 3-4", {5, 6}), track("Mix 5", {7})};
    const std::string folder = makeTempFolder("channels");
    ASSERT_EQ(runConvert(optionsFor(buildSession(s).writeFile(folder, "channels.ptx"))).code, 0);
    EXPECT_EQ(itemsOf(readFileText(folder + "/channels.rpp")),
              (std::vector<std::string>{"Keys: keys, 0", "Keys R: keys.R, 4", "Odd: keys.X, 0", "Mix: mix, 0",
                                        "Mix 3-4: mix, 69", "Mix 5: mix.4, 7"}));
    // Each stereo track here plays the .L (channel 0) and .R clip of a 2-channel file.
    if (realSessionFolder().empty()) GTEST_SKIP() << "no real sessions beside the repository";
    ASSERT_EQ(runConvert(optionsFor(copyRealSession("3 stereo 3 different clips.ptx", folder))).code, 0);
    EXPECT_EQ(itemsOf(readFileText(folder + "/3 stereo 3 different clips.rpp")),
              (std::vector<std::string>{"Audio 1: 0102, 0", "Audio 2: 0277, 0", "Audio 3: 0496, 0"}));
}

// Clip groups laid flat: the group "Cue 1" (1.0 s to 3.0 s) plays "Take" from
// 0.5 s into it, cut at its end; "Cue 2" holds no audio: an empty item.
TEST(ConvertClipGroups, GroupsArriveAsTheirClipsOrAsNamedEmptyItems) {
    BuiltSession s;
    s.files = {{"take.wav", 480000}};
    s.clips = {{"Take", 0, 0, 96000}};
    s.clipGroups = {{"Cue 1", 96000}, {"Cue 2", 48000}};
    s.strays = {{"?", false, {{0, 24000}}}, {"?", false, {}}};
    BuiltPlaylist playlist{"", false, {{0, 48000}, {1, 240000}, {0, 400000}}};
    playlist.placements[0].group = playlist.placements[1].group = true;
    s.tracks = {{"Dlg", 0, 0, 0, false, {playlist}}};
    const std::string folder = makeTempFolder("clip-groups");
    const CapturedRun run = runConvert(optionsFor(buildSession(s).writeFile(folder, "groups.ptx")));
    ASSERT_EQ(run.code, 0) << run.console;
    const std::string project = readFileText(folder + "/groups.rpp");
    EXPECT_EQ(itemsOf(project), (std::vector<std::string>{"Dlg: Take, 0", "Dlg: Take, 0"}));
    EXPECT_TRUE(contains(project, "      POSITION 1.5000000000\n      SNAPOFFS 0\n      LENGTH 1.5000000000\n"));
    EXPECT_TRUE(contains(project, "      POSITION 5.0000000000\n      SNAPOFFS 0\n      LENGTH 1.0000000000\n"));
    EXPECT_TRUE(contains(project, "      <NOTES\n        |Cue 2\n      >\n    >\n"));
    EXPECT_TRUE(contains(run.console, "  1 clip group(s) laid out as the 1 clip(s) they play"));
}
