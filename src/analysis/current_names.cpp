#include "analysis/passes.h"

namespace {

// The strip an alternate playlist belongs to, by the playlist owner table. That
// table is not read yet, so no alternate finds its parent this way.
std::string parentOfAlternate(const SessionModel&, const std::string&) { return std::string(); }

}  // namespace

// A track paired with a named playlist goes by the playlist's name; a name the
// track list does not hold is an alternate playlist, and "?" is a freeze record.
void bindCurrentNames(const SessionModel& model, const ConvertOptions&, BindingWork& work, AnalysisModel& analysis) {
    std::string lastFrozenCandidate;
    for (BoundTrack& track : work.tracks) {
        if (track.record >= 0 && !track.playlistName.empty()) {
            track.name = track.playlistName;
            track.isAlternate = !work.trackNames.count(track.name);
        }
        track.isFreezeRecord = track.name == "?";
        for (AudioClip& clip : track.clips) clip.trackName = track.name;
        for (AudioClip& clip : track.losers) clip.trackName = track.name;

        if (track.isFreezeRecord) {
            track.frozenTrackName = lastFrozenCandidate;
        } else {
            lastFrozenCandidate = track.name;
        }
        if (track.isAlternate) {
            track.parent = parentOfAlternate(model, track.playlistName);
            if (!track.parent.empty()) ++analysis.counts.alternatesMatched;
        }
    }
}
