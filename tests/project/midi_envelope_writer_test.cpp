// MIDI item sources and automation envelopes as project text.
#include <gtest/gtest.h>

#include <cmath>

#include "driver/run_state.h"
#include "project/envelopes.h"
#include "project/midi_items.h"
#include "project/project_writer.h"
#include "project/text.h"

namespace {

MidiItemEvent event(uint64_t ppq, uint32_t status, uint32_t data1, uint32_t data2) {
    return {ppq, status, data1, data2, false, {}};
}

std::string midiText(RunState& state, const OutputTrack& track) {
    std::string out;
    {
        ProjectText text(out, 2);
        ProjectWriter writer{state, text, 0, {}, false, {}, {}};
        writeMidiItemsOf(writer, track);
    }
    return out;
}

}  // namespace

TEST(MidiItemText, StartControlsRealTimePropertiesAndSysex) {
    RunState state;
    OutputTrack track;
    track.name = "Keys";
    track.isMidi = true;
    MidiItem item;
    item.position = 1;
    item.length = 2;
    item.name = "riff";
    item.events = {event(15, 0x90, 120, 100), event(40, 0xB0, 10, 64), event(50, 0x80, 120, 0)};
    MidiItemEvent sysex = event(60, 0xF0, 0, 0);
    sysex.sysex = {0x43, 0x10};
    item.events.push_back(sysex);
    track.midiItems = {item, MidiItem()};  // the second has no length and is not written

    state.model.midiControls["Keys"] = {100, 64, 5};
    MidiRealTime realTime;
    realTime.transposeOn = realTime.velocityOn = realTime.delayOn = true;
    realTime.octaves = 1;  // 120 + 12 lies past the MIDI range
    realTime.velocityScale = 50;
    realTime.velocityOffset = 10;
    realTime.delayTicks = -20;
    state.model.midiRealTime["Keys"] = realTime;

    EXPECT_EQ(midiText(state, track),
              "    <ITEM\n"
              "      POSITION 1.0000000000\n"
              "      SNAPOFFS 0\n"
              "      LENGTH 2.0000000000\n"
              "      LOOP 0\n"
              "      ALLTAKES 0\n"
              "      FADEIN 1 0 0 1 0 0 0\n"
              "      FADEOUT 1 0 0 1 0 0 0\n"
              "      MUTE 0 0\n"
              "      NAME \"riff\"\n"
              "      <SOURCE MIDI\n"
              "        HASDATA 1 960 QN\n"
              "        E 0 b0 07 64\n"  // the clip streams its own CC 10: no pan line
              "        E 0 c0 05 00\n"
              "        Em 0 90 7f 3c\n"  // delayed from 15 to 0, transposed out, velocity 100 at 50% + 10
              "        E 20 b0 0a 40\n"
              "        Em 10 80 7f 00\n"
              "        <X 10 0\n"
              "          8EMQ9w==\n"
              "        >\n"
              "        E 1 b0 7b 00\n"
              "      >\n"
              "    >\n");
    EXPECT_EQ(state.counters.notesTransposedOut, 2);
    EXPECT_EQ(state.counters.midiTracksWithControls, 1);
    EXPECT_EQ(state.counters.realTimeApplied, 1);
    EXPECT_EQ(state.counters.notesWritten, 0);  // the one note is muted

    // Velocity 100 at 0% with no offset still sounds: 1.
    state.model.midiRealTime["Keys"] = MidiRealTime{};
    state.model.midiRealTime["Keys"].velocityOn = true;
    state.model.midiRealTime["Keys"].velocityScale = 0;
    track.midiItems[0].events = {event(0, 0x90, 60, 100)};
    EXPECT_NE(midiText(state, track).find("        E 0 90 3c 01\n"), std::string::npos);
}

TEST(EnvelopeText, ValuesShapesAndTheRestingPoint) {
    SessionModel model;
    auto envelope = [&](const EnvelopeForm& form, const AutomationLane& lane) {
        std::string out;
        ProjectText text(out, 2);
        EXPECT_EQ(writeEnvelope(text, form, lane, model, 48000), static_cast<int>(lane.points.size()));
        return out;
    };
    AutomationLane volume;
    volume.initial = 0;
    volume.points = {{48000, -60}, {96000, 0}, {144000, 60}};
    // The whole block of a volume lane is the golden runs'; here the resting point and a point above 0 dB.
    EXPECT_NE(envelope({"VOLENV2", -1, LaneKind::volume, true, true, false}, volume)
                  .find("      PT 0.0000000000 1.000000000 0\n      PT 1.0000000000 0.501187234 0\n"
                        "      PT 2.0000000000 1.000000000 0\n      PT 3.0000000000 1.995262315 0\n    >\n"),
              std::string::npos);

    AutomationLane mute;
    mute.initial = 0;
    mute.points = {{0, 1}};
    mute.inTicks = 1;
    model.sessionTempo = 60;  // a quarter is a second
    const std::string muteText = envelope({"AUXMUTEENV", 3, LaneKind::mute, false, false, false}, mute);
    EXPECT_NE(muteText.find("<AUXMUTEENV 3\n      ACT 0 -1\n"), std::string::npos);
    EXPECT_NE(muteText.find("DEFSHAPE 1 -1 -1\n      PT 0.0000000000 1.000000000 1\n"
                            "      PT 0.0000000000 0.000000000 1\n"),
              std::string::npos);

    EXPECT_EQ(envelopeValue(0, LaneKind::pan), 0.0);
    EXPECT_FALSE(std::signbit(envelopeValue(0, LaneKind::pan)));
    EXPECT_EQ(envelopeValue(50, LaneKind::pan), -0.5);
    // Without points nothing is written, unless forced.
    EXPECT_EQ(envelope({"DUALPANENV", -1, LaneKind::dualPan, false, true, false}, AutomationLane()), "");
    EXPECT_NE(envelope({"DUALPANENV", -1, LaneKind::dualPan, false, true, true}, AutomationLane()).find("PT 0"),
              std::string::npos);
}
