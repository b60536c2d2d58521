#include <algorithm>
#include <cstdlib>
#include <map>
#include <set>

#include "analysis/passes.h"

namespace {

// A placement by clip index and stored position.
using PlacementKey = std::pair<uint32_t, TimelinePosition>;

constexpr int64_t kMatchWindow = 64;  // samples (or ticks) either side, in the position's own unit

PlacementKey keyOf(const AudioClip& clip) { return {clip.clip.index, clip.clip.start}; }

// The flags of one live placement, as the last row entry at its key sets them.
struct LiveFlags {
    uint8_t overlapState = 0;  // 1 or 2 when set
    bool locked = false;
    int32_t colour = -2;       // -2: none
};

// What one playlist row says about its placements.
struct RowPlacements {
    std::set<PlacementKey> fadeReferences;
    std::set<PlacementKey> clipReferences;
    std::map<uint32_t, std::map<TimelinePosition, int>> live;  // clip index -> position -> live count
    std::map<uint32_t, int> liveOfIndex;
    std::map<PlacementKey, LiveFlags> flags;  // one per live key
};

RowPlacements readRow(const PlaylistRow& row, size_t fadeTableSize) {
    RowPlacements placements;
    const size_t count = std::min({row.clipIndex.size(), row.position.size(), row.live.size(), row.isFade.size(),
                                   row.isGroup.size(), row.overlapState.size(), row.locked.size(),
                                   row.colour.size()});
    for (size_t k = 0; k < count; ++k) {
        if (row.isGroup[k]) continue;
        const PlacementKey key{row.clipIndex[k], row.position[k]};
        if (row.isFade[k] && row.clipIndex[k] < fadeTableSize) {
            placements.fadeReferences.insert(key);
        } else {
            placements.clipReferences.insert(key);
        }
        if (!row.live[k]) continue;
        ++placements.live[key.first][key.second];
        ++placements.liveOfIndex[key.first];
        LiveFlags& flags = placements.flags[key];
        if (row.overlapState[k] == 1 || row.overlapState[k] == 2) flags.overlapState = row.overlapState[k];
        flags.locked = row.locked[k];
        if (row.colour[k] != -2) flags.colour = row.colour[k];
    }
    return placements;
}

// The live placement a clip stands for: its own key, else the nearest of the
// same clip within the match window. Null when none is left to match.
const PlacementKey* matchLive(RowPlacements& placements, const PlacementKey& key, PlacementKey& matched) {
    auto ofIndex = placements.live.find(key.first);
    if (ofIndex == placements.live.end()) return nullptr;
    std::map<TimelinePosition, int>& positions = ofIndex->second;
    auto exact = positions.find(key.second);
    if (exact != positions.end() && exact->second > 0) {
        --exact->second;
        matched = key;
        return &matched;
    }
    const TimelinePosition& at = key.second;
    const TimelinePosition low{at.value - kMatchWindow, at.unit};
    const TimelinePosition high{at.value + kMatchWindow, at.unit};
    auto best = positions.end();
    int64_t bestDistance = 0;
    for (auto it = positions.lower_bound(low); it != positions.end() && !(high < it->first); ++it) {
        if (it->second <= 0) continue;
        const int64_t distance = std::llabs(it->first.value - at.value);
        if (best == positions.end() || distance < bestDistance) {
            best = it;
            bestDistance = distance;
        }
    }
    if (best == positions.end()) return nullptr;
    --best->second;
    matched = {key.first, best->first};
    return &matched;
}

void takeFlags(const RowPlacements& placements, const PlacementKey& key, AudioClip& clip) {
    auto found = placements.flags.find(key);
    if (found == placements.flags.end()) {
        clip.drawnOverNext = false;
        clip.drawnOverPrevious = false;
        return;
    }
    const LiveFlags& flags = found->second;
    clip.drawnOverNext = flags.overlapState == 1;
    clip.drawnOverPrevious = flags.overlapState == 2;
    if (flags.colour != -2) clip.colour = flags.colour;
    clip.locked = flags.locked;
}

}  // namespace

// A track's clips are checked against its playlist row: fade references are not
// clips, and a placement the row no longer holds live was deleted by the author.
// With --recover-deleted the deleted ones are set aside for a track of their own.
void filterPlacements(const SessionModel& model, const ConvertOptions& options, BindingWork& work,
                      AnalysisModel& analysis) {
    for (BoundTrack& track : work.tracks) {
        if (track.record < 0 || static_cast<size_t>(track.record) >= model.playlistRows.size()) continue;
        if (track.clips.empty()) continue;
        RowPlacements placements = readRow(model.playlistRows[static_cast<size_t>(track.record)], model.fades.size());
        if (placements.live.empty()) continue;

        // Decided first by index, so that the clips are moved once and stay
        // whole when the row is not believed.
        std::vector<std::pair<size_t, PlacementKey>> keptAt;  // clip, key of its flags
        std::vector<size_t> deletedAt;
        int fadeReferences = 0;
        for (size_t i = 0; i < track.clips.size(); ++i) {
            const PlacementKey key = keyOf(track.clips[i]);
            if (!options.keepFadeClips && placements.fadeReferences.count(key) &&
                !placements.clipReferences.count(key)) {
                ++fadeReferences;
                continue;
            }
            PlacementKey matched;
            const PlacementKey* flagsKey = matchLive(placements, key, matched);
            int& ofIndex = placements.liveOfIndex[key.first];
            if (flagsKey != nullptr) {
                --ofIndex;
            } else if (ofIndex > 0) {
                --ofIndex;
                flagsKey = &key;
            } else {
                deletedAt.push_back(i);
                continue;
            }
            keptAt.emplace_back(i, *flagsKey);
        }
        // A row whose every placement reads as deleted is not believed.
        if (keptAt.empty()) continue;
        std::vector<AudioClip> kept;
        kept.reserve(keptAt.size());
        for (const auto& [i, flagsKey] : keptAt) {
            kept.push_back(std::move(track.clips[i]));
            takeFlags(placements, flagsKey, kept.back());
        }
        analysis.counts.deletedPlacements += static_cast<int>(deletedAt.size());
        if (options.recoverDeleted)
            for (size_t i : deletedAt) track.losers.push_back(std::move(track.clips[i]));
        track.clips = std::move(kept);
        analysis.counts.fadeReferencesDropped += fadeReferences;
    }
}
