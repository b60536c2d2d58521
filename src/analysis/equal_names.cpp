#include <cmath>

#include "analysis/passes.h"

namespace {

constexpr double kSamePlace = 1e-9;     // seconds: positions and lengths this close are equal
constexpr int kWholeFile = 0;           // REAPER's take channel modes
constexpr int kReverseStereo = 1;
constexpr int kFirstPairChannelMode = 67;  // channels 1 and 2; a pair from channel c (from 0) is 67 + c
constexpr uint32_t kPairChannelModes = 63;

int timebaseOf(const BoundTrack& track) { return track.isTick ? 2 : 0; }

bool samePlace(double a, double b) { return std::fabs(a - b) <= kSamePlace; }

// The name Pro Tools shows for the clips of one interleaved file played
// together: "X" for "X.L" and "X.R", when every name is one stem and a suffix.
std::string sharedStem(const std::vector<const AudioClip*>& clips) {
    const std::string& first = clips.front()->clip.name;
    const size_t dot = first.rfind('.');
    if (dot == std::string::npos || dot == 0) return first;
    for (const AudioClip* clip : clips) {
        const std::string& name = clip->clip.name;
        if (name.size() <= dot + 1 || name.compare(0, dot + 1, first, 0, dot + 1) != 0 ||
            name.find('.', dot + 1) != std::string::npos) {
            return first;
        }
    }
    return first.substr(0, dot);
}

// The take channel mode of one item that plays a left and a right clip
// together, or -1 when they are not two channels of one interleaved file at one
// place: both channels of a stereo file play whole (or reversed), two
// neighbouring channels of a wider file as REAPER's pair from the first.
int pairChannelMode(const AudioClip& left, const AudioClip& right) {
    const ClipDefinition& a = left.clip;
    const ClipDefinition& b = right.clip;
    const uint32_t channels = a.fileChannels;
    if (channels < 2 || a.fileIndex != b.fileIndex || a.fileName != b.fileName) return -1;
    if (a.channel >= channels || b.channel >= channels || left.muted != right.muted) return -1;
    if (!samePlace(left.position, right.position) || !samePlace(left.length, right.length) ||
        !samePlace(left.sourceOffset, right.sourceOffset)) {
        return -1;
    }
    if (b.channel == a.channel + 1) {
        if (channels == 2) return kWholeFile;
        return a.channel < kPairChannelModes ? kFirstPairChannelMode + static_cast<int>(a.channel) : -1;
    }
    return channels == 2 && a.channel == 1 && b.channel == 0 ? kReverseStereo : -1;
}

// The halves of a split-mono pair as one list. A left clip and a right clip
// that are two channels of one interleaved file at one place are one item
// playing both, as Pro Tools plays them; every other clip keeps its own
// channel, the left half's panned hard left and the right half's hard right.
std::vector<AudioClip> pairedClips(std::vector<AudioClip> left, std::vector<AudioClip> right) {
    sortByPosition(left);
    sortByPosition(right);
    std::vector<AudioClip> clips;
    size_t r = 0;
    auto keepRight = [&clips](AudioClip& clip) {
        clip.takePan = 1.0;
        clips.push_back(std::move(clip));
    };
    for (AudioClip& clip : left) {
        while (r < right.size() && right[r].position < clip.position - kSamePlace) keepRight(right[r++]);
        const int mode = r < right.size() ? pairChannelMode(clip, right[r]) : -1;
        if (mode >= 0) {
            clip.clip.name = sharedStem({&clip, &right[r]});
            clip.channelMode = mode;
            clip.takePan = 0;
            ++r;
        } else {
            clip.takePan = -1.0;
        }
        clips.push_back(std::move(clip));
    }
    while (r < right.size()) keepRight(right[r++]);
    sortByPosition(clips);
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

// Two tracks of one name are a stereo track stored as split mono: one track
// holding both halves' clips.
void mergePair(BoundTrack& left, BoundTrack& right, const ConvertOptions& options,
               AnalysisModel& analysis) {
    const std::string& name = left.name;
    analysis.channelsOfTrack[name] = 2;
    analysis.timebaseOfTrack[name] = timebaseOf(left);
    OutputTrack track;
    track.name = name;
    track.matchKey = name;
    track.clips = pairedClips(std::move(left.clips), std::move(right.clips));
    markFreezeRecord(left, track, analysis);
    ++analysis.counts.mergedPairs;
    analysis.outputTracks.push_back(std::move(track));

    if (options.recoverDeleted && (!left.losers.empty() || !right.losers.empty())) {
        analysis.outputTracks.push_back(recoveredTrack(name, pairedClips(std::move(left.losers), std::move(right.losers))));
    }
}

// Surround legs become one multichannel track carrying the first leg's clips,
// each playing its whole file.
void foldLegs(std::vector<BoundTrack>& tracks, size_t first, size_t end, AnalysisModel& analysis) {
    BoundTrack& lead = tracks[first];
    const int legs = static_cast<int>(end - first);
    analysis.channelsOfTrack[lead.name] = legs;
    analysis.surroundLegs[lead.name] = legs;
    analysis.timebaseOfTrack[lead.name] = timebaseOf(lead);
    OutputTrack track;
    track.name = lead.name;
    track.matchKey = lead.name;
    std::vector<std::string> stems;
    stems.reserve(lead.clips.size());
    for (size_t c = 0; c < lead.clips.size(); ++c) {
        std::vector<const AudioClip*> legClips;
        for (size_t leg = first; leg < end; ++leg) legClips.push_back(&tracks[leg].clips[c]);
        stems.push_back(sharedStem(legClips));
    }
    track.clips = std::move(lead.clips);
    for (size_t c = 0; c < track.clips.size(); ++c) {
        track.clips[c].clip.name = std::move(stems[c]);
        track.clips[c].channelMode = kWholeFile;
    }
    markFreezeRecord(lead, track, analysis);
    ++analysis.counts.foldedSurround;
    analysis.outputTracks.push_back(std::move(track));
}

// One track of a run on its own; in a run of two (one of them an alternate)
// the first is written as the left half and the second as the right.
void singleTrack(BoundTrack& source, size_t runLength, size_t place, const ConvertOptions& options,
                 AnalysisModel& analysis) {
    BindingCounts& counts = analysis.counts;
    if (source.isAlternate && !options.keepAltTakes && !source.isFreezeRecord) {
        ++counts.alternatesSetAside;
        return;
    }
    OutputTrack track;
    track.name = source.name;
    track.clips = std::move(source.clips);
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
        OutputTrack recovered = recoveredTrack(name, std::move(source.losers));
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
    }
    for (size_t i = 0; i < lead.size(); ++i) {
        const AudioClip& a = lead[i];
        // Legs of a multichannel file fold when they play all of its channels, one each.
        const uint16_t channels = a.clip.fileChannels;
        if (channels > 1 && channels != legs.size()) return false;
        std::vector<bool> played(channels > 1 ? channels : 0, false);
        for (const std::vector<AudioClip>* leg : legs) {
            const AudioClip& b = (*leg)[i];
            if (a.clip.fileName != b.clip.fileName) return false;
            if (!samePlace(a.position, b.position) || !samePlace(a.length, b.length)) return false;
            if (channels < 2) continue;
            if (b.clip.channel >= channels || played[b.clip.channel]) return false;
            played[b.clip.channel] = true;
        }
    }
    return true;
}

// Consecutive tracks of one name are one track stored in pieces: a split-mono
// pair, or the legs of a surround track. Every other track stands alone.
void buildOutputTracks(const SessionModel&, const ConvertOptions& options, BindingWork& work,
                       AnalysisModel& analysis) {
    // Each bound track gives its clips to the output track made of it.
    std::vector<BoundTrack>& tracks = work.tracks;
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
