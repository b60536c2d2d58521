#include "session/plugin_records.h"

#include <algorithm>
#include <iterator>
#include <optional>

#include "plugins/state_scan.h"

namespace {

constexpr uint16_t kInstance = 0x1038;
constexpr uint16_t kOwner = 0x2614;
constexpr uint16_t kKeyName = 0x260E;
constexpr uint16_t kAudioTrack = 0x261B;
constexpr uint16_t kInstrumentTrack = 0x2621;
constexpr uint16_t kStoredName = 0x1017;
constexpr uint16_t kLaneHolder = 0x260F;
constexpr uint16_t kLanePoints = 0x260B;

bool printable(uint8_t byte) { return byte >= 0x20 && byte <= 0x7E; }

// The record's data ends where its stated payload ends, when only zeros follow
// up to the block's end.
uint64_t payloadEndOf(const ImageView& view, uint64_t p) {
    const uint32_t size = view.u32(p + 3);
    const uint64_t end = p + 7 + size;
    if (size <= 25) return end;
    const uint64_t q = p + 17 + uint64_t(view.u32(p + 13));
    if (q < p + 33 || q >= end) return end;
    for (uint64_t k = q; k < end; ++k) {
        if (view.u8(k) != 0) return end;
    }
    return q;
}

// The innermost block of a walk strictly around p, as (start, end); (0, 0) for none.
std::pair<uint64_t, uint64_t> around(EnclosingWalk& walk, uint64_t p) {
    const std::optional<size_t> k = innermostAround(walk, p);
    if (!k) return {0, 0};
    return {walk.starts[*k], walk.ends[*k]};
}

// The count printable bytes at position; none when any is out of range.
std::optional<std::string> printableText(const ImageView& view, uint64_t position, uint32_t count) {
    if (!view.holds(position, count)) return std::nullopt;
    for (uint32_t k = 0; k < count; ++k) {
        if (!printable(view.u8(position + k))) return std::nullopt;
    }
    return view.text(position, count);
}

double laneValue(int32_t raw) { return raw * (1.0 / 2147483648.0) + 0.5; }

// The lane of a 0x260F block: points from its first 0x260B block, then the name,
// number and id text behind that block. False when the lane is out of shape.
bool readLane(const SessionImage& image, uint64_t holder, PluginLane& lane) {
    const ImageView& view = image.view;
    const std::vector<uint64_t> inside = image.scan(kLanePoints, holder + 1, blockEndAt(view, holder));
    if (inside.empty()) return false;
    const uint64_t c = inside.front();
    const uint32_t count = view.u16(c + 25);
    if (uint64_t(view.u32(c + 3)) + 7 < uint64_t(count) * 8 + 41) return false;
    for (uint64_t k = 0; k < 5; ++k) lane.inTicks = lane.inTicks || view.u8(c + 27 + k) != 0;
    lane.startValue = laneValue(view.i32(c + 35));
    for (uint32_t k = 0; k < count; ++k) {
        lane.points.emplace_back(view.i32(c + 39 + 8 * k), laneValue(view.i32(c + 43 + 8 * k)));
    }
    const uint64_t e = blockEndAt(view, c);
    const uint32_t nameLength = view.u32(e);
    if (nameLength < 1 || nameLength > 128) return false;
    const std::optional<std::string> name = printableText(view, e + 4, nameLength);
    if (!name) return false;
    lane.name = *name;
    const uint64_t number = e + 4 + nameLength;
    lane.number = view.i32(number);
    const uint32_t idLength = view.u32(number + 12);
    if (idLength >= 1 && idLength <= 127) lane.idText = printableText(view, number + 16, idLength).value_or("");
    return true;
}

uint32_t bigEndianWord(const ImageView& view, uint64_t p) {
    return (uint32_t(view.u8(p)) << 24) | (uint32_t(view.u8(p + 1)) << 16) | (uint32_t(view.u8(p + 2)) << 8) |
           uint32_t(view.u8(p + 3));
}

// The words at `offset` of each "DigiTrim" copy in the record that leaves at
// least `step` bytes: a match moves the walk on by `step`, a miss by one byte.
std::vector<uint32_t> trimWords(const ImageView& view, const PluginInstance& instance, uint64_t offset, uint64_t step) {
    std::vector<uint32_t> words;
    const uint64_t end = std::min<uint64_t>(instance.payloadEnd, view.length);
    for (uint64_t p = instance.recordStart; p + step <= end;) {
        if (!view.matches(p, "DigiTrim", 8)) {
            ++p;
            continue;
        }
        words.push_back(bigEndianWord(view, p + offset));
        p += step;
    }
    return words;
}

}  // namespace

std::vector<PluginInstance> readPluginInstances(const SessionImage& image) {
    const ImageView& view = image.view;
    std::vector<PluginInstance> instances;
    const std::vector<uint64_t> owners = image.scan(kOwner);
    const std::vector<uint64_t> keyNames = image.scan(kKeyName);
    // The instances come in file order, so each walk goes through the image once.
    EnclosingWalk tracks = makeEnclosingWalk(view, image.scan(kAudioTrack));
    EnclosingWalk instruments = makeEnclosingWalk(view, image.scan(kInstrumentTrack));
    for (uint64_t p : image.scan(kInstance)) {
        if (!view.holds(p, 33)) continue;
        PluginInstance instance;
        instance.recordStart = p;
        instance.payloadEnd = payloadEndOf(view, p);
        for (uint64_t k = 0; k < 8; ++k) {
            const uint8_t byte = view.u8(p + 25 + k);
            instance.signature += printable(byte) ? static_cast<char>(byte) : '.';
        }
        for (uint64_t k = 0; k < 64 && view.holds(p + 33 + k, 1) && printable(view.u8(p + 33 + k)); ++k) {
            instance.pluginName += static_cast<char>(view.u8(p + 33 + k));
        }
        instance.channelSets = view.holds(p + 9, 1) ? view.u8(p + 9) : 1;
        std::pair<uint64_t, uint64_t> window = around(tracks, p);
        const std::pair<uint64_t, uint64_t> instrument = around(instruments, p);
        if (window.second == 0) window = instrument;
        instance.stripWindowStart = window.first;
        instance.stripWindowEnd = window.second;
        const uint64_t behind = blockEndAt(view, p);
        if (window.second != 0 && behind > window.second) {
            instance.unreadable = true;
            instances.push_back(std::move(instance));
            continue;
        }
        auto owner = std::lower_bound(owners.begin(), owners.end(), instance.payloadEnd);
        if (owner != owners.end()) {
            instance.ownerWord = view.u32(*owner + 9);
            instance.bypassed = *owner > 0 && view.u8(*owner - 1) == 1;
        }
        auto key = std::lower_bound(keyNames.begin(), keyNames.end(), instance.payloadEnd);
        if (key != keyNames.end() && view.u16(*key + 9) < 0xFFFF) instance.keyInput = view.u16(*key + 9);
        instance.inactive = view.holds(behind, 1) && view.u8(behind) == 0;
        scanPluginState(view, instance);
        if (instance.signature == "DigiTrim") {
            for (uint32_t word : trimWords(view, instance, 48, 52)) instance.trimGainWords.push_back(int32_t(word));
            instance.trimPolarityWords = trimWords(view, instance, 52, 56);
        }
        instances.push_back(std::move(instance));
    }
    std::stable_sort(instances.begin(), instances.end(),
                     [](const PluginInstance& a, const PluginInstance& b) { return a.recordStart < b.recordStart; });
    // Each lane belongs to the last instance standing in front of it.
    for (uint64_t holder : image.scan(kLaneHolder)) {
        auto owner = std::lower_bound(instances.begin(), instances.end(), holder,
                                      [](const PluginInstance& a, uint64_t at) { return a.recordStart < at; });
        if (owner == instances.begin()) continue;
        PluginLane lane;
        if (readLane(image, holder, lane)) std::prev(owner)->lanes.push_back(std::move(lane));
    }
    return instances;
}

std::map<std::string, std::string> readStoredPluginNames(const SessionImage& image) {
    const ImageView& view = image.view;
    std::map<std::string, std::string> names;
    for (uint64_t z : image.scan(kStoredName)) {
        const uint32_t size = view.u32(z + 3);
        if (size < 14 || size > 4000) continue;
        const uint64_t end = blockEndAt(view, z);
        for (uint64_t at : {z + 10, z + 11}) {
            const uint32_t length = view.u32(at);
            if (length < 1 || length > 60 || at + 4 + length + 12 > end) continue;
            bool fits = true;
            for (uint32_t k = 0; k < length && fits; ++k) fits = isNameByte(view.u8(at + 4 + k));
            for (uint32_t k = 0; k < 8 && fits; ++k) fits = printable(view.u8(at + 4 + length + k));
            if (!fits) continue;
            // Two four-character codes, each stored back to front.
            std::string signature;
            for (int group = 0; group < 2; ++group) {
                for (int k = 3; k >= 0; --k) signature += static_cast<char>(view.u8(at + 4 + length + group * 4 + k));
            }
            names.emplace(signature, view.text(at + 4, length));
            break;
        }
    }
    return names;
}

const StripRow* stripOfInstance(const PluginInstance& instance, const std::vector<StripRow>& strips) {
    for (const StripRow& strip : strips) {
        if (strip.present && strip.position > instance.stripWindowStart && strip.position < instance.stripWindowEnd) {
            return &strip;
        }
    }
    return nullptr;
}

std::map<std::string, std::vector<PluginInstance>> bindInstancesToStrips(const std::vector<PluginInstance>& instances,
                                                                         const std::vector<StripRow>& strips) {
    std::map<std::string, std::vector<PluginInstance>> chains;
    // The present strips by position; the first of them in list order inside a window wins.
    std::map<uint64_t, size_t> firstAt;
    for (size_t i = 0; i < strips.size(); ++i) {
        if (strips[i].present) firstAt.emplace(strips[i].position, i);
    }
    std::vector<uint64_t> positions;
    std::vector<std::vector<size_t>> least(1);  // least[j][k]: the smallest index of 2^j strips from k
    for (const auto& [position, index] : firstAt) {
        positions.push_back(position);
        least[0].push_back(index);
    }
    for (size_t j = 1; (size_t(1) << j) <= positions.size(); ++j) {
        least.emplace_back();
        for (size_t k = 0; k + (size_t(1) << j) <= positions.size(); ++k)
            least[j].push_back(std::min(least[j - 1][k], least[j - 1][k + (size_t(1) << (j - 1))]));
    }
    for (const PluginInstance& instance : instances) {
        if (instance.unreadable) continue;  // kept out of every chain
        const size_t from = static_cast<size_t>(
            std::upper_bound(positions.begin(), positions.end(), instance.stripWindowStart) - positions.begin());
        const size_t to = static_cast<size_t>(
            std::lower_bound(positions.begin(), positions.end(), instance.stripWindowEnd) - positions.begin());
        if (from >= to) continue;
        size_t j = 0;
        while ((size_t(2) << j) <= to - from) ++j;
        const size_t first = std::min(least[j][from], least[j][to - (size_t(1) << j)]);
        chains[strips[first].name].push_back(instance);
    }
    return chains;
}
