// Which colour a track and a clip are written in, and the counts behind the
// colour notes.
#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>

#include "analysis/palette.h"

struct OutputTrack;
struct RunState;

struct ColourCounts {
    int tracksCarried = 0;    // a colour of their own
    int tracksFromScheme = 0; // the colour the session's coding scheme displays
    int tracksDefault = 0;    // no colour: REAPER's default
    DarkCounts dark;

    int clipsColoured = 0;            // written with their own palette colour
    std::set<int32_t> clipIndices;    // distinct indices of those
    int clipsHandPicked = 0;          // lower-row swatches, stronger than Pro Tools draws them
    int clipsInvented = 0;            // off the known grid
    int clipsHeldBack = 0;            // would carry a colour, --no-clip-colors
    std::set<int32_t> unmeasuredIndices;
    int clipsUnmeasured = 0;          // auto-assigned, shade not measured
    int clipsTinted = 0;              // no colour of their own: the tint Pro Tools displays
    int tintsNotMeasured = 0;
    int clipsLeftToReaper = 0;
    int midiLightBlue = 0;
};

enum class TrackColourSource { none, carried, offPalette, scheme, fallback };

struct TrackColourChoice {
    std::optional<uint32_t> colour;
    TrackColourSource source = TrackColourSource::none;  // none under --no-track-colors
};
TrackColourChoice trackColourChoice(const RunState& state, const std::string& name, const std::string& matchKey);
void countTrackColour(ColourCounts& counts, const TrackColourChoice& choice);

// The colour of a clip with the stored palette index (-2 for none) on a track,
// counted for the notes; nothing when REAPER draws it in the track's colour.
std::optional<uint32_t> audioClipColour(RunState& state, const OutputTrack& track, int32_t index);
std::optional<uint32_t> midiClipColour(RunState& state, int32_t index);
