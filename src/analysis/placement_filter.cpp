#include <algorithm>
#include <cstdlib>
#include <vector>

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

// One live key of a row: how many live entries stand there and their flags.
struct LivePlacement {
    PlacementKey key;
    int count = 0;
    LiveFlags flags;
};

// What one playlist row says about its placements, in sorted lists (a row holds
// as many entries as its track has clips, so no tree per key is built).
struct RowPlacements {
    std::vector<PlacementKey> fadeReferences;
    std::vector<PlacementKey> clipReferences;
    std::vector<LivePlacement> live;                  // by key
    std::vector<std::pair<uint32_t, int>> liveOfIndex;  // by clip index: live entries left

    bool holds(const std::vector<PlacementKey>& keys, const PlacementKey& key) const {
        return std::binary_search(keys.begin(), keys.end(), key);
    }
    LivePlacement* liveAt(const PlacementKey& key) {
        auto at = std::lower_bound(live.begin(), live.end(), key,
                                   [](const LivePlacement& p, const PlacementKey& k) { return p.key < k; });
        return at != live.end() && at->key == key ? &*at : nullptr;
    }
    int* liveOf(uint32_t index) {
        auto at = std::lower_bound(liveOfIndex.begin(), liveOfIndex.end(), index,
                                   [](const std::pair<uint32_t, int>& p, uint32_t i) { return p.first < i; });
        return at != liveOfIndex.end() && at->first == index ? &at->second : nullptr;
    }
};

void sortKeys(std::vector<PlacementKey>& keys) {
    std::sort(keys.begin(), keys.end());
    keys.erase(std::unique(keys.begin(), keys.end()), keys.end());
}

RowPlacements readRow(const PlaylistRow& row, size_t fadeTableSize) {
    RowPlacements placements;
    const size_t count = std::min({row.clipIndex.size(), row.position.size(), row.live.size(), row.isFade.size(),
                                   row.isGroup.size(), row.overlapState.size(), row.locked.size(),
                                   row.colour.size()});
    std::vector<size_t> liveEntries;
    for (size_t k = 0; k < count; ++k) {
        if (row.isGroup[k]) continue;
        const PlacementKey key{row.clipIndex[k], row.position[k]};
        if (row.isFade[k] && row.clipIndex[k] < fadeTableSize) {
            placements.fadeReferences.push_back(key);
        } else {
            placements.clipReferences.push_back(key);
        }
        if (row.live[k]) liveEntries.push_back(k);
    }
    sortKeys(placements.fadeReferences);
    sortKeys(placements.clipReferences);

    // The live entries by key, each key's in row order, so that later entries
    // set its flags over earlier ones.
    const auto keyAt = [&row](size_t k) { return PlacementKey{row.clipIndex[k], row.position[k]}; };
    std::stable_sort(liveEntries.begin(), liveEntries.end(),
                     [&keyAt](size_t a, size_t b) { return keyAt(a) < keyAt(b); });
    for (size_t k : liveEntries) {
        const PlacementKey key = keyAt(k);
        if (placements.live.empty() || placements.live.back().key != key) placements.live.push_back({key, 0, {}});
        LivePlacement& entry = placements.live.back();
        ++entry.count;
        if (row.overlapState[k] == 1 || row.overlapState[k] == 2) entry.flags.overlapState = row.overlapState[k];
        entry.flags.locked = row.locked[k];
        if (row.colour[k] != -2) entry.flags.colour = row.colour[k];
        if (placements.liveOfIndex.empty() || placements.liveOfIndex.back().first != key.first)
            placements.liveOfIndex.emplace_back(key.first, 0);
        ++placements.liveOfIndex.back().second;
    }
    return placements;
}

// The live placement a clip stands for: its own key, else the nearest of the
// same clip within the match window. Null when none is left to match.
const PlacementKey* matchLive(RowPlacements& placements, const PlacementKey& key, PlacementKey& matched) {
    LivePlacement* exact = placements.liveAt(key);
    if (exact != nullptr && exact->count > 0) {
        --exact->count;
        matched = key;
        return &matched;
    }
    const TimelinePosition& at = key.second;
    const TimelinePosition low{at.value - kMatchWindow, at.unit};
    const TimelinePosition high{at.value + kMatchWindow, at.unit};
    std::vector<LivePlacement>& live = placements.live;
    auto it = std::lower_bound(live.begin(), live.end(), PlacementKey{key.first, low},
                               [](const LivePlacement& p, const PlacementKey& k) { return p.key < k; });
    auto best = live.end();
    int64_t bestDistance = 0;
    for (; it != live.end() && it->key.first == key.first && !(high < it->key.second); ++it) {
        if (it->count <= 0) continue;
        const int64_t distance = std::llabs(it->key.second.value - at.value);
        if (best == live.end() || distance < bestDistance) {
            best = it;
            bestDistance = distance;
        }
    }
    if (best == live.end()) return nullptr;
    --best->count;
    matched = best->key;
    return &matched;
}

void takeFlags(RowPlacements& placements, const PlacementKey& key, AudioClip& clip) {
    const LivePlacement* found = placements.liveAt(key);
    if (found == nullptr) {
        clip.drawnOverNext = false;
        clip.drawnOverPrevious = false;
        return;
    }
    const LiveFlags& flags = found->flags;
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

        // Decided first by index, so that the clips stay whole when the row is
        // not believed.
        std::vector<std::pair<size_t, PlacementKey>> keptAt;  // clip, key of its flags
        std::vector<size_t> deletedAt;
        int fadeReferences = 0;
        for (size_t i = 0; i < track.clips.size(); ++i) {
            const PlacementKey key = keyOf(track.clips[i]);
            if (!options.keepFadeClips && placements.holds(placements.fadeReferences, key) &&
                !placements.holds(placements.clipReferences, key)) {
                ++fadeReferences;
                continue;
            }
            PlacementKey matched;
            const PlacementKey* flagsKey = matchLive(placements, key, matched);
            int* ofIndex = placements.liveOf(key.first);  // present for every live clip index
            if (flagsKey != nullptr) {
                --*ofIndex;
            } else if (ofIndex != nullptr && *ofIndex > 0) {
                --*ofIndex;
                flagsKey = &key;
            } else {
                deletedAt.push_back(i);
                continue;
            }
            keptAt.emplace_back(i, *flagsKey);
        }
        // A row whose every placement reads as deleted is not believed.
        if (keptAt.empty()) continue;
        analysis.counts.deletedPlacements += static_cast<int>(deletedAt.size());
        if (options.recoverDeleted)
            for (size_t i : deletedAt) track.losers.push_back(std::move(track.clips[i]));
        // The kept clips close up in place, in their order.
        std::vector<AudioClip>& clips = track.clips;
        size_t kept = 0;
        for (const auto& [i, flagsKey] : keptAt) {
            if (i != kept) clips[kept] = std::move(clips[i]);
            takeFlags(placements, flagsKey, clips[kept]);
            ++kept;
        }
        clips.erase(clips.begin() + static_cast<std::ptrdiff_t>(kept), clips.end());
        analysis.counts.fadeReferencesDropped += fadeReferences;
    }
}
