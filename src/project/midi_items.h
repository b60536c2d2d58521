// MIDI items: an <ITEM with an inline <SOURCE MIDI of delta-time events, the
// track's volume, pan and program played into its start, and the track's MIDI
// Real-Time Properties baked into its notes.
#pragma once

#include "analysis/analysis_model.h"

struct ProjectWriter;

// Writes every MIDI item of the track, in order; items without length are left out.
void writeMidiItemsOf(ProjectWriter& writer, const OutputTrack& track);
