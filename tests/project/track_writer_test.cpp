// The track and item blocks for hand-made output tracks: the forms that are
// easy to get subtly wrong and that REAPER would read differently.
#include <gtest/gtest.h>

#include <filesystem>

#include "driver/run_state.h"
#include "project/project_writer.h"
#include "project/text.h"
#include "support/image_builder.h"
#include "support/run_capture.h"

namespace {

AudioClip clipAt(double position, double length, const std::string& name) {
    AudioClip clip;
    clip.position = position;
    clip.length = length;
    clip.clip.name = name;
    clip.clip.fileName = name + ".wav";
    return clip;
}

std::string writeAll(RunState& state) {
    std::string out;
    {
        ProjectText text(out);
        writeProjectText(state, text);
    }
    return out;
}

// The lines of the block that starts with the given line, up to its closing ">".
std::string blockOf(const std::string& text, const std::string& head) {
    const size_t start = text.find(head);
    if (start == std::string::npos) return std::string();
    const size_t indent = head.find_first_not_of(' ');
    const std::string close = "\n" + head.substr(0, indent) + ">\n";
    const size_t end = text.find(close, start);
    return text.substr(start, end - start + close.size());
}

bool has(const std::string& text, const std::string& line) { return text.find("\n" + line + "\n") != std::string::npos; }

}  // namespace

TEST(TrackBlock, ItemsLanesAndTheirNumberForms) {
    RunState state;
    state.sampleRate = 48000;
    state.options.audioDir = "/nowhere/Audio Files";

    OutputTrack plain;
    plain.name = "No Strip";
    AudioClip first = clipAt(1.5, 2, "first");
    first.syncDistance = 3;  // behind the clip's end: no snap offset
    first.hasClipGain = true;
    first.clipGainCurve = {{100, -6.0}};  // one point: no envelope
    first.takePan = -1;
    AudioClip warped = clipAt(4, 1, "warped");
    warped.rate = 0.5;
    for (int m = 0; m < 30; ++m) warped.warpMarkers.push_back({m * 0.01, m * 0.02});
    AudioClip faded = clipAt(6, 1, "faded");
    faded.fadeInLength = 0.25;
    faded.fadeInShape = 5.1;
    faded.rate = 0.5;
    faded.warpMarkers = {{0, 0}, {1, 2}};  // two markers keep the rate and write no SM
    // 2.6 dB, and a line of 0 dB at source 0, -6 dB at 1 s, +6 dB at 3 s cut to the item (source 0.5 s
    // to 2 s): -3 dB at 0, -6 dB at 0.5 s, 0 dB at 1.5 s. A pitch of -2.5 semitones.
    AudioClip gained = clipAt(8, 1.5, "gained");
    gained.sourceOffset = 0.5;
    gained.hasClipGain = true;
    gained.clipGainDb = 2.6;
    gained.clipGainCurve = {{0, 0.0}, {48000, -6.0}, {144000, 6.0}};
    gained.pitchSemitones = -2.5;
    plain.clips = {first, warped, faded, gained};

    OutputTrack laned;
    laned.name = "Gtr [alt takes]";
    laned.lanes = {{"Gtr.01", {clipAt(0, 1, "one")}}, {"Gtr.02", {clipAt(0, 1, "two")}}};
    state.analysis.outputTracks = {plain, laned};

    const std::string project = writeAll(state);
    EXPECT_EQ(checkProjectText(project), std::nullopt) << project;
    EXPECT_EQ(state.counters.outputTracks, 2);
    EXPECT_EQ(state.counters.audioItems, 6);

    const std::string track = blockOf(project, "  <TRACK {3C6EF36A-27F2-CA46-3B01-C6AE80CD33F2}");
    EXPECT_TRUE(has(track, "    PEAKCOL 16576"));
    EXPECT_TRUE(has(track, "    VOLPAN 1.000000 0 -1 -1.000000 1.000000"));
    EXPECT_TRUE(has(track, "    AUTOMODE 0"));

    const std::string item = itemNamed(track, "first");
    EXPECT_TRUE(has(item, "      SNAPOFFS 0"));
    EXPECT_TRUE(has(item, "      FADEIN 0 0.0000000000 0 0 0 0 0"));
    EXPECT_TRUE(has(item, "      VOLPAN 1.000000000 -1 1 -1"));  // 0 dB stored, panned hard left
    EXPECT_EQ(item.find("<VOLENV"), std::string::npos);
    EXPECT_TRUE(has(item, "        FILE \"/nowhere/Audio Files/first.wav\""));

    const std::string warpedItem = itemNamed(track, "warped");
    EXPECT_TRUE(has(warpedItem, "      PLAYRATE 1.000000000 1 0.000000 -1 0 0.0025"));
    size_t smLines = 0;
    for (size_t at = warpedItem.find("\n      SM "); at != std::string::npos; at = warpedItem.find("\n      SM ", at + 1)) {
        ++smLines;
    }
    EXPECT_EQ(smLines, 2u);
    EXPECT_TRUE(warpedItem.find("\n      SM 0.2800000000 0.5600000000 + 0.2900000000") != std::string::npos);

    const std::string gainedItem = itemNamed(track, "gained");
    EXPECT_TRUE(has(gainedItem, "      VOLPAN 1.348962883 0 1 -1"));
    EXPECT_TRUE(has(gainedItem, "      PLAYRATE 1.000000000 1 -2.500000 -1 0 0.0025"));
    EXPECT_NE(gainedItem.find("        VOLTYPE 1\n        PT 0.0000000000 0.707945784 0\n"
                              "        PT 0.5000000000 0.501187234 0\n        PT 1.5000000000 1.000000000 0\n      >"),
              std::string::npos)
        << gainedItem;

    const std::string fadedItem = itemNamed(track, "faded");
    EXPECT_TRUE(has(fadedItem, "      FADEIN 5.1 0.2500000000 0 5.1 0 0 0"));
    EXPECT_TRUE(has(fadedItem, "      PLAYRATE 0.500000000 1 0.000000 -1 0 0.0025"));
    EXPECT_EQ(fadedItem.find(" SM "), std::string::npos);

    // Lanes: one lane of three for each alternate, and the muting repeat last.
    const std::string lanes = blockOf(project, "  <TRACK {DAA66D1B-243D-058D-D25A-28994F85E717}");
    EXPECT_TRUE(has(lanes, "    FREEMODE 2"));
    EXPECT_TRUE(has(lanes, "    ITEMLANES 3"));
    EXPECT_TRUE(has(lanes, "    LANENAME \"\" \"Gtr.01\" \"Gtr.02\""));
    EXPECT_TRUE(has(lanes, "    MUTESOLO 1 0 0"));
    EXPECT_TRUE(has(lanes, "      YPOS 0.333333 0.333333 2"));
    EXPECT_TRUE(has(lanes, "      YPOS 0.666667 0.333333 2"));
}

namespace {

AutomationLane laneWithPoint(double value) {
    AutomationLane lane;
    lane.points = {{48000, value}};
    return lane;
}

// A track of the session in an automation mode, with its output track and,
// unless it is MIDI, a strip with volume, trim and pan lanes.
void addTrack(RunState& state, const std::string& name, int32_t mode, bool midi = false) {
    SessionTrack row;
    row.name = name;
    state.model.tracks.rows.push_back(row);
    state.model.attributes.emplace_back();
    state.model.attributes.back().automationMode = mode;
    if (!midi) {
        StripRow strip;
        strip.name = name;
        strip.present = 1;
        strip.volumeLane = laneWithPoint(-60);
        strip.trimLane = laneWithPoint(-30);
        strip.panLane = laneWithPoint(50);
        state.model.strips.push_back(strip);
    }
    OutputTrack track;
    track.name = track.matchKey = name;
    track.isMidi = midi;
    state.analysis.outputTracks.push_back(track);
}

// The text of a track block, from its NAME line to the next track.
std::string trackNamed(const std::string& project, const std::string& name) {
    const size_t at = project.find("    NAME \"" + name + "\"");
    return at == std::string::npos ? std::string() : project.substr(at, project.find("  <TRACK", at) - at);
}

// The ACT and ARM lines of the named envelope in a track's text.
std::string actAndArm(const std::string& track, const std::string& envelope) {
    const std::string block = blockOf(track, "    <" + envelope);
    const size_t act = block.find("ACT "), arm = block.find("ARM ");
    if (act == std::string::npos || arm == std::string::npos) return "none";
    return block.substr(act, 5) + " " + block.substr(arm, 5);
}

}  // namespace

// Pro Tools ignores the automation of a track in mode Off; its envelopes, its
// sends' envelopes and a MIDI track's mute envelope are kept but inactive. A
// return track writes its strip's volume, mute and pan only.
TEST(TrackBlock, EnvelopesFollowTheAutomationModeOfTheirTrack) {
    RunState state;
    state.sampleRate = 48000;
    addTrack(state, "Off", 0);
    addTrack(state, "Read", 1);
    addTrack(state, "Keys", 0, true);
    addTrack(state, "FX", 1);
    state.analysis.outputTracks.pop_back();  // FX is a return track
    state.model.midiTrackStates["Keys"].hasMuteLane = 1;
    state.model.midiTrackStates["Keys"].muteLane = laneWithPoint(1);
    StripRow& fx = state.model.strips.back();
    fx.stereoLanes = 1;
    fx.dualPanPoints = 1;
    fx.rightPanLane = laneWithPoint(20);
    SendEntry send;
    send.levelLane = laneWithPoint(-100);
    state.analysis.routing.sendsInto["FX"] = {send, send};
    state.analysis.routing.sendsInto["FX"][1].source = 1;
    state.analysis.routing.returnTracks = {"FX"};

    const std::string project = writeAll(state);
    EXPECT_EQ(checkProjectText(project), std::nullopt) << project;
    const std::string off = trackNamed(project, "Off"), read = trackNamed(project, "Read");
    const std::string ret = trackNamed(project, "FX");
    for (const char* name : {"VOLENV2", "PANENV2", "VOLENV3"}) EXPECT_EQ(actAndArm(off, name), "ACT 0 ARM 0") << name;
    EXPECT_EQ(actAndArm(read, "VOLENV2"), "ACT 1 ARM 1");
    EXPECT_EQ(actAndArm(read, "VOLENV3"), "ACT 1 ARM 0");
    EXPECT_EQ(actAndArm(trackNamed(project, "Keys"), "MUTEENV"), "ACT 0 ARM 0");
    EXPECT_EQ(actAndArm(ret, "AUXVOLENV 0"), "ACT 0 ARM 0");  // sent by the track in mode Off
    EXPECT_EQ(actAndArm(ret, "AUXVOLENV 1"), "ACT 1 ARM 0");
    EXPECT_EQ(actAndArm(ret, "VOLENV2"), "ACT 1 ARM 1");
    EXPECT_EQ(actAndArm(ret, "PANENV2"), "ACT 1 ARM 1");
    EXPECT_EQ(actAndArm(ret, "VOLENV3"), "none");
    EXPECT_EQ(actAndArm(ret, "DUALPANENVL"), "none");
}

// --keep-frozen: a track whose one render is on disk stays frozen, its own items
// inside the freeze; each other frozen track is written unfrozen, with its reason.
TEST(TrackBlock, FrozenTracksKeptFrozenOrToldWhyNot) {
    const std::string folder = makeTempFolder("frozen");
    std::filesystem::create_directory(folder + "/Audio Files");
    // 16-bit mono at 48 kHz behind a LIST chunk of odd size: 144000 bytes of data are 1.5 s.
    writeFileText(folder + "/Audio Files/Gtr-FZ_01.wav",
                  std::string("RIFF\0\0\0\0WAVELIST\3\0\0\0abc\0fmt \x10\0\0\0\1\0\1\0", 36) +
                      std::string("\x80\xBB\0\0\0\x77\1\0\2\0\x10\0data\x80\x32\2\0", 20));
    writeFileText(folder + "/Audio Files/Pad-FZ_01.wav", "RIFF");
    RunState state;
    state.options.keepFrozen = true;
    state.options.audioDir = folder + "/Audio Files";
    state.sessionFolder = folder;
    for (const char* name : {"Gtr", "Keys", "Pad", "Bass", "Two", "Three"}) {
        OutputTrack track;
        track.name = name;
        track.clips = {clipAt(1, 1, name + std::string(" take"))};
        state.analysis.outputTracks.push_back(track);
    }
    state.analysis.outputTracks[3].lanes = {{"Bass.01", {}}};
    state.analysis.freezeRecords = {{"Gtr", {{"Gtr-FZ_01.wav", 1, 0.5}}},
                                    {"Keys", {{"Keys-FZ_01.wav", 0, 0}}},
                                    {"Pad", {{"Pad-FZ_01.wav", 0, 0}}},
                                    {"Bass", {{"Gtr-FZ_01.wav", 0, 0}}},
                                    {"Two", {{"Two-FZ.L.wav", 0, 0}, {"Two-FZ.R.wav", 0, 0}}},
                                    {"Three", {{"Three.wav", 0, 0}}}};
    const std::string project = writeAll(state);
    EXPECT_EQ(checkProjectText(project), std::nullopt) << project;
    EXPECT_EQ(state.counters.frozenTracks, 1);
    const std::string gtr = blockOf(project, "  <TRACK {3C6EF36A-27F2-CA46-3B01-C6AE80CD33F2}");
    EXPECT_NE(gtr.find("    <FXCHAIN\n      SHOW 0\n      LASTSEL 0\n      DOCKED 0\n    >\n    <FREEZE 0\n      <ITEM\n"
                       "        POSITION 1.0000000000\n"),
              std::string::npos) << gtr;
    EXPECT_EQ(itemNamed(gtr, "Freeze 1"),
              "    <ITEM\n      POSITION 1.0000000000\n      SNAPOFFS 0\n      LENGTH 1.5000000000\n      LOOP 0\n"
              "      ALLTAKES 0\n      FADEIN 1 0 0 1 0 0 0\n      FADEOUT 1 0 0 1 0 0 0\n      MUTE 0 0\n"
              "      FREEZE 1.0000000000 1.5000000000 0\n      LOCK 1\n      SEL 0\n"
              "      IGUID {CC7179B9-6C9E-8EFF-5247-64C3CB1680CD}\n      NAME \"Freeze 1\"\n      VOLPAN 1 0 1 -1\n"
              "      SOFFS 0.5000000000\n      PLAYRATE 1 1 0 -1 0 0.0025\n      CHANMODE 0\n"
              "      GUID {462279B9-A7E5-8EFF-B432-64C37E3B80CD}\n      <SOURCE WAVE\n"
              "        FILE \"" + folder + "/Audio Files/Gtr-FZ_01.wav\"\n      >\n    >\n");
    const std::vector<std::pair<std::string, std::string>> refusals = {
        {"Keys", "its render \"Keys-FZ_01.wav\" is not on disk"},
        {"Pad", "its render could not be read"},
        {"Bass", "it has alternate playlist lanes"},
        {"Two", "its render is two mono files, one per side (not supported yet)"},
        {"Three", "its render could not be identified in the session"}};
    EXPECT_EQ(state.freezeRefusals, refusals);
    EXPECT_EQ(project.find("<FREEZE", project.find("NAME \"Keys\"")), std::string::npos);
}
