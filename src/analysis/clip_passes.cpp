// Clip gain: each clip takes the gain stored for its name, fixed or drawn, and
// a clip laid out from a clip group takes the group's fixed gain as well.
// Clip Effects: a clip takes its stored list, and its polarity switch.
#include <algorithm>

#include "analysis/passes.h"
#include "standins/channel_strip.h"

namespace {

// The drawn gain of a clip, in order of position. A line stored out of order,
// or reaching past the clip's source, is counted: it is sorted here, and the
// writer cuts it at the item's edges.
std::vector<std::pair<uint32_t, double>> gainLine(const ClipGainCurve& curve, const ClipDefinition& clip,
                                                  int& mended) {
    std::vector<std::pair<uint32_t, double>> line;
    for (const ClipGainPoint& point : curve) line.emplace_back(point.position, point.gainDb);
    const auto byPosition = [](const std::pair<uint32_t, double>& a, const std::pair<uint32_t, double>& b) {
        return a.first < b.first;
    };
    const bool ordered = std::is_sorted(line.begin(), line.end(), byPosition);
    if (!ordered) std::stable_sort(line.begin(), line.end(), byPosition);
    const int64_t sourceEnd = clip.sourceOffset + clip.length;
    const bool past = !line.empty() && static_cast<int64_t>(line.back().first) > sourceEnd;
    if (!ordered || past) ++mended;
    return line;
}

// Clips set aside (same-position losers) take their gain uncounted: they are
// written only as recovered takes.
void giveGain(const ClipGainsOfNames& gains, AudioClip& clip, ClipCounts& counts, bool counted) {
    if (clip.emptyGroup) return;
    auto fixed = gains.gainOfName.find(clip.clip.name);
    if (fixed != gains.gainOfName.end()) {
        clip.clipGainDb = fixed->second;
        clip.hasClipGain = true;
        auto line = gains.curveOfName.find(clip.clip.name);
        if (line != gains.curveOfName.end()) {
            int mended = 0;
            clip.clipGainCurve = gainLine(line->second, clip.clip, mended);
            if (counted) counts.clipGainLinesMended += mended;
        }
    }
    if (clip.groupName.empty()) return;
    if (gains.curveOfName.count(clip.groupName)) {
        if (counted) counts.clipsUnderGroupGainLine.push_back(clip.clip.name);
        return;
    }
    auto group = gains.gainOfName.find(clip.groupName);
    if (group == gains.gainOfName.end()) return;
    clip.clipGainDb += group->second;
    clip.hasClipGain = true;
    if (counted) ++counts.clipsGivenGroupGain;
}

// A clip's stored Clip Effects: the list when it asks for effects, the take's
// polarity when its switch is on.
void giveEffects(const std::map<std::string, ClipEffectsValues>& effects, AudioClip& clip, ClipCounts& counts,
                 bool counted) {
    const auto stored = effects.find(clip.clip.name);
    if (clip.emptyGroup || stored == effects.end()) return;
    const ClipEffectsUse use = clipEffectsUse(stored->second);
    if (use.effects) clip.clipEffects = stored->second;
    if (!use.polarity) return;
    clip.flipPolarity = true;
    if (counted) ++counts.clipsWithEffectsPolarity;
}

}  // namespace

void applyClipGain(const SessionModel& model, const ConvertOptions&, BindingWork& work, AnalysisModel& analysis) {
    const ClipGainsOfNames& gains = model.clipGains;
    for (BoundTrack& track : work.tracks) {
        for (AudioClip& clip : track.clips) {
            giveGain(gains, clip, analysis.clipCounts, true);
            giveEffects(model.clipEffects, clip, analysis.clipCounts, true);
        }
        for (AudioClip& clip : track.losers) {
            giveGain(gains, clip, analysis.clipCounts, false);
            giveEffects(model.clipEffects, clip, analysis.clipCounts, false);
        }
    }
}
