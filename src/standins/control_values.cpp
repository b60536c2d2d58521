#include "standins/control_values.h"

#include <cmath>
#include <cstring>

namespace {

// The chain must begin this close to the record's start.
constexpr uint64_t kFirstItemReach = 81;
constexpr double kDoubleLimit = 1e30;

bool itemAt(const ImageView& view, uint64_t at, char kind) {
    const char pattern[2] = {kind, '_'};
    return view.matches(at, pattern, 2);
}

uint64_t bigEndian(const ImageView& view, uint64_t at, int count) {
    uint64_t value = 0;
    for (int k = 0; k < count; ++k) value = (value << 8) | view.u8(at + k);
    return value;
}

// The floats of the chain from at with the given gap, inside [.., end).
std::vector<float> chainWithGap(const ImageView& view, uint64_t at, uint64_t end, uint64_t gap) {
    std::vector<float> values;
    while (at + 2 <= end) {
        if (itemAt(view, at, 'd')) {
            if (at + gap + 8 > end) break;
            const uint64_t bits = bigEndian(view, at + gap, 8);
            double value;
            std::memcpy(&value, &bits, 8);
            if (!(value > -kDoubleLimit && value < kDoubleLimit)) return {};
            values.push_back(float(value));
            at += gap + 8;
        } else if (itemAt(view, at, 'l')) {
            if (at + gap + 4 > end) break;
            values.push_back(float(int32_t(uint32_t(bigEndian(view, at + gap, 4)))));
            at += gap + 4;
        } else {
            break;
        }
    }
    return values;
}

}  // namespace

std::vector<float> readControlValues(const ImageView& view, uint64_t start, uint64_t end) {
    if (end > view.length) end = view.length;
    uint64_t first = start;
    while (first + 2 <= end && !itemAt(view, first, 'd') && !itemAt(view, first, 'l')) ++first;
    if (first + 2 > end || first - start > kFirstItemReach) return {};
    std::vector<float> best;
    for (uint64_t gap : {4, 8, 12, 16}) {
        std::vector<float> values = chainWithGap(view, first, end, gap);
        if (values.size() > best.size()) best = std::move(values);
    }
    return best;
}

std::vector<float> readControlValues(const ImageView& view, const PluginInstance& instance) {
    return readControlValues(view, instance.recordStart, instance.payloadEnd);
}

double ControlReader::get(std::size_t index, double low, double high, double fallback) {
    if (index >= values.size() || std::isnan(values[index])) {
        held = true;
        return fallback;
    }
    const double value = values[index];
    if (value < low || value > high) {
        held = true;
        return value < low ? low : high;
    }
    return value;
}

bool ControlReader::on(std::size_t index) { return get(index, -1e9, 1e9, 0.0) >= 0.5; }

std::string heldValuesNote(const std::string& pluginName) {
    return pluginName + " control values outside their range, infinite or not a number, held to their range";
}
