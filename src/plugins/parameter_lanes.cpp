#include "plugins/parameter_lanes.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <vector>

#include "driver/run_state.h"
#include "plugins/chain_writer.h"
#include "plugins/table.h"
#include "project/text.h"
#include "session/tempo.h"

namespace {

using NumberNames = std::map<int, std::string>;

bool isBypassLane(const std::string& name) { return name == "Global Bypass" || name == "Master Bypass"; }

bool hasPoints(const PluginLane& lane) { return !lane.points.empty(); }

// One to six digits, no leading zero unless it is "0" itself.
std::optional<int64_t> plainNumber(const std::string& text) {
    if (text.empty() || text.size() > 6 || (text[0] == '0' && text.size() > 1)) return std::nullopt;
    int64_t value = 0;
    for (char c : text) {
        if (c < '0' || c > '9') return std::nullopt;
        value = value * 10 + (c - '0');
    }
    return value;
}

// The plug-ins whose lane numbers run a fixed distance from their parameters.
int laneOffset(const std::string& signature) {
    auto starts = [&](const char* head) { return signature.compare(0, 4, head) == 0; };
    if (starts("FabF")) return 2;
    if (starts("iZtp")) return 1;
    for (const char* one : {"VstPXfTT", "sftbTTCC", "JptrATLv"}) {
        if (signature == one) return 1;
    }
    for (const char* two : {"oDinvee3", "ikm_Atx3", "NiInNi$D", "UHfXDiVa"}) {
        if (signature == two) return 2;
    }
    return 0;
}

// What follows the last ": ", or all of the name.
std::string lastPart(const std::string& name) {
    const size_t colon = name.rfind(": ");
    return colon == std::string::npos ? name : name.substr(colon + 2);
}

// The lane's parameter by name in one plug-in's table: first N - 1 and N - 2,
// then the whole table. Both neighbours having the name is no answer at all.
enum class TableAnswer { found, ambiguous, none };
TableAnswer lookUp(const NumberNames& table, int64_t number, const std::string& name, bool lastParts, int64_t& found) {
    auto same = [&](const std::string& entry) { return lastParts ? lastPart(entry) == lastPart(name) : entry == name; };
    int matches = 0;
    for (int64_t candidate : {number - 1, number - 2}) {
        if (candidate < 0 || candidate > 999999) continue;
        const auto entry = table.find(static_cast<int>(candidate));
        if (entry != table.end() && same(entry->second)) {
            if (matches++ == 0) found = candidate;
        }
    }
    if (matches == 2) return TableAnswer::ambiguous;
    if (matches == 1) return TableAnswer::found;
    for (const auto& [parameter, entryName] : table) {
        if (!same(entryName)) continue;
        if (matches++ == 0) found = parameter;
    }
    return matches == 1 ? TableAnswer::found : TableAnswer::none;
}

std::optional<int64_t> byTable(const ParameterNames& names, const PluginRow* row, const PluginLane& lane) {
    if (!row || row->name.empty() || lane.name.empty()) return std::nullopt;
    const auto table = names.byPlugin.find(row->name);
    if (table == names.byPlugin.end()) return std::nullopt;
    for (bool lastParts : {false, true}) {
        int64_t found = -1;
        const TableAnswer answer = lookUp(table->second, lane.number, lane.name, lastParts, found);
        if (answer == TableAnswer::found) return found;
        if (answer == TableAnswer::ambiguous) return std::nullopt;
    }
    return std::nullopt;
}

double pointSeconds(const RunState& state, const PluginLane& lane, int32_t time) {
    if (lane.inTicks) return secondsOfTicks(time, state.model.tempoMap, state.model.sessionTempo);
    return static_cast<double>(time) / static_cast<double>(state.sampleRate > 0 ? state.sampleRate : 48000);
}

void writeLane(const RunState& state, ProjectText& text, const PluginInstance& instance, const PluginLane& lane,
               int64_t parameter, bool active, const std::string& title) {
    const std::string place = std::to_string(parameter);
    text.open("PARMENV").word(place + ":" + place).num(0).num(1).word("0.5").name(title);
    const uint32_t seed = (static_cast<uint32_t>(instance.recordStart) << 4) ^
                          (static_cast<uint32_t>(lane.number) * 0x9E3779B1u);
    text.statement("EGUID").guid(seed);
    text.statement("ACT").num(active ? 1 : 0).num(-1);
    text.statement("VIS").num(1).num(1).num(1);
    text.statement("LANEHEIGHT").num(0).num(0);
    text.statement("ARM").num(0);
    text.statement("DEFSHAPE").num(0).num(-1).num(-1);
    if (lane.points.front().first > 0) text.statement("PT").num(0).fine(lane.startValue).num(0);
    for (const auto& [time, value] : lane.points) {
        const double seconds = std::max(0.0, pointSeconds(state, lane, time));
        text.statement("PT").seconds(seconds).fine(std::clamp(value, 0.0, 1.0)).num(0);
    }
    text.close();
}

}  // namespace

int readParameterTable(const std::string& path, ParameterNames& names) {
    std::FILE* file = std::fopen(path.c_str(), "rb");
    if (!file) return 0;
    int taken = 0;
    char buffer[1024];
    while (std::fgets(buffer, sizeof buffer, file)) {
        std::string line(buffer);
        while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) line.pop_back();
        if (std::count(line.begin(), line.end(), '\t') < 3) continue;
        std::vector<std::string> fields;
        size_t start = 0;
        for (int k = 0; k < 4; ++k) {
            const size_t tab = line.find('\t', start);
            fields.push_back(line.substr(start, tab == std::string::npos ? std::string::npos : tab - start));
            start = tab == std::string::npos ? line.size() : tab + 1;
        }
        if (fields[0] == "plugin") continue;
        const std::string& digits = fields[2];
        if (digits.empty() || digits.size() > 6 ||
            !std::all_of(digits.begin(), digits.end(), [](char c) { return c >= '0' && c <= '9'; })) {
            continue;
        }
        const int number = std::stoi(digits);
        names.byPlugin[fields[0]][number] = fields[3];
        names.byBuild[fields[0]][fields[1]][number] = fields[3];
        ++taken;
    }
    std::fclose(file);
    return taken;
}

void finishParameterTables(ParameterNames& names) {
    for (const auto& [plugin, builds] : names.byBuild) {
        if (builds.size() < 2) continue;
        NumberNames agreed;
        for (const auto& entry : builds.begin()->second) {
            const bool everywhere = std::all_of(std::next(builds.begin()), builds.end(), [&](const auto& build) {
                const auto same = build.second.find(entry.first);
                return same != build.second.end() && same->second == entry.second;
            });
            if (everywhere) agreed.insert(entry);
        }
        names.byPlugin[plugin] = std::move(agreed);
    }
}

SlotLanes writeParameterLanes(RunState& state, ProjectText& text, const PluginInstance& instance,
                              const PluginRow* row) {
    PluginRun& run = state.pluginRun;
    LaneCounts& counts = run.lanes;
    const bool named = row && !row->name.empty();
    const std::string tallyName = named ? row->name : instance.signature;
    SlotLanes written;
    for (const PluginLane& lane : instance.lanes) {
        if (!hasPoints(lane)) continue;
        if (isBypassLane(lane.name)) {
            ++counts.bypassLanes;
            continue;
        }
        const int64_t number = lane.number;
        int64_t parameter = -1;
        bool active = true;
        std::string title = lane.name;
        const std::optional<int64_t> own = plainNumber(lane.idText);
        std::optional<int64_t> tabled;
        if (own && (*own == number - 1 || *own == number - 2)) {
            parameter = *own;
            ++counts.byNumber;
        } else if ((tabled = byTable(run.parameterNames, row, lane))) {
            parameter = *tabled;
            ++counts.byName;
        } else {
            if (named) run.wantedPlugins.insert(row->name);
            if (const int offset = laneOffset(instance.signature)) {
                parameter = number - offset;
            } else {
                parameter = number - 1;
                active = false;
                title = "ASSIGN: " + lane.name;
                ++counts.assign[tallyName];
            }
            if (parameter < 0) continue;
        }
        if (named) title += " / " + row->name;
        writeLane(state, text, instance, lane, parameter, active, title);
        ++written.lanes;
        written.points += static_cast<int>(lane.points.size());
        if (active) counts.points += static_cast<int>(lane.points.size());
    }
    return written;
}

void countLanesLost(const PluginInstance& instance, const std::string& name, std::map<std::string, int>& tally,
                    LaneCounts& counts) {
    for (const PluginLane& lane : instance.lanes) {
        if (!hasPoints(lane)) continue;
        if (isBypassLane(lane.name)) {
            ++counts.bypassLanes;
        } else {
            ++tally[name];
        }
    }
}

void carrySlotLanes(RunState& state, ProjectText& text, const ChainSlot& slot) {
    const PluginInstance& instance = *slot.instance;
    PluginOutcome& outcome = state.pluginOutcomes[slot.outcome];
    LaneCounts& counts = state.pluginRun.lanes;
    if (slot.kind != ChainSlotKind::plugin) {
        const bool standIn = slot.kind == ChainSlotKind::standIn || slot.kind == ChainSlotKind::trim;
        countLanesLost(instance, outcome.plugin, standIn ? counts.lostOnStandIns : counts.lostAtDefaults, counts);
    } else if (slot.built.bytes.empty()) {
        const std::string name = slot.row && !slot.row->name.empty() ? slot.row->name : instance.signature;
        countLanesLost(instance, name, counts.lostAtDefaults, counts);
    } else {
        const SlotLanes written = writeParameterLanes(state, text, instance, slot.row);
        outcome.lanesWritten = written.lanes;
        outcome.pointsWritten = written.points;
    }
}
