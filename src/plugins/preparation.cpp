#include "plugins/preparation.h"

#include <set>

#include "cli/console.h"
#include "cli/options.h"
#include "driver/convert.h"
#include "plugins/chain_writer.h"
#include "plugins/identity.h"
#include "session/session_model.h"

namespace {

// The unlinked multi-mono instances and the records that could not be read, by
// name and strip, for their notes.
void listInstancesToTell(const SessionModel& model, const PluginTables& tables, MatchReport& report) {
    std::set<std::string> multiMono;
    for (const PluginInstance& instance : model.plugins) {
        const StripRow* strip = stripOfInstance(instance, model.strips);
        const std::string stripName = strip ? strip->name : std::string("(unmatched strip)");
        if (instance.unreadable) {
            report.unreadable.push_back(listedName(instance, model, tables) + " on " + stripName);
            continue;
        }
        if (instance.channelSets <= 1) continue;
        const std::string key = signatureKey(instance);
        const PluginRow* row = findRow(tables, key);
        multiMono.insert(formatText("%s on %s (%d channels)", row ? row->name.c_str() : key.c_str(),
                                    stripName.c_str(), instance.channelSets));
    }
    report.multiMono.assign(multiMono.begin(), multiMono.end());
}

// The files of --params, else the two tables beside the program; each told by
// the plug-ins it brought that no file before it named.
void loadParameterTables(const ConvertOptions& options, ParameterNames& names) {
    const bool given = !options.paramFiles.empty();
    const std::string folder = folderOf(options.programPath);
    const std::vector<std::string> paths =
        given ? options.paramFiles
              : std::vector<std::string>{folder + "/trellum-params.tsv", folder + "/trellum-params-local.tsv"};
    for (const std::string& path : paths) {
        const size_t known = names.byPlugin.size();
        if (readParameterTable(path, names) > 0) {
            say("  plug-in parameter names: %d plug-in build(s) from %s\n",
                static_cast<int>(names.byPlugin.size() - known), path.c_str());
        } else if (given) {
            say("  --params %s: nothing read\n", path.c_str());
        }
    }
    finishParameterTables(names);
}

}  // namespace

std::string listedName(const PluginInstance& instance, const SessionModel& model, const PluginTables& tables) {
    const auto stored = model.storedPluginNames.find(instance.signature);
    if (stored != model.storedPluginNames.end()) return stored->second;
    const std::string key = signatureKey(instance);
    const PluginRow* row = findRow(tables, key);
    if (row && !row->name.empty()) return row->name;
    const std::string stock = stockName(key);
    return stock.empty() ? key : stock;
}

void preparePlugins(const ConvertOptions& options, const SessionModel& model, const StateProbe& probe,
                    PluginRun& run) {
    // The in-memory road reads no list beside the program or in the user's folders.
    const int learned = options.inMemory ? 0 : loadLearnedEntries(options.programPath, run.tables);
    if (learned > 0) say("  %d plug-in(s) learned from trellum-plugins.txt\n\n", learned);
    if (!options.inMemory) loadParameterTables(options, run.parameterNames);

    if (!options.inMemory) run.cache = loadPluginCache(options.vstIniPath, options.sessionPath, options.programPath);
    const PluginCache& cache = run.cache;
    if (!cache.entries.empty()) {
        say("  plug-in cache: %d entries from %s\n", static_cast<int>(cache.entries.size()), cache.path.c_str());
        if (cache.linesNotUnderstood > 0) {
            say("      %d line(s) of it could not be read (no name, no \"=\", or not text)\n"
                "      and were passed over\n",
                cache.linesNotUnderstood);
        }
        if (cache.linesPastLimit > 0) {
            say("      %d line(s) behind its first %d entries were not read: no list\n"
                "      REAPER writes is that long\n",
                cache.linesPastLimit, static_cast<int>(kMostCacheEntries));
        }
    } else if (!options.vstIniPath.empty()) {
        say("  could not read plug-in cache: %s\n\n", options.vstIniPath.c_str());
    }
    if (options.dumpCache) sayCacheDump(cache);

    if (!cache.entries.empty()) {
        const CacheIndex index = indexCache(cache.entries);
        runMatchingPass(model.plugins, model.storedPluginNames, index, {options.preferVst3, options.preferClap},
                        probe, run.tables, run.matches);
        if (run.matches.linesPrinted > 0) say("\n");
    }
    listInstancesToTell(model, run.tables, run.matches);
    prefitStandIns(model, options, run.eqFit);
}
