// MIDI as the session stores it: note chunks with their controller and SysEx
// streams, the MIDI playlist table behind the stacking of MIDI clips, and the
// per-track MIDI settings. Positions are ticks, 960000 to the quarter note.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "session/blocks.h"
#include "session/clips.h"
#include "session/tracks.h"

// One "MdNLB" note list inside a 0x2000 block; events are relative to origin,
// in its unit: ticks on a tick-based track, samples on a sample-based one.
struct MidiNoteChunk {
    TimelinePosition origin;  // the position of the first note; 0 for an empty list
    int64_t maxEnd = 0;       // the largest position + length
    std::vector<MidiEvent> events;
};
// Every note chunk, in file order, empty ones included. Positions out of shape
// are counted in faults when given.
std::vector<MidiNoteChunk> readMidiNoteChunks(const SessionImage& image, PositionFaults* faults = nullptr);
// The same, over a block tree already walked.
std::vector<MidiNoteChunk> readMidiNoteChunks(const SessionImage& image, const std::vector<PtxBlock>& tree,
                                              PositionFaults* faults = nullptr);

constexpr uint8_t kPitchBend = 1;
constexpr uint8_t kController = 2;
constexpr uint8_t kAftertouch = 4;

struct MidiControllerEvent {
    uint8_t kind = 0;        // kPitchBend, kController or kAftertouch
    uint8_t controller = 0;  // for kController
    TimelinePosition position;
    uint32_t value = 0;
};

struct MidiSysexEvent {
    TimelinePosition position;
    std::vector<uint8_t> bytes;
};

// The second view of the note lists: each chunk with the streams behind it.
struct MidiStreamChunk {
    TimelinePosition origin;
    uint32_t noteCount = 0;
    std::vector<MidiControllerEvent> controllers;
    std::vector<MidiSysexEvent> sysexEvents;
};
std::vector<MidiStreamChunk> readMidiStreams(const SessionImage& image, PositionFaults* faults = nullptr);

// The MIDI clips of both routes (0x2002/0x2634 lists and 0x262C clip groups)
// into lists.midiClips, and the MIDI placements (0x1058) onto the MIDI track
// entries of lists.midiPlacements, whose clipless entries are then removed.
void readMidiClipsAndPlacements(const SessionImage& image, const std::vector<MidiNoteChunk>& chunks,
                                ClipLists& lists, PositionFaults* faults = nullptr);
void readMidiClipsAndPlacements(const SessionImage& image, const std::vector<PtxBlock>& tree,
                                const std::vector<MidiNoteChunk>& chunks, ClipLists& lists,
                                PositionFaults* faults = nullptr);

// One MIDI playlist (0x1057): per placement, in parallel lists, the stacking
// state that says which of two overlapping MIDI clips lies on top.
struct MidiPlaylistRow {
    std::string name;
    std::vector<uint32_t> clipIndex;  // the MIDI clip placed
    std::vector<int16_t> colour;
    std::vector<uint8_t> overlapState;
    std::vector<bool> live;
    std::vector<TimelinePosition> position;
};
std::vector<MidiPlaylistRow> readMidiPlaylistRows(const SessionImage& image);

// Volume, pan and program a MIDI or instrument track sends when playback starts.
struct MidiTrackControls {
    int32_t volume = -1;  // 0 to 127, -1 none
    int32_t pan = -1;
    int32_t program = -1;
    int32_t outputIndex = 0;  // 1-based row of the MIDI output list; 0 none
};
// By effective track name, for tracks of kind 0x2620 and 0x2621.
std::map<std::string, MidiTrackControls> readMidiTrackControls(const SessionImage& image,
                                                               const std::vector<SessionTrack>& tracks);

// A track's MIDI Real-Time Properties.
struct MidiRealTime {
    bool firstSwitch = false;  // +11: quantize, reported and not carried
    uint32_t secondValue = 0;  // +54
    bool delayOn = false;
    bool velocityOn = false;
    bool transposeOn = false;
    bool furtherSwitch = false;  // +156: duration, reported and not carried
    int32_t delayTicks = 0;      // at 960 per quarter note
    int32_t velocityScale = 100;  // percent
    int32_t velocityOffset = 0;
    uint8_t furtherValue = 0;     // +157
    int32_t octaves = 0;          // +158, signed byte
    int32_t semitones = 0;        // +159, signed byte
};
// By effective track name, for tracks of kind 0x2620 and 0x2621.
std::map<std::string, MidiRealTime> readMidiRealTime(const SessionImage& image, const std::vector<SessionTrack>& tracks);

// One row of the MIDI output list (0x2004).
struct MidiOutputRow {
    std::string name;
    int32_t channel = 0;  // 0 when none
    bool pluginNode = false;
    uint8_t deviceBytes[16] = {};
    uint8_t deviceByte = 0;
};
std::vector<MidiOutputRow> readMidiOutputs(const SessionImage& image);
