// MIDI clips into items. A MIDI item's edges only mute the notes beyond them,
// and REAPER sounds a note that runs into an item from before it, so the edges
// are fixed as Pro Tools plays them and every event carries its own mute mark.
#include <algorithm>
#include <cmath>
#include <map>

#include "analysis/passes.h"

namespace {

constexpr int64_t kStackWindow = 960;  // ticks: overlaps up to this much are left alone

// One placement on its way to an item, in ticks (or samples when sample-based).
struct Placed {
    const MidiClip* placement = nullptr;
    int64_t position = 0;
    int64_t length = 0;
    bool sampleBased = false;
    int64_t cut = -1;       // the length a later clip on top leaves, -1 none
    int64_t headTrim = 0;   // the start a clip on top covers
};

// The stacking state of the MIDI playlist entry for this track and clip
// nearest the position, within the window; 0 when there is none.
uint8_t stackingState(const std::vector<MidiPlaylistRow>& rows, const std::string& track, uint32_t clipIndex,
                      const TimelinePosition& position) {
    uint8_t state = 0;
    int64_t best = kStackWindow + 1;
    for (const MidiPlaylistRow& row : rows) {
        if (row.name != track) continue;
        const size_t count = std::min({row.clipIndex.size(), row.position.size(), row.overlapState.size()});
        for (size_t k = 0; k < count; ++k) {
            if (row.clipIndex[k] != clipIndex || row.position[k].unit != position.unit) continue;
            const int64_t distance = std::llabs(row.position[k].value - position.value);
            if (distance <= kStackWindow && distance < best) {
                best = distance;
                state = row.overlapState[k];
            }
        }
    }
    return state;
}

// Cuts and head trims between neighbouring clips of one track, by which lies on top.
void stackTrack(std::vector<Placed*>& clips, const std::vector<MidiPlaylistRow>& rows) {
    std::stable_sort(clips.begin(), clips.end(), [](const Placed* a, const Placed* b) {
        if (a->position != b->position) return a->position < b->position;
        return a->placement->clip.index < b->placement->clip.index;
    });
    for (size_t i = 0; i + 1 < clips.size(); ++i) {
        Placed& a = *clips[i];
        Placed& b = *clips[i + 1];
        const int64_t gap = b.position - a.position;
        const int64_t overlap = a.length - gap;
        if (a.sampleBased != b.sampleBased || gap <= 0 || a.length <= 0 || overlap <= kStackWindow) continue;
        const uint8_t state =
            stackingState(rows, a.placement->trackName, a.placement->clip.index, a.placement->clip.start);
        if (state == 1) {
            if (overlap < b.length || b.length == 0) b.headTrim = overlap;
        } else if ((state == 2 || state == 3) && !b.placement->clip.muted) {
            a.cut = gap;
        }
    }
}

// Ticks from the session start at a time in seconds, through the tempo map:
// the inverse of secondsOfTicks, each tempo's start found by binary search.
struct TickClock {
    const std::vector<TempoEvent>& map;
    double sessionTempo = 120;
    std::vector<double> startSeconds;  // where each tempo of the map starts

    TickClock(const std::vector<TempoEvent>& tempoMap, double tempo) : map(tempoMap), sessionTempo(tempo) {
        for (size_t i = 0; i < map.size(); ++i) {
            startSeconds.push_back(i == 0 ? 0.0
                                          : startSeconds.back() + (map[i].position - map[i - 1].position) * 60.0 /
                                                                      (map[i - 1].bpm * kTicksPerQuarter));
        }
    }
    double ticksAt(double seconds) const {
        const double perSecond = static_cast<double>(kTicksPerQuarter) / 60.0;
        if (map.empty()) return seconds * sessionTempo * perSecond;
        const auto later = std::upper_bound(startSeconds.begin(), startSeconds.end(), seconds);
        const size_t i = later == startSeconds.begin() ? 0 : static_cast<size_t>(later - startSeconds.begin()) - 1;
        return map[i].position + (seconds - startSeconds[i]) * map[i].bpm * perSecond;
    }
};

// The events of one item, with the edges' mutes, at 960 per quarter note. A
// sample-based clip's events sit at fixed times: each takes the quarter notes
// the tempo map gives between its source's start and it, as REAPER counts them.
struct ItemBuilder {
    const ConvertOptions& options;
    MidiCounts& counts;
    bool sampleBased = false;
    const TickClock* clock = nullptr;
    double rate = 48000;
    double sourceSeconds = 0;  // a sample-based clip: where its source starts, and the ticks there
    double sourceTicks = 0;

    uint64_t ppqOf(int64_t value) const {
        const double ticks = sampleBased ? clock->ticksAt(sourceSeconds + static_cast<double>(value) / rate) - sourceTicks
                                         : static_cast<double>(value);
        return static_cast<uint64_t>(std::max(0.0, ticks * 0.001 + 0.5));
    }
    static bool inClip(int64_t start, int64_t length) { return start >= 0 && (length == 0 || length > start); }
    // A note is two events, its start and its end.
    bool muteOutside(bool inside, int events) {
        if (inside) return false;
        if (options.keepInaudibleMidi) {
            counts.eventsKeptOutside += events;
            return false;
        }
        counts.eventsMutedOutside += events;
        return true;
    }
};

// Notes, controllers and SysEx of a clip as item events; gives the ring tail,
// the largest run of a kept note past the clip's end, in the clip's unit.
int64_t buildEvents(ItemBuilder& builder, const ClipDefinition& clip, const MidiStreamChunk* stream, int64_t s,
                    int64_t length, std::vector<MidiItemEvent>& events) {
    const int64_t shift = s < 0 ? -s : 0;
    int64_t ringTail = 0;
    for (const MidiEvent& note : clip.midiEvents) {
        const int64_t start = s + static_cast<int64_t>(note.position);
        const int64_t end = start + static_cast<int64_t>(note.length);
        if (end <= start) continue;
        const bool inside = ItemBuilder::inClip(start, length);
        uint64_t on = builder.ppqOf(start + shift);
        uint64_t off = builder.ppqOf(end + shift);
        bool muted = builder.muteOutside(inside, 2);
        if (on >= off) {
            off = on + 1;
            muted = true;
            ++builder.counts.notesTooShort;
        }
        if (inside && length > 0 && end > length) {
            ringTail = std::max(ringTail, end - length);
            if (!muted) ++builder.counts.notesRunningPast;
        }
        events.push_back({on, 0x90, note.note, note.velocity, muted, {}});
        events.push_back({off, 0x80, note.note, 0, muted, {}});
        ++builder.counts.notes;
    }
    if (stream == nullptr) return ringTail;
    for (const MidiControllerEvent& event : stream->controllers) {
        const int64_t start = s + event.position.value - stream->origin.value;
        const bool muted = builder.muteOutside(ItemBuilder::inClip(start, length), 1);
        const uint64_t at = builder.ppqOf(start + shift);
        if (event.kind == kPitchBend) {
            events.push_back({at, 0xE0, event.value & 0x7F, (event.value >> 7) & 0x7F, muted, {}});
        } else if (event.kind == kController) {
            events.push_back({at, 0xB0, event.controller, event.value & 0x7F, muted, {}});
        } else {
            events.push_back({at, 0xD0, event.value & 0x7F, 0, muted, {}});
        }
        ++builder.counts.controllerEvents;
    }
    for (const MidiSysexEvent& event : stream->sysexEvents) {
        const int64_t start = s + event.position.value - stream->origin.value;
        // REAPER has no muted SysEx: one outside its clip is written live.
        if (!ItemBuilder::inClip(start, length)) ++builder.counts.sysexOutside;
        MidiItemEvent sysex{builder.ppqOf(start + shift), 0xF0, 0, 0, false, {}};
        for (uint8_t byte : event.bytes) {
            if (byte != 0xF0 && byte != 0xF7) sysex.sysex.push_back(byte);
        }
        events.push_back(std::move(sysex));
        ++builder.counts.sysexEvents;
    }
    return ringTail;
}

// The controller and SysEx streams of a clip's chunk, when they belong to its notes.
const MidiStreamChunk* streamOf(const SessionModel& model, const ClipDefinition& clip, MidiCounts& counts) {
    if (clip.midiChunk < 0 || static_cast<size_t>(clip.midiChunk) >= model.midiStreams.size()) return nullptr;
    const MidiStreamChunk& stream = model.midiStreams[static_cast<size_t>(clip.midiChunk)];
    if (stream.controllers.empty() && stream.sysexEvents.empty()) return nullptr;
    // Every position must count the origin's unit, or the events cannot be placed.
    const auto otherUnit = [&stream](const auto& event) { return event.position.unit != stream.origin.unit; };
    if (stream.noteCount != clip.midiEvents.size() ||
        std::any_of(stream.controllers.begin(), stream.controllers.end(), otherUnit) ||
        std::any_of(stream.sysexEvents.begin(), stream.sysexEvents.end(), otherUnit)) {
        ++counts.mismatchedStreams;
        return nullptr;
    }
    return &stream;
}

MidiItem makeItem(const SessionModel& model, const ConvertOptions& options, const Placed& placed, double rate,
                  const TickClock& clock, MidiCounts& counts) {
    const ClipDefinition& clip = placed.placement->clip;
    MidiItem item;
    item.name = clip.name;
    item.muted = clip.muted != 0;
    const auto seconds = [&](int64_t ticks) {
        return secondsOfTicks(static_cast<double>(ticks), model.tempoMap, model.sessionTempo);
    };

    ItemBuilder builder{options, counts, placed.sampleBased, &clock, rate};
    int64_t position = placed.position;
    int64_t length = placed.length;
    int64_t s = clip.sourceOffset;
    // A clip that starts before the session's start plays from there.
    if (position < 0 && (length == 0 || length > -position)) {
        s += position;
        if (length > 0) length += position;
        position = 0;
    }
    if (placed.sampleBased) {
        builder.sourceSeconds = static_cast<double>(position + std::min<int64_t>(s, 0)) / rate;
        builder.sourceTicks = clock.ticksAt(builder.sourceSeconds);
        if (placed.cut >= 0 || placed.headTrim > 0) ++counts.sampleBasedOverlaps;
    } else {
        if (placed.cut >= 0 && (length == 0 || length > placed.cut)) {
            length = placed.cut;
            ++counts.clipsCut;
        }
        if (placed.headTrim > 0 && length > placed.headTrim) {
            position += placed.headTrim;
            s -= placed.headTrim;
            length -= placed.headTrim;
            ++counts.clipsHeadTrimmed;
        }
    }
    const int64_t ringTail = buildEvents(builder, clip, streamOf(model, clip, counts), s, length, item.events);
    const int64_t written = length + (options.truncateMidiToClip ? 0 : ringTail);
    if (placed.sampleBased) {
        item.position = static_cast<double>(position) / rate;
        item.length = static_cast<double>(written) / rate;
        if (s < 0) item.sourceStart = static_cast<double>(-s) / rate;
    } else {
        item.position = seconds(position);
        item.length = seconds(position + written) - item.position;
        if (s < 0) item.sourceStart = item.position - seconds(position + s);
    }
    std::stable_sort(item.events.begin(), item.events.end(), [](const MidiItemEvent& a, const MidiItemEvent& b) {
        if (a.ppq != b.ppq) return a.ppq < b.ppq;
        return a.status == 0x80 && b.status != 0x80;  // a note ends before the next one starts
    });
    return item;
}

}  // namespace

void buildMidiItems(const SessionModel& model, const ConvertOptions& options, BindingWork& work,
                    AnalysisModel& analysis) {
    MidiCounts& counts = analysis.midiCounts;
    const double rate = static_cast<double>(model.info.sampleRate > 0 ? model.info.sampleRate : 48000);
    std::vector<Placed> placed;
    for (const MidiClip& placement : model.clips.midiPlacements) {
        if (placement.clip.index == kNoClip) continue;
        Placed entry;
        entry.placement = &placement;
        entry.position = placement.clip.start.value;
        entry.length = placement.clip.length;
        entry.sampleBased = !placement.clip.start.inTicks();
        if (entry.sampleBased) ++counts.sampleBasedClips;
        placed.push_back(entry);
    }

    std::map<std::pair<std::string, uint16_t>, std::vector<Placed*>> byTrack;
    for (Placed& entry : placed) {
        if (entry.placement->clip.midiEvents.empty()) continue;
        byTrack[{entry.placement->trackName, entry.placement->trackIndex}].push_back(&entry);
    }
    for (auto& track : byTrack) stackTrack(track.second, model.midiPlaylistRows);

    const TickClock clock(model.tempoMap, model.sessionTempo);
    std::map<uint16_t, MidiTrack*> trackOfIndex;
    for (MidiTrack& track : work.midiTracks) trackOfIndex[track.trackIndex] = &track;
    for (const Placed& entry : placed) {
        auto track = trackOfIndex.find(entry.placement->trackIndex);
        if (track == trackOfIndex.end()) continue;
        if (entry.sampleBased) counts.sampleBasedTracks.insert(track->second->name);
        track->second->items.push_back(makeItem(model, options, entry, rate, clock, counts));
        ++counts.clips;
    }
}
