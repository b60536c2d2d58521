#include "session/midi.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr uint16_t kNoteBlock = 0x2000;
constexpr uint64_t kNoteSize = 35;
constexpr uint16_t kMidiTrack = 0x2620;
constexpr uint16_t kInstrumentTrack = 0x2621;

// The next place in [from, to) where the text stands, or `to` when it does not.
uint64_t findText(const ImageView& view, uint64_t from, uint64_t to, const char* text) {
    const size_t length = std::strlen(text);
    to = std::min(to, view.length);
    while (from + length <= to) {
        const void* hit = std::memchr(view.bytes + from, text[0], static_cast<size_t>(to - from));
        if (hit == nullptr) return to;
        const uint64_t at = static_cast<uint64_t>(static_cast<const uint8_t*>(hit) - view.bytes);
        if (at + length <= to && std::memcmp(view.bytes + at, text, length) == 0) return at;
        from = at + 1;
    }
    return to;
}

bool isText(const ImageView& view, uint64_t at, const char* text) {
    const size_t length = std::strlen(text);
    return view.holds(at, length) && std::memcmp(view.bytes + at, text, length) == 0;
}

// One "MdNLB" list at m; gives the position behind its last note. The first
// note's position is the origin: the notes count from it.
uint64_t readChunkAt(const ImageView& view, uint64_t m, MidiNoteChunk& chunk, PositionFaults* faults) {
    const uint32_t count = view.u32(m + 11);
    uint64_t r = m + 15;
    if (count == 0) return r;
    chunk.origin = readTimelinePosition(view, m + 15, nullptr);
    if (!view.holds(m + 33, 1)) return r;
    for (uint32_t k = 0; k < count && r + 18 <= view.length; ++k, r += kNoteSize) {
        MidiEvent event;
        event.position = readTimelinePosition(view, r, faults).value - chunk.origin.value;
        event.note = view.u8(r + 8);
        event.length = readTimelineSpan(view, r + 9, faults).value;
        event.velocity = view.u8(r + 17);
        chunk.maxEnd = std::max(chunk.maxEnd, event.position + event.length);
        chunk.events.push_back(event);
    }
    return r;
}

const PtxBlock* childOf(const PtxBlock& block, uint16_t type) {
    for (const PtxBlock& child : block.children) {
        if (child.contentType == type) return &child;
    }
    return nullptr;
}

// A value of a MIDI clip's three-point record: up to eight bytes wide, for a
// start far into the session takes six; held at the end of the timeline.
uint64_t wideValue(const ThreePoint& point, int which) {
    if (point.widths[which] < 1 || point.widths[which] > 8) return 0;
    return std::min(point.values[which], kTimelineEnd);
}

// The MIDI clips of the clip lists, each a window onto a note chunk.
void readFirstRoute(const ImageView& view, const std::vector<PtxBlock>& tree,
                    const std::vector<MidiNoteChunk>& chunks, ClipLists& lists) {
    for (const PtxBlock& list : tree) {
        if (list.contentType != 0x2002 && list.contentType != 0x2634) continue;
        for (const PtxBlock& holder : list.children) {
            if (holder.contentType != 0x2001 && holder.contentType != 0x2633) continue;
            for (const PtxBlock& block : holder.children) {
                if (block.contentType != 0x1007 && block.contentType != 0x2628) continue;
                const uint64_t z = block.start();
                const uint32_t length = view.u32(z + 9);
                const uint64_t textEnd = std::min<uint64_t>(z + 13 + uint64_t(length), view.length);
                const std::string name = textEnd > z + 13 ? view.text(z + 13, textEnd - (z + 13)) : std::string();
                const ThreePoint point = readThreePoint(view, z + 13 + uint64_t(length));
                const uint32_t number = view.u32(block.end());
                if (number >= chunks.size()) continue;
                const MidiNoteChunk& chunk = chunks[number];
                // The first value is where the clip starts in the chunk, stored
                // as the chunk's positions are: biased when they count ticks.
                const int64_t first = static_cast<int64_t>(wideValue(point, 0)) -
                                      static_cast<int64_t>(chunk.origin.inTicks() ? kPositionBias : 0);
                ClipDefinition clip;
                clip.index = static_cast<uint16_t>(lists.midiClips.size());
                clip.name = name;
                clip.start = {0, chunk.origin.unit};
                clip.sourceOffset = chunk.events.empty() ? 0 : chunk.origin.value - first;
                clip.length = static_cast<int64_t>(wideValue(point, 2));
                clip.midiEvents = chunks[number].events;
                clip.midiChunk = static_cast<int32_t>(number);
                lists.midiClips.push_back(std::move(clip));
            }
        }
    }
}

// MIDI clips inside clip groups: each names its chunk by number.
void readSecondRoute(const ImageView& view, const std::vector<PtxBlock>& tree,
                     const std::vector<MidiNoteChunk>& chunks, ClipLists& lists) {
    for (const PtxBlock& list : tree) {
        if (list.contentType != 0x262C) continue;
        for (const PtxBlock& group : list.children) {
            if (group.contentType != 0x262B) continue;
            for (const PtxBlock& block : group.children) {
                if (block.contentType != 0x2628 || childOf(block, 0x2523) != nullptr) continue;
                const uint16_t number = view.u16(block.end() + 2);
                if (number >= chunks.size()) continue;
                ClipDefinition clip;
                clip.index = number;
                clip.name = lists.midiClips.empty() ? std::string() : lists.midiClips.back().name;
                clip.start = {0, chunks[number].origin.unit};
                clip.length = chunks[number].maxEnd;
                clip.midiEvents = chunks[number].events;
                clip.midiChunk = number;
                lists.midiClips.push_back(std::move(clip));
            }
        }
    }
}

// The MIDI placements of each MIDI playlist onto its track's entry.
void readPlacements(const ImageView& view, const std::vector<PtxBlock>& tree, ClipLists& lists,
                    PositionFaults* faults) {
    std::vector<MidiClip> placed;
    for (const PtxBlock& list : tree) {
        if (list.contentType != 0x1058) continue;
        uint32_t number = 0;
        for (const PtxBlock& playlist : list.children) {
            if (playlist.contentType != 0x1057) continue;
            const uint64_t z = playlist.start();
            const std::string name = view.text(z + 13, view.u32(z + 9));
            const MidiClip* track = nullptr;
            for (const MidiClip& entry : lists.midiPlacements) {
                if (entry.clip.index == kNoClip && entry.trackName == name) {
                    track = &entry;
                    break;
                }
            }
            for (size_t k = 0; track == nullptr && k < lists.midiPlacements.size(); ++k) {
                const MidiClip& entry = lists.midiPlacements[k];
                if (entry.clip.index == kNoClip && entry.trackIndex == number) track = &entry;
            }
            ++number;
            for (const PtxBlock& holder : playlist.children) {
                if (holder.contentType != 0x1056) continue;
                const uint8_t muted = view.u8(holder.start() + 18) == 1 ? 1 : 0;
                for (const PtxBlock& placement : holder.children) {
                    if (placement.contentType != 0x104F) continue;
                    const uint64_t y = placement.start();
                    const uint32_t clipNumber = view.u32(y + 11);
                    if (track == nullptr || clipNumber >= kNoClip) continue;
                    const ClipDefinition* clip = nullptr;
                    for (const ClipDefinition& candidate : lists.midiClips) {
                        if (candidate.index == clipNumber) {
                            clip = &candidate;
                            break;
                        }
                    }
                    if (clip == nullptr) continue;
                    MidiClip entry;
                    entry.trackName = track->trackName;
                    entry.trackIndex = track->trackIndex;
                    entry.clip = *clip;
                    entry.clip.start = readTimelinePosition(view, y + 16, faults);
                    entry.clip.muted = muted;
                    placed.push_back(std::move(entry));
                }
            }
        }
    }
    lists.midiPlacements.insert(lists.midiPlacements.end(), placed.begin(), placed.end());
    lists.midiPlacements.erase(std::remove_if(lists.midiPlacements.begin(), lists.midiPlacements.end(),
                                              [](const MidiClip& entry) { return entry.clip.index >= kNoClip; }),
                               lists.midiPlacements.end());
}

// A SysEx stream at s ("MdES"): every record in shape, the last ending at the
// stream's end, or the stream is not taken.
bool readSysexStream(const ImageView& view, uint64_t s, std::vector<MidiSysexEvent>& events, uint64_t& end,
                     PositionFaults* faults) {
    if (!isText(view, s + 10, "MdTEL")) return false;
    end = s + 21 + view.u32(s + 17);
    if (end > view.length) return false;
    const uint32_t count = view.u32(s + 21);
    uint64_t r = s + 25;
    std::vector<MidiSysexEvent> read;
    PositionFaults readFaults;
    for (uint32_t k = 0; k < count; ++k) {
        if (r + 19 > end || view.u8(r + 8) != 1) return false;
        const uint32_t n = view.u32(r + 15);
        if (view.u32(r + 10) != n + 5 || r + 19 + uint64_t(n) > end) return false;
        MidiSysexEvent event;
        event.position = readTimelinePosition(view, r, &readFaults);
        event.bytes.assign(view.bytes + r + 19, view.bytes + r + 19 + n);
        read.push_back(std::move(event));
        r += 19 + uint64_t(n);
    }
    if (r != end) return false;
    events.insert(events.end(), read.begin(), read.end());
    if (faults != nullptr) faults->add(readFaults);
    return true;
}

// A controller stream at s ("MdCDS") of a known kind whose count and length agree.
bool readControllerStream(const ImageView& view, uint64_t s, std::vector<MidiControllerEvent>& events,
                          uint64_t& end, PositionFaults* faults) {
    if (!isText(view, s + 11, "Mdss")) return false;
    const uint32_t span = view.u32(s + 17);
    if (span < 2) return false;
    const uint8_t kind = view.u8(s + 21);
    const uint8_t controller = view.u8(s + 22);
    if (kind != kPitchBend && kind != kController && kind != kAftertouch) return false;
    const uint64_t d = s + 11 + uint64_t(span);
    if (!isText(view, d + 10, "MdCD")) return false;
    const uint32_t count = view.u32(d + 20);
    if (uint64_t(view.u32(d + 16)) != uint64_t(count) * 12 + 4) return false;
    end = d + 24 + 12 * uint64_t(count);
    if (end > view.length) return false;
    for (uint32_t k = 0; k < count; ++k) {
        const uint64_t r = d + 24 + 12 * uint64_t(k);
        events.push_back({kind, controller, readTimelinePosition(view, r, faults), view.u32(r + 8)});
    }
    return true;
}

struct Span {
    uint64_t start;
    uint64_t end;
};

bool insideAny(const std::vector<Span>& spans, uint64_t at) {
    return std::any_of(spans.begin(), spans.end(),
                       [at](const Span& span) { return at >= span.start && at < span.end; });
}

// The next stream marker at or after p: "MdNLB", "MdES" or "MdCDS".
uint64_t nextMarker(const ImageView& view, uint64_t p) {
    for (;;) {
        const uint64_t at = findText(view, p, view.length, "Md");
        if (at >= view.length) return view.length;
        if (isText(view, at, "MdNLB") || isText(view, at, "MdES") || isText(view, at, "MdCDS")) return at;
        p = at + 1;
    }
}

}  // namespace

std::vector<MidiNoteChunk> readMidiNoteChunks(const SessionImage& image, PositionFaults* faults) {
    return readMidiNoteChunks(image, walkBlockTree(image.view), faults);
}

std::vector<MidiNoteChunk> readMidiNoteChunks(const SessionImage& image, const std::vector<PtxBlock>& tree,
                                              PositionFaults* faults) {
    const ImageView& view = image.view;
    std::vector<MidiNoteChunk> chunks;
    if (view.length < 65 || view.u8(17) != 0) return chunks;
    for (const PtxBlock& block : tree) {
        if (block.contentType != kNoteBlock) continue;
        const uint64_t end = block.end();
        uint64_t p = block.start();
        while (p + kNoteSize <= end) {
            const uint64_t m = findText(view, p, end, "MdNLB");
            if (m >= end) break;
            MidiNoteChunk chunk;
            p = readChunkAt(view, m, chunk, faults);
            chunks.push_back(std::move(chunk));
        }
    }
    return chunks;
}

std::vector<MidiStreamChunk> readMidiStreams(const SessionImage& image, PositionFaults* faults) {
    const ImageView& view = image.view;
    std::vector<Span> spans;
    for (uint64_t z : image.scan(kNoteBlock)) spans.push_back({z, blockEndAt(view, z)});
    std::vector<MidiStreamChunk> chunks;
    bool open = false;
    for (uint64_t p = nextMarker(view, 0); p < view.length; p = nextMarker(view, p)) {
        if (isText(view, p, "MdNLB")) {
            open = spans.empty() || insideAny(spans, p);
            if (open) {
                MidiStreamChunk chunk;
                chunk.noteCount = view.u32(p + 11);
                if (chunk.noteCount != 0) chunk.origin = readTimelinePosition(view, p + 15, nullptr);
                chunks.push_back(std::move(chunk));
            }
            p += 5;
            continue;
        }
        uint64_t end = 0;
        if (open && isText(view, p, "MdES") && readSysexStream(view, p, chunks.back().sysexEvents, end, faults)) {
            p = end;
        } else if (open && isText(view, p, "MdCDS") &&
                   readControllerStream(view, p, chunks.back().controllers, end, faults)) {
            p = end;
        } else {
            ++p;
        }
    }
    return chunks;
}

void readMidiClipsAndPlacements(const SessionImage& image, const std::vector<MidiNoteChunk>& chunks,
                                ClipLists& lists, PositionFaults* faults) {
    readMidiClipsAndPlacements(image, walkBlockTree(image.view), chunks, lists, faults);
}

void readMidiClipsAndPlacements(const SessionImage& image, const std::vector<PtxBlock>& tree,
                                const std::vector<MidiNoteChunk>& chunks, ClipLists& lists, PositionFaults* faults) {
    const ImageView& view = image.view;
    if (view.length < 65 || view.u8(17) != 0) return;
    readFirstRoute(view, tree, chunks, lists);
    readSecondRoute(view, tree, chunks, lists);
    readPlacements(view, tree, lists, faults);
}

std::vector<MidiPlaylistRow> readMidiPlaylistRows(const SessionImage& image) {
    const ImageView& view = image.view;
    std::vector<MidiPlaylistRow> rows;
    for (uint64_t z : image.scan(0x1057)) {
        auto name = readName(view, z + 9, 1, 64);
        if (!name) continue;
        const uint64_t countAt = z + 13 + name->size();
        if (view.u32(countAt) > 20000) continue;
        MidiPlaylistRow row;
        row.name = *name;
        const uint64_t end = blockEndAt(view, z);
        const uint32_t count = view.u32(countAt);
        uint64_t c = countAt + 4;
        for (uint32_t k = 0; k < count && c + 7 <= end && view.u8(c) == 'Z'; ++k, c = blockEndAt(view, c)) {
            const uint64_t n = c + 9;
            if (view.u8(n) != 'Z' || view.u16(n + 7) != 0x104F) continue;
            row.clipIndex.push_back(view.u32(n + 11));
            row.colour.push_back(static_cast<int16_t>(view.u16(n + 25)));
            row.overlapState.push_back(view.u8(n + 24));
            row.live.push_back(view.length >= c + 49 && (view.u8(n + 39) != 0 || view.u8(n + 10) != 0));
            // The placement reader counts what is out of shape in these same bytes.
            row.position.push_back(readTimelinePosition(view, n + 16, nullptr));
        }
        if (!row.clipIndex.empty()) rows.push_back(std::move(row));
    }
    return rows;
}

std::map<std::string, MidiTrackControls> readMidiTrackControls(const SessionImage& image,
                                                               const std::vector<SessionTrack>& tracks) {
    const ImageView& view = image.view;
    std::map<std::string, MidiTrackControls> controls;
    for (const SessionTrack& track : tracks) {
        if (track.kind != kMidiTrack && track.kind != kInstrumentTrack) continue;
        for (uint64_t b : image.scan(0x2036, track.blockStart + 1, track.blockEnd)) {
            MidiTrackControls row;
            const uint32_t size = view.u32(b + 3);
            if (size > 15 && view.u8(b + 9) < 128 && view.u8(b + 17) < 128) {
                row.volume = view.u8(b + 9);
                row.pan = view.u8(b + 17);
            }
            if (size > 17 && view.u8(b + 25) < 128) row.program = view.u8(b + 25);
            if (size >= 18 && view.holds(b + 21, 4)) row.outputIndex = static_cast<int32_t>(view.u32(b + 21));
            controls[effectiveName(track)] = row;
            break;
        }
    }
    return controls;
}

std::map<std::string, MidiRealTime> readMidiRealTime(const SessionImage& image,
                                                     const std::vector<SessionTrack>& tracks) {
    const ImageView& view = image.view;
    std::vector<uint64_t> blocks;
    for (uint64_t b : image.scan(0x2502)) {
        if (view.u32(b + 3) > 152) blocks.push_back(b);
    }
    std::map<std::string, MidiRealTime> table;
    size_t next = 0;
    for (const SessionTrack& track : tracks) {
        if (track.kind != kMidiTrack && track.kind != kInstrumentTrack) continue;
        // Each MIDI track takes the next block, up to the second last of them.
        if (blocks.size() < 2 || next + 1 >= blocks.size()) break;
        const uint64_t b = blocks[next++];
        uint64_t far = b;
        if (view.u8(b + 13) == 'Z' && view.u16(b + 20) == 0x103D) {
            const uint32_t t = view.u32(b + 16);
            if (uint64_t(t) + 20 >= 79 && uint64_t(view.u32(b + 3)) + 7 >= uint64_t(t) + 101) far = b + t - 59;
        }
        MidiRealTime properties;
        properties.firstSwitch = view.u8(b + 11) == 1;
        properties.secondValue = view.u32(b + 54);
        properties.delayOn = view.u8(far + 89) == 1;
        properties.velocityOn = view.u8(far + 133) == 1;
        properties.delayTicks = static_cast<int32_t>(view.u32(far + 136) / 1000);
        if (view.u8(far + 134) != 0) properties.delayTicks = -properties.delayTicks;
        properties.transposeOn = view.u8(far + 148) == 1;
        properties.velocityScale = static_cast<int32_t>(view.u32(far + 149));
        properties.velocityOffset = static_cast<int32_t>(view.u32(far + 151));
        properties.furtherSwitch = view.u8(far + 156) == 1;
        properties.furtherValue = view.u8(far + 157);
        properties.octaves = static_cast<int8_t>(view.u8(far + 158));
        properties.semitones = static_cast<int8_t>(view.u8(far + 159));
        table[effectiveName(track)] = properties;
    }
    return table;
}

std::vector<MidiOutputRow> readMidiOutputs(const SessionImage& image) {
    const ImageView& view = image.view;
    std::vector<MidiOutputRow> rows;
    for (uint64_t z : image.scan(0x2004)) {
        if (view.u32(z + 3) == 0) continue;
        const uint64_t end = blockEndAt(view, z);
        for (uint64_t p = z + 6; p + 9 <= end; ++p) {
            if (view.u8(p) != 'Z' || view.u16(p + 7) != 0x2005 || blockEndAt(view, p) > end) continue;
            MidiOutputRow row;
            const uint64_t rowEnd = blockEndAt(view, p);
            bool nameSeen = false;
            for (uint64_t q = p + 9; q + 9 <= rowEnd;) {
                if (view.u8(q) != 'Z' || blockEndAt(view, q) > rowEnd || view.u32(q + 3) == 0) {
                    ++q;
                    continue;
                }
                const uint16_t type = view.u16(q + 7);
                if (type == 0x2006) {
                    // Only the first name block of a row is read, whatever it holds.
                    const uint32_t length = view.u32(q + 11);
                    if (!nameSeen && length >= 1 && length <= 199 && view.holds(q + 15, length + 1)) {
                        row.name = view.text(q + 15, length);
                        row.channel = view.u8(q + 15 + length) + 1;
                    }
                    nameSeen = true;
                } else if (type == 0x2086 || type == 0x208C) {
                    q += 9;  // step into them
                    continue;
                } else if (type == 0x2097 && view.u32(q + 3) >= 29) {
                    row.pluginNode = true;
                    for (int k = 0; k < 16; ++k) row.deviceBytes[k] = view.u8(q + 22 + k);
                } else if (type == 0x2401 && view.u32(q + 3) >= 4) {
                    row.deviceByte = view.u8(q + 9);
                }
                q = blockEndAt(view, q);
            }
            rows.push_back(row);
            p = rowEnd - 1;
        }
        break;
    }
    return rows;
}
