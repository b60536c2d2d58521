#include <map>

#include "analysis/passes.h"

namespace {

constexpr int kFirstMonoChannelMode = 3;  // REAPER's mono of channel 1; channel c is 3 + c from 0
constexpr uint32_t kMonoChannelModes = 64;

}  // namespace

// Every placement plays one channel: of a file with several, the take plays
// that channel alone; a mono file plays whole. A channel the file does not
// have, or one past REAPER's 64, leaves the whole file playing.
int oneChannelMode(const ClipDefinition& clip) {
    if (clip.fileChannels < 2 || clip.channel >= clip.fileChannels || clip.channel >= kMonoChannelModes) return 0;
    return kFirstMonoChannelMode + static_cast<int>(clip.channel);
}

// Each track of the placements gets its clips in placement order, each playing
// its own channel. When the sync list lines up with the clip list, each clip
// carries its sync distance.
void readTrackClips(const SessionModel& model, const ConvertOptions&, BindingWork& work, AnalysisModel& analysis) {
    const double rate = static_cast<double>(model.info.sampleRate > 0 ? model.info.sampleRate : 48000);
    const ClipSyncOffsets& sync = model.syncOffsets;
    const std::vector<ClipDefinition>& definitions = model.clips.audioClips;
    work.syncApplied = syncOffsetsMatch(sync, definitions);
    if (!work.syncApplied) {
        for (uint64_t value : sync.values) analysis.counts.syncPointsUnmatched |= value != 0;
    }

    // Each track's room is taken once, for as many clips as it has.
    std::map<uint16_t, BoundTrack> byIndex;
    std::map<uint16_t, size_t> clipsOfTrack;
    for (const ClipPlacement& placement : model.clips.audioPlacements) ++clipsOfTrack[placement.trackIndex];
    for (const ClipPlacement& placement : model.clips.audioPlacements) {
        if (placement.clipIndex >= definitions.size()) continue;
        BoundTrack& track = byIndex[placement.trackIndex];
        if (track.clips.empty()) {
            track.trackIndex = placement.trackIndex;
            track.storedIndex = placement.storedTrackIndex;
            track.name = placement.trackName;
            track.clips.reserve(clipsOfTrack[placement.trackIndex]);
        }
        AudioClip clip;
        clip.trackName = placement.trackName;
        clip.trackIndex = placement.trackIndex;
        clip.storedTrackIndex = placement.storedTrackIndex;
        clip.playlist = placement.playlist;
        clip.clip = definitions[placement.clipIndex];
        clip.clip.start = placement.start;
        clip.clip.muted = placement.muted;
        clip.channelMode = oneChannelMode(clip.clip);
        const uint16_t index = clip.clip.index;
        if (work.syncApplied && index < sync.values.size() && sync.values[index] != 0) {
            clip.syncDistance = static_cast<double>(sync.values[index]) / rate;
        }
        track.clips.push_back(std::move(clip));
    }
    work.tracks.reserve(byIndex.size());
    for (auto& entry : byIndex) work.tracks.push_back(std::move(entry.second));
}
