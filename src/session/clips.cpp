#include "session/clips.h"

#include <algorithm>

#include "session/midi.h"

namespace {

constexpr uint16_t kAudioClipListOld = 0x100B;
constexpr uint16_t kAudioClipListNew = 0x262A;
constexpr uint16_t kAudioClipOld = 0x1008;
constexpr uint16_t kAudioClipNew = 0x2629;
constexpr uint16_t kOldTrackList = 0x1015;
constexpr uint16_t kOldTrack = 0x1014;
constexpr uint16_t kTrackList = 0x2519;
constexpr uint16_t kTrackRow = 0x251A;
constexpr uint16_t kMasterTrack = 0x261D;
constexpr uint16_t kAudioTrack = 0x261B;
constexpr uint16_t kMidiTrack = 0x2620;
constexpr uint16_t kInstrumentTrack = 0x2621;
constexpr uint16_t kPlacementListNew = 0x1054;
constexpr uint16_t kPlaylistNew = 0x1052;
constexpr uint16_t kPlacementHolderNew = 0x1050;
constexpr uint16_t kPlacementNew = 0x104F;
constexpr uint16_t kPlacementListOld = 0x1012;
constexpr uint16_t kPlaylistOld = 0x1011;
constexpr uint16_t kPlacementHolderOld = 0x100F;
constexpr uint16_t kPlacementOld = 0x100E;

constexpr uint32_t kMaxTrackNumbers = 1024;
constexpr uint32_t kMaxSyncNameLength = 256;

bool isAudioClipList(uint16_t type) { return type == kAudioClipListOld || type == kAudioClipListNew; }
bool isAudioClip(uint16_t type) { return type == kAudioClipOld || type == kAudioClipNew; }

// The text at position, cut short where the image ends.
std::string textToImageEnd(const ImageView& view, uint64_t position, uint64_t count) {
    if (position >= view.length) return {};
    return view.text(position, std::min<uint64_t>(count, view.length - position));
}

// A value of the record counts when its width is 1 to 5; one that does not lie
// in the image reads 0.
int64_t threePointValue(const ThreePoint& record, int which) {
    uint8_t width = record.widths[which];
    return width >= 1 && width <= 5 ? static_cast<int64_t>(record.values[which]) : 0;
}

// Answers which file a clip's file index names: the first entry of the list
// whose name is empty or whose index equals it.
class FileLookup {
public:
    // The table reaches the highest index listed, not every index there could be.
    explicit FileLookup(const std::vector<AudioFileRef>& files) : files_(files) {
        for (size_t i = files.size(); i-- > 0;) {
            if (files[i].index >= firstOfIndex_.size()) firstOfIndex_.resize(size_t{files[i].index} + 1, kNone);
            firstOfIndex_[files[i].index] = i;
            if (files[i].name.empty()) firstUnnamed_ = i;
        }
    }
    const AudioFileRef* fileOf(uint16_t fileIndex) const {
        const size_t listed = fileIndex < firstOfIndex_.size() ? firstOfIndex_[fileIndex] : kNone;
        size_t entry = std::min(listed, firstUnnamed_);
        return entry == kNone ? nullptr : &files_[entry];
    }

private:
    static constexpr size_t kNone = ~size_t(0);
    const std::vector<AudioFileRef>& files_;
    std::vector<size_t> firstOfIndex_;
    size_t firstUnnamed_ = kNone;
};

ClipDefinition readAudioClip(const ImageView& view, const PtxBlock& block, uint16_t index, const FileLookup& files) {
    uint64_t z = block.start();
    ClipDefinition clip;
    clip.index = index;
    uint32_t nameLength = view.u32(z + 18);
    clip.name = textToImageEnd(view, z + 22, nameLength);
    ThreePoint record = readThreePoint(view, z + 22 + nameLength);
    clip.sourceOffset = threePointValue(record, 0);
    clip.length = threePointValue(record, 2);
    clip.start = samplesAt(threePointValue(record, 3));
    // Behind the head block: the file index (u16), two bytes, and the channel of
    // the file that the clip plays (u32, from 0): the ".L" and ".R" clips of one
    // interleaved file differ only there.
    if (!block.children.empty()) {
        const uint64_t behind = block.children.front().end();
        clip.fileIndex = view.u16(behind);
        if (behind + 8 <= block.end()) clip.channel = view.u32(behind + 4);
    }
    if (const AudioFileRef* file = files.fileOf(clip.fileIndex)) {
        clip.fileName = file->name;
        clip.fileChannels = file->channels;
    }
    clip.filePosition = clip.start.value;
    clip.fileLength = clip.length;
    return clip;
}

ClipPlacement trackEntry(const std::string& name, uint16_t number) {
    ClipPlacement entry;
    entry.trackName = name;
    entry.trackIndex = number;
    entry.clipIndex = kNoClip;
    return entry;
}

// Clip numbers at or above kNoClip never name a clip.
const ClipDefinition* clipOfNumber(const std::vector<ClipDefinition>& clips, uint32_t number) {
    if (number >= kNoClip || number >= clips.size()) return nullptr;
    return &clips[number];
}

// Finds the clipless track entry of each track number.
struct TrackTable {
    std::vector<int64_t> entryOfNumber;  // up to the highest number added

    void add(uint16_t number, int64_t entry) {
        if (number >= entryOfNumber.size()) entryOfNumber.resize(size_t{number} + 1, -1);
        entryOfNumber[number] = entry;
    }
    int64_t find(uint64_t number) const { return number < entryOfNumber.size() ? entryOfNumber[number] : -1; }
};

// Adds a placement of the clip, at the clip's own start, on the track that
// holds the track number; null when either is missing.
ClipPlacement* addPlacement(ClipLists& lists, const TrackTable& tracks, uint64_t trackNumber, uint32_t clipNumber) {
    int64_t entry = tracks.find(trackNumber);
    const ClipDefinition* clip = clipOfNumber(lists.audioClips, clipNumber);
    if (entry < 0 || clip == nullptr) return nullptr;
    const ClipPlacement& track = lists.audioPlacements[static_cast<size_t>(entry)];
    ClipPlacement placement;
    placement.trackName = track.trackName;
    placement.trackIndex = track.trackIndex;
    placement.playlist = track.playlist;
    placement.clipIndex = static_cast<uint16_t>(clipNumber);
    placement.start = clip->start;
    placement.muted = clip->muted;
    lists.audioPlacements.push_back(std::move(placement));
    return &lists.audioPlacements.back();
}

// One kind per track, from the track blocks in file order; an audio track block
// inside a master fader's span belongs to the master.
std::vector<uint16_t> readTrackKinds(const SessionImage& image) {
    struct Found {
        uint64_t position;
        uint16_t kind;
    };
    std::vector<Found> found;
    for (uint16_t kind : {kMasterTrack, kAudioTrack, uint16_t(0x261F), kMidiTrack, kInstrumentTrack,
                          uint16_t(0x2623)}) {
        for (uint64_t position : image.scan(kind)) found.push_back({position, kind});
    }
    std::sort(found.begin(), found.end(), [](const Found& a, const Found& b) { return a.position < b.position; });
    std::vector<uint16_t> kinds;
    uint64_t masterEnd = 0;
    for (const Found& block : found) {
        if (block.kind == kMasterTrack) {
            masterEnd = std::max<uint64_t>(masterEnd, block.position + 7 + image.view.u32(block.position + 3));
        } else if (block.kind == kAudioTrack && block.position < masterEnd) {
            continue;
        }
        kinds.push_back(block.kind);
    }
    return kinds;
}

void readAudioClips(const ImageView& view, const std::vector<PtxBlock>& tree, const std::vector<AudioFileRef>& files,
                    ClipLists& lists) {
    FileLookup lookup(files);
    uint16_t index = 0;
    for (const PtxBlock& list : tree) {
        if (!isAudioClipList(list.contentType)) continue;
        for (const PtxBlock& child : list.children) {
            if (!isAudioClip(child.contentType)) continue;
            lists.audioClips.push_back(readAudioClip(view, child, index++, lookup));
        }
    }
}

void readOldTracks(const ImageView& view, const std::vector<PtxBlock>& tree, ClipLists& lists, TrackTable& tracks) {
    for (const PtxBlock& list : tree) {
        if (list.contentType != kOldTrackList) continue;
        for (const PtxBlock& child : list.children) {
            if (child.contentType != kOldTrack) continue;
            uint64_t z = child.start();
            uint32_t nameLength = view.u32(z + 9);
            std::string name = textToImageEnd(view, z + 13, nameLength);
            uint64_t countAt = z + 13 + nameLength + 1;
            uint32_t count = std::min(view.u32(countAt), kMaxTrackNumbers);
            for (uint32_t i = 0; i < count; ++i) {
                uint16_t number = view.u16(countAt + 4 + 2 * uint64_t(i));
                if (tracks.find(number) >= 0) continue;
                tracks.add(number, static_cast<int64_t>(lists.audioPlacements.size()));
                lists.audioPlacements.push_back(trackEntry(name, number));
            }
        }
    }
}

void readMidiTracks(const SessionImage& image, const std::vector<PtxBlock>& tree, ClipLists& lists) {
    const ImageView& view = image.view;
    std::vector<uint16_t> kinds = readTrackKinds(image);
    size_t row = 0;
    uint16_t midiNumber = 0;
    for (const PtxBlock& list : tree) {
        if (list.contentType != kTrackList) continue;
        for (const PtxBlock& child : list.children) {
            if (child.contentType != kTrackRow) continue;
            size_t number = row++;
            if (number >= kinds.size() || (kinds[number] != kMidiTrack && kinds[number] != kInstrumentTrack)) continue;
            uint64_t z = child.start();
            MidiClip entry;
            entry.trackName = textToImageEnd(view, z + 15, view.u32(z + 11));
            entry.trackIndex = midiNumber++;
            entry.clip.index = kNoClip;
            lists.midiPlacements.push_back(std::move(entry));
        }
    }
}

void readNewPlacements(const ImageView& view, const std::vector<PtxBlock>& tree, const TrackTable& tracks,
                       ClipLists& lists, PositionFaults* faults) {
    for (const PtxBlock& list : tree) {
        if (list.contentType != kPlacementListNew) continue;
        uint64_t trackNumber = 0;
        for (const PtxBlock& playlist : list.children) {
            if (playlist.contentType != kPlaylistNew) continue;
            for (const PtxBlock& holder : playlist.children) {
                if (holder.contentType != kPlacementHolderNew) continue;
                if (view.u8(holder.end() + 2) == 1) continue;
                uint8_t muted = view.u8(holder.start() + 18) == 1 ? 1 : 0;
                for (const PtxBlock& placement : holder.children) {
                    if (placement.contentType != kPlacementNew) continue;
                    uint64_t y = placement.start();
                    if (view.u8(y + 27) == 1) continue;  // a clip group: laid out by the analysis
                    ClipPlacement* added = addPlacement(lists, tracks, trackNumber, view.u32(y + 11));
                    if (added == nullptr) continue;
                    added->start = readTimelinePosition(view, y + 16, faults);
                    added->muted = muted;
                }
            }
            ++trackNumber;
        }
    }
}

// The placement blocks of both forms in the tree, which bounds the placements
// read from them: the list's room is taken once.
size_t placementBlocks(const std::vector<PtxBlock>& tree) {
    size_t count = 0;
    for (const PtxBlock& list : tree) {
        if (list.contentType != kPlacementListNew && list.contentType != kPlacementListOld) continue;
        for (const PtxBlock& playlist : list.children)
            for (const PtxBlock& holder : playlist.children) count += holder.children.size();
    }
    return count;
}

void readOldPlacements(const ImageView& view, const std::vector<PtxBlock>& tree, const TrackTable& tracks,
                       ClipLists& lists) {
    for (const PtxBlock& list : tree) {
        if (list.contentType != kPlacementListOld) continue;
        uint64_t trackNumber = 0;
        for (const PtxBlock& playlist : list.children) {
            if (playlist.contentType != kPlaylistOld) continue;
            for (const PtxBlock& holder : playlist.children) {
                if (holder.contentType != kPlacementHolderOld) continue;
                for (const PtxBlock& placement : holder.children) {
                    if (placement.contentType != kPlacementOld) continue;
                    addPlacement(lists, tracks, trackNumber, view.u32(placement.start() + 11));
                }
            }
            ++trackNumber;
        }
    }
}

// Drops the track entries, orders by track and closes the gaps between track
// numbers, so that the first track is 0 and each next one follows by 1.
void finishPlacements(std::vector<ClipPlacement>& placements) {
    placements.erase(std::remove_if(placements.begin(), placements.end(),
                                    [](const ClipPlacement& entry) { return entry.clipIndex == kNoClip; }),
                     placements.end());
    std::stable_sort(placements.begin(), placements.end(),
                     [](const ClipPlacement& a, const ClipPlacement& b) { return a.trackIndex < b.trackIndex; });
    uint16_t previousOld = 0;
    uint16_t previousNew = 0;
    for (size_t i = 0; i < placements.size(); ++i) {
        uint16_t old = placements[i].trackIndex;
        uint16_t renumbered = i == 0 ? 0 : static_cast<uint16_t>(previousNew + (old == previousOld ? 0 : 1));
        previousOld = old;
        previousNew = renumbered;
        placements[i].storedTrackIndex = old;
        placements[i].trackIndex = renumbered;
    }
}

// A block of the sync walk: it must fit inside the list that holds it.
bool syncChildAt(const ImageView& view, uint64_t position, uint64_t listEnd) {
    return view.u8(position) == 'Z' && view.u8(position + 2) == 0 && position + 7 + view.u32(position + 3) <= listEnd;
}

}  // namespace

std::vector<AudioFileRef> audioFileRefs(const std::vector<AudioFileEntry>& files) {
    std::vector<AudioFileRef> refs;
    refs.reserve(files.size());
    for (const AudioFileEntry& file : files) {
        refs.push_back({file.name, file.index, static_cast<int64_t>(file.position), static_cast<int64_t>(file.length),
                        file.channels});
    }
    return refs;
}

ClipLists readClipsAndPlacements(const SessionImage& image, const std::vector<AudioFileRef>& files,
                                 PositionFaults* faults) {
    ClipLists lists;
    const ImageView& view = image.view;
    // Without a tree the session layer's own lists would stand in; it has none
    // for such images, so nothing is found.
    if (view.length < 65 || view.u8(17) != 0) return lists;
    std::vector<PtxBlock> tree = walkBlockTree(view);
    readAudioClips(view, tree, files, lists);
    TrackTable tracks;
    readOldTracks(view, tree, lists, tracks);
    readMidiTracks(image, tree, lists);
    readMidiClipsAndPlacements(image, tree, readMidiNoteChunks(image, tree, faults), lists, faults);
    lists.audioPlacements.reserve(lists.audioPlacements.size() + placementBlocks(tree));
    readNewPlacements(view, tree, tracks, lists, faults);
    readOldPlacements(view, tree, tracks, lists);
    finishPlacements(lists.audioPlacements);
    return lists;
}

ClipSyncOffsets readClipSyncOffsets(const SessionImage& image) {
    const ImageView& view = image.view;
    std::vector<uint64_t> lists = image.scan(kAudioClipListOld);
    std::vector<uint64_t> newer = image.scan(kAudioClipListNew);
    lists.insert(lists.end(), newer.begin(), newer.end());
    std::sort(lists.begin(), lists.end());

    ClipSyncOffsets offsets;
    uint64_t doneUpTo = 0;
    for (uint64_t list : lists) {
        if (list < doneUpTo) continue;
        uint64_t listEnd = list + 7 + view.u32(list + 3);
        doneUpTo = listEnd;
        uint64_t z = list + 9;
        while (z < listEnd) {
            if (!syncChildAt(view, z, listEnd)) {
                ++z;
                continue;
            }
            uint64_t childEnd = z + 7 + view.u32(z + 3);
            if (isAudioClip(view.u16(z + 7))) {
                uint64_t value = 0;
                std::string name;
                uint32_t nameLength = view.u32(z + 18);
                if (view.u8(z + 9) == 'Z' && nameLength < kMaxSyncNameLength) {
                    name = textToImageEnd(view, z + 22, nameLength);
                    ThreePoint record = readThreePoint(view, z + 22 + nameLength);
                    if (record.widths[0] <= 5) value = static_cast<uint64_t>(threePointValue(record, 1));
                }
                offsets.values.push_back(value);
                offsets.names.push_back(std::move(name));
            }
            z = childEnd;
        }
    }
    return offsets;
}

bool syncOffsetsMatch(const ClipSyncOffsets& offsets, const std::vector<ClipDefinition>& clips) {
    if (offsets.values.size() != clips.size() || offsets.names.size() != clips.size()) return false;
    for (size_t i = 0; i < clips.size(); ++i) {
        if (clips[i].index != i || clips[i].name != offsets.names[i]) return false;
    }
    return true;
}
