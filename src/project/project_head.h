// The head of the project: the fixed statements, rate, tempo and timecode, the
// tempo envelope with every meter change, markers and regions, and the master.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "session/locations.h"
#include "session/meters.h"
#include "session/session_info.h"

class ProjectText;
struct RunState;
struct SessionModel;

// One point of the tempo envelope.
struct TempoPoint {
    double time = 0;  // seconds
    double bpm = 120;
    uint32_t meterCode = 0;   // denominator x 65536 + numerator; 0 for none
    uint32_t meterFlags = 0;  // 0 no meter, 1 the project's first meter, 3 a meter change
    int32_t shape = 1;        // 1 square (a step), 0 linear (a ramp)
};

// What folding drawn ramps did, for the notes.
struct TempoRampFigures {
    int folded = 0;       // runs written as ramps
    int leftAsSteps = 0;  // runs left as Pro Tools' steps
    double largestPointError = 0;   // seconds, at the points of the ramps written
    double largestInsideError = 0;  // seconds, at the steps and step middles inside them
};

// Folds each run of evenly spaced small steps into linear points whose tempos
// give the steps' own beat count; a run is replaced only when the ramp replays
// it within one sample at sampleRate (48000 when that is not above 0).
std::vector<TempoPoint> foldTempoRamps(const std::vector<TempoPoint>& points, double sampleRate,
                                       TempoRampFigures& figures);

// The meter events after the first that change the meter, and those that
// repeat the meter already in force.
struct MeterChanges {
    std::vector<MeterEvent> changes;
    std::vector<MeterEvent> repeats;
};
MeterChanges meterChanges(const std::vector<MeterEvent>& meters);

// The points of the tempo envelope: none when the session has at most one
// tempo event and no meter change.
std::vector<TempoPoint> tempoEnvelope(const SessionModel& model, bool tempoRamps, double sampleRate,
                                      TempoRampFigures& figures);

// A track comment's lines for a notes block: LF ends a line, other control
// bytes but tab go, tab becomes a blank, a lone ">" becomes " >".
std::vector<std::string> commentLines(const std::string& comment);

// A marker's project colour (0x01BBGGRR, 0 for REAPER's default) from its
// stored fields; paletteColour is what the palette gives its index (0 for
// none). unmapped is set for a colour number this build cannot map.
uint32_t markerColour(const MemoryLocation& location, uint32_t paletteColour, bool& unmapped);

struct UnmappedMarkerColour {
    std::string name;
    int32_t colourNumber = 0;
};

// The counts and values the console notes and the report take from the head.
struct ProjectHeadSummary {
    bool meterMapRead = false;  // the session has meter events
    int32_t meterNumerator = 4;
    int32_t meterDenominator = 4;
    std::vector<MeterEvent> meterChanges;    // written as time signature changes
    std::vector<MeterEvent> repeatedMeters;  // repeat the meter in force; nothing written

    int tempoEvents = 0;  // events of the tempo map
    bool tempoEnvelopeWritten = false;
    int tempoPoints = 0;
    TempoRampFigures ramps;  // only with --tempo-ramps
    double rampSampleRate = 48000;

    int locationsWritten = 0;  // markers and regions
    int regionsWritten = 0;
    int locationsWithoutTime = 0;  // time property none: not written
    int markersColoured = 0;
    std::vector<UnmappedMarkerColour> unmappedColours;

    bool timecodeWritten = false;  // PROJOFFS and TIMEMODE
    SessionTimecode timecode;
    bool recordFormatWritten = false;  // RECORD_CFG holds the WAV format
    bool gridWritten = false;
    double gridQuarterNotes = 0;
    bool masterStripFound = false;
    bool masterFaderParked = false;  // a volume lane carries the master's level
};

// Writes the head from <NOTES through the master's envelopes, inside the project block
// the caller has opened, and gives what it wrote for the notes.
ProjectHeadSummary writeProjectHead(const RunState& state, ProjectText& text);

// The same summary without writing anything.
ProjectHeadSummary projectHeadSummary(const RunState& state);
