// The session's tempo: the one it opens with, found by its byte pattern.
#pragma once

#include <vector>

#include "session/blocks.h"
#include "session/image.h"
#include "session/timeline_position.h"

// The opening tempo in quarter-note BPM, 120 when none is stored. The stored
// BPM counts the note value stored beside it (a sixteenth, a dotted eighth...).
double readSessionTempo(const ImageView& image);

// A BPM counted in `noteValue` ticks turned into quarter-note BPM; a note value
// outside 30000 to 5760000 ticks counts as a quarter.
double quarterNoteBpm(double bpm, uint64_t noteValue);

// One change of tempo: its position in ticks (bias removed) and quarter-note BPM.
struct TempoEvent {
    double position = 0;
    double bpm = 120;
};

// The tempo map: the longest run of tempo records found in any tempo block,
// each turned into quarter-note BPM. A single event is no map: the list is
// then empty and the session tempo stands for it. Positions out of shape in
// the map are counted in faults when given.
std::vector<TempoEvent> readTempoMap(const SessionImage& image, PositionFaults* faults = nullptr);

struct SessionModel;
// Fills the model's tempo map, meter map and memory locations. The session
// tempo is left to the caller, who may override it.
void readMusicalTime(const SessionImage& image, SessionModel& model);

// Seconds from the session start to a tick position, through the tempo map;
// an empty map runs at the session tempo throughout.
double secondsOfTicks(double ticks, const std::vector<TempoEvent>& tempoMap, double sessionTempo);

// Seconds of a timeline position: samples by the sample rate, ticks through
// the tempo map.
double secondsAt(const TimelinePosition& position, double sampleRate, const std::vector<TempoEvent>& tempoMap,
                 double sessionTempo);
