// The session's video tracks, written after the output tracks: one track each,
// a video item per placement.
#pragma once

struct ProjectWriter;

void writeVideoTracks(ProjectWriter& writer);
