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
