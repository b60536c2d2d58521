// The session's tempo: the one it opens with, found by its byte pattern.
#pragma once

#include <vector>

#include "session/image.h"

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

// Seconds from the session start to a tick position, through the tempo map;
// an empty map runs at the session tempo throughout.
double secondsOfTicks(double ticks, const std::vector<TempoEvent>& tempoMap, double sessionTempo);
