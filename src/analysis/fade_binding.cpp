// Fades live in a table of their own and name no clip: each fade placement of a
// playlist row gives an anchor, and the fade belongs to the clip edges there.
#include <algorithm>
#include <cmath>

#include "analysis/passes.h"

namespace {

constexpr double kEdgeWindow = 0.005;  // seconds between an anchor and the edge it binds to
constexpr double kSCurveShape = 5.1;

// A fade in seconds: where its anchor lies, its whole length and the part before the anchor.
struct PlacedFade {
    double anchor = 0;
    double length = 0;
    double lead = 0;
};

// The anchor is read the way a clip position is, so the two meet exactly; the
// fade's lengths count the anchor's unit.
PlacedFade placeFade(const FadeRecord& fade, const TimelinePosition& anchor, const SessionModel& model, double rate) {
    PlacedFade placed;
    if (!anchor.inTicks()) {
        placed.anchor = static_cast<double>(anchor.value) / rate;
        placed.length = fade.length / rate;
        placed.lead = fade.lead / rate;
        return placed;
    }
    const double ticks = static_cast<double>(anchor.value);
    const auto seconds = [&](double at) { return secondsOfTicks(at, model.tempoMap, model.sessionTempo); };
    placed.anchor = seconds(ticks);
    placed.length = seconds(ticks + fade.length) - placed.anchor;
    placed.lead = placed.anchor - seconds(ticks - fade.lead);
    return placed;
}

// The clip whose start (or end) lies nearest the anchor and within the window;
// the first of equals. -1 for none.
int nearestEdge(const std::vector<AudioClip>& clips, double anchor, bool ends) {
    int best = -1;
    double bestDistance = kEdgeWindow;
    for (size_t i = 0; i < clips.size(); ++i) {
        const double edge = ends ? clips[i].position + clips[i].length : clips[i].position;
        const double distance = std::fabs(edge - anchor);
        if (distance < bestDistance) {
            best = static_cast<int>(i);
            bestDistance = distance;
        }
    }
    return best;
}

// A crossfade lies across the meeting of two clips. When the incoming clip has
// the material before its start, both clips are drawn out to overlap over the
// whole fade; otherwise the fade is written inside the overlap that exists.
void bindCrossfade(AudioClip& outgoing, AudioClip& incoming, const PlacedFade& fade, double shape, double rate) {
    const double tail = fade.length - fade.lead;
    if (incoming.sourceOffset >= fade.lead && incoming.position >= fade.lead) {
        outgoing.length += tail;
        incoming.position -= fade.lead;
        incoming.sourceOffset -= fade.lead;
        incoming.length += fade.lead;
        const double samples = incoming.sourceOffset * rate + 0.5;
        incoming.sourceOffsetSamples = samples > 0 ? static_cast<uint32_t>(samples) : 0;
        outgoing.fadeOutLength = fade.length;
        outgoing.fadeOutShape = shape;
        incoming.fadeInLength = fade.length;
        incoming.fadeInShape = shape;
    } else {
        outgoing.fadeOutLength = fade.lead > 0 ? fade.lead : fade.length;
        incoming.fadeInLength = tail > 0 ? tail : fade.length;
    }
    outgoing.crossfaded = true;
}

void bindTrackFades(const SessionModel& model, const PlaylistRow& row, BoundTrack& track, double rate,
                    ClipCounts& counts) {
    const size_t entries = std::min({row.isFade.size(), row.clipIndex.size(), row.position.size()});
    for (size_t k = 0; k < entries; ++k) {
        if (!row.isFade[k]) continue;
        const FadeRecord* fade = understoodFade(model.fades, row.clipIndex[k]);
        if (fade == nullptr) {
            ++counts.fadesNotUnderstood;
            continue;
        }
        const PlacedFade placed = placeFade(*fade, row.position[k], model, rate);
        std::vector<AudioClip>& clips = track.clips;
        const int ending = nearestEdge(clips, placed.anchor, true);
        const int starting = nearestEdge(clips, placed.anchor, false);
        double shape = fade->shape == 1 ? 1.0 : 0.0;
        if (fade->isSCurve) {
            shape = kSCurveShape;
            ++counts.sCurves;
        }
        if (fade->kind == kFadeIn && starting >= 0) {
            clips[starting].fadeInLength = placed.length;
            clips[starting].fadeInShape = shape;
            ++counts.fadeIns;
        } else if (fade->kind == kFadeOut && ending >= 0) {
            clips[ending].fadeOutLength = placed.length;
            clips[ending].fadeOutShape = shape;
            ++counts.fadeOuts;
        } else if (fade->kind == kCrossfade && ending >= 0 && starting >= 0) {
            bindCrossfade(clips[ending], clips[starting], placed, shape, rate);
            ++counts.crossfades;
        } else {
            ++counts.fadesWithoutEdge;
        }
    }
    sortByPosition(track.clips);
}

}  // namespace

void bindFades(const SessionModel& model, const ConvertOptions& options, BindingWork& work, AnalysisModel& analysis) {
    if (options.noFades) return;
    const double rate = static_cast<double>(model.info.sampleRate > 0 ? model.info.sampleRate : 48000);
    for (BoundTrack& track : work.tracks) {
        if (track.record < 0 || static_cast<size_t>(track.record) >= model.playlistRows.size()) continue;
        bindTrackFades(model, model.playlistRows[static_cast<size_t>(track.record)], track, rate,
                       analysis.clipCounts);
    }
}
