// Clip groups are laid out flat: REAPER has no clip groups, so each group
// entry of a track becomes the clips it plays, at their places. A group that
// holds no audio (a cue of a spotting list) becomes an empty item with the
// group's name as its notes, so the cue survives.
#include <algorithm>
#include <cmath>
#include <map>
#include <set>

#include "analysis/passes.h"

namespace {

constexpr size_t kDeepestNesting = 8;
constexpr size_t kMostPieces = 1000000;  // in a run: far beyond any session, the bound of a damaged one
constexpr double kFadeEdgeWindow = 0.005;

// What a laid-out entry shares with its pieces: where the group's own timeline
// starts on the track, and the entry's flags.
struct EntryPlace {
    TimelinePosition at;  // the stored position of the group's origin on the track
    double seconds = 0;
    bool muted = false;
    int32_t colour = -2;
    bool locked = false;
};

struct GroupContext {
    const SessionModel& model;
    const BindingWork& work;
    ClipCounts& counts;
    BindingCounts& bindingCounts;
    double rate = 48000;
    std::map<int32_t, size_t> rowOfGroup;  // group number: its own playlist row
    size_t piecesLaid = 0;
    std::set<std::pair<uint32_t, TimelinePosition>> looped;  // (clip or group number, stored position)
};

double secondsPerTick(const SessionModel& model) {
    return 60.0 / ((model.sessionTempo > 0 ? model.sessionTempo : 120.0) * static_cast<double>(kTicksPerQuarter));
}

// A position inside a group's timeline, as a distance from the group's origin,
// moved onto the track. Units that agree add up in that unit; else the
// distance is taken in seconds at the session's tempo.
void placeInGroup(const GroupContext& context, const EntryPlace& entry, const ClipGroup& group,
                  const TimelinePosition& inner, TimelinePosition& stored, double& seconds) {
    const SessionModel& model = context.model;
    const int64_t origin = inner.unit == group.start.unit ? group.start.value : 0;
    const int64_t distance = inner.value - origin;
    if (inner.unit == entry.at.unit) {
        stored = {entry.at.value + distance, entry.at.unit};
        seconds = secondsAt(stored, context.rate, model.tempoMap, model.sessionTempo);
        return;
    }
    stored = entry.at;
    const double unit = inner.inTicks() ? secondsPerTick(model) : 1.0 / context.rate;
    seconds = entry.seconds + static_cast<double>(distance) * unit;
}

// A looped entry of a group, or a looped group entry: REAPER has no clip
// groups, so what is laid out flat plays once; it is named with its reason.
void noteLoopIfLooped(GroupContext& context, const BoundTrack& track, uint32_t number, const TimelinePosition& at,
                      const std::string& name, double seconds, const char* reason) {
    if (!context.looped.count({number, at})) return;
    LoopNotWritten line;
    line.trackName = currentNameOf(track);
    line.clipName = name;
    line.position = seconds;
    line.reason = reason;
    context.counts.loopsNotWritten.push_back(line);
}

// A piece of a group: the clip as a placement would give it, cut to the group's extent.
bool makePiece(const GroupContext& context, const BoundTrack& track, const ClipDefinition& definition,
               const TimelinePosition& stored, double seconds, double groupStart, double groupEnd, AudioClip& piece) {
    const double rate = context.rate;
    piece.trackName = track.name;
    piece.trackIndex = track.trackIndex;
    piece.storedTrackIndex = track.storedIndex;
    piece.clip = definition;
    piece.clip.start = stored;
    piece.channelMode = oneChannelMode(definition);
    piece.position = seconds;
    piece.length = static_cast<double>(definition.length) / rate;
    piece.sourceOffset = static_cast<double>(definition.sourceOffset) / rate;
    piece.sourceOffsetSamples = definition.sourceOffset > 0
                                    ? static_cast<uint32_t>(std::min<int64_t>(definition.sourceOffset, 0xFFFFFFFF))
                                    : 0;
    const ClipSyncOffsets& sync = context.model.syncOffsets;
    if (context.work.syncApplied && definition.index < sync.values.size() && sync.values[definition.index] != 0) {
        piece.syncDistance = static_cast<double>(sync.values[definition.index]) / rate;
        piece.position = std::max(0.0, piece.position - piece.syncDistance);
        ++context.bindingCounts.clipsWithSyncPoint;
    }
    // What lies outside the group is not heard.
    if (groupEnd > groupStart) {
        if (piece.position >= groupEnd || piece.position + piece.length <= groupStart) return false;
        if (piece.position < groupStart) {
            const double head = groupStart - piece.position;
            piece.position = groupStart;
            piece.length -= head;
            piece.sourceOffset += head;
            piece.sourceOffsetSamples += static_cast<uint32_t>(head * rate + 0.5);
            piece.syncDistance = std::max(0.0, piece.syncDistance - head);
        }
        piece.length = std::min(piece.length, groupEnd - piece.position);
    }
    return true;
}

// The entries of a row, as many as every one of its parallel lists holds.
size_t entryCount(const PlaylistRow& row) {
    return std::min({row.clipIndex.size(), row.position.size(), row.live.size(), row.isFade.size(),
                     row.isGroup.size(), row.muted.size(), row.colour.size(), row.locked.size()});
}

void noteUnread(GroupContext& context, const BoundTrack& track) {
    ++context.counts.groupPiecesUnread;
    std::vector<std::string>& names = context.counts.tracksWithUnreadPieces;
    const std::string& name = currentNameOf(track);
    if (std::find(names.begin(), names.end(), name) == names.end()) names.push_back(name);
}

// Fades of a group's own playlist, bound to the nearest edge of its pieces.
void bindGroupFade(GroupContext& context, const FadeRecord& fade, double anchor, double unit, AudioClip* begin,
                   AudioClip* end) {
    AudioClip* best = nullptr;
    double bestDistance = kFadeEdgeWindow;
    for (AudioClip* piece = begin; piece != end; ++piece) {
        const double edge = fade.kind == kFadeIn ? piece->position : piece->position + piece->length;
        const double distance = std::fabs(edge - anchor);
        if (distance < bestDistance) {
            best = piece;
            bestDistance = distance;
        }
    }
    if (best == nullptr || (fade.kind != kFadeIn && fade.kind != kFadeOut)) {
        ++context.counts.groupFadesUnbound;
        return;
    }
    const double shape = fade.isSCurve ? 5.1 : fade.shape == 1 ? 1.0 : 0.0;
    if (fade.kind == kFadeIn) {
        best->fadeInLength = fade.length * unit;
        best->fadeInShape = shape;
        ++context.counts.groupFadeIns;
    } else {
        best->fadeOutLength = fade.length * unit;
        best->fadeOutShape = shape;
        ++context.counts.groupFadeOuts;
    }
}

// The pieces group `number` plays from `entry`, added to pieces; what cannot
// be read is counted.
void layOut(GroupContext& context, const BoundTrack& track, uint32_t number, const EntryPlace& entry,
            std::vector<uint32_t>& within, std::vector<AudioClip>& pieces) {
    const SessionModel& model = context.model;
    // A group inside itself, nesting past reason, or more pieces than a group
    // can hold are what a damaged list gives: none of it is laid out.
    const bool nested = std::find(within.begin(), within.end(), number) != within.end();
    if (number >= model.clipGroups.size() || !model.clipGroups[number].readable || nested ||
        within.size() >= kDeepestNesting || context.piecesLaid >= kMostPieces) {
        noteUnread(context, track);
        return;
    }
    within.push_back(number);
    const ClipGroup& group = model.clipGroups[number];
    auto found = context.rowOfGroup.find(static_cast<int32_t>(number));
    if (found == context.rowOfGroup.end()) {
        within.pop_back();
        return;
    }
    const PlaylistRow& row = model.playlistRows[found->second];
    const double groupEnd = entry.seconds + static_cast<double>(group.length) / context.rate;
    const double perTick = secondsPerTick(model);
    const size_t first = pieces.size();
    const size_t entries = entryCount(row);
    for (size_t k = 0; k < entries; ++k) {
        if (!row.live[k] || row.isFade[k]) continue;
        TimelinePosition stored;
        double seconds = 0;
        placeInGroup(context, entry, group, row.position[k], stored, seconds);
        if (row.isGroup[k]) {
            EntryPlace inner{stored, seconds, entry.muted || row.muted[k] != 0, entry.colour, entry.locked};
            if (row.clipIndex[k] < model.clipGroups.size()) {
                noteLoopIfLooped(context, track, row.clipIndex[k], row.position[k],
                                 model.clipGroups[row.clipIndex[k]].name, seconds, "a clip group, laid out as its clips");
            }
            layOut(context, track, row.clipIndex[k], inner, within, pieces);
            continue;
        }
        if (row.clipIndex[k] >= model.clips.audioClips.size()) {
            noteUnread(context, track);
            continue;
        }
        AudioClip piece;
        if (!makePiece(context, track, model.clips.audioClips[row.clipIndex[k]], stored, seconds, entry.seconds,
                       groupEnd, piece)) {
            continue;
        }
        piece.muted = entry.muted || row.muted[k] != 0;
        piece.colour = entry.colour;
        piece.locked = entry.locked;
        piece.groupName = group.name;
        noteLoopIfLooped(context, track, row.clipIndex[k], row.position[k], piece.clip.name, piece.position,
                         "inside a clip group");
        pieces.push_back(std::move(piece));
        ++context.piecesLaid;
    }
    within.pop_back();
    if (pieces.size() == first) return;
    for (size_t k = 0; k < entries; ++k) {
        if (!row.live[k] || !row.isFade[k] || row.clipIndex[k] >= model.fades.size()) continue;
        TimelinePosition stored;
        double anchor = 0;
        placeInGroup(context, entry, group, row.position[k], stored, anchor);
        bindGroupFade(context, model.fades[row.clipIndex[k]], anchor,
                      row.position[k].inTicks() ? perTick : 1.0 / context.rate, pieces.data() + first,
                      pieces.data() + pieces.size());
    }
}

// The item of a group that plays nothing: the group's extent and its name.
AudioClip emptyItem(const GroupContext& context, const BoundTrack& track, uint32_t number, const EntryPlace& entry) {
    const ClipGroup& group = context.model.clipGroups[number];
    AudioClip item;
    item.trackName = track.name;
    item.trackIndex = track.trackIndex;
    item.storedTrackIndex = track.storedIndex;
    item.clip.index = static_cast<uint16_t>(std::min<uint32_t>(number, kNoClip));
    item.clip.name = group.name;
    item.clip.start = entry.at;
    item.clip.length = group.length;
    item.position = entry.seconds;
    item.length = static_cast<double>(group.length) / context.rate;
    item.muted = entry.muted;
    item.colour = entry.colour;
    item.locked = entry.locked;
    item.groupName = group.name;
    item.emptyGroup = true;
    return item;
}

// Tracks whose playlist holds clip groups and no clip have no clip list yet:
// each gets one, paired with its playlist, at its place among the tracks.
void addGroupOnlyTracks(const SessionModel& model, BindingWork& work) {
    std::set<int32_t> numbers;
    for (const BoundTrack& track : work.tracks) numbers.insert(track.storedIndex);
    const size_t count = std::min(model.timebaseRecords.size(), model.playlistRows.size());
    bool added = false;
    for (size_t r = 0; r < count; ++r) {
        const TimebaseRecord& record = model.timebaseRecords[r];
        const PlaylistRow& row = model.playlistRows[r];
        if (record.trackNumber < 0 || record.trackNumber > 0xFFFF || numbers.count(record.trackNumber)) continue;
        if (std::find(row.isGroup.begin(), row.isGroup.end(), true) == row.isGroup.end()) continue;
        BoundTrack track;
        track.storedIndex = static_cast<uint16_t>(record.trackNumber);
        track.name = record.name;
        track.record = static_cast<int>(r);
        track.playlistName = record.name;
        track.isTick = record.tickBased;
        work.tracks.push_back(std::move(track));
        numbers.insert(record.trackNumber);
        added = true;
    }
    if (!added) return;
    std::stable_sort(work.tracks.begin(), work.tracks.end(),
                     [](const BoundTrack& a, const BoundTrack& b) { return a.storedIndex < b.storedIndex; });
    for (size_t t = 0; t < work.tracks.size(); ++t) work.tracks[t].trackIndex = static_cast<uint16_t>(t);
}

}  // namespace

void flattenClipGroups(const SessionModel& model, const ConvertOptions&, BindingWork& work, AnalysisModel& analysis) {
    if (!model.clipGroups.empty()) addGroupOnlyTracks(model, work);
    const double rate = static_cast<double>(model.info.sampleRate > 0 ? model.info.sampleRate : 48000);
    GroupContext context{model, work, analysis.clipCounts, analysis.counts, rate, {}, 0, {}};
    for (size_t r = 0; r < model.timebaseRecords.size() && r < model.playlistRows.size(); ++r) {
        if (model.timebaseRecords[r].clipGroup >= 0) context.rowOfGroup.emplace(model.timebaseRecords[r].clipGroup, r);
    }
    for (const LoopRecord& record : model.loopRecords) context.looped.emplace(record.clipIndex, record.position);
    for (BoundTrack& track : work.tracks) {
        if (track.record < 0 || static_cast<size_t>(track.record) >= model.playlistRows.size()) continue;
        const PlaylistRow& row = model.playlistRows[static_cast<size_t>(track.record)];
        bool added = false;
        const size_t entries = entryCount(row);
        for (size_t k = 0; k < entries; ++k) {
            if (!row.isGroup[k] || !row.live[k]) continue;
            const double seconds = secondsAt(row.position[k], rate, model.tempoMap, model.sessionTempo);
            EntryPlace entry{row.position[k], seconds, row.muted[k] != 0, row.colour[k], row.locked[k]};
            const size_t unread = static_cast<size_t>(analysis.clipCounts.groupPiecesUnread);
            std::vector<AudioClip> pieces;
            std::vector<uint32_t> within;
            layOut(context, track, row.clipIndex[k], entry, within, pieces);
            if (!pieces.empty()) {
                ++analysis.clipCounts.clipGroupsFlattened;
                analysis.clipCounts.clipGroupPieces += static_cast<int>(pieces.size());
                track.clips.insert(track.clips.end(), pieces.begin(), pieces.end());
                noteLoopIfLooped(context, track, row.clipIndex[k], row.position[k],
                                 model.clipGroups[row.clipIndex[k]].name, seconds, "a clip group, laid out as its clips");
            } else if (unread == static_cast<size_t>(analysis.clipCounts.groupPiecesUnread)) {
                ++analysis.clipCounts.emptyClipGroups;
                track.clips.push_back(emptyItem(context, track, row.clipIndex[k], entry));
                noteLoopIfLooped(context, track, row.clipIndex[k], row.position[k],
                                 model.clipGroups[row.clipIndex[k]].name, seconds, "a clip group that holds no audio");
            }
            added = true;
        }
        if (added) sortByPosition(track.clips);
    }
}
