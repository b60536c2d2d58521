#include "driver/run_state.h"
#include "plugins/chain_writer.h"
#include "plugins/state_scan.h"
#include "standins/channel_strip.h"
#include "standins/dyn3.h"
#include "standins/eq3.h"

StripControls channelStripControls(const ImageView& view, const PluginInstance& instance) {
    const RecordBytes record = recordBytesOf(view, instance);
    const std::vector<AaxChunk> chain = aaxChunkChain(record);
    if (chain.empty()) return {};
    StripControls controls = parseElckControls(record.data + chain[0].data, chain[0].size);
    if (!isChannelStripState(controls)) return {};
    return controls;
}

namespace {

// The REAPER plug-in that plays each section of a Channel Strip.
const char* productOfSection(const std::string& section) {
    if (section == "EQ" || section == "filters") return "ReaEQ";
    if (section == "expander") return "Downward Expander";
    if (section == "gate") return "ReaGate";
    if (section == "compressor") return "ReaComp";
    if (section == "input trim" || section == "fader") return "Volume Adjustment";
    return nullptr;
}

}  // namespace

void prefitStandIns(const SessionModel& model, const ConvertOptions& options, EqFitRun& run) {
    if (options.noStandIns) return;
    std::vector<EqBandPlan> plans;
    for (const PluginInstance& instance : model.plugins) {
        const bool sevenBand = instance.signature == "Digi47e3";
        if (!sevenBand && instance.signature != "Digi1be3") continue;
        if (instance.stateForm != 5 || instance.controlValues.size() != (sevenBand ? 38u : 8u)) continue;
        if (options.bypassedFxMode == 2 && (instance.bypassed || instance.inactive)) continue;
        for (EqBandPlan& plan : eq3BandsToFit(instance.controlValues, sevenBand, model.info.sampleRate))
            plans.push_back(std::move(plan));
    }
    const double rate = model.info.sampleRate > 0 ? model.info.sampleRate : 48000.0;
    prefitBands(plans, rate, run, 8);
}

std::optional<StandinResult> standInSlotText(RunState& state, const PluginInstance& instance, const ChainPlace& place) {
    StandinPlace at;
    at.depth = place.slotDepth();
    at.seedBase = standinSeedBase(instance.recordStart);
    at.bypassed = instance.bypassed;
    at.keyWired = instance.keyInput >= 0 && place.pinFlags;
    const auto pair = state.analysis.routing.keyPairOf.find(instance.recordStart);
    at.keyPair = pair == state.analysis.routing.keyPairOf.end() ? 0 : static_cast<uint32_t>(pair->second);
    at.trackChannels = place.width > 0 ? place.width : 2;
    at.sampleRate = state.model.info.sampleRate;
    const std::vector<float>& values = instance.controlValues;
    StandinResult result;
    if (instance.signature == "Digi47e3" || instance.signature == "Digi1be3") {
        result = writeEq3(values, instance.signature == "Digi47e3", at, state.pluginRun.eqFit);
    } else if (instance.signature == "Digidn3c" || instance.signature == "Digidn3e") {
        result = writeDyn3(values, instance.signature == "Digidn3c", at);
    } else if (instance.signature == "AVIDChSt") {
        const StripControls controls = channelStripControls(state.image.view, instance);
        if (controls.empty()) return std::nullopt;
        std::vector<std::string> sections;
        result = writeChannelStrip(readChannelStrip(controls), false, at, sections);
        for (const std::string& section : sections) {
            if (const char* product = productOfSection(section)) result.products.push_back(product);
        }
    } else {
        return std::nullopt;
    }
    if (result.text.empty()) return std::nullopt;
    return result;
}
