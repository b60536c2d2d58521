// Clips that overlap on one track play in Pro Tools as one drawn over the
// other; in REAPER overlapping items sum. The clip underneath is cut where the
// one on top begins, starts later where the one on top ends, or is muted when
// nothing of it is heard.
#include <cmath>

#include "analysis/passes.h"

namespace {

constexpr double kOverlapGap = 0.05;  // starts closer than this are not an overlap
constexpr double kCoverSlack = 0.001;
constexpr double kSamePosition = 1e-9;  // seconds: positions this close are equal

// The source time at timeline time t between two warp markers.
double interpolate(const std::pair<double, double>& a, const std::pair<double, double>& b, double t) {
    if (b.first == a.first) return a.second;
    return a.second + (b.second - a.second) * (t - a.first) / (b.first - a.first);
}

// P's tail cut at the gap: it ends where N begins.
void cutTail(AudioClip& clip, double gap) {
    clip.length = gap;
    cutWarpMarkers(clip.warpMarkers, gap);
}

// The source distance covered by the first `cover` seconds of a clip: through
// its warp markers when cover lies inside them, which then start at the cut.
double splitHead(AudioClip& clip, double cover) {
    std::vector<std::pair<double, double>>& markers = clip.warpMarkers;
    if (markers.size() < 2 || cover < markers.front().first || cover > markers.back().first) return clip.rate * cover;
    std::vector<std::pair<double, double>> split;
    for (size_t k = 0; k + 1 < markers.size(); ++k) {
        if (markers[k].first <= cover && cover <= markers[k + 1].first) {
            split.emplace_back(cover, interpolate(markers[k], markers[k + 1], cover));
            for (size_t rest = k + 1; rest < markers.size(); ++rest) {
                if (markers[rest].first > cover) split.push_back(markers[rest]);
            }
            break;
        }
    }
    const double distance = split.front().second - clip.sourceOffset;
    for (auto& marker : split) marker.first -= cover;
    markers = std::move(split);
    return distance;
}

// N starts where P ends: its covered head is taken off.
void startLater(AudioClip& clip, double cover, double rate) {
    const double distance = splitHead(clip, cover);
    clip.sourceOffset += distance;
    clip.position += cover;
    clip.length -= cover;
    const double samples = static_cast<double>(clip.sourceOffsetSamples) + distance * rate + 0.5;
    clip.sourceOffsetSamples = samples > 0 ? static_cast<uint32_t>(samples) : 0;
    clip.fadeInLength = std::max(0.0, clip.fadeInLength - cover);
    if (clip.syncDistance > 0) clip.syncDistance = std::max(0.0, clip.syncDistance - cover);
}

void resolveTrack(std::vector<AudioClip>& clips, double rate, ClipCounts& counts) {
    for (size_t i = 0; i + 1 < clips.size(); ++i) {
        AudioClip& p = clips[i];
        AudioClip& n = clips[i + 1];
        if (p.crossfaded) continue;
        if (n.muted && !p.muted && p.drawnOverNext) continue;
        const double gap = n.position - p.position;
        if (!(gap > kOverlapGap + kSamePosition && p.length > gap)) continue;
        if (n.muted) {
            // Pro Tools renders silence under a muted clip on top.
            cutTail(p, gap);
            if (!p.muted) ++counts.tailsSilencedUnderMuted;
            continue;
        }
        if (n.drawnOverPrevious || !p.drawnOverNext) {
            cutTail(p, gap);
            continue;
        }
        const double cover = p.position + p.length - n.position;
        if (cover <= kCoverSlack) {
            cutTail(p, gap);
            continue;
        }
        const double span = i + 2 < clips.size() ? clips[i + 2].position - n.position : n.length;
        if (cover >= n.length - kCoverSlack || cover >= span - kCoverSlack) {
            n.muted = true;
            ++counts.clipsCoveredMuted;
            continue;
        }
        startLater(n, cover, rate);
        ++counts.headsStartLater;
    }
}

}  // namespace

void cutWarpMarkers(std::vector<std::pair<double, double>>& markers, double at) {
    for (size_t k = 0; k + 1 < markers.size(); ++k) {
        if (markers[k + 1].first > at && markers[k].first <= at) {
            const std::pair<double, double> end(at, interpolate(markers[k], markers[k + 1], at));
            markers.resize(k + 1);
            if (markers.back().first < at) markers.push_back(end);
            return;
        }
    }
}

void resolveOverlaps(const SessionModel& model, const ConvertOptions&, BindingWork& work, AnalysisModel& analysis) {
    const double rate = static_cast<double>(model.info.sampleRate > 0 ? model.info.sampleRate : 48000);
    for (BoundTrack& track : work.tracks) resolveTrack(track.clips, rate, analysis.clipCounts);
}
