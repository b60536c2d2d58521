// The control values a stock processor's record stores ("d_" and "l_" items),
// and their checked reading: a value outside its control's range, infinite or
// not a number, is held to the range and said in a note.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "session/image.h"
#include "session/plugin_records.h"

// The floats of the record's chain of "d_"/"l_" items; empty when it has none.
std::vector<float> readControlValues(const ImageView& view, const PluginInstance& instance);
// The same from the record's bytes [start, end).
std::vector<float> readControlValues(const ImageView& view, uint64_t start, uint64_t end);

// Reads values[index] held to [low, high]; NaN (or a missing value) gives
// fallback. Any change sets held, so that the caller adds its note once.
struct ControlReader {
    const std::vector<float>& values;
    bool held = false;

    double get(std::size_t index, double low, double high, double fallback);
    // A switch: on at 0.5 or more; NaN is off.
    bool on(std::size_t index);
};

// The note for a processor whose values were held to their ranges.
std::string heldValuesNote(const std::string& pluginName);
