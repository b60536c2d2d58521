// Clip Effects as the session stores them: lists of (control name, value)
// by a 64-bit id in the 0x4400 blocks, and each clip's id behind its name.
#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "session/blocks.h"

using ClipEffectsValues = std::vector<std::pair<std::string, double>>;

// The stored list of each clip name that has one. A later clip of the same
// name replaces an earlier one's list.
std::map<std::string, ClipEffectsValues> readClipEffects(const SessionImage& image);
