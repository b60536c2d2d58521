#include "session/automation.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>

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
    uint64_t ownEnd = 0;  // where the next block of its type starts, or its end
};

bool allPointsAre(const AutomationLane& lane, double value) {
    return std::all_of(lane.points.begin(), lane.points.end(),
                       [value](const std::pair<double, double>& point) { return point.second == value; });
}

// Rebuilds the lane list of a strip whose range mixes several panners' lanes.
// cachedWidth keeps the block's width code once worked out (-2 before).
std::vector<uint64_t> rebuiltLanes(const SessionImage& image, const LaneGroups& groups, const Span& span,
                                   uint16_t spanType, int& cachedWidth, StripRow& strip) {
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
        if (cachedWidth == -2) cachedWidth = trackWidthCode(image, span.start, span.end, span.ownEnd);
        width = cachedWidth;
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
    std::vector<std::pair<uint64_t, uint64_t>> spans;
    for (uint64_t g : image.scan(kPannerGroup, rangeStart, rangeEnd)) {
        if (view.u32(g + 3) == 0 || blockEndAt(view, g) > rangeEnd) continue;
        spans.emplace_back(g, blockEndAt(view, g));
    }
    const SpanIndex groupIndex = makeSpanIndex(spans);
    result.groups.resize(spans.size());
    // Any "Z" with the lane type at +7 is a lane here; no other test is made.
    const uint64_t limit = std::min(rangeEnd, view.length);
    for (uint64_t p = rangeStart; p + 9 <= rangeEnd && p < limit; ++p) {
        const uint8_t* found =
            static_cast<const uint8_t*>(std::memchr(view.bytes + p, 'Z', static_cast<size_t>(limit - p)));
        if (found == nullptr) break;
        p = static_cast<uint64_t>(found - view.bytes);
        if (p + 9 > rangeEnd || view.u16(p + 7) != kLaneBlock) continue;
        // The first group that holds the lane.
        if (const std::optional<size_t> g = firstSpanReaching(groupIndex, p, p + 1))
            result.groups[*g].push_back(p);
        else
            result.ungrouped.push_back(p);
    }
    result.multiLane = std::any_of(result.groups.begin(), result.groups.end(),
                                   [](const std::vector<uint64_t>& group) { return group.size() > 1; });
    return result;
}

int trackWidthCode(const SessionImage& image, uint64_t blockStart, uint64_t blockEnd, uint64_t ownEnd) {
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
    if (const std::optional<uint64_t> h = image.first(kRowHolder, blockStart, ownEnd, blockEnd)) {
        const LaneGroups groups = groupLanes(image, *h, std::min(blockEndAt(view, *h), ownEnd));
        if (groups.groups.size() < 2 || groups.groups[0].empty()) return 0;
        AutomationLane lane;
        readLane(view, groups.groups[0][0], lane);
        return lane.initial != 0 ? 1 : 0;
    }
    return 0;
}

namespace {

// What the lanes of a strip come from: the first row holder of its track block.
struct SpanLanes {
    std::vector<uint64_t> lanes;
    LaneGroups groups;
    int width = -2;  // the block's width code, worked out when first needed
};

SpanLanes lanesOfSpan(const SessionImage& image, const Span& span) {
    const ImageView& view = image.view;
    Span range = span;
    if (const std::optional<uint64_t> h = image.first(kRowHolder, span.start, span.ownEnd, span.end)) {
        range = {*h, blockEndAt(view, *h), std::min(blockEndAt(view, *h), span.ownEnd)};
    }
    SpanLanes found;
    found.lanes = image.scanHeads(kLaneBlock, range.start, range.ownEnd, range.end);
    found.groups = groupLanes(image, range.start, range.ownEnd);
    return found;
}

}  // namespace

void readStripLanes(const SessionImage& image, std::vector<StripRow>& strips) {
    const ImageView& view = image.view;
    std::vector<std::pair<Span, uint16_t>> spans;
    for (uint16_t type : {kAudioTrack, kMasterFader, kMidiTrack, kInstrumentTrack}) {
        const std::vector<uint64_t> starts = image.scan(type);
        const std::vector<uint64_t> ends = ownEnds(view, starts);
        for (size_t k = 0; k < starts.size(); ++k)
            spans.push_back({{starts[k], blockEndAt(view, starts[k]), ends[k]}, type});
    }
    std::sort(spans.begin(), spans.end(),
              [](const auto& a, const auto& b) { return a.first.start < b.first.start; });

    // Each strip's row lies in the innermost track block around it: with the
    // strips taken by position, the blocks begun before a row stand on a stack,
    // and those that ended before it are taken off.
    std::vector<size_t> order;
    for (size_t i = 0; i < strips.size(); ++i) {
        if (strips[i].present && strips[i].position != 0) order.push_back(i);
    }
    std::stable_sort(order.begin(), order.end(),
                     [&](size_t a, size_t b) { return strips[a].position < strips[b].position; });
    std::vector<size_t> around;
    size_t nextSpan = 0;
    std::map<size_t, SpanLanes> lanesOf;  // by span, read once however many strips share it
    std::vector<bool> read(strips.size(), false);
    for (size_t i : order) {
        StripRow& strip = strips[i];
        while (nextSpan < spans.size() && spans[nextSpan].first.start < strip.position) around.push_back(nextSpan++);
        while (!around.empty() && spans[around.back()].first.end <= strip.position) around.pop_back();
        if (around.empty()) continue;
        const size_t best = around.back();
        const Span& span = spans[best].first;
        auto cached = lanesOf.find(best);
        if (cached == lanesOf.end()) cached = lanesOf.emplace(best, lanesOfSpan(image, span)).first;
        std::vector<uint64_t> lanes = cached->second.lanes;
        const LaneGroups& groups = cached->second.groups;
        if (groups.multiLane) {
            std::vector<uint64_t> rebuilt =
                rebuiltLanes(image, groups, span, spans[best].second, cached->second.width, strip);
            if (!rebuilt.empty()) lanes = std::move(rebuilt);
        }
        assignLanes(view, lanes, strip);
        read[i] = true;
        if (strip.stereoLanes) testStereoPans(strip);
        // The volume lane's resting value is the fader when no point moves it.
        if (!lanes.empty() && strip.volumeLane.points.empty()) {
            strip.faderDb = static_cast<int16_t>(view.u16(lanes[0] + 35)) / 10.0;
        }
    }
    // The dump follows the strips' order.
    if (std::getenv("PTX_DUMP_LANES") == nullptr) return;
    for (size_t i = 0; i < strips.size(); ++i) {
        if (read[i]) dumpLanes(strips[i]);
    }
}

std::map<std::string, MidiTrackState> readMidiTrackStates(const SessionImage& image,
                                                          const std::vector<SessionTrack>& tracks) {
    const ImageView& view = image.view;
    std::map<std::string, MidiTrackState> states;
    std::vector<uint64_t> starts;
    for (const SessionTrack& track : tracks) {
        if (track.kind == kMidiTrack) starts.push_back(track.blockStart);
    }
    std::sort(starts.begin(), starts.end());
    const std::vector<uint64_t> ends = ownEnds(view, starts);
    for (const SessionTrack& track : tracks) {
        if (track.kind != kMidiTrack) continue;
        const auto k = std::lower_bound(starts.begin(), starts.end(), track.blockStart) - starts.begin();
        const uint64_t ownEnd = ends[static_cast<size_t>(k)];
        MidiTrackState state;
        bool any = false;
        bool muteFound = false;
        for (uint64_t holder : image.scanHeads(kMidiLaneHolder, track.blockStart + 1, ownEnd, track.blockEnd)) {
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
