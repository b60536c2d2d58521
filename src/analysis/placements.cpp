#include <map>

#include "analysis/passes.h"

// Each track of the placements gets its clips in placement order. When the sync
// list lines up with the clip list, each clip carries its sync distance.
void readTrackClips(const SessionModel& model, const ConvertOptions&, BindingWork& work, AnalysisModel& analysis) {
    const double rate = static_cast<double>(model.info.sampleRate > 0 ? model.info.sampleRate : 48000);
    const ClipSyncOffsets& sync = model.syncOffsets;
    work.syncApplied = syncOffsetsMatch(sync, model.clips.audioClips);
    if (!work.syncApplied) {
        for (uint64_t value : sync.values) analysis.counts.syncPointsUnmatched |= value != 0;
    }

    std::map<uint16_t, BoundTrack> byIndex;
    for (const AudioClip& placement : model.clips.audioPlacements) {
        BoundTrack& track = byIndex[placement.trackIndex];
        if (track.clips.empty()) {
            track.trackIndex = placement.trackIndex;
            track.storedIndex = placement.storedTrackIndex;
            track.name = placement.trackName;
        }
        AudioClip clip = placement;
        clip.syncDistance = 0;
        const uint16_t index = clip.clip.index;
        if (work.syncApplied && index < sync.values.size() && sync.values[index] != 0) {
            clip.syncDistance = static_cast<double>(sync.values[index]) / rate;
        }
        track.clips.push_back(std::move(clip));
    }
    for (auto& entry : byIndex) work.tracks.push_back(std::move(entry.second));
}
