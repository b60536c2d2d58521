// The <TRACK block of an output track, and the smaller one of a return track.
#pragma once

#include <cstddef>
#include <string>

struct ProjectWriter;

// PEAKCOL of a track with no colour: REAPER's default.
constexpr unsigned kDefaultPeakColour = 16576;

// Writes output track i of the output track list, items included.
void writeTrack(ProjectWriter& writer, std::size_t i);
// Writes return track k: a bus that receives sends and has no track of its own.
void writeReturnTrack(ProjectWriter& writer, std::size_t k, const std::string& busName);
// The master's inserts as its <MASTERFXLIST; nothing when it has none.
void writeMasterChain(ProjectWriter& writer);
