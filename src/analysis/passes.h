// The analysis passes, in the order they run. Each rests on what the passes
// before it left; none reads the session image, only the model.
#pragma once

#include "analysis/analysis_model.h"
#include "analysis/binding_work.h"
#include "driver/convert.h"
#include "session/session_model.h"

// Runs every pass once, in order, and leaves the output tracks, the tables by
// track name and the counts in analysis.
void runAnalysisPasses(const SessionModel& model, const ConvertOptions& options, AnalysisModel& analysis);

using AnalysisPass = void (*)(const SessionModel&, const ConvertOptions&, BindingWork&, AnalysisModel&);

// 1. The run's track list; bus names that are track names leave the bus list.
void bindTrackList(const SessionModel&, const ConvertOptions&, BindingWork&, AnalysisModel&);
// 2. Plug-ins bound to strips; unlinked multi-mono and Avid Trim scan.
void bindPluginsToStrips(const SessionModel&, const ConvertOptions&, BindingWork&, AnalysisModel&);
// 3. Tracks that output to one side of a stereo output.
void findOneSidedOutputs(const SessionModel&, const ConvertOptions&, BindingWork&, AnalysisModel&);
// 4. Strips that are neither mono nor stereo.
void listUnknownWidths(const SessionModel&, const ConvertOptions&, BindingWork&, AnalysisModel&);
// 5. One clip list per placement track; sync distances attached.
void readTrackClips(const SessionModel&, const ConvertOptions&, BindingWork&, AnalysisModel&);
// 6. Each track paired with its playlist record; which unit it counts in.
void pairPlaylists(const SessionModel&, const ConvertOptions&, BindingWork&, AnalysisModel&);
// 7. Positions, lengths and source offsets to seconds; sync points applied.
void positionsToSeconds(const SessionModel&, const ConvertOptions&, BindingWork&, AnalysisModel&);
// 8. Live placements kept, fade references and deleted placements dropped.
void filterPlacements(const SessionModel&, const ConvertOptions&, BindingWork&, AnalysisModel&);
// 9. Clip groups laid flat.
void flattenClipGroups(const SessionModel&, const ConvertOptions&, BindingWork&, AnalysisModel&);
// 10. One clip per position; the others set aside as same-position losers.
void chooseSamePosition(const SessionModel&, const ConvertOptions&, BindingWork&, AnalysisModel&);
// 11. Fades bound to clip edges.
void bindFades(const SessionModel&, const ConvertOptions&, BindingWork&, AnalysisModel&);
// 12. Clip gain and clip-group gain; Clip Effects.
void applyClipGain(const SessionModel&, const ConvertOptions&, BindingWork&, AnalysisModel&);
// 13. Melodyne (ARA) sets read and merged.
void mergeAraSets(const SessionModel&, const ConvertOptions&, BindingWork&, AnalysisModel&);
// 14. Elastic warp and pitch; per-track stretch detection.
void applyWarpAndStretch(const SessionModel&, const ConvertOptions&, BindingWork&, AnalysisModel&);
// 15. Looped clips written out pass by pass.
void writeOutLoops(const SessionModel&, const ConvertOptions&, BindingWork&, AnalysisModel&);
// 16a. Overlaps and clip cover.
void resolveOverlaps(const SessionModel&, const ConvertOptions&, BindingWork&, AnalysisModel&);
// 16b. Clips looped to a Loop Length ended there.
void endLoopsAtLoopLength(const SessionModel&, const ConvertOptions&, BindingWork&, AnalysisModel&);
// 17a. Current names, alternate playlists and freeze records.
void bindCurrentNames(const SessionModel&, const ConvertOptions&, BindingWork&, AnalysisModel&);
// 17b. Runs of equal names: split-mono pairs, surround legs, single tracks.
void buildOutputTracks(const SessionModel&, const ConvertOptions&, BindingWork&, AnalysisModel&);
// 18. Alternate playlists attached to their parents as lanes.
void attachLanes(const SessionModel&, const ConvertOptions&, BindingWork&, AnalysisModel&);
// 19a. MIDI tracks bound to the track list by name.
void bindMidiTrackNames(const SessionModel&, const ConvertOptions&, BindingWork&, AnalysisModel&);
// 19b. MIDI clips into items.
void buildMidiItems(const SessionModel&, const ConvertOptions&, BindingWork&, AnalysisModel&);
// 20. Groups, VCAs and track colour schemes.
void applyGroupsAndColours(const SessionModel&, const ConvertOptions&, BindingWork&, AnalysisModel&);
// 21. The project's track order; empty, unmatched and folder tracks; marks.
void orderTracks(const SessionModel&, const ConvertOptions&, BindingWork&, AnalysisModel&);
// 22. Tracks left out by --skip-hidden-tracks and --skip-inactive-tracks.
void skipHiddenAndInactive(const SessionModel&, const ConvertOptions&, BindingWork&, AnalysisModel&);
// 23. The routing graph: sends, outputs into auxes, return tracks, master sends.
void buildRoutingGraph(const SessionModel&, const ConvertOptions&, BindingWork&, AnalysisModel&);
// 23. Clips on alternate lanes take the colour of their recording.
void borrowLaneColours(const SessionModel&, const ConvertOptions&, BindingWork&, AnalysisModel&);
// 23. Routing and Basic folders as REAPER folder depths.
void drawFolders(const SessionModel&, const ConvertOptions&, BindingWork&, AnalysisModel&);
