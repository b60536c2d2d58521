// The <ITEM block of an audio clip: one take whose source is the clip's file.
#pragma once

#include <utility>
#include <vector>

#include "analysis/analysis_model.h"

struct ProjectWriter;

// Writes one item. laneIndex is 0 for the track's own clips; laneCount is the
// number of lanes plus 1, or 1 on a track without lanes (no YPOS then).
void writeAudioItem(ProjectWriter& writer, const OutputTrack& track, const AudioClip& clip, int laneIndex,
                    int laneCount);

// The clip gain curve cut to the item: (seconds from the item's start, dB),
// with points interpolated at the item's edges where the curve crosses them.
std::vector<std::pair<double, double>> clipGainPoints(const AudioClip& clip, double sampleRate);
