// Passes over each track's kept clips that change nothing yet: each holds its
// place in the pass order until its readers exist.
#include "analysis/passes.h"

// Will lay each clip group out as the clips it plays.
void flattenClipGroups(const SessionModel&, const ConvertOptions&, BindingWork&, AnalysisModel&) {}

// Will bind the fade table's fades and crossfades to the kept clips' edges.
void bindFades(const SessionModel&, const ConvertOptions&, BindingWork&, AnalysisModel&) {}

// Will give clips their clip gain, clip-group gain and Clip Effects.
void applyClipGain(const SessionModel&, const ConvertOptions&, BindingWork&, AnalysisModel&) {}

// Will read the Melodyne (ARA) sets and give clips their set.
void mergeAraSets(const SessionModel&, const ConvertOptions&, BindingWork&, AnalysisModel&) {}

// Will apply elastic warp and pitch and detect a track's inferred play rate.
void applyWarpAndStretch(const SessionModel&, const ConvertOptions&, BindingWork&, AnalysisModel&) {}

// Will write looped clips out as their passes, end to end.
void writeOutLoops(const SessionModel&, const ConvertOptions&, BindingWork&, AnalysisModel&) {}

// Will cut tails, start heads later and mute covered clips where clips overlap,
// and end clips at their Loop Length.
void resolveOverlaps(const SessionModel&, const ConvertOptions&, BindingWork&, AnalysisModel&) {}
