// Passes of the mixer side: strips of unknown width, and those that bind
// nothing yet and hold their place in the pass order until their readers exist.
#include "analysis/passes.h"

// Plug-in records are bound to their strips as they are read, and unlinked
// multi-mono pairs are found with the key wiring; here each Avid Trim enters
// its gain and polarity under the track that holds it.
void bindPluginsToStrips(const SessionModel& model, const ConvertOptions&, BindingWork&, AnalysisModel& analysis) {
    for (const auto& [track, chain] : model.pluginsOfStrip) {
        for (const PluginInstance& instance : chain) {
            if (instance.signature == "DigiTrim") scanTrim(instance, track, analysis.trim);
        }
    }
}

// Strips whose lane count is neither a mono nor a stereo strip's: their third
// lane is no single pan. Two lanes (volume, mute), three (a mono strip without a
// trim lane), four (mono) and five (stereo) are known; so is the master fader's
// single volume lane. A strip without lanes has nothing to misread.
void listUnknownWidths(const SessionModel& model, const ConvertOptions&, BindingWork&, AnalysisModel& analysis) {
    for (const StripRow& strip : model.strips) {
        if (!strip.present) continue;
        const int slots = strip.controlSlots;
        const bool known = (slots >= 0 && slots <= 5 && slots != 1) || (slots == 1 && strip.name == model.masterName);
        if (!known) analysis.unknownWidthStrips.push_back({strip.name, slots});
    }
}
