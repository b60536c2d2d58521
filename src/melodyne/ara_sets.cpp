#include "melodyne/ara_sets.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <string_view>
#include <unordered_map>

namespace {

constexpr uint16_t kAraBlock = 0x480C;
constexpr uint16_t kPlugInName = 0x4807;
constexpr uint16_t kSource = 0x480B;
constexpr uint16_t kModification = 0x480A;
constexpr uint16_t kAudioClip = 0x2629;
constexpr uint16_t kClipHead = 0x2628;
constexpr uint32_t kMaxFileName = 1024;
constexpr uint32_t kMaxClipName = 400;

// A u32 length from 1 to `most` at `at` and the text behind it, when it fits.
std::optional<std::string> lengthText(const ImageView& view, uint64_t at, uint32_t most) {
    const uint32_t length = view.u32(at);
    if (length < 1 || length > most || !view.holds(at + 4, length)) return std::nullopt;
    return view.text(at + 4, length);
}

std::array<uint8_t, 16> uidAt(const ImageView& view, uint64_t at) {
    std::array<uint8_t, 16> uid{};
    for (size_t k = 0; k < uid.size(); ++k) uid[k] = view.u8(at + k);
    return uid;
}

// The first "ds_" in [from, to) with its length in front and its text inside.
std::string documentName(const ImageView& view, uint64_t from, uint64_t to) {
    for (uint64_t at = from + 4; at + 3 <= to; ++at) {
        if (!view.matches(at, "ds_", 3)) continue;
        const uint32_t length = view.u32(at - 4);
        if (length >= 1 && length <= kMaxFileName && at + length <= to) return view.text(at, length);
    }
    return std::string();
}

}  // namespace

std::vector<AraSet> readAraSets(const SessionImage& image) {
    const ImageView& view = image.view;
    std::vector<AraSet> sets;
    for (uint64_t p : image.scan(kAraBlock)) {
        const uint64_t end = blockEndAt(view, p);
        const std::optional<std::string> factory = lengthText(view, p + 9, kMaxFileName);
        if (!factory) continue;
        const uint64_t behindName = p + 13 + factory->size();

        std::string plugIn;
        const std::vector<uint64_t> names = image.scan(kPlugInName, behindName, end);
        if (!names.empty()) plugIn = lengthText(view, names.front() + 21, kMaxFileName).value_or(std::string());

        for (uint64_t s : image.scan(kSource, behindName, end)) {
            const std::optional<std::string> source = lengthText(view, s + 25, kMaxFileName);
            if (!source) continue;
            for (uint64_t m : image.scan(kModification, s + 29 + source->size(), blockEndAt(view, s))) {
                const std::optional<std::string> modification = lengthText(view, m + 25, kMaxFileName);
                if (!modification) continue;
                AraSet set;
                set.factoryId = *factory;
                set.plugInName = plugIn;
                set.sourceFile = *source;
                set.sourceUid = uidAt(view, s + 9);
                set.modificationFile = *modification;
                set.modificationUid = uidAt(view, m + 9);
                sets.push_back(set);
            }
        }

        const std::string document = documentName(view, behindName, end);
        for (AraSet& set : sets) {
            if (set.factoryId == *factory && set.documentFile.empty()) set.documentFile = document;
        }
    }
    return sets;
}

std::map<std::string, int32_t> readAraClipSets(const SessionImage& image, const std::vector<AraSet>& sets) {
    std::map<std::string, int32_t> clipSets;
    if (sets.empty()) return clipSets;
    // Each id to the first row that has it, so that one pass over a clip's bytes finds its rows.
    std::unordered_map<std::string_view, int32_t> rowOfUid;
    for (size_t r = 0; r < sets.size(); ++r) {
        const std::array<uint8_t, 16>& uid = sets[r].modificationUid;
        rowOfUid.emplace(std::string_view(reinterpret_cast<const char*>(uid.data()), uid.size()),
                         static_cast<int32_t>(r));
    }

    const ImageView& view = image.view;
    for (uint64_t p : image.scan(kAudioClip)) {
        if (view.u32(p + 3) < 24 || view.u8(p + 9) != 'Z' || view.u16(p + 16) != kClipHead) continue;
        const uint32_t length = view.u32(p + 18);
        if (length < 1 || length > kMaxClipName || !view.holds(p + 22, length)) continue;
        const std::string name = view.text(p + 22, length);
        const uint64_t end = std::min<uint64_t>(blockEndAt(view, p), view.length);

        int32_t first = -1;
        for (uint64_t at = p + 22 + length; at + 16 <= end; ++at) {
            auto found = rowOfUid.find(std::string_view(reinterpret_cast<const char*>(view.bytes + at), 16));
            if (found != rowOfUid.end() && (first < 0 || found->second < first)) first = found->second;
        }
        if (first >= 0) clipSets.emplace(name, first);
    }
    return clipSets;
}
