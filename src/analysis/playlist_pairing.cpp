#include <algorithm>
#include <map>

#include "analysis/passes.h"

namespace {

// The first record index at or after the cursor in an ascending list, or -1.
int firstFrom(const std::vector<int>& indices, int cursor) {
    auto found = std::lower_bound(indices.begin(), indices.end(), cursor);
    return found == indices.end() ? -1 : *found;
}

bool holdsGroup(const PlaylistRow& row) {
    return std::find(row.isGroup.begin(), row.isGroup.end(), true) != row.isGroup.end();
}

// The entries of a playlist row whose number names a clip of the list: the
// placements the clip reader can give the track. Fade entries numbered past the
// clip list give none, so a playlist with fades declares more than that.
uint32_t entriesNamingClips(const PlaylistRow& row, size_t clipCount) {
    uint32_t count = 0;
    for (uint32_t number : row.clipIndex) count += number < clipCount ? 1 : 0;
    return count;
}

// The track number a track's placements are stored under is its playlist's
// place in the track playlist list: each track takes the record of that place.
// Playlists outside the list (clip groups keep their own) pair with no track.
bool pairByList(const SessionModel& model, BindingWork& work) {
    const std::vector<TimebaseRecord>& records = model.timebaseRecords;
    std::map<int32_t, int> recordOfNumber;
    for (size_t i = 0; i < records.size(); ++i) {
        if (records[i].trackNumber >= 0) recordOfNumber.emplace(records[i].trackNumber, static_cast<int>(i));
    }
    if (recordOfNumber.empty()) return false;
    for (BoundTrack& track : work.tracks) {
        auto found = recordOfNumber.find(track.storedIndex);
        if (found == recordOfNumber.end()) continue;
        track.record = found->second;
        track.playlistName = records[static_cast<size_t>(found->second)].name;
    }
    return true;
}

// Without the list, playlists and tracks have no stored link: a cursor walks
// the records, and each track takes the next record that declares as many
// placements as it has clips, or holds as many entries that name a clip.
void pairByCount(const SessionModel& model, BindingWork& work) {
    const std::vector<TimebaseRecord>& records = model.timebaseRecords;
    const bool rowsParallel = records.size() == model.playlistRows.size();
    std::map<uint32_t, std::vector<int>> byCount;
    std::map<std::string, std::vector<int>> groupRowsByName;
    for (size_t i = 0; i < records.size(); ++i) {
        byCount[records[i].placementCount].push_back(static_cast<int>(i));
        if (!rowsParallel) continue;
        const uint32_t naming = entriesNamingClips(model.playlistRows[i], model.clips.audioClips.size());
        if (naming != records[i].placementCount) byCount[naming].push_back(static_cast<int>(i));
        if (holdsGroup(model.playlistRows[i])) groupRowsByName[records[i].name].push_back(static_cast<int>(i));
    }
    for (auto& entry : byCount) std::sort(entry.second.begin(), entry.second.end());
    int cursor = 0;
    for (BoundTrack& track : work.tracks) {
        int found = -1;
        auto sameCount = byCount.find(static_cast<uint32_t>(track.clips.size()));
        if (sameCount != byCount.end()) found = firstFrom(sameCount->second, cursor);
        if (found < 0 && rowsParallel) {
            auto sameName = groupRowsByName.find(track.name);
            if (sameName != groupRowsByName.end()) found = firstFrom(sameName->second, cursor);
        }
        if (found < 0) continue;
        track.record = found;
        track.playlistName = records[static_cast<size_t>(found)].name;
        cursor = found + 1;
    }
}

// A paired track takes its record's unit; an unpaired one the unit every record
// agrees on, or else the unit its clips' positions are stored in.
void decideUnits(const SessionModel& model, BindingWork& work, BindingCounts& counts) {
    const std::vector<TimebaseRecord>& records = model.timebaseRecords;
    const auto tick = [](const TimebaseRecord& record) { return record.tickBased; };
    const bool allTick = !records.empty() && std::all_of(records.begin(), records.end(), tick);
    const bool allSample = !records.empty() && std::none_of(records.begin(), records.end(), tick);
    counts.unpairedRecordsTickBased = allTick;
    for (BoundTrack& track : work.tracks) {
        const bool listed = track.record >= 0 && records[static_cast<size_t>(track.record)].trackNumber >= 0;
        if (listed || (track.record >= 0 && !track.playlistName.empty())) {
            track.isTick = records[static_cast<size_t>(track.record)].tickBased;
        } else if (allSample || allTick) {
            track.isTick = allTick;
            ++counts.unpairedReadByRecords;
        } else {
            size_t ticks = 0;
            for (const AudioClip& clip : track.clips) ticks += clip.clip.start.inTicks() ? 1 : 0;
            track.isTick = 2 * ticks >= track.clips.size();
            ++counts.judgedByPositions;
        }
    }
}

}  // namespace

void pairPlaylists(const SessionModel& model, const ConvertOptions&, BindingWork& work, AnalysisModel& analysis) {
    if (!pairByList(model, work)) {
        pairByCount(model, work);
        analysis.counts.playlistListMissing = !work.tracks.empty() && !model.timebaseRecords.empty();
    }
    decideUnits(model, work, analysis.counts);
}
