#include "analysis/passes.h"

#include <algorithm>

namespace {

// The passes in the one order they run.
constexpr AnalysisPass kPasses[] = {
    bindTrackList,          // 1
    bindPluginsToStrips,    // 2
    findOneSidedOutputs,    // 3
    listUnknownWidths,      // 4
    readTrackClips,         // 5
    pairPlaylists,          // 6
    positionsToSeconds,     // 7
    filterPlacements,       // 8
    flattenClipGroups,      // 9
    chooseSamePosition,     // 10
    bindFades,              // 11
    applyClipGain,          // 12
    mergeAraSets,           // 13
    applyWarpAndStretch,    // 14
    writeOutLoops,          // 15
    resolveOverlaps,        // 16
    endLoopsAtLoopLength,   // 16
    bindCurrentNames,       // 17
    buildOutputTracks,      // 17
    attachLanes,            // 18
    bindMidiTrackNames,     // 19
    buildMidiItems,         // 19
    applyGroupsAndColours,  // 20
    orderTracks,            // 21
    skipHiddenAndInactive,  // 22
    buildRoutingGraph,      // 23
    borrowLaneColours,      // 23
    drawFolders,            // 23
};

}  // namespace

void runAnalysisPasses(const SessionModel& model, const ConvertOptions& options, AnalysisModel& analysis) {
    BindingWork work;
    for (AnalysisPass pass : kPasses) pass(model, options, work, analysis);
}

// Stable by position. The clips are large records: a list already in order is
// left alone, any other is ordered through their indices and moved once.
void sortByPosition(std::vector<AudioClip>& clips) {
    const auto earlier = [](const AudioClip& a, const AudioClip& b) { return a.position < b.position; };
    if (std::is_sorted(clips.begin(), clips.end(), earlier)) return;
    std::vector<size_t> order(clips.size());
    for (size_t i = 0; i < order.size(); ++i) order[i] = i;
    std::stable_sort(order.begin(), order.end(),
                     [&clips](size_t a, size_t b) { return clips[a].position < clips[b].position; });
    std::vector<AudioClip> sorted;
    sorted.reserve(clips.size());
    for (size_t i : order) sorted.push_back(std::move(clips[i]));
    clips = std::move(sorted);
}
