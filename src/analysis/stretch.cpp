// A track whose clips were all cut from one take and then stretched shows it
// in their spacing: each clip is a steady fraction longer or shorter than the
// distance to the next. Such a track is given that play rate.
#include <algorithm>
#include <cmath>

#include "analysis/passes.h"

namespace {

constexpr double kSpacingFloor = 0.05;  // neighbours closer than this say nothing
constexpr double kNearMedian = 0.005;
constexpr double kUnityBand = 0.002;

// The rate the spacing of a track's clips shows, or 1.0 for none.
double inferredRate(const std::vector<AudioClip>& clips) {
    std::vector<double> samples;
    for (size_t i = 0; i + 1 < clips.size(); ++i) {
        const AudioClip& p = clips[i];
        if (p.crossfaded || p.stretched) continue;
        const double d = clips[i + 1].position - p.position;
        if (d <= kSpacingFloor) continue;
        const double ratio = p.length / d;
        if (ratio > 0.8 && ratio < 1.25) samples.push_back(ratio);
    }
    if (samples.size() < 3) return 1.0;
    std::sort(samples.begin(), samples.end());
    const double median = samples[samples.size() / 2];
    size_t near = 0;
    for (double sample : samples) near += std::fabs(sample - median) < kNearMedian ? 1 : 0;
    const bool steady = near > 2 && 5 * near >= 3 * samples.size();
    return steady && std::fabs(median - 1.0) > kUnityBand ? median : 1.0;
}

}  // namespace

// Warp records are not read yet, so every rate here is inferred.
void applyWarpAndStretch(const SessionModel&, const ConvertOptions& options, BindingWork& work,
                         AnalysisModel& analysis) {
    if (options.noStretch) return;
    ClipCounts& counts = analysis.clipCounts;
    for (BoundTrack& track : work.tracks) {
        sortByPosition(track.clips);
        const double rate = inferredRate(track.clips);
        if (rate == 1.0) continue;
        for (AudioClip& clip : track.clips) {
            if (clip.stretched) continue;
            clip.rate = rate;
            clip.length /= rate;
            ++counts.clipsStretched;
        }
        counts.stretchedTracks.push_back({currentNameOf(track), rate});
    }
}
