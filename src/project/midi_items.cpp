#include "project/midi_items.h"

#include <algorithm>

#include "driver/run_state.h"
#include "project/colour_choice.h"
#include "project/project_writer.h"
#include "project/text.h"
#include "project/track_tables.h"

namespace {

template <typename Table>
const typename Table::mapped_type* findByBoth(const Table& table, const OutputTrack& track) {
    auto found = table.find(track.name);
    if (found == table.end() && !track.matchKey.empty()) found = table.find(track.matchKey);
    return found == table.end() ? nullptr : &found->second;
}

bool holdsController(const MidiItem& item, uint32_t controller) {
    return std::any_of(item.events.begin(), item.events.end(), [controller](const MidiItemEvent& event) {
        return event.status == 0xB0 && event.data1 == controller;
    });
}

// What the track's Real-Time Properties do to each event.
struct RealTime {
    int transpose = 0;
    int scale = 100;
    int offset = 0;
    bool velocityOn = false;
    int64_t delay = 0;
};

RealTime realTimeOf(const MidiRealTime* properties) {
    RealTime realTime;
    if (properties == nullptr) return realTime;
    if (properties->transposeOn) realTime.transpose = 12 * properties->octaves + properties->semitones;
    if (properties->velocityOn) {
        realTime.velocityOn = true;
        realTime.scale = properties->velocityScale;
        realTime.offset = properties->velocityOffset;
    }
    if (properties->delayOn) realTime.delay = properties->delayTicks;
    return realTime;
}

// The track's volume, pan and program at tick 0, as Pro Tools sends them when
// playback starts; a clip that streams CC 7 or CC 10 itself keeps its own.
bool writeStartControls(ProjectText& text, const MidiItem& item, const MidiTrackControls* controls) {
    if (controls == nullptr) return false;
    bool wrote = false;
    if (!holdsController(item, 7) && controls->volume >= 0) {
        text.statement("E").num(0).word("b0").word("07").midiByte(static_cast<unsigned>(controls->volume));
        wrote = true;
    }
    if (!holdsController(item, 10) && controls->pan >= 0) {
        text.statement("E").num(0).word("b0").word("0a").midiByte(static_cast<unsigned>(controls->pan));
        wrote = true;
    }
    if (controls->program >= 0) {
        text.statement("E").num(0).word("c0").midiByte(static_cast<unsigned>(controls->program)).word("00");
    }
    return wrote;
}

void writeEvents(ProjectText& text, const MidiItem& item, const RealTime& realTime, RunCounters& counters) {
    uint64_t last = 0;
    for (const MidiItemEvent& source : item.events) {
        MidiItemEvent event = source;
        const int64_t delayed = static_cast<int64_t>(event.ppq) + realTime.delay;
        const uint64_t p = delayed < 0 ? 0 : static_cast<uint64_t>(delayed);
        if (event.status == 0x80 || event.status == 0x90 || event.status == 0xA0) {
            const int note = static_cast<int>(event.data1) + realTime.transpose;
            if (note < 0 || note > 127) {
                event.data1 = note < 0 ? 0 : 127;
                event.muted = true;
                ++counters.notesTransposedOut;
            } else {
                event.data1 = static_cast<uint32_t>(note);
            }
        }
        if (event.status == 0x90 && event.data2 > 0 && realTime.velocityOn) {
            const int scaled = static_cast<int>(realTime.scale * static_cast<double>(event.data2) / 100.0 + 0.5) +
                               realTime.offset;
            event.data2 = static_cast<uint32_t>(std::min(127, std::max(1, scaled)));
        }
        const uint64_t delta = p >= last ? p - last : 0;
        if (event.status == 0xF0) {
            std::vector<uint8_t> bytes(event.sysex.size() + 2, 0xF0);
            std::copy(event.sysex.begin(), event.sysex.end(), bytes.begin() + 1);
            bytes.back() = 0xF7;
            text.open("X").num(delta).num(0);
            text.rawLine(base64(bytes));
            text.close();
        } else {
            text.statement(event.muted ? "Em" : "E").num(delta).midiByte(event.status).midiByte(event.data1)
                .midiByte(event.data2);
            if (event.status == 0x90 && event.data2 > 0 && !event.muted) ++counters.notesWritten;
        }
        last = p;
    }
}

void countRealTime(RunCounters& counters, const std::string& name, const MidiRealTime& properties) {
    const bool applied = properties.delayOn || properties.velocityOn || properties.transposeOn;
    const bool notApplied = properties.firstSwitch || properties.furtherSwitch;
    if (!applied && !notApplied) return;
    counters.realTimeTracks.push_back(name);
    if (applied) ++counters.realTimeApplied;
    if (notApplied) ++counters.realTimeNotApplied;
}

}  // namespace

void writeMidiItemsOf(ProjectWriter& writer, const OutputTrack& track) {
    RunState& state = writer.state;
    ProjectText& text = writer.text;
    const MidiTrackControls* controls = findByBoth(state.model.midiControls, track);
    const MidiRealTime* properties = track.isMidi ? findByBoth(state.model.midiRealTime, track) : nullptr;
    const RealTime realTime = realTimeOf(properties);
    if (properties != nullptr) countRealTime(state.counters, track.name, *properties);
    bool controlsWritten = false;
    bool itemWritten = false;
    for (const MidiItem& item : track.midiItems) {
        if (item.length <= 0) continue;
        text.open("ITEM");
        text.statement("POSITION").seconds(item.position);
        text.statement("SNAPOFFS").num(0);
        text.statement("LENGTH").seconds(item.length);
        if (item.sourceStart > 0) text.statement("SOFFS").seconds(item.sourceStart);
        text.statement("LOOP").num(0);
        text.statement("ALLTAKES").num(0);
        text.statement("FADEIN").num(1).num(0).num(0).num(1).num(0).num(0).num(0);
        text.statement("FADEOUT").num(1).num(0).num(0).num(1).num(0).num(0).num(0);
        const std::optional<uint32_t> colour = midiClipColour(state, item.colour);
        if (colour && !state.options.noClipColors) text.statement("COLOR").colour(*colour).word("R");
        text.statement("MUTE").num(item.muted ? 1 : 0).num(0);
        if (item.locked) text.statement("LOCK").num(1);
        text.statement("NAME").name(item.name);
        text.open("SOURCE").word("MIDI");
        text.statement("HASDATA").num(1).num(960).word("QN");
        controlsWritten = writeStartControls(text, item, controls) || controlsWritten;
        writeEvents(text, item, realTime, state.counters);
        text.statement("E").num(1).word("b0").word("7b").word("00");
        text.close();
        text.close();
        ++state.counters.midiItems;
        itemWritten = true;
    }
    if (controlsWritten) ++state.counters.midiTracksWithControls;
    if (itemWritten && controls != nullptr && controls->program >= 0) state.counters.patchTracks.push_back(track.name);
}
