#include <algorithm>

#include "analysis/passes.h"

// Every clip's start on the timeline, in the unit its position is stored in,
// its length and its source offset in seconds; a clip with a sync point starts
// that far before its stored position.
void positionsToSeconds(const SessionModel& model, const ConvertOptions&, BindingWork& work,
                        AnalysisModel& analysis) {
    const double rate = static_cast<double>(model.info.sampleRate > 0 ? model.info.sampleRate : 48000);
    for (BoundTrack& track : work.tracks) {
        for (AudioClip& clip : track.clips) {
            const ClipDefinition& stored = clip.clip;
            clip.position = secondsAt(stored.start, rate, model.tempoMap, model.sessionTempo);
            clip.length = static_cast<double>(stored.length) / rate;
            clip.sourceOffset = static_cast<double>(stored.sourceOffset) / rate;
            clip.sourceOffsetSamples =
                stored.sourceOffset > 0 ? static_cast<uint32_t>(std::min<int64_t>(stored.sourceOffset, 0xFFFFFFFF)) : 0;
            clip.muted = stored.muted != 0;
            if (clip.syncDistance > 0) {
                clip.position = std::max(0.0, clip.position - clip.syncDistance);
                ++analysis.counts.clipsWithSyncPoint;
            }
        }
    }
}
