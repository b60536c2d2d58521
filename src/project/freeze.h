// A track frozen in Pro Tools, delivered frozen under --keep-frozen: its chain
// and items inside a <FREEZE block, Pro Tools' render playing in their place.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "analysis/analysis_model.h"

struct ProjectWriter;
struct RunState;

// The decision for one output track: kept frozen with its renders, or the reason it is not.
struct FreezePlan {
    bool frozen = false;
    std::vector<FreezeRecord> renders;
    std::vector<double> renderLengths;  // seconds, from each render's own header
};

// Empty plan unless --keep-frozen is on and the track has freeze records; a
// track that cannot stay frozen gets its reason into the run's refusals.
FreezePlan tryFreeze(RunState& state, std::size_t i);

// Seconds of audio in a RIFF/WAVE file; 0 when it does not open or is not one.
double waveFileSeconds(const std::string& path);

// <FREEZE 0, the body written apart, the closing line, then one locked item per render.
void writeFreeze(ProjectWriter& writer, std::size_t i, const FreezePlan& plan, const std::string& body);
