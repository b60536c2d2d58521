#include <map>

#include "analysis/passes.h"

// Alternate playlists join their parent track as fixed lanes, and recovered
// takes of an alternate are written right behind its parent.
void attachLanes(const SessionModel&, const ConvertOptions&, BindingWork&, AnalysisModel& analysis) {
    std::vector<OutputTrack>& tracks = analysis.outputTracks;
    std::map<std::string, std::vector<size_t>> byLaneParent;
    std::map<std::string, std::vector<size_t>> byBesideParent;
    for (size_t i = 0; i < tracks.size(); ++i) {
        if (!tracks[i].laneParent.empty()) byLaneParent[tracks[i].laneParent].push_back(i);
        if (!tracks[i].besideParent.empty()) byBesideParent[tracks[i].besideParent].push_back(i);
    }
    std::vector<bool> taken(tracks.size(), false);
    std::vector<OutputTrack> ordered;
    ordered.reserve(tracks.size());
    for (size_t i = 0; i < tracks.size(); ++i) {
        if (taken[i] || !tracks[i].laneParent.empty()) continue;
        taken[i] = true;
        OutputTrack main = std::move(tracks[i]);
        const std::string key = main.matchKey;
        if (key.empty()) {
            ordered.push_back(std::move(main));
            continue;
        }
        for (size_t lane : byLaneParent[key]) {
            if (taken[lane]) continue;
            taken[lane] = true;
            main.lanes.push_back({tracks[lane].laneName, std::move(tracks[lane].clips)});
            ++analysis.counts.lanesWritten;
        }
        ordered.push_back(std::move(main));
        for (size_t beside : byBesideParent[key]) {
            if (taken[beside]) continue;
            taken[beside] = true;
            ordered.push_back(std::move(tracks[beside]));
        }
    }
    // Alternates whose parent is not in the list follow at the end.
    for (size_t i = 0; i < tracks.size(); ++i) {
        if (!taken[i]) ordered.push_back(std::move(tracks[i]));
    }
    tracks = std::move(ordered);
}
