#include <algorithm>

#include "analysis/passes.h"

double secondsOfStoredTicks(int64_t stored, const std::vector<TempoEvent>& tempoMap, double sessionTempo) {
    // Only the low 32 bits of the biased value are stored; 3567587328 is the
    // bias 10^12 taken modulo 2^32.
    constexpr double kWrap = 4294967296.0;
    double ticks = static_cast<double>(static_cast<uint64_t>(stored) & 0xFFFFFFFFull) - 3567587328.0;
    if (ticks < 0) ticks += kWrap;
    return secondsOfTicks(ticks, tempoMap, sessionTempo);
}

// Every clip's start on the timeline, its length and its source offset in
// seconds; a clip with a sync point starts that far before its stored position.
void positionsToSeconds(const SessionModel& model, const ConvertOptions&, BindingWork& work,
                        AnalysisModel& analysis) {
    const double rate = static_cast<double>(model.info.sampleRate > 0 ? model.info.sampleRate : 48000);
    for (BoundTrack& track : work.tracks) {
        for (AudioClip& clip : track.clips) {
            const ClipDefinition& stored = clip.clip;
            clip.position = track.isTick ? secondsOfStoredTicks(stored.start, model.tempoMap, model.sessionTempo)
                                         : static_cast<double>(stored.start) / rate;
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
