#include "plugins/listing.h"

#include "cli/console.h"
#include "plugins/identity.h"
#include "plugins/preparation.h"
#include "session/session_model.h"

namespace {

std::string insertLine(const PluginInstance& instance, const SessionModel& model, const PluginTables& tables) {
    const std::string key = signatureKey(instance);
    const std::string maker = pluginMaker(findRow(tables, key), key);
    std::string flags;
    if (instance.unreadable) flags += ", UNREADABLE: its record runs past its block";
    if (instance.bypassed) flags += ", bypassed";
    if (instance.inactive) flags += ", inactive";
    if (instance.keyInput >= 0) flags += formatText(", key input %d", instance.keyInput);
    if (instance.channelSets > 1) flags += formatText(", multi-mono x%d", instance.channelSets);
    if (isAaxOnly(key)) flags += ", AAX only";
    return formatText("%s [%s], maker %s, %llu bytes%s", listedName(instance, model, tables).c_str(), key.c_str(),
                      maker.empty() ? "unknown" : maker.c_str(),
                      static_cast<unsigned long long>(instance.payloadEnd - instance.recordStart), flags.c_str());
}

}  // namespace

void sayInsertsOfTrack(const std::string& trackName, const SessionModel& model, const PluginTables& tables) {
    const auto chain = model.pluginsOfStrip.find(trackName);
    if (chain == model.pluginsOfStrip.end()) return;
    for (size_t slot = 0; slot < chain->second.size(); ++slot) {
        say("          %d  %s\n", static_cast<int>(slot + 1), insertLine(chain->second[slot], model, tables).c_str());
    }
}

void sayInsertsOnNoTrack(const SessionModel& model, const PluginTables& tables) {
    std::vector<const PluginInstance*> loose;
    for (const PluginInstance& instance : model.plugins) {
        if (instance.unreadable || !stripOfInstance(instance, model.strips)) loose.push_back(&instance);
    }
    if (loose.empty()) return;
    say("\n  inserts on no track (%d):\n", static_cast<int>(loose.size()));
    for (const PluginInstance* instance : loose) say("    %s\n", insertLine(*instance, model, tables).c_str());
}
