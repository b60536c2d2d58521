// The track and item blocks for hand-made output tracks: the forms that are
// easy to get subtly wrong and that REAPER would read differently.
#include <gtest/gtest.h>

#include "driver/run_state.h"
#include "project/project_writer.h"
#include "project/text.h"

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

// The <ITEM block of the take with the given name.
std::string itemNamed(const std::string& text, const std::string& name) {
    const size_t named = text.find("      NAME \"" + name + "\"\n");
    if (named == std::string::npos) return std::string();
    const size_t start = text.rfind("    <ITEM\n", named);
    const size_t end = text.find("\n    >\n", named);
    return text.substr(start, end + 7 - start);
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
    plain.clips = {first, warped, faded};

    OutputTrack laned;
    laned.name = "Gtr [alt takes]";
    laned.lanes = {{"Gtr.01", {clipAt(0, 1, "one")}}, {"Gtr.02", {clipAt(0, 1, "two")}}};
    state.analysis.outputTracks = {plain, laned};

    const std::string project = writeAll(state);
    EXPECT_EQ(checkProjectText(project), std::nullopt) << project;
    EXPECT_EQ(state.counters.outputTracks, 2);
    EXPECT_EQ(state.counters.audioItems, 5);

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

// A track of the session with its display record and, unless it is MIDI, its strip.
void addTrack(RunState& state, const std::string& name, int32_t mode, bool strip) {
    SessionTrack row;
    row.name = name;
    state.model.tracks.rows.push_back(row);
    TrackAttributes attributes;
    attributes.automationMode = mode;
    state.model.attributes.push_back(attributes);
    if (strip) {
        StripRow stripRow;
        stripRow.name = name;
        stripRow.present = 1;
        stripRow.volumeLane = laneWithPoint(-60);
        stripRow.trimLane = laneWithPoint(-30);
        stripRow.panLane = laneWithPoint(50);
        state.model.strips.push_back(stripRow);
    }
    OutputTrack track;
    track.name = track.matchKey = name;
    track.isMidi = !strip && name != "FX";
    if (name != "FX") state.analysis.outputTracks.push_back(track);
}

// The envelope block of that name inside a track block, up to its closing ">".
std::string envelopeIn(const std::string& track, const std::string& head) { return blockOf(track, "    <" + head); }

}  // namespace

// Pro Tools ignores the automation of a track in mode Off; its envelopes, its
// sends' envelopes and a MIDI track's mute envelope are kept but inactive. A
// return track writes its strip's volume, mute and pan only.
TEST(TrackBlock, EnvelopesFollowTheAutomationModeOfTheirTrack) {
    RunState state;
    state.sampleRate = 48000;
    addTrack(state, "Off", 0, true);
    addTrack(state, "Read", 1, true);
    addTrack(state, "Keys", 0, false);
    addTrack(state, "Wide", 1, true);
    addTrack(state, "FX", 1, true);
    state.model.midiTrackStates["Keys"].hasMuteLane = 1;
    state.model.midiTrackStates["Keys"].muteLane = laneWithPoint(1);
    StripRow& fx = state.model.strips.back();
    fx.stereoLanes = 1;
    fx.dualPanPoints = 1;
    fx.rightPanLane = laneWithPoint(20);
    state.analysis.unknownWidthStrips = {{"Wide", 7}};
    SendEntry send;
    send.levelLane = laneWithPoint(-100);
    state.analysis.routing.sendsInto["FX"] = {send, send};
    state.analysis.routing.sendsInto["FX"][1].source = 1;
    state.analysis.routing.returnTracks = {"FX"};
    state.analysis.routing.auxWidth["Wide"] = 6;  // it takes a 5.1 bus

    const std::string project = writeAll(state);
    EXPECT_EQ(checkProjectText(project), std::nullopt) << project;
    const std::string off = blockOf(project, "  <TRACK {3C6EF36A-27F2-CA46-3B01-C6AE80CD33F2}");
    EXPECT_TRUE(has(off, "    AUTOMODE 0"));
    for (const char* name : {"VOLENV2", "PANENV2", "VOLENV3"}) {
        EXPECT_TRUE(has(envelopeIn(off, name), "      ACT 0 -1")) << name;
        EXPECT_TRUE(has(envelopeIn(off, name), "      ARM 0")) << name;
    }
    const std::string read = blockOf(project, "  <TRACK {DAA66D1B-243D-058D-D25A-28994F85E717}");
    EXPECT_TRUE(has(envelopeIn(read, "VOLENV2"), "      ACT 1 -1"));
    EXPECT_TRUE(has(envelopeIn(read, "VOLENV2"), "      ARM 1"));
    EXPECT_TRUE(has(envelopeIn(read, "VOLENV3"), "      ARM 0"));

    const size_t keysAt = project.find("    NAME \"Keys\"");
    ASSERT_NE(keysAt, std::string::npos);
    const std::string keys = project.substr(keysAt, project.find("    NAME \"Wide\"") - keysAt);
    EXPECT_TRUE(has(envelopeIn(keys, "MUTEENV"), "      ACT 0 -1"));

    const size_t wideAt = project.find("    NAME \"Wide\"");
    const std::string wide = project.substr(wideAt, project.find("    NAME \"FX\"") - wideAt);
    EXPECT_TRUE(has(wide, "    NCHAN 6"));
    EXPECT_NE(wide.find("<VOLENV2"), std::string::npos);
    EXPECT_EQ(wide.find("<PANENV2"), std::string::npos);  // a seven-lane strip's third lane is no pan

    const std::string ret = project.substr(project.find("    NAME \"FX\""));
    EXPECT_TRUE(has(envelopeIn(ret, "AUXVOLENV 0"), "      ACT 0 -1"));  // sent by the track in mode Off
    EXPECT_TRUE(has(envelopeIn(ret, "AUXVOLENV 1"), "      ACT 1 -1"));
    EXPECT_TRUE(has(envelopeIn(ret, "VOLENV2"), "      ARM 1"));
    EXPECT_NE(ret.find("<PANENV2"), std::string::npos);
    EXPECT_EQ(ret.find("<VOLENV3"), std::string::npos);
    EXPECT_EQ(ret.find("<DUALPANENV"), std::string::npos);
}
