#include "session/automation.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "cli/console.h"
#include "session/strips.h"

namespace {

constexpr uint16_t kLaneBlock = 0x260A;
constexpr uint16_t kPannerGroup = 0x260C;
constexpr uint16_t kRowHolder = 0x260D;
constexpr uint16_t kAudioTrack = 0x261B;
constexpr uint16_t kMasterFader = 0x261D;
constexpr uint16_t kMidiTrack = 0x2620;
constexpr uint16_t kInstrumentTrack = 0x2621;
constexpr uint16_t kMidiLaneHolder = 0x2611;
constexpr uint16_t kMidiState = 0x2036;
constexpr uint32_t kLaneMinSize = 32;

// A block at z with a non-zero size whose end lies inside [.., limit].
bool validBlock(const ImageView& view, uint64_t z, uint64_t limit) {
    return view.u8(z) == 'Z' && view.u8(z + 2) == 0 && view.u32(z + 3) != 0 && blockEndAt(view, z) <= limit;
}

struct Span {
    uint64_t start = 0;
    uint64_t end = 0;
};

bool allPointsAre(const AutomationLane& lane, double value) {
    return std::all_of(lane.points.begin(), lane.points.end(),
                       [value](const std::pair<double, double>& point) { return point.second == value; });
}

// Rebuilds the lane list of a strip whose range mixes several panners' lanes.
std::vector<uint64_t> rebuiltLanes(const SessionImage& image, const LaneGroups& groups, const Span& span,
                                   uint16_t spanType, StripRow& strip) {
    const ImageView& view = image.view;
    const std::vector<uint64_t>& ungrouped = groups.ungrouped;
    if (ungrouped.size() > 2) {
        strip.pannerExtraLane = AutomationLane();
        readLane(view, ungrouped[2], strip.pannerExtraLane);
        strip.hasPannerExtraLane = 1;
    }
    for (size_t g = 0; g < 2 && g < groups.groups.size(); ++g) {
        if (groups.groups[g].size() <= 6) continue;
        strip.surroundLanes[g].assign(7, AutomationLane());
        for (size_t k = 0; k < 7; ++k) readLane(view, groups.groups[g][k], strip.surroundLanes[g][k]);
    }
    if (ungrouped.size() <= 1) return {};
    int width = -1;
    size_t taken = 0;
    if (spanType != kMasterFader) {
        width = trackWidthCode(image, span.start, span.end);
        taken = width == 1 ? 2 : width == 0 ? 1 : 0;
    }
    std::vector<uint64_t> lanes = {ungrouped[0], ungrouped[1]};
    for (size_t g = 0; g < taken && g < groups.groups.size(); ++g) {
        if (!groups.groups[g].empty()) lanes.push_back(groups.groups[g].front());
    }
    if (ungrouped.size() >= 3 && width >= 0) lanes.push_back(ungrouped.back());
    return lanes;
}

// Two pan lanes that sit at their hard left and right defaults are no pan
// automation; when either moves, the pair is a real dual pan.
void testStereoPans(StripRow& strip) {
    const bool leftFlat = allPointsAre(strip.panLane, -100);
    const bool rightFlat = allPointsAre(strip.rightPanLane, 100);
    if (!leftFlat || !rightFlat) {
        strip.dualPanPoints = static_cast<int32_t>(strip.panLane.points.size() + strip.rightPanLane.points.size());
        strip.dualPanLeftLane = strip.panLane;
        strip.panLane.points.clear();
        return;
    }
    const bool hadPoints = !strip.panLane.points.empty() || !strip.rightPanLane.points.empty();
    strip.panLane.points.clear();
    strip.rightPanLane.points.clear();
    if (!hadPoints && !(strip.panLane.initial == -100 && strip.rightPanLane.initial == 100)) strip.dualPanPoints = 2;
}

void assignLanes(const ImageView& view, const std::vector<uint64_t>& lanes, StripRow& strip) {
    const size_t count = lanes.size();
    strip.controlSlots = static_cast<int32_t>(count);
    if (count >= 1) readLane(view, lanes[0], strip.volumeLane);
    if (count >= 2) readLane(view, lanes[1], strip.muteLane);
    if (count >= 3) readLane(view, lanes[2], strip.panLane);
    if (count == 4) readLane(view, lanes[3], strip.trimLane);
    if (count == 5) {
        readLane(view, lanes[3], strip.rightPanLane);
        readLane(view, lanes[4], strip.trimLane);
        strip.stereoLanes = 1;
    }
}

void dumpLanes(const StripRow& strip) {
    if (strip.volumeLane.points.empty() && strip.muteLane.points.empty() && strip.panLane.points.empty()) return;
    std::fputs(formatText("LANES %s | fader %.1f dB | vol %d pt init %.0f | mute %d pt | pan %d pt\n",
                          strip.name.c_str(), strip.faderDb, static_cast<int>(strip.volumeLane.points.size()),
                          strip.volumeLane.initial, static_cast<int>(strip.muteLane.points.size()),
                          static_cast<int>(strip.panLane.points.size()))
                   .c_str(),
               stderr);
    for (const auto& point : strip.volumeLane.points) {
        std::fputs(formatText("LANES   vol %14.0f %8.0f\n", point.first, point.second).c_str(), stderr);
    }
}

}  // namespace

void readLane(const ImageView& image, uint64_t position, AutomationLane& lane) {
    const uint32_t size = image.u32(position + 3);
    if (size < kLaneMinSize || !image.holds(position, uint64_t(size) + 7)) return;
    lane.inTicks = image.holds(position + 27, 5) && (image.u32(position + 27) != 0 || image.u8(position + 31) != 0);
    lane.initial = static_cast<int16_t>(image.u16(position + 35));
    lane.points.clear();
    const uint32_t count = image.u16(position + 25);
    if (count == 0 || uint64_t(size) + 7 < uint64_t(count) * 6 + 39) return;
    for (uint32_t k = 0; k < count; ++k) {
        const uint64_t at = position + 37 + 6 * uint64_t(k);
        lane.points.emplace_back(image.u32(at), static_cast<int16_t>(image.u16(at + 4)));
    }
}

LaneGroups groupLanes(const SessionImage& image, uint64_t rangeStart, uint64_t rangeEnd) {
    const ImageView& view = image.view;
    LaneGroups result;
    std::vector<Span> spans;
    for (uint64_t g : image.scan(kPannerGroup, rangeStart, rangeEnd)) {
        if (view.u32(g + 3) == 0 || blockEndAt(view, g) > rangeEnd) continue;
        spans.push_back({g, blockEndAt(view, g)});
    }
    result.groups.resize(spans.size());
    // Any "Z" with the lane type at +7 is a lane here; no other test is made.
    const uint64_t limit = std::min(rangeEnd, view.length);
    for (uint64_t p = rangeStart; p + 9 <= rangeEnd && p < limit; ++p) {
        const uint8_t* found =
            static_cast<const uint8_t*>(std::memchr(view.bytes + p, 'Z', static_cast<size_t>(limit - p)));
        if (found == nullptr) break;
        p = static_cast<uint64_t>(found - view.bytes);
        if (p + 9 > rangeEnd || view.u16(p + 7) != kLaneBlock) continue;
        bool grouped = false;
        for (size_t g = 0; g < spans.size() && !grouped; ++g) {
            if (p > spans[g].start && p < spans[g].end) {
                result.groups[g].push_back(p);
                grouped = true;
            }
        }
        if (!grouped) result.ungrouped.push_back(p);
    }
    result.multiLane = std::any_of(result.groups.begin(), result.groups.end(),
                                   [](const std::vector<uint64_t>& group) { return group.size() > 1; });
    return result;
}

int trackWidthCode(const SessionImage& image, uint64_t blockStart, uint64_t blockEnd) {
    const ImageView& view = image.view;
    uint64_t first = 0;
    bool found = false;
    for (uint64_t c = blockStart + 9; c + 7 <= blockEnd; ++c) {
        if (validBlock(view, c, blockEnd)) {
            first = c;
            found = true;
            break;
        }
    }
    if (!found) return 1;
    const uint8_t b = view.u8(blockEndAt(view, first));
    if (b > 1) return 2;
    if (b == 1) return 1;
    for (uint64_t h : image.scan(kRowHolder, blockStart, blockEnd)) {
        if (!validBlock(view, h, blockEnd)) continue;
        const LaneGroups groups = groupLanes(image, h, blockEndAt(view, h));
        if (groups.groups.size() < 2 || groups.groups[0].empty()) return 0;
        AutomationLane lane;
        readLane(view, groups.groups[0][0], lane);
        return lane.initial != 0 ? 1 : 0;
    }
    return 0;
}

void readStripLanes(const SessionImage& image, std::vector<StripRow>& strips) {
    const ImageView& view = image.view;
    std::vector<std::pair<Span, uint16_t>> spans;
    for (uint16_t type : {kAudioTrack, kMasterFader, kMidiTrack, kInstrumentTrack}) {
        for (uint64_t z : image.scan(type)) {
            if (view.u32(z + 3) == 0 || blockEndAt(view, z) > view.length) continue;
            spans.push_back({{z, blockEndAt(view, z)}, type});
        }
    }
    const bool dump = std::getenv("PTX_DUMP_LANES") != nullptr;
    for (StripRow& strip : strips) {
        if (!strip.present || strip.position == 0) continue;
        const std::pair<Span, uint16_t>* best = nullptr;
        for (const auto& span : spans) {
            if (strip.position <= span.first.start || strip.position >= span.first.end) continue;
            const uint64_t size = span.first.end - span.first.start;
            if (best == nullptr || size < best->first.end - best->first.start ||
                (size == best->first.end - best->first.start && span.first.start < best->first.start)) {
                best = &span;
            }
        }
        if (best == nullptr) continue;
        const Span& span = best->first;
        Span range = span;
        for (uint64_t h : image.scan(kRowHolder, span.start, span.end)) {
            if (view.u32(h + 3) != 0 && blockEndAt(view, h) <= span.end) range = {h, blockEndAt(view, h)};
            break;
        }
        std::vector<uint64_t> lanes;
        for (uint64_t p : image.scan(kLaneBlock, range.start, range.end)) lanes.push_back(p);
        const LaneGroups groups = groupLanes(image, range.start, range.end);
        if (groups.multiLane) {
            std::vector<uint64_t> rebuilt = rebuiltLanes(image, groups, span, best->second, strip);
            if (!rebuilt.empty()) lanes = std::move(rebuilt);
        }
        assignLanes(view, lanes, strip);
        if (strip.stereoLanes) testStereoPans(strip);
        // The volume lane's resting value is the fader when no point moves it.
        if (!lanes.empty() && strip.volumeLane.points.empty()) {
            strip.faderDb = static_cast<int16_t>(view.u16(lanes[0] + 35)) / 10.0;
        }
        if (dump) dumpLanes(strip);
    }
}

std::map<std::string, MidiTrackState> readMidiTrackStates(const SessionImage& image,
                                                          const std::vector<SessionTrack>& tracks) {
    const ImageView& view = image.view;
    std::map<std::string, MidiTrackState> states;
    for (const SessionTrack& track : tracks) {
        if (track.kind != kMidiTrack) continue;
        MidiTrackState state;
        bool any = false;
        bool muteFound = false;
        for (uint64_t holder : image.scan(kMidiLaneHolder, track.blockStart + 1, track.blockEnd)) {
            const uint64_t end = std::min(blockEndAt(view, holder), track.blockEnd);
            std::vector<uint64_t> lanes;
            for (uint64_t p = holder + 9; p + 9 <= end;) {
                if (!validBlock(view, p, end) || view.u32(p + 3) <= 1) {
                    ++p;
                    continue;
                }
                const uint16_t type = view.u16(p + 7);
                if (!muteFound && type == kMidiState && view.u32(p + 3) > 9 && view.u32(p + 13) < 2) {
                    state.muted = static_cast<uint8_t>(view.u32(p + 13));
                    muteFound = true;
                    any = true;
                }
                if (type == kLaneBlock) lanes.push_back(p);
                p = blockEndAt(view, p);
            }
            if (lanes.size() != 1) {
                if (!lanes.empty()) {
                    state.otherLanes = 1;
                    any = true;
                }
                continue;
            }
            AutomationLane lane;
            readLane(view, lanes[0], lane);
            const bool onOff = (lane.initial == 0 || lane.initial == 1) &&
                               std::all_of(lane.points.begin(), lane.points.end(),
                                           [](const std::pair<double, double>& point) {
                                               return point.second == 0 || point.second == 1;
                                           });
            if (onOff) {
                state.hasMuteLane = 1;
                state.muteLane = lane;
            } else {
                state.otherLanes = 1;
            }
            any = true;
        }
        if (any) states[effectiveName(track)] = state;
    }
    return states;
}
