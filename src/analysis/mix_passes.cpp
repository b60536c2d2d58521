// Passes of the mixer side that bind nothing yet: each holds its place in the
// pass order until its readers exist.
#include "analysis/passes.h"

// Will bind each plug-in record to its strip by block position and scan for
// unlinked multi-mono instances and Avid Trim.
void bindPluginsToStrips(const SessionModel&, const ConvertOptions&, BindingWork&, AnalysisModel&) {}

// Will list the strips that are neither mono nor stereo, for the console.
void listUnknownWidths(const SessionModel&, const ConvertOptions&, BindingWork&, AnalysisModel&) {}
