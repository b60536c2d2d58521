#include "analysis/passes.h"

namespace {

// The strip an alternate playlist belongs to: the track that owns it, as the
// session stores it. Without that, by its name: Pro Tools names a track's
// further playlists after it with a number behind a dot ("Gtr.01"), so the
// parent is the strip whose name is what stands before that dot.
std::string parentOfAlternate(const SessionModel& model, const BindingWork& work, const BoundTrack& track) {
    auto owner = model.playlistOwners.find(track.storedIndex);
    if (owner != model.playlistOwners.end() && work.trackNames.count(owner->second)) return owner->second;
    const std::string& playlistName = track.playlistName;
    const size_t dot = playlistName.rfind('.');
    if (dot == std::string::npos || dot == 0 || dot + 1 == playlistName.size()) return std::string();
    for (size_t k = dot + 1; k < playlistName.size(); ++k) {
        if (playlistName[k] < '0' || playlistName[k] > '9') return std::string();
    }
    const std::string stem = playlistName.substr(0, dot);
    for (const StripRow& strip : model.strips) {
        if (strip.present && strip.name == stem) return stem;
    }
    return std::string();
}

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
            track.parent = parentOfAlternate(model, work, track);
            if (!track.parent.empty()) ++analysis.counts.alternatesMatched;
        }
    }
}
