// Elastic Audio: a clip whose take was warped plays the slice of the take's
// warp map under it, at the rate and with the markers that slice gives; a
// clip can carry a pitch shift. Then, a track whose clips were all cut from
// one take and then stretched shows it in their spacing: each clip is a
// steady fraction longer or shorter than the distance to the next. Such a
// track is given that play rate.
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
        if (p.crossfaded || p.stretched || p.emptyGroup) continue;
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

constexpr double kUnityLow = 0.999;  // ratios inside (0.999, 1.001) play at rate 1
constexpr double kUnityHigh = 1.001;
constexpr double kShortestRatio = 0.05;
constexpr double kLongestRatio = 20;

// The timeline position (ticks) at source sample x: straight lines between
// neighbouring points, and beyond either end the line through the map's two
// end points. A segment with no source length gives its first point's position.
double timelineAt(const std::vector<WarpPoint>& map, double x) {
    auto along = [x](const WarpPoint& a, const WarpPoint& b) {
        if (b.sourceSamples == a.sourceSamples) return a.timelineTicks;
        return a.timelineTicks + (x - a.sourceSamples) * (b.timelineTicks - a.timelineTicks) /
                                     (b.sourceSamples - a.sourceSamples);
    };
    if (x >= map.front().sourceSamples && x <= map.back().sourceSamples) {
        for (size_t k = 0; k + 1 < map.size(); ++k) {
            if (x <= map[k + 1].sourceSamples) return along(map[k], map[k + 1]);
        }
    }
    return along(map.front(), map.back());
}

struct WarpScale {
    double sampleRate = 48000;
    double secondsPerTick = 0;
};

// The clip plays the slice of its take's map under it: its rate and length,
// and the markers inside the slice (timeline s, source s, from the clip's start).
void warpClip(const std::vector<WarpPoint>& map, const WarpScale& scale, AudioClip& clip, ClipCounts& counts) {
    const double sr = scale.sampleRate;
    const double firstTime = map.front().timelineTicks;
    const double firstSrc = map.front().sourceSamples;
    const double lastSrc = map.back().sourceSamples;
    if (!(firstTime < map.back().timelineTicks)) return;
    const double off = clip.sourceOffset * sr;
    const double len = clip.length * sr;
    const double firstOff = firstTime * scale.secondsPerTick * sr;
    const double rel = off - firstOff;
    double s = rel;
    double b = firstOff;
    if (firstSrc + 1 > rel + len || lastSrc - 1 < rel) {
        s = firstSrc;
        b = off;
    }
    const double e = s + len;
    const bool trim = s > firstSrc + 1 || e < lastSrc - 1;
    if (firstSrc + 1 >= e || s >= lastSrc - 1 || e - s < 1) {
        ++counts.warpMapsNotSliced;
        return;
    }
    const double t0 = timelineAt(map, s);
    const double span = (timelineAt(map, e) - t0) * scale.secondsPerTick;
    const double ratio = span / clip.length;
    if (span <= 0 || ratio < kShortestRatio || ratio > kLongestRatio) {
        ++counts.warpMapsNotSliced;
        return;
    }
    if (ratio <= kUnityLow || ratio >= kUnityHigh) {
        clip.stretched = true;
        clip.length = span;
        clip.rate = 1.0 / ratio;
        ++counts.clipsStretched;
        ++counts.clipsStretchedFromSession;
    }
    std::vector<std::pair<double, double>> markers{{0.0, (s + b) / sr}};
    for (const WarpPoint& point : map) {
        const double time = (point.timelineTicks - t0) * scale.secondsPerTick;
        if (point.sourceSamples > s + 1 && point.sourceSamples < e - 1 && time > 0 && time < span) {
            markers.emplace_back(time, (point.sourceSamples + b) / sr);
        }
    }
    markers.emplace_back(span, (e + b) / sr);
    if (markers.size() <= 2) return;
    clip.warpMarkers = std::move(markers);
    ++counts.clipsWithWarpMarkers;
    if (trim) ++counts.warpMarkerTrims;
}

void warpAndPitch(const SessionModel& model, bool stretch, const WarpScale& scale, AudioClip& clip,
                  ClipCounts& counts) {
    if (clip.emptyGroup) return;
    auto map = model.warpMaps.mapOfName.find(clip.clip.name);
    if (stretch && map != model.warpMaps.mapOfName.end() && map->second.size() >= 2 && clip.length > 0) {
        warpClip(map->second, scale, clip, counts);
    }
    auto pitch = model.pitchShifts.find(clip.clip.name);
    if (pitch == model.pitchShifts.end()) return;
    clip.pitchSemitones = pitch->second;
    ++counts.clipsPitchShifted;
}

}  // namespace

// Under --no-stretch clips play unstretched: warp maps and inferred rates are
// left out; a pitch shift is not a stretch and stays.
void applyWarpAndStretch(const SessionModel& model, const ConvertOptions& options, BindingWork& work,
                         AnalysisModel& analysis) {
    ClipCounts& counts = analysis.clipCounts;
    WarpScale scale;
    scale.sampleRate = static_cast<double>(model.info.sampleRate > 0 ? model.info.sampleRate : 48000);
    const double tempo = model.sessionTempo > 0 ? model.sessionTempo : 120.0;
    scale.secondsPerTick = 60.0 / (tempo * static_cast<double>(kTicksPerQuarter));
    for (BoundTrack& track : work.tracks) {
        for (AudioClip& clip : track.clips) warpAndPitch(model, !options.noStretch, scale, clip, counts);
    }
    if (!options.noStretch) counts.warpMapsCrossing = model.warpMaps.crossing;
    if (options.noStretch) return;
    for (BoundTrack& track : work.tracks) {
        sortByPosition(track.clips);
        const double rate = inferredRate(track.clips);
        if (rate == 1.0) continue;
        for (AudioClip& clip : track.clips) {
            if (clip.stretched || clip.emptyGroup) continue;
            clip.rate = rate;
            clip.length /= rate;
            ++counts.clipsStretched;
        }
        counts.stretchedTracks.push_back({currentNameOf(track), rate});
    }
}
