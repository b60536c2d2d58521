#include "session/tracks.h"

#include <algorithm>
#include <optional>
#include <string_view>
#include <unordered_set>

namespace {

constexpr uint16_t kAudioTrack = 0x261B;
constexpr uint16_t kMasterFader = 0x261D;
constexpr uint16_t kTrackTypes[] = {0x261B, 0x261D, 0x261F, 0x2620, 0x2621, 0x2623};
constexpr uint16_t kTrackName = 0x2619;
constexpr uint16_t kTrackListRow = 0x251A;
constexpr uint16_t kTrackList = 0x2519;
constexpr uint16_t kActiveMarker = 0x2627;
constexpr uint16_t kDisplayRecord = 0x2015;
constexpr uint16_t kDisplayRow = 0x2434;
constexpr uint16_t kTrackHead = 0x102D;
constexpr uint16_t kVoiceHolder = 0x261C;
constexpr uint16_t kVoiceMark = 0x200B;

// The table of track names lies within the image's first 400000 bytes.
constexpr uint64_t kNameScanSpan = 400000;

// The first block of the type whose "Z" lies in [from, to) and which ends by to.
std::optional<uint64_t> firstInside(const SessionImage& image, uint16_t type, uint64_t from,
                                    uint64_t to) {
    return image.first(type, from, to);
}

// The first block of any type in [from, to) that ends by to; the walk stays in
// the given span, which is always one block's body.
std::optional<uint64_t> firstBlockIn(const ImageView& view, uint64_t from, uint64_t to) {
    for (uint64_t z = from; z + 9 <= to; ++z) {
        if (isBlockHeadAt(view, z, to)) return z;
    }
    return std::nullopt;
}

bool isInsideMaster(uint64_t z, const SpanIndex& masters) { return firstSpanReaching(masters, z, z + 1).has_value(); }

// Adds a name not seen before to the list.
void addNew(std::vector<std::string>& list, std::unordered_set<std::string>& seen, const std::string& name) {
    if (!name.empty() && seen.insert(name).second) list.push_back(name);
}

// Folder and file names that share the name table's form but are never tracks.
bool isRejectedScanName(const std::string& text) {
    static const std::unordered_set<std::string> kWords = {
        "Users", "Documents", "AppData", "Roaming", "Local", "Temp", "Pro Tools",
        "Pro Tools Projects", "Audio Files", "Plug-In Settings", "Avid", "Music", "Desktop",
        "Video Files", "Bounced Files", "Session File Backups", "WaveCache.wfm", "Rendered Files"};
    static const std::unordered_set<std::string> kExtensions = {"wav", "aif", "aiff", "mp3",
                                                                "ptx", "pio", "tfx", "wfm"};
    if (text.size() < 2) return true;
    if (text.find_first_of(":\\/") != std::string::npos) return true;
    if (kWords.count(text)) return true;
    size_t dot = text.rfind('.');
    if (dot == std::string::npos) return false;
    std::string extension = text.substr(dot + 1);
    for (char& c : extension) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return kExtensions.count(extension) != 0;
}

}  // namespace

const std::string& effectiveName(const SessionTrack& track) {
    return track.currentName.empty() ? track.name : track.currentName;
}

SessionTrackRows readSessionTracks(const SessionImage& image) {
    const ImageView& view = image.view;
    std::vector<std::pair<uint64_t, uint16_t>> blocks;
    for (uint16_t type : kTrackTypes) {
        for (uint64_t z : image.scan(type)) blocks.emplace_back(z, type);
    }
    std::sort(blocks.begin(), blocks.end());

    std::vector<std::pair<uint64_t, uint64_t>> masters;
    for (const auto& block : blocks) {
        if (block.second == kMasterFader) masters.emplace_back(block.first, blockEndAt(view, block.first));
    }
    const SpanIndex masterIndex = makeSpanIndex(masters);

    SessionTrackRows result;
    for (const auto& block : blocks) {
        uint64_t z = block.first;
        if (block.second == kAudioTrack && isInsideMaster(z, masterIndex)) continue;
        SessionTrack track;
        track.blockStart = z;
        track.blockEnd = blockEndAt(view, z);
        track.kind = block.second;
        if (auto nameBlock = firstInside(image, kTrackName, z + 1, track.blockEnd)) {
            if (auto name = readName(view, *nameBlock + 9, 1, 80)) track.name = *name;
        }
        // An active marker with a zero byte just before it marks the track inactive.
        if (auto marker = firstInside(image, kActiveMarker, z, track.blockEnd)) {
            if (*marker > z && view.u8(*marker - 1) == 0) track.active = 0;
        }
        result.rows.push_back(std::move(track));
    }

    std::vector<std::string> currentNames;
    for (uint64_t z : image.scan(kTrackListRow)) {
        if (auto name = readName(view, z + 11, 1, 80)) currentNames.push_back(*name);
    }
    size_t rows = result.rows.size();
    if (currentNames.size() == rows || currentNames.size() == 2 * rows) {
        for (size_t i = 0; i < rows; ++i) result.rows[i].currentName = currentNames[i];
        result.currentNamesFitted = true;
    }
    return result;
}

std::vector<TrackAttributes> readTrackAttributes(const SessionImage& image,
                                                 const std::vector<SessionTrack>& tracks) {
    const ImageView& view = image.view;
    std::vector<TrackAttributes> records;
    for (uint64_t z : image.scan(kDisplayRecord)) {
        uint32_t size = view.u32(z + 3);
        uint64_t end = blockEndAt(view, z);
        TrackAttributes record;
        if (size > 7) record.displayRow = view.u32(end - 4);
        if (view.holds(end, 1) && view.u8(end) < 2) record.soloSafe = view.u8(end);
        if (auto row = firstInside(image, kDisplayRow, z + 9, end)) {
            uint64_t behind = blockEndAt(view, *row);
            if (behind + 4 <= end) record.displayRow = view.u32(behind);
        }
        if (auto child = firstBlockIn(view, z + 9, end)) {
            uint64_t c = blockEndAt(view, *child);
            if (c + 12 <= end) {
                record.shown = view.u8(c + 1) != 0 ? 1 : 0;
                record.height = view.u16(c + 6);
                uint32_t length = view.u32(c + 8);
                if (length >= 1 && length <= 4095 && c + 12 + length <= end) {
                    record.comment = view.text(c + 12, length);
                }
            }
        }
        records.push_back(std::move(record));
    }

    // Which record belongs to which row: by order, or through the track list names.
    std::vector<long> recordOf(tracks.size(), -1);
    if (records.size() == tracks.size()) {
        for (size_t i = 0; i < tracks.size(); ++i) recordOf[i] = static_cast<long>(i);
    } else {
        std::vector<TrackListRow> list = readTrackListRows(image);
        if (list.size() == records.size()) {
            std::unordered_map<std::string, size_t> rowOfName;
            for (size_t j = 0; j < list.size(); ++j) rowOfName.emplace(list[j].name, j);
            for (size_t r = 0; r < tracks.size(); ++r) {
                const auto found = rowOfName.find(effectiveName(tracks[r]));
                if (found != rowOfName.end()) recordOf[r] = static_cast<long>(found->second);
            }
        }
    }

    std::vector<TrackAttributes> result(tracks.size());
    for (size_t r = 0; r < tracks.size(); ++r) {
        if (recordOf[r] < 0) continue;
        result[r] = records[static_cast<size_t>(recordOf[r])];
        // The automation mode sits behind the name inside the track's leading 0x102D.
        const SessionTrack& track = tracks[r];
        uint64_t head = track.blockStart + 9;
        if (!isBlockHeadAt(view, head, track.blockEnd) || view.u16(head + 7) != kTrackHead) continue;
        auto nameBlock = firstInside(image, kTrackName, head + 9, blockEndAt(view, head));
        if (!nameBlock) continue;
        uint64_t behind = blockEndAt(view, *nameBlock);
        if (!view.holds(behind, 3)) continue;
        if (view.u8(behind) < 2) result[r].solo = view.u8(behind);
        uint8_t mode = view.u8(behind + 1);
        uint8_t trim = view.u8(behind + 2);
        result[r].automationMode = mode < 6 ? mode : -1;
        result[r].trimOn = trim < 2 ? trim : -1;
    }
    return result;
}

std::vector<TrackListRow> readTrackListRows(const SessionImage& image) {
    const ImageView& view = image.view;
    std::vector<uint64_t> lists = image.scan(kTrackList);
    std::vector<TrackListRow> rows;
    if (lists.empty()) return rows;
    uint64_t end = blockEndAt(view, lists.front());
    static const uint8_t kIdMark[4] = {0x2A, 0, 0, 0};
    // Walk the list's body only, leaping over each row found.
    uint64_t q = lists.front() + 9;
    while (q + 9 <= end) {
        if (view.u8(q) != 'Z' || view.u8(q + 2) != 0 || view.u16(q + 7) != kTrackListRow) {
            ++q;
            continue;
        }
        uint32_t size = view.u32(q + 3);
        if (size < 8 || q + 7 + size > end) break;
        uint32_t length = view.u32(q + 11);
        // Rows run from L + 61 bytes, as the sessions at hand write them, to L + 72.
        if (length < 1 || length > 200 || size < length + 61 || size > length + 72) {
            rows.clear();
            break;
        }
        TrackListRow row;
        row.rowType = view.u16(q + 9);
        row.name = view.text(q + 15, length);
        row.width = view.u8(q + 15 + length);
        const bool flagInside = q + 68 + length < q + 7 + uint64_t{size};
        row.rowFlag = row.rowType == 11 || (flagInside && view.u8(q + 68 + length) == 1);
        if (view.matches(q + 21 + length, kIdMark, 4)) row.rowId = view.u64(q + 25 + length);
        // The list repeats itself; the repeat starts with the first row again.
        if (!rows.empty() && row.name == rows.front().name && row.rowType == rows.front().rowType) break;
        rows.push_back(std::move(row));
        q += 7 + size;
    }
    return rows;
}

std::vector<std::string> readTrackNameScan(const SessionImage& image,
                                           const std::vector<std::string>& knownNames) {
    const ImageView& view = image.view;
    std::unordered_set<std::string_view> known(knownNames.begin(), knownNames.end());
    // A name standing at p: a length from 2 to 64 (its low byte and three zero
    // bytes: the low byte, read straight, turns most positions away with one
    // test), printable bytes, and no word of a path. Returns its end, or 0.
    std::string text;
    auto nameAt = [&](uint64_t p, bool mustBeKnown) -> uint64_t {
        const uint8_t low = view.bytes[p];
        if (low < 2 || low > 64) return 0;
        if (view.bytes[p + 1] != 0 || view.bytes[p + 2] != 0 || view.bytes[p + 3] != 0) return 0;
        if (mustBeKnown && (!view.holds(p + 4, low) ||
                            !known.count(std::string_view(reinterpret_cast<const char*>(view.bytes + p + 4), low)))) {
            return 0;
        }
        auto name = readName(view, p, 2, 64);
        if (!name || isRejectedScanName(*name)) return 0;
        text = std::move(*name);
        return p + 4 + low;
    };

    // The table starts at the first known name and runs while each name stands
    // at most 40 bytes behind the one before.
    const uint64_t span = view.length >= 4 ? std::min<uint64_t>(kNameScanSpan, view.length - 3) : 0;
    std::vector<std::string> result;
    std::unordered_set<std::string> seen;
    uint64_t lastEnd = 0;
    uint64_t p = 0;
    for (; p < span && lastEnd == 0; ++p) {
        if (const uint64_t end = nameAt(p, true)) {
            addNew(result, seen, text);
            lastEnd = end;
        }
    }
    for (p = lastEnd; lastEnd != 0 && p < span && p - lastEnd <= 40; ++p) {
        if (const uint64_t end = nameAt(p, false)) {
            addNew(result, seen, text);
            lastEnd = end;
            p = end - 1;
        }
    }
    return result;
}

std::vector<std::string> readInactiveNames(const SessionImage& image) {
    const ImageView& view = image.view;
    std::vector<std::string> names;
    std::unordered_set<std::string> seen;
    for (uint64_t z : image.scan(kTrackListRow)) {
        uint32_t size = view.u32(z + 3);
        if (size < 73 || size > 152) continue;
        uint32_t length = view.u32(z + 11);
        if (length < 1 || length > 80 || length + 72 != size) continue;
        auto name = readName(view, z + 11, 1, 80);
        if (!name || view.u8(blockEndAt(view, z) - 6) != 0) continue;
        addNew(names, seen, *name);
    }
    return names;
}

std::vector<std::string> readVoiceOffNames(const SessionImage& image,
                                           const std::vector<SessionTrack>& tracks) {
    const ImageView& view = image.view;
    std::vector<std::string> names;
    std::unordered_set<std::string> seen;
    // The rows stand in the order of their blocks; the first that holds the mark's holder counts.
    std::vector<std::pair<uint64_t, uint64_t>> spans;
    for (const SessionTrack& track : tracks) spans.emplace_back(track.blockStart, track.blockEnd);
    const SpanIndex index = makeSpanIndex(spans);
    for (uint64_t z : image.scan(kVoiceHolder)) {
        uint64_t end = blockEndAt(view, z);
        auto mark = firstInside(image, kVoiceMark, z + 9, end);
        if (!mark || view.u8(*mark - 1) != 0 || view.u8(*mark - 2) != 0) continue;
        if (const std::optional<size_t> track = firstSpanReaching(index, z, end)) {
            addNew(names, seen, tracks[*track].currentName);
            addNew(names, seen, tracks[*track].name);
        }
    }
    return names;
}

std::string readMasterName(const SessionImage& image) {
    const ImageView& view = image.view;
    const std::vector<uint64_t> masters = image.scan(kMasterFader);
    const std::vector<uint64_t> ends = ownEnds(view, masters);
    for (size_t k = 0; k < masters.size(); ++k) {
        const uint64_t z = masters[k];
        if (view.u32(z + 3) <= 14) continue;
        for (uint64_t n : image.scanHeads(kTrackName, z + 1, ends[k], blockEndAt(view, z))) {
            if (auto name = readName(view, n + 9, 1, 64)) return *name;
        }
    }
    return {};
}

TrackListChoice chooseTrackList(const std::vector<std::string>& scanNames,
                                const std::vector<SessionTrack>& tracks) {
    TrackListChoice choice;
    choice.names = scanNames;
    choice.rowCount = static_cast<int>(tracks.size());
    // A table without rows is no track list either.
    if (tracks.empty()) return choice;
    std::vector<std::string> collected;
    std::unordered_set<std::string> seen;
    for (const SessionTrack& track : tracks) {
        const std::string& name = effectiveName(track);
        if (name.empty() || !seen.insert(name).second) return choice;
        collected.push_back(name);
    }
    const std::unordered_set<std::string> scanned(scanNames.begin(), scanNames.end());
    for (const std::string& name : collected) choice.scanCount += scanned.count(name) ? 1 : 0;
    if (collected != scanNames) {
        choice.names = std::move(collected);
        choice.fromStripRows = true;
    }
    return choice;
}
