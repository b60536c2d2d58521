#include <cmath>

#include "analysis/passes.h"

namespace {

int timebaseOf(const BoundTrack& track) { return track.isTick ? 2 : 0; }

std::vector<AudioClip> withTakePan(std::vector<AudioClip> clips, double pan) {
    for (AudioClip& clip : clips) clip.takePan = pan;
    return clips;
}

// A freeze record's clips are the render that plays in place of the frozen track.
void markFreezeRecord(const BoundTrack& first, OutputTrack& track, AnalysisModel& analysis) {
    if (!first.isFreezeRecord) return;
    track.isFreezeRecord = true;
    track.frozenTrackName = first.frozenTrackName;
    std::vector<FreezeRecord>& records = analysis.freezeRecords[first.frozenTrackName];
    for (const AudioClip& clip : track.clips) records.push_back({clip.clip.fileName, clip.position, clip.sourceOffset});
}

OutputTrack recoveredTrack(const std::string& name, std::vector<AudioClip> losers) {
    OutputTrack track;
    track.name = name + " [alt takes]";
    track.clips = std::move(losers);
    sortByPosition(track.clips);
    return track;
}

// Two tracks of one name are a stereo track stored as split mono: one track,
// the left half's clips panned hard left and the right half's hard right.
void mergePair(const BoundTrack& left, const BoundTrack& right, const ConvertOptions& options,
               AnalysisModel& analysis) {
    const std::string& name = left.name;
    analysis.channelsOfTrack[name] = 2;
    analysis.timebaseOfTrack[name] = timebaseOf(left);
    OutputTrack track;
    track.name = name;
    track.matchKey = name;
    track.clips = withTakePan(left.clips, -1.0);
    for (AudioClip& clip : withTakePan(right.clips, 1.0)) track.clips.push_back(std::move(clip));
    sortByPosition(track.clips);
    markFreezeRecord(left, track, analysis);
    ++analysis.counts.mergedPairs;
    analysis.outputTracks.push_back(std::move(track));

    if (options.recoverDeleted && (!left.losers.empty() || !right.losers.empty())) {
        std::vector<AudioClip> losers = withTakePan(left.losers, -1.0);
        for (AudioClip& clip : withTakePan(right.losers, 1.0)) losers.push_back(std::move(clip));
        analysis.outputTracks.push_back(recoveredTrack(name, std::move(losers)));
    }
}

// Surround legs become one multichannel track carrying the first leg's clips.
void foldLegs(const std::vector<BoundTrack>& tracks, size_t first, size_t end, AnalysisModel& analysis) {
    const BoundTrack& lead = tracks[first];
    const int legs = static_cast<int>(end - first);
    analysis.channelsOfTrack[lead.name] = legs;
    analysis.surroundLegs[lead.name] = legs;
    analysis.timebaseOfTrack[lead.name] = timebaseOf(lead);
    OutputTrack track;
    track.name = lead.name;
    track.matchKey = lead.name;
    track.clips = lead.clips;
    markFreezeRecord(lead, track, analysis);
    ++analysis.counts.foldedSurround;
    analysis.outputTracks.push_back(std::move(track));
}

// One track of a run on its own; in a run of two (one of them an alternate)
// the first is written as the left half and the second as the right.
void singleTrack(const BoundTrack& source, size_t runLength, size_t place, const ConvertOptions& options,
                 AnalysisModel& analysis) {
    BindingCounts& counts = analysis.counts;
    if (source.isAlternate && !options.keepAltTakes && !source.isFreezeRecord) {
        ++counts.alternatesSetAside;
        return;
    }
    OutputTrack track;
    track.name = source.name;
    track.clips = source.clips;
    markFreezeRecord(source, track, analysis);
    if (!source.isAlternate) {
        analysis.channelsOfTrack[source.name] = static_cast<int>(runLength);
        analysis.timebaseOfTrack[source.name] = timebaseOf(source);
        track.matchKey = source.name;
    } else {
        if (!source.isFreezeRecord) ++counts.alternatesKept;
        if (!source.parent.empty()) {
            track.laneParent = source.parent;
            track.laneName = source.playlistName;
            track.name = source.parent + " [lane: " + source.playlistName + "]";
        } else {
            track.name += " [alt playlist]";
            ++counts.alternatesWithoutParent;
        }
    }
    if (runLength == 2) {
        track.legPan = place == 0 ? -1.0 : 1.0;
        track.name += place == 0 ? " [L]" : " [R]";
    }
    const std::string name = track.name;
    const double legPan = track.legPan;
    analysis.outputTracks.push_back(std::move(track));

    if (options.recoverDeleted && !source.losers.empty()) {
        OutputTrack recovered = recoveredTrack(name, source.losers);
        recovered.legPan = legPan;
        if (source.isAlternate) recovered.besideParent = source.parent;
        analysis.outputTracks.push_back(std::move(recovered));
    }
}

}  // namespace

bool legsFold(const std::vector<const std::vector<AudioClip>*>& legs) {
    if (legs.empty() || legs.front()->empty()) return false;
    const std::vector<AudioClip>& lead = *legs.front();
    for (const std::vector<AudioClip>* leg : legs) {
        if (leg->size() != lead.size()) return false;
        for (size_t i = 0; i < lead.size(); ++i) {
            const AudioClip& a = lead[i];
            const AudioClip& b = (*leg)[i];
            if (a.clip.fileName != b.clip.fileName) return false;
            if (std::fabs(a.position - b.position) > 1e-9 || std::fabs(a.length - b.length) > 1e-9) return false;
        }
    }
    return true;
}

// Consecutive tracks of one name are one track stored in pieces: a split-mono
// pair, or the legs of a surround track. Every other track stands alone.
void buildOutputTracks(const SessionModel&, const ConvertOptions& options, BindingWork& work,
                       AnalysisModel& analysis) {
    const std::vector<BoundTrack>& tracks = work.tracks;
    for (size_t first = 0; first < tracks.size();) {
        size_t end = first + 1;
        bool anyAlternate = tracks[first].isAlternate;
        while (end < tracks.size() && tracks[end].name == tracks[first].name) {
            anyAlternate |= tracks[end].isAlternate;
            ++end;
        }
        const size_t length = end - first;
        bool folds = false;
        if (length >= 3 && length <= 8 && !anyAlternate) {
            std::vector<const std::vector<AudioClip>*> legs;
            for (size_t i = first; i < end; ++i) legs.push_back(&tracks[i].clips);
            folds = legsFold(legs);
        }
        if (length == 2 && !anyAlternate) {
            mergePair(tracks[first], tracks[first + 1], options, analysis);
        } else if (folds) {
            foldLegs(tracks, first, end, analysis);
        } else {
            for (size_t i = first; i < end; ++i) singleTrack(tracks[i], length, i - first, options, analysis);
        }
        first = end;
    }
    // Each track that answers to a strip counts once in its unit, a merged pair
    // or a folded surround track as the one track it is.
    for (const OutputTrack& track : analysis.outputTracks) {
        auto timebase = analysis.timebaseOfTrack.find(track.matchKey);
        if (track.matchKey.empty() || track.isFreezeRecord || timebase == analysis.timebaseOfTrack.end()) continue;
        ++(timebase->second == 2 ? analysis.counts.tickTracks : analysis.counts.sampleTracks);
    }
}
