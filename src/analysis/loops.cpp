// A looped clip is one record in the session. Looped by count, it is written
// out as its passes, end to end; looped to a Loop Length, it is ended there
// once overlaps are resolved. A loop that cannot be written is named.
#include <cmath>
#include <map>

#include "analysis/passes.h"

namespace {

constexpr uint32_t kMostPasses = 10000;

using LoopKey = std::pair<uint16_t, TimelinePosition>;  // clip index, stored placement position

LoopNotWritten notWritten(const BoundTrack& track, const AudioClip& clip, const char* reason) {
    LoopNotWritten line;
    line.trackName = currentNameOf(track);
    line.clipName = clip.clip.name;
    line.position = clip.position;
    line.reason = reason;
    return line;
}

// The passes of a clip looped by count, behind the clip itself. Each keeps the
// stored position of the placement it repeats.
void addPasses(std::vector<AudioClip>& clips, size_t at, uint32_t count) {
    const AudioClip first = clips[at];
    for (uint32_t k = 1; k < count; ++k) {
        AudioClip pass = first;
        pass.position = first.position + k * first.length;
        clips.push_back(std::move(pass));
    }
}

// The reason a clip looped by count is not written, or nullptr when it is.
const char* countLoopRefusal(const LoopRecord& record, const AudioClip& clip) {
    if (record.count < 2 || record.count > kMostPasses) return "an unreadable loop count";
    if (clip.rate == 1.0 && !clip.crossfaded && clip.araSet < 0 && clip.length > 0.001) return nullptr;
    return clip.araSet >= 0 ? "Melodyne on a looped clip" : "stretched or crossfaded";
}

void loopTrack(size_t index, BoundTrack& track, const std::map<LoopKey, size_t>& recordOf,
               const std::vector<LoopRecord>& records, std::vector<bool>& matched, double rate, BindingWork& work,
               ClipCounts& counts) {
    const size_t stored = track.clips.size();
    bool added = false;
    for (size_t c = 0; c < stored; ++c) {
        // What a clip group laid out was matched to its loop records there.
        if (!track.clips[c].groupName.empty()) continue;
        auto found = recordOf.find({track.clips[c].clip.index, track.clips[c].clip.start});
        if (found == recordOf.end()) continue;
        matched[found->second] = true;
        const LoopRecord& record = records[found->second];
        const AudioClip& clip = track.clips[c];
        if (!record.valid) {
            counts.loopsNotWritten.push_back(notWritten(track, clip, "a loop record of an unknown shape"));
        } else if (record.mode == kLoopByLength) {
            work.loopLengthEnds.push_back(
                {index, clip.clip.index, clip.clip.start, static_cast<double>(record.loopLength) / rate});
        } else if (record.mode == kLoopByCount && record.kind != kLoopOfAudio) {
            counts.loopsNotWritten.push_back(notWritten(track, clip, "not an audio clip"));
        } else if (record.mode == kLoopByCount) {
            if (const char* reason = countLoopRefusal(record, clip)) {
                counts.loopsNotWritten.push_back(notWritten(track, clip, reason));
                continue;
            }
            ++counts.loopsWritten;
            counts.loopPasses += static_cast<int>(record.count);
            if (clip.fadeInLength > 0 || clip.fadeOutLength > 0) ++counts.loopsWithFades;
            addPasses(track.clips, c, record.count);
            added = true;
        } else {
            counts.loopsNotWritten.push_back(
                notWritten(track, clip, record.kind == kLoopOfAudio ? "an unknown loop mode" : "not an audio clip"));
        }
    }
    if (added) sortByPosition(track.clips);
}

}  // namespace

void writeOutLoops(const SessionModel& model, const ConvertOptions&, BindingWork& work, AnalysisModel& analysis) {
    const std::vector<LoopRecord>& records = model.loopRecords;
    if (records.empty()) return;
    const double rate = static_cast<double>(model.info.sampleRate > 0 ? model.info.sampleRate : 48000);
    std::map<LoopKey, size_t> recordOf;
    for (size_t r = 0; r < records.size(); ++r) recordOf.emplace(LoopKey(records[r].clipIndex, records[r].position), r);
    std::vector<bool> matched(records.size(), false);
    for (size_t t = 0; t < work.tracks.size(); ++t) {
        loopTrack(t, work.tracks[t], recordOf, records, matched, rate, work, analysis.clipCounts);
    }
    for (size_t r = 0; r < records.size(); ++r) {
        if (matched[r] || records[r].kind == kLoopOfAudio) continue;
        LoopNotWritten line;
        line.orphan = true;
        line.kind = records[r].kind;
        line.storedPosition = records[r].position;
        analysis.clipCounts.loopsNotWritten.push_back(line);
    }
}

void endLoopsAtLoopLength(const SessionModel&, const ConvertOptions&, BindingWork& work, AnalysisModel& analysis) {
    ClipCounts& counts = analysis.clipCounts;
    for (const LoopLengthEnd& end : work.loopLengthEnds) {
        BoundTrack& track = work.tracks[end.track];
        for (AudioClip& clip : track.clips) {
            if (clip.clip.index != end.clipIndex || clip.clip.start != end.position) continue;
            const double loop = end.loopLength;
            const double length = clip.length;
            if (loop > 0.001 && loop < length - 0.001) {
                clip.length = loop;
                cutWarpMarkers(clip.warpMarkers, loop);
                clip.fadeOutLength = std::min(clip.fadeOutLength, loop);
                clip.fadeInLength = std::min(clip.fadeInLength, loop);
                ++counts.loopsEndedByLength;
            } else if (std::fabs(loop - length) > 0.001) {
                LoopNotWritten line = notWritten(track, clip, "");
                line.loopLength = loop;
                line.clipLength = length;
                counts.loopsNotWritten.push_back(line);
            }
            break;
        }
    }
}
