#include "session/routing.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <optional>
#include <set>
#include <tuple>
#include <unordered_map>

#include "session/automation.h"

namespace {

constexpr uint16_t kPathBlock = 0x1021;
constexpr uint16_t kAudioTrack = 0x261B;
constexpr uint16_t kInstrumentTrack = 0x2621;
constexpr uint16_t kTrackName = 0x2619;
constexpr uint16_t kRowHolder = 0x260D;
constexpr uint16_t kRowName = 0x260E;
constexpr uint16_t kMixRow = 0x1029;
constexpr uint16_t kHardwareInsert = 0x2612;
constexpr uint32_t kMaxPathChannels = 16;
constexpr uint32_t kMaxNameLength = 80;
constexpr uint64_t kInputSearch = 512;  // bytes before a track block's end searched for its input

bool allBytesIn(const ImageView& view, uint64_t at, uint32_t length, uint8_t low, uint8_t high) {
    if (!view.holds(at, length)) return false;
    for (uint32_t k = 0; k < length; ++k) {
        const uint8_t byte = view.u8(at + k);
        if (byte < low || byte > high) return false;
    }
    return true;
}

// The first u32 length from 1 to 80 in [from, to) that is followed by that
// many name bytes, as text; empty when there is none.
std::string firstNameIn(const ImageView& view, uint64_t from, uint64_t to, bool printableOnly) {
    for (uint64_t p = from; p + 4 <= to; ++p) {
        const uint32_t length = view.u32(p);
        if (length < 1 || length > kMaxNameLength || p + 4 + length > to) continue;
        bool fits = printableOnly ? allBytesIn(view, p + 4, length, 0x20, 0x7E) : view.holds(p + 4, length);
        for (uint32_t k = 0; fits && !printableOnly && k < length; ++k) fits = isNameByte(view.u8(p + 4 + k));
        if (fits) return view.text(p + 4, length);
    }
    return std::string();
}

bool readPathAt(const ImageView& view, uint64_t z, BusRecord& path) {
    const uint32_t length = view.u32(z + 11);
    if (length < 1 || length > kMaxNameLength || !view.holds(z + 15, length)) return false;
    for (uint32_t k = 0; k < length; ++k) {
        if (!isNameByte(view.u8(z + 15 + k))) return false;
    }
    const uint32_t count = view.u32(z + 15 + length);
    if (count > kMaxPathChannels) return false;
    path.kind = view.u8(z + 9);
    path.name = view.text(z + 15, length);
    path.position = z;
    const uint64_t channels = z + 19 + length;
    for (uint32_t c = 0; c < count; ++c) path.channels.push_back(view.u16(channels + 2 * c));
    // The path's id follows the first 2A 00 00 00 behind the channels.
    static const uint8_t kIdMark[4] = {0x2A, 0, 0, 0};
    const uint64_t end = blockEndAt(view, z);
    for (uint64_t p = channels + 2 * uint64_t(count); p + 12 <= end; ++p) {
        if (!view.matches(p, kIdMark, 4)) continue;
        path.idLow = view.u32(p + 4);
        path.idHigh = view.u32(p + 8);
        break;
    }
    return true;
}

// A row holder counts when it holds a mix row of the known shape at +9.
bool holderRow(const ImageView& view, uint64_t q, uint8_t& postFader, int32_t& level) {
    const uint64_t row = q + 9;
    if (view.u8(row) != 'Z' || view.u8(row + 2) != 0 || view.u16(row + 7) != kMixRow) return false;
    const uint32_t size = view.u32(row + 3);
    if (size < 157 || !view.holds(row, uint64_t(size) + 7)) return false;
    postFader = view.u8(row + 9);
    level = view.i32(row + 10);
    return postFader <= 1 && level >= -1450 && level <= 125;
}

// The name of a row holder: in the first name block strictly inside it, before
// ownEnd; the name is searched up to the holder's end.
std::string holderName(const SessionImage& image, uint64_t q, uint64_t ownEnd, uint64_t end) {
    const std::optional<uint64_t> n = image.first(kRowName, q + 1, ownEnd, end);
    if (!n) return std::string();
    return firstNameIn(image.view, *n + 11, std::min({blockEndAt(image.view, *n), end, ownEnd}), false);
}

int32_t knob(const AutomationLane& lane) {
    const double value = std::round(lane.initial);
    return static_cast<int32_t>(std::max(-100.0, std::min(100.0, value)));
}

// A send's four lanes: level, mute, pan, right pan; with lane groups the pans
// are the first lanes of the first two groups.
void readSendLanes(const SessionImage& image, uint64_t from, uint64_t to, SendRecord& send) {
    const LaneGroups lanes = groupLanes(image, from, to);
    std::vector<uint64_t> order = lanes.ungrouped;
    AutomationLane* slots[4] = {&send.levelLane, &send.muteLane, &send.panLane, &send.rightPanLane};
    const size_t plain = lanes.groups.empty() ? 4 : 2;
    for (size_t k = 0; k < plain && k < order.size(); ++k) readLane(image.view, order[k], *slots[k]);
    bool right = order.size() > 3;
    if (!lanes.groups.empty()) {
        right = false;
        if (!lanes.groups[0].empty()) readLane(image.view, lanes.groups[0][0], send.panLane);
        if (lanes.groups.size() > 1 && !lanes.groups[1].empty()) {
            readLane(image.view, lanes.groups[1][0], send.rightPanLane);
            right = true;
        }
    }
    send.panLeft = knob(send.panLane);
    send.panRight = right ? knob(send.rightPanLane) : 0;
}

// The first path of each id, and the ids of the instrument and hardware paths.
// An id as the image holds it: the low u32, then the high one.
uint64_t idKey(uint32_t low, uint32_t high) { return uint64_t(high) << 32 | low; }

struct PathIds {
    std::unordered_map<uint64_t, size_t> firstOfId;
    std::unordered_map<uint64_t, std::vector<size_t>> heldKinds;  // kind 6 only
};

PathIds pathIdsOf(const std::vector<BusRecord>& paths) {
    PathIds ids;
    for (size_t k = 0; k < paths.size(); ++k) {
        const uint64_t id = idKey(paths[k].idLow, paths[k].idHigh);
        ids.firstOfId.emplace(id, k);
        if (paths[k].kind == kInstrumentOrHardwarePath) ids.heldKinds[id].push_back(k);
    }
    return ids;
}

// True when a name (u32 length 1 to 80, then its bytes) ends right at p. A send's
// path id stands behind the same four zero bytes and 42, but with no name.
bool namedBefore(const ImageView& view, uint64_t p) {
    for (uint32_t length = 1; length <= kMaxNameLength && p >= 4 + uint64_t(length); ++length) {
        if (view.u32(p - 4 - length) != length) continue;
        bool name = true;
        for (uint64_t k = p - length; k < p && name; ++k) name = isNameByte(view.u8(k));
        if (name) return true;
    }
    return false;
}

// The input: a name, four zero bytes, the u32 42 and the id, near the block's end.
void readInput(const ImageView& view, const std::vector<BusRecord>& paths, const PathIds& ids,
               TrackRouting& routing) {
    static const uint8_t kInputMark[8] = {0, 0, 0, 0, 0x2A, 0, 0, 0};
    const uint64_t end = routing.blockEnd;
    const uint64_t from = end - routing.blockStart > kInputSearch ? end - kInputSearch : routing.blockStart;
    for (uint64_t p = end >= 16 ? end - 16 : 0; p >= from && p > 4; --p) {
        if (!view.matches(p, kInputMark, 8) || !namedBefore(view, p)) continue;
        const uint32_t low = view.u32(p + 8);
        const uint32_t high = view.u32(p + 12);
        const auto found = ids.firstOfId.find(idKey(low, high));
        if (found != ids.firstOfId.end()) {
            const BusRecord& path = paths[found->second];
            routing.inputPath = path.name;
            routing.inputIdLow = low;
            routing.inputIdHigh = high;
            routing.inputKind = static_cast<int32_t>(path.kind);
            routing.inputPosition = path.position;
            return;
        }
    }
}

// The routing of the track block at z, from what lies before ownEnd.
TrackRouting readRoutingOf(const SessionImage& image, uint64_t z, uint64_t ownEnd, const std::vector<BusRecord>& paths,
                           const PathIds& ids) {
    const ImageView& view = image.view;
    TrackRouting routing;
    routing.blockStart = z;
    routing.blockEnd = blockEndAt(view, z);
    if (const std::optional<uint64_t> n = image.first(kTrackName, z + 1, ownEnd, routing.blockEnd)) {
        if (auto name = readName(view, *n + 9, 1, kMaxNameLength)) routing.name = *name;
    }
    bool first = true;
    uint32_t slot = 0;
    const std::vector<uint64_t> holders = image.scanHeads(kRowHolder, z + 1, ownEnd, routing.blockEnd);
    const std::vector<uint64_t> holderEnds = ownEnds(view, holders);
    for (size_t h = 0; h < holders.size(); ++h) {
        const uint64_t q = holders[h];
        uint8_t postFader = 0;
        int32_t level = 0;
        if (!holderRow(view, q, postFader, level)) continue;
        const uint64_t end = std::min(blockEndAt(view, q), routing.blockEnd);
        const uint64_t holderOwnEnd = std::min(holderEnds[h], ownEnd);
        const std::string name = holderName(image, q, holderOwnEnd, end);
        if (first) {
            routing.outputPath = name;
            routing.noOutput = name.empty() ? 1 : 0;
            first = false;
        } else if (!name.empty()) {
            SendRecord send;
            send.busName = name;
            send.levelDb = level / 10.0;
            send.postFader = postFader & 1;
            send.slot = slot;
            readSendLanes(image, q, holderOwnEnd, send);
            routing.sends.push_back(std::move(send));
        }
        ++slot;
    }
    readInput(view, paths, ids, routing);
    // Which instrument or hardware paths the block names by their id, each once,
    // in the order of the paths.
    const uint64_t end = std::min(ownEnd, view.length);
    if (!ids.heldKinds.empty()) {
        std::vector<size_t> held;
        for (uint64_t p = z; p + 8 <= end; ++p) {
            const auto found = ids.heldKinds.find(view.u64(p));
            if (found != ids.heldKinds.end()) held.insert(held.end(), found->second.begin(), found->second.end());
        }
        std::sort(held.begin(), held.end());
        held.erase(std::unique(held.begin(), held.end()), held.end());
        routing.heldPaths = std::move(held);
    }
    return routing;
}

}  // namespace

std::vector<BusRecord> readPaths(const SessionImage& image) {
    std::vector<BusRecord> paths;
    std::set<std::tuple<uint32_t, uint32_t, uint32_t, std::string, std::vector<int32_t>>> seen;
    for (uint64_t z : image.scan(kPathBlock)) {
        BusRecord path;
        if (!readPathAt(image.view, z, path)) continue;
        if (seen.emplace(path.idLow, path.idHigh, path.kind, path.name, path.channels).second)
            paths.push_back(std::move(path));
    }
    return paths;
}

std::vector<TrackRouting> readTrackRouting(const SessionImage& image, const std::vector<BusRecord>& paths) {
    std::vector<std::pair<uint64_t, uint64_t>> blocks;  // "Z" and own end
    for (uint16_t type : {kAudioTrack, kInstrumentTrack}) {
        const std::vector<uint64_t> starts = image.scan(type);
        const std::vector<uint64_t> ends = ownEnds(image.view, starts);
        for (size_t k = 0; k < starts.size(); ++k) blocks.emplace_back(starts[k], ends[k]);
    }
    std::sort(blocks.begin(), blocks.end());
    const PathIds ids = pathIdsOf(paths);
    std::vector<TrackRouting> rows;
    for (const auto& [z, ownEnd] : blocks) rows.push_back(readRoutingOf(image, z, ownEnd, paths, ids));
    return rows;
}

std::map<uint16_t, std::string> readKeyInputNames(const SessionImage& image) {
    std::map<uint16_t, std::string> names;
    const ImageView& view = image.view;
    for (uint64_t z : image.scan(kRowName)) {
        const uint16_t number = view.u16(z + 9);
        if (number == 0xFFFF) continue;
        const std::string name = firstNameIn(view, z + 11, blockEndAt(view, z), true);
        if (!name.empty()) names[number] = name;
    }
    return names;
}

std::vector<HardwareInsert> readHardwareInserts(const SessionImage& image) {
    const ImageView& view = image.view;
    std::vector<uint64_t> tracks = image.scan(kAudioTrack);
    const std::vector<uint64_t> instruments = image.scan(kInstrumentTrack);
    tracks.insert(tracks.end(), instruments.begin(), instruments.end());
    std::sort(tracks.begin(), tracks.end());
    std::vector<HardwareInsert> inserts;
    // The inserts come in file order: the track blocks begun before each stand on
    // a stack, and those that ended before it are taken off.
    std::vector<uint64_t> around;
    size_t nextTrack = 0;
    for (uint64_t z : image.scan(kHardwareInsert)) {
        HardwareInsert insert{"<unknown track>", "<unnamed>"};
        if (const std::optional<uint64_t> n = image.first(kRowName, z + 1, blockEndAt(view, z))) {
            const uint32_t length = view.u32(*n + 45);
            if (length > 0 && allBytesIn(view, *n + 49, length, 0x20, 0x7E)) insert.name = view.text(*n + 49, length);
        }
        while (nextTrack < tracks.size() && tracks[nextTrack] < z) around.push_back(tracks[nextTrack++]);
        while (!around.empty() && blockEndAt(view, around.back()) <= z) around.pop_back();
        // The innermost track block around the insert: the last begun that has not ended.
        if (!around.empty()) {
            const uint64_t best = around.back();
            if (const std::optional<uint64_t> n = image.first(kTrackName, best + 1, blockEndAt(view, best))) {
                if (auto name = readName(view, *n + 9, 1, kMaxNameLength)) insert.trackName = *name;
            }
        }
        inserts.push_back(insert);
    }
    return inserts;
}
