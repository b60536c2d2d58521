#include "session/strips.h"

#include <algorithm>
#include <optional>
#include <set>
#include <string_view>
#include <unordered_map>

#include "session/tracks.h"

namespace {

constexpr uint16_t kFaderRow = 0x1029;
constexpr uint16_t kRowHolder = 0x260D;
constexpr uint16_t kNameHolder = 0x260E;
constexpr uint32_t kFaderRowMinSize = 157;
constexpr int32_t kFaderMin = -1450;  // tenths of a dB
constexpr int32_t kFaderMax = 125;
constexpr uint64_t kClusterGap = 2700;  // rows farther apart belong to different strips
constexpr uint64_t kBusReach = 1500;    // how far a send's bus name may stand from its row

bool isBlockHead(const ImageView& view, uint64_t z, uint16_t type) {
    if (!view.holds(z, 9) || view.u8(z) != 'Z' || view.u8(z + 2) != 0) return false;
    uint32_t size = view.u32(z + 3);
    return size != 0 && z + 7 + size <= view.length && view.u16(z + 7) == type;
}

struct TextHit {
    uint64_t position;  // of the u32 length
    size_t index;       // into the searched texts
};

// Every place where one of the texts stands as a u32 length and its bytes,
// sorted by position, then index. One pass over the image serves all texts.
std::vector<TextHit> findLengthPrefixed(const ImageView& view, const std::vector<std::string>& texts) {
    std::unordered_map<std::string_view, std::vector<size_t>> byText;
    std::vector<uint8_t> wantedLength;  // 1 at the length of each text
    for (size_t i = 0; i < texts.size(); ++i) {
        if (texts[i].empty()) continue;  // four zero bytes are no name
        byText[texts[i]].push_back(i);
        if (wantedLength.size() <= texts[i].size()) wantedLength.resize(texts[i].size() + 1);
        wantedLength[texts[i].size()] = 1;
    }
    std::vector<TextHit> hits;
    if (byText.empty()) return hits;
    // The length is put together from the bytes straight: the loop keeps all
    // four inside the image, and this is the one read made at every byte.
    const uint8_t* bytes = view.bytes;
    const uint64_t end = view.length;
    const uint8_t* wanted = wantedLength.data();
    const uint32_t lengths = static_cast<uint32_t>(wantedLength.size());
    // With every text shorter than 256 bytes the low byte alone turns most
    // positions away (length 0 is never wanted), before the three high bytes are read.
    const bool shortTexts = lengths <= 256;
    for (uint64_t p = 0; p + 4 <= end; ++p) {
        if (shortTexts && (bytes[p] >= lengths || wanted[bytes[p]] == 0)) continue;
        const uint32_t length = static_cast<uint32_t>(bytes[p]) | static_cast<uint32_t>(bytes[p + 1]) << 8 |
                                static_cast<uint32_t>(bytes[p + 2]) << 16 | static_cast<uint32_t>(bytes[p + 3]) << 24;
        if (length >= lengths || wanted[length] == 0) continue;
        if (!view.holds(p + 4, length)) continue;
        std::string_view text(reinterpret_cast<const char*>(view.bytes + p + 4), length);
        auto found = byText.find(text);
        if (found == byText.end()) continue;
        for (size_t index : found->second) hits.push_back(TextHit{p, index});
    }
    return hits;
}

// A fader row as found, before it is given to a strip or a send.
struct FaderRow {
    uint64_t position;  // of the fader value
    size_t owner;       // index into the track list
    int32_t fader;      // tenths of a dB
    uint8_t muted;
    int32_t panLeft;
    int32_t panRight;
};

// A row that opens a 0x260D holder with no 0x260E name holder behind it.
bool isBareRow(const ImageView& view, const SessionImage& image, uint64_t z) {
    if (z < 9 || !isBlockHead(view, z - 9, kRowHolder)) return false;
    uint64_t holderEnd = blockEndAt(view, z - 9);
    uint64_t rowEnd = blockEndAt(view, z);
    if (rowEnd > holderEnd) return false;
    return !image.first(kNameHolder, rowEnd, holderEnd).has_value();
}

// The bus name nearest to position within reach; on equal distance the longer name.
std::optional<size_t> nearestBus(const std::vector<TextHit>& busHits,
                                 const std::vector<std::string>& busNames, uint64_t position) {
    uint64_t from = position > kBusReach ? position - kBusReach : 0;
    auto it = std::lower_bound(busHits.begin(), busHits.end(), from,
                               [](const TextHit& hit, uint64_t p) { return hit.position < p; });
    std::optional<size_t> best;
    uint64_t bestDistance = 0;
    for (; it != busHits.end() && it->position <= position + kBusReach; ++it) {
        uint64_t distance = it->position > position ? it->position - position : position - it->position;
        if (!best || distance < bestDistance ||
            (distance == bestDistance && busNames[it->index].size() > busNames[*best].size())) {
            best = it->index;
            bestDistance = distance;
        }
    }
    return best;
}

// The panner's words behind the fader value at position, as far as the row's block reaches.
PannerWords readPannerWords(const ImageView& view, uint64_t position) {
    PannerWords words;
    const uint64_t end = position - 10 + 7 + uint64_t(view.u32(position - 7));
    auto reads = [&](uint64_t offset, uint64_t count) { return position + offset + count <= end; };
    if (reads(12, 28)) {
        for (uint64_t k = 0; k < 7; ++k) words.left[k] = view.i32(position + 12 + 4 * k);
    }
    if (end >= position + 0x44) {
        words.hasRight = true;
        for (uint64_t k = 0; k < 7; ++k) words.right[k] = view.i32(position + 0x28 + 4 * k);
    }
    if (end >= position + 0x50) {
        words.hasSide = true;
        words.side = view.i32(position + 0x4C);
    }
    return words;
}

}  // namespace

std::vector<StripRow> readStripRows(const SessionImage& image, const std::vector<std::string>& names,
                                    const std::vector<std::string>& busNames) {
    const ImageView& view = image.view;
    std::vector<StripRow> strips(names.size());
    for (size_t i = 0; i < names.size(); ++i) strips[i].name = names[i];

    // With the track blocks in list order, a row belongs to the block around it.
    std::vector<SessionTrack> tracks = readSessionTracks(image).rows;
    bool aligned = tracks.size() == names.size();
    for (size_t i = 0; aligned && i < tracks.size(); ++i) aligned = tracks[i].currentName == names[i];

    // Otherwise it belongs to the last track name standing before it.
    std::vector<std::pair<uint64_t, uint64_t>> spans;
    for (const SessionTrack& track : tracks) spans.emplace_back(track.blockStart, track.blockEnd);
    const SpanIndex trackIndex = makeSpanIndex(spans);
    // Found only when a row stands outside the track blocks.
    std::vector<TextHit> nameMap;
    bool nameMapFound = false;
    std::unordered_map<std::string, size_t> firstIndex;
    for (size_t i = 0; i < names.size(); ++i) firstIndex.emplace(names[i], i);

    std::vector<FaderRow> rows;
    std::vector<bool> hasRow(names.size(), false);
    for (uint64_t z : image.scan(kFaderRow)) {
        if (view.u32(z + 3) < kFaderRowMinSize || view.u8(z + 9) > 1) continue;
        int32_t fader = view.i32(z + 10);
        if (fader < kFaderMin || fader > kFaderMax) continue;

        std::optional<size_t> owner;
        if (aligned) owner = firstSpanReaching(trackIndex, z, z + 1);
        if (!owner) {
            if (!nameMapFound) nameMap = findLengthPrefixed(view, names);
            nameMapFound = true;
            auto after = std::upper_bound(nameMap.begin(), nameMap.end(), z,
                                          [](uint64_t p, const TextHit& hit) { return p < hit.position; });
            if (after == nameMap.begin()) continue;
            owner = firstIndex[names[std::prev(after)->index]];
        }
        if (hasRow[*owner] && isBareRow(view, image, z)) continue;

        FaderRow row;
        row.position = z + 10;
        row.owner = *owner;
        row.fader = fader;
        row.muted = view.u8(z + 14) == 1 ? 1 : 0;
        row.panLeft = view.i32(z + 22);
        row.panRight = view.holds(z + 50, 4) ? view.i32(z + 50) : 0;
        rows.push_back(row);
        hasRow[*owner] = true;
    }

    std::vector<TextHit> busHits;  // found at the first send row
    bool busHitsFound = false;
    std::set<size_t> unfilled;
    for (size_t i = 0; i < strips.size(); ++i) unfilled.insert(i);
    size_t first = 0;
    while (first < rows.size()) {
        // A cluster: rows of one owner, each within reach of the one before.
        size_t next = first + 1;
        while (next < rows.size() && rows[next].owner == rows[first].owner &&
               rows[next].position - rows[next - 1].position <= kClusterGap) {
            ++next;
        }
        size_t target = rows[first].owner;
        if (strips[target].present) {
            // Without aligned track blocks, a repeated owner is taken for the next unfilled strip.
            target = strips.size();
            if (!aligned) {
                const auto next = unfilled.upper_bound(rows[first].owner);
                if (next != unfilled.end()) target = *next;
            }
        }
        if (target < strips.size()) {
            const FaderRow& own = rows[first];
            StripRow& strip = strips[target];
            strip.present = 1;
            unfilled.erase(target);
            strip.position = own.position;
            strip.faderDb = own.fader / 10.0;
            strip.muted = own.muted;
            strip.panLeft = own.panLeft;
            strip.panRight = own.panRight;
            strip.panner = readPannerWords(view, own.position);
            for (size_t k = first + 1; k < next; ++k) {
                if (!busHitsFound) busHits = findLengthPrefixed(view, busNames);
                busHitsFound = true;
                auto bus = nearestBus(busHits, busNames, rows[k].position);
                if (!bus) continue;
                SendRecord send;
                send.busName = busNames[*bus];
                send.levelDb = rows[k].fader / 10.0;
                strip.sends.push_back(std::move(send));
            }
        }
        first = next;
    }
    return strips;
}

double stripPan(const StripRow& strip, bool stereo) {
    double left = strip.panLeft;
    double pan = stereo ? (left + strip.panRight) / 200.0 : left / 100.0;
    return std::clamp(pan, -1.0, 1.0);
}
