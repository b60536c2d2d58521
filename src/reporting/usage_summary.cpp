#include "reporting/usage_summary.h"

#include <cctype>
#include <map>

#include "cli/console.h"
#include "driver/run_state.h"
#include "plugins/outcomes.h"
#include "project/media.h"
#include "reporting/support.h"

const char* const kEmptyUsageBody = "\"session\":{},\"plugins\":[],\"not_converted\":[],\"warnings\":[]";

namespace {

constexpr size_t kMostPluginEntries = 400;

std::string quoted(const std::string& text) {
    std::string out = "\"";
    for (unsigned char c : text) {
        if (c == '"' || c == '\\') {
            out += '\\';
            out += static_cast<char>(c);
        } else if (c < 0x20) {
            out += formatText("\\u%04x", c);
        } else {
            out += static_cast<char>(c);
        }
    }
    return out + "\"";
}

std::string wordArray(const std::vector<const char*>& words) {
    std::string out = "[";
    for (size_t n = 0; n < words.size(); ++n) out += (n ? ",\"" : "\"") + std::string(words[n]) + "\"";
    return out + "]";
}

bool anyStatus(const std::vector<PluginOutcome>& outcomes, OutcomeStatus status) {
    for (const PluginOutcome& outcome : outcomes) {
        if (outcome.status == status) return true;
    }
    return false;
}

std::string sessionObject(const RunState& state) {
    const SessionInfo& info = state.model.info;
    const RunCounters& c = state.counters;
    const AnalysisModel& analysis = state.analysis;
    int midiTracks = 0;
    int lanes = analysis.counts.alternatesWithoutParent;
    for (const OutputTrack& track : analysis.outputTracks) {
        midiTracks += track.isMidi ? 1 : 0;
        lanes += static_cast<int>(track.lanes.size());
    }
    const std::string depth =
        info.bitDepth > 0
            ? formatText("\"bit_depth\":%d,\"float_audio\":%s,", info.bitDepth, info.floatSamples ? "true" : "false")
            : std::string();
    return formatText(
        "\"session\":{\"pt_saved_by\":%s,\"sample_rate\":%d,%s\"tracks\":%d,\"midi_tracks\":%d,\"hidden_tracks\":%d,"
        "\"inactive_tracks\":%d,\"master_faders\":%d,\"vcas\":%d,\"clips\":%d,\"midi_notes\":%d,\"alt_playlists\":%d,"
        "\"frozen_tracks\":%d,\"plugin_instances\":%d}",
        quoted(info.savedByVersion).c_str(), static_cast<int>(static_cast<double>(state.sampleRate) + 0.5),
        depth.c_str(), c.outputTracks, midiTracks, static_cast<int>(c.hiddenTracks.size()), c.inactiveTracks,
        analysis.groups.masterFaders, static_cast<int>(analysis.groups.vcaMasters.size()), c.audioItems,
        c.notesWritten, lanes, c.frozenTracks, static_cast<int>(state.pluginOutcomes.size()));
}

}  // namespace

std::string cleanUsageName(const std::string& name) {
    static const std::string kept = " .,&+()'!_#-";
    std::string out;
    for (unsigned char c : name) {
        if (out.size() == 64) break;
        if (c >= 0x80) continue;
        out += std::isalnum(c) || kept.find(static_cast<char>(c)) != std::string::npos ? static_cast<char>(c) : '-';
    }
    const size_t first = out.find_first_not_of(' ');
    if (first == std::string::npos) return "(unnamed)";
    return out.substr(first, out.find_last_not_of(' ') - first + 1);
}

std::string usagePluginEntries(const std::vector<PluginOutcome>& outcomes, bool& truncated) {
    struct Entry {
        std::string product, maker, word, format;
        int count = 0;
    };
    std::map<std::string, Entry> entries;
    for (const PluginOutcome& outcome : outcomes) {
        Entry entry{cleanUsageName(outcome.plugin), outcome.maker.empty() ? std::string() : cleanUsageName(outcome.maker),
                    outcomeWord(outcome), outcome.format.empty() ? std::string("none") : outcome.format, 0};
        const std::string key = entry.product + '\x1F' + entry.maker + '\x1F' + entry.word + '\x1F' + entry.format;
        auto [place, added] = entries.try_emplace(key, entry);
        ++place->second.count;
    }
    truncated = entries.size() > kMostPluginEntries;
    std::string out = "[";
    size_t written = 0;
    for (const auto& keyed : entries) {
        if (written == kMostPluginEntries) break;
        const Entry& e = keyed.second;
        if (written++) out += ",";
        out += "{\"product\":" + quoted(e.product);
        if (!e.maker.empty()) out += ",\"maker\":" + quoted(e.maker);
        out += ",\"result\":" + quoted(e.word) + ",\"as\":" + quoted(e.format) + formatText(",\"count\":%d}", e.count);
    }
    return out + "]";
}

std::string composeUsageBody(const RunState& state) {
    const std::vector<PluginOutcome>& outcomes = state.pluginOutcomes;
    bool truncated = false;
    const std::string plugins = usagePluginEntries(outcomes, truncated);

    std::vector<const char*> notConverted;
    if (anyStatus(outcomes, OutcomeStatus::aaxOnly)) notConverted.push_back("aax-only-plugins");
    if (anyStatus(outcomes, OutcomeStatus::notRecognised)) notConverted.push_back("unrecognized-plugins");
    if (state.counters.surroundLanesNotWritten > 0) notConverted.push_back("surround-panner-lanes");
    if (!state.analysis.clipCounts.loopsNotWritten.empty()) notConverted.push_back("loops-not-written");
    // No video item is written by this version: a video track is picture left behind.
    if (state.analysis.counts.videoTracks > 0) notConverted.push_back("video-not-written");

    std::vector<const char*> warnings;
    if (state.pluginRun.cache.path.empty() && !state.model.plugins.empty()) warnings.push_back("no-plugin-list");
    bool notInstalled = false;
    for (const PluginOutcome& outcome : outcomes) notInstalled = notInstalled || outcome.notInstalled;
    if (notInstalled) warnings.push_back("plugins-not-installed");
    if (!summarizeMedia(state.media).missingFiles.empty()) warnings.push_back("media-missing");
    if (!problemKind().empty()) warnings.push_back("needs-a-look");
    if (truncated) warnings.push_back("plugins-truncated");

    return sessionObject(state) + ",\"plugins\":" + plugins + ",\"not_converted\":" + wordArray(notConverted) +
           ",\"warnings\":" + wordArray(warnings);
}

std::string usageSummaryText(const std::string& version, int returnCode, const std::string& body) {
    return "{\"schema\":\"varnoak-usage 1\",\"converter\":" + quoted(version) + ",\"build\":" + kProgramBuild +
           ",\"result\":\"" + (returnCode == 0 ? "converted" : "failed") + "\"," + body + "}\n";
}
