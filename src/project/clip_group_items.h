// The item of a clip group that holds no audio: empty, at the group's place,
// its name as the item's notes.
#pragma once

#include "analysis/analysis_model.h"

struct ProjectWriter;

void writeClipGroupItem(ProjectWriter& writer, const OutputTrack& track, const AudioClip& item, int laneIndex,
                        int laneCount);
