// Passes over each track's kept clips that change nothing yet: each holds its
// place in the pass order until its readers exist.
#include "analysis/passes.h"

// Will lay each clip group out as the clips it plays.
void flattenClipGroups(const SessionModel&, const ConvertOptions&, BindingWork&, AnalysisModel&) {}

// Will give clips their clip gain, clip-group gain and Clip Effects.
void applyClipGain(const SessionModel&, const ConvertOptions&, BindingWork&, AnalysisModel&) {}
