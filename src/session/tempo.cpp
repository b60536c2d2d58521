#include "session/tempo.h"

#include <algorithm>
#include <functional>
#include <vector>

#include "session/session_model.h"

namespace {

const uint8_t kTempoPattern[24] = {0x14, 0x00, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
                                   0x00, 0x00, 0x00, 0x10, 0xA5, 0xD4, 0xE8, 0x00, 0x00, 0x00, 0x00, 0x01};

bool plausibleStoredBpm(double bpm) { return bpm >= 5 && bpm <= 999; }

}  // namespace

double quarterNoteBpm(double bpm, uint64_t noteValue) {
    if (noteValue < 30000 || noteValue > 5760000) return bpm;
    return bpm * static_cast<double>(noteValue) / static_cast<double>(kTicksPerQuarter);
}

double readSessionTempo(const ImageView& image) {
    if (image.length < 32 || image.bytes == nullptr) return 120;
    // Every place where the first 20 bytes stand, found once; the whole pattern
    // is tried first, over all of them, then the short one.
    std::vector<uint64_t> starts;
    const uint8_t* begin = image.bytes;
    const uint8_t* end = image.bytes + image.length;
    std::boyer_moore_horspool_searcher searcher(kTempoPattern, kTempoPattern + 20);
    for (const uint8_t* at = begin;;) {
        at = std::search(at, end, searcher);
        if (at == end) break;
        uint64_t position = static_cast<uint64_t>(at - begin);
        if (position + 32 <= image.length) starts.push_back(position);
        ++at;
    }
    for (int patternLength : {24, 20}) {
        for (uint64_t position : starts) {
            if (!image.matches(position, kTempoPattern, static_cast<uint64_t>(patternLength))) continue;
            double bpm = image.f64(position + 24);
            if (!plausibleStoredBpm(bpm)) continue;
            uint64_t noteValue = image.holds(position + 32, 8) ? image.u64(position + 32) : kTicksPerQuarter;
            return quarterNoteBpm(bpm, noteValue);
        }
    }
    return 120;
}

double secondsOfTicks(double ticks, const std::vector<TempoEvent>& tempoMap, double sessionTempo) {
    const double perQuarter = static_cast<double>(kTicksPerQuarter);
    if (tempoMap.empty()) return ticks * 60.0 / (sessionTempo * perQuarter);
    if (tempoMap.front().position > ticks) return ticks * 60.0 / (perQuarter * tempoMap.front().bpm);
    double seconds = 0;
    for (size_t i = 0; i < tempoMap.size() && tempoMap[i].position < ticks; ++i) {
        const double next = i + 1 < tempoMap.size() ? tempoMap[i + 1].position : 1e18;
        const double spanEnd = ticks < next ? ticks : next;
        seconds += (spanEnd - tempoMap[i].position) * 60.0 / (tempoMap[i].bpm * perQuarter);
    }
    return seconds;
}

double secondsAt(const TimelinePosition& position, double sampleRate, const std::vector<TempoEvent>& tempoMap,
                 double sessionTempo) {
    const double value = static_cast<double>(position.value);
    return position.inTicks() ? secondsOfTicks(value, tempoMap, sessionTempo) : value / sampleRate;
}

namespace {

constexpr uint16_t kTempoBlock = 0x2028;
constexpr uint64_t kFirstTempoRecord = 58;
constexpr uint64_t kTempoRecordStride = 61;

// The events of one tempo block, up to the first record that is out of range
// or that would move back in time. Positions are ticks, biased, whatever their
// unit mark says.
std::vector<TempoEvent> tempoBlockEvents(const ImageView& view, uint64_t z, uint64_t end, PositionFaults& faults) {
    std::vector<TempoEvent> events;
    for (uint64_t r = z + kFirstTempoRecord;; r += kTempoRecordStride) {
        PositionFaults recordFaults;
        const uint64_t stored = readStoredValue(view, r, &recordFaults).value;
        const double bpm = view.f64(r + 10);
        if (!plausibleStoredBpm(bpm) || stored < kPositionBias) break;
        faults.add(recordFaults);
        const double position = static_cast<double>(stored - kPositionBias);
        if (!events.empty() && position < events.back().position) break;
        // The note value the BPM counts; one that does not lie in the block is a quarter.
        const uint64_t noteValue = r + 26 <= end ? view.u64(r + 18) : kTicksPerQuarter;
        events.push_back(TempoEvent{position, quarterNoteBpm(bpm, noteValue)});
        if (end < r + 79) break;
    }
    return events;
}

}  // namespace

std::vector<TempoEvent> readTempoMap(const SessionImage& image, PositionFaults* faults) {
    const ImageView& view = image.view;
    std::vector<TempoEvent> longest;
    PositionFaults longestFaults;
    if (view.length < 88) return longest;
    for (uint64_t z : image.scan(kTempoBlock)) {
        if (z + 89 >= view.length) break;
        const uint64_t end = z + 7 + uint64_t{view.u32(z + 3)};
        if (!view.matches(z + 9, "Tempo", 5) || end < z + 76) continue;
        PositionFaults blockFaults;
        std::vector<TempoEvent> events = tempoBlockEvents(view, z, end, blockFaults);
        if (events.size() > longest.size()) {
            longest = std::move(events);
            longestFaults = blockFaults;
        }
    }
    if (longest.size() == 1) longest.clear();
    if (faults != nullptr && !longest.empty()) faults->add(longestFaults);
    return longest;
}

void readMusicalTime(const SessionImage& image, SessionModel& model) {
    model.tempoMap = readTempoMap(image, &model.positionFaults);
    model.meterMap = readMeterMap(image);
    model.memoryLocations = readMemoryLocations(image);
}
