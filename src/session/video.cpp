#include "session/video.h"

#include <algorithm>
#include <cctype>

#include "session/image.h"
#include "session/timeline_position.h"

namespace {

constexpr uint16_t kFileList = 0x103A;
constexpr uint16_t kVideoList = 0x1053;
constexpr uint16_t kVideoHolder = 0x1051;
constexpr uint16_t kPlacement = 0x104F;
constexpr uint32_t kMostEntryName = 512;
constexpr uint32_t kMostListName = 256;
constexpr uint32_t kNoClip = 0xFFFFFFFF;

bool isVideoName(const std::string& name) {
    static const char* const kEndings[] = {".mp4", ".mov", ".avi", ".mxf", ".m4v", ".mkv", ".mpg"};
    if (name.size() < 5) return false;
    std::string ending = name.substr(name.size() - 4);
    std::transform(ending.begin(), ending.end(), ending.begin(), [](unsigned char c) { return std::tolower(c); });
    return std::any_of(std::begin(kEndings), std::end(kEndings), [&](const char* e) { return ending == e; });
}

}  // namespace

std::vector<std::string> readVideoFiles(const SessionImage& image) {
    const ImageView& view = image.view;
    std::vector<std::string> files;
    for (uint64_t z : image.scan(kFileList)) {
        const uint64_t end = blockEndAt(view, z);
        // Entries: u32 length, name, a 4-byte type word, 5 more bytes.
        for (uint64_t entry = z + 18; entry + 4 <= end;) {
            const std::optional<std::string> name = readName(view, entry, 1, kMostEntryName);
            if (!name || entry + 13 + name->size() > end) break;
            if (isVideoName(*name) && std::find(files.begin(), files.end(), *name) == files.end()) {
                files.push_back(*name);
            }
            entry += 13 + name->size();
        }
    }
    return files;
}

std::vector<VideoPlaylist> readVideoPlacements(const SessionImage& image) {
    const ImageView& view = image.view;
    std::vector<VideoPlaylist> lists;
    for (uint64_t z : image.scan(kVideoList)) {
        const std::optional<std::string> name = readName(view, z + 9, 0, kMostListName);
        if (!name) continue;
        const uint64_t end = blockEndAt(view, z);
        VideoPlaylist list;
        list.name = *name;
        for (uint64_t holder : image.scan(kVideoHolder, z + 13 + name->size(), end)) {
            const std::optional<uint64_t> y = image.first(kPlacement, holder + 7, blockEndAt(view, holder));
            if (!y || !view.holds(*y + 27, 1)) continue;
            VideoPlacement placement;
            const uint32_t clip = view.u32(*y + 11);
            placement.clip = clip == kNoClip || clip > INT32_MAX ? -1 : static_cast<int32_t>(clip);
            placement.start = readTimelinePosition(view, *y + 16, nullptr).value;
            placement.colour = static_cast<int16_t>(view.u16(*y + 25));
            placement.locked = view.holds(*y + 39, 1) ? view.u8(*y + 39) != 0 : view.u8(*y + 10) != 0;
            list.placements.push_back(placement);
        }
        lists.push_back(std::move(list));
    }
    return lists;
}
