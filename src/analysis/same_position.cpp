#include "analysis/passes.h"

namespace {

// The millisecond a clip starts in: the key clips are grouped by.
int64_t millisecondOf(const AudioClip& clip) { return static_cast<int64_t>(clip.position * 1000.0); }

}  // namespace

// Clips that start in the same millisecond on one track are a clip and its
// leftovers: the one that fits before the next clip wins, else the longest.
void chooseSamePosition(const SessionModel&, const ConvertOptions&, BindingWork& work, AnalysisModel&) {
    for (BoundTrack& track : work.tracks) {
        std::vector<AudioClip>& clips = track.clips;
        sortByPosition(clips);
        // The winners close up in place; the others go to the losers in order.
        size_t kept = 0;
        for (size_t first = 0; first < clips.size();) {
            const int64_t key = millisecondOf(clips[first]);
            size_t end = first + 1;
            while (end < clips.size() && millisecondOf(clips[end]) == key) ++end;
            const double room = end < clips.size() ? static_cast<double>(millisecondOf(clips[end]) - key) / 1000.0 : 1e12;
            const auto fits = [room](const AudioClip& clip) { return clip.length <= room + 0.01; };
            size_t winner = first;
            for (size_t i = first + 1; i < end; ++i) {
                const bool better = fits(clips[i]) != fits(clips[winner]) ? fits(clips[i])
                                                                          : clips[i].length > clips[winner].length;
                if (better) winner = i;
            }
            for (size_t i = first; i < end; ++i) {
                if (i != winner) track.losers.push_back(std::move(clips[i]));
            }
            if (winner != kept) clips[kept] = std::move(clips[winner]);
            ++kept;
            first = end;
        }
        clips.erase(clips.begin() + static_cast<std::ptrdiff_t>(kept), clips.end());
        sortByPosition(clips);
    }
}
