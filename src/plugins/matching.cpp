#include "plugins/matching.h"

#include <algorithm>
#include <cstdlib>
#include <set>

#include "cli/console.h"
#include "plugins/identity.h"
#include "session/plugin_records.h"

namespace {

using Found = std::unordered_map<std::string, int>;

int firstIn(const Found& map, const std::string& key) {
    const auto hit = map.find(key);
    return hit == map.end() ? -1 : hit->second;
}

int firstIn(const std::unordered_map<uint32_t, int>& map, uint32_t key) {
    const auto hit = map.find(key);
    return hit == map.end() ? -1 : hit->second;
}

bool startsWith(const std::string& text, const std::string& head) { return text.compare(0, head.size(), head) == 0; }

const PluginCacheEntry& entryAt(const CacheIndex& index, int at) { return (*index.entries)[static_cast<size_t>(at)]; }

// Forms 1 and 10 are the states a VST2 build takes as the VST3 build does.
bool allFormsCarryToVst2(const std::vector<const PluginInstance*>& instances) {
    return std::all_of(instances.begin(), instances.end(),
                       [](const PluginInstance* i) { return i->stateForm == 1 || i->stateForm == 10; });
}

void printRow(MatchReport& report, const std::string& key, const std::string& display, const std::string& tag) {
    say("    %s -> %-46s [%s]\n", key.c_str(), display.c_str(), tag.c_str());
    ++report.linesPrinted;
}

// The number behind the "(" nearest in front of " out)", when above 0.
uint32_t outputsOf(const std::string& display, uint32_t otherwise) {
    const size_t out = display.find(" out)");
    if (out == std::string::npos) return otherwise;
    const size_t open = display.rfind('(', out);
    if (open == std::string::npos) return otherwise;
    const int outputs = std::atoi(display.c_str() + open + 1);
    return outputs > 0 ? static_cast<uint32_t>(outputs) : otherwise;
}

// Kontakt: the session's Kontakt 6 settings go to Kontakt 7 when it is here,
// else to the newest Kontakt above 7 when no VST2 Kontakt is. True when an
// override was built.
bool kontaktRule(const CacheIndex& index, const PluginRow& row, bool preferVst3, int instances,
                 PluginTables& tables, MatchReport& report) {
    int vst2 = -1, exact7 = -1, newer = -1, newest = 7;
    for (size_t i = 0; i < index.entries->size(); ++i) {
        const PluginCacheEntry& e = (*index.entries)[i];
        if (e.isClap) continue;
        if (!e.isVst3 && e.classId.empty() && codeOfNumber(e.vstId) == "Ni$D" &&
            e.display.find("(x86)") == std::string::npos && vst2 < 0) {
            vst2 = static_cast<int>(i);
        }
        if (e.isVst3 && e.classId == "5653544E694B376B6F6E74616B742037" && exact7 < 0) exact7 = static_cast<int>(i);
        const std::string key = compareKey(withoutTrailingGroups(e.display));
        if (e.isVst3 && !e.classId.empty() && e.display.find("Native Instruments") != std::string::npos &&
            startsWith(key, "kontakt") && key.find_first_not_of("0123456789", 7) == std::string::npos) {
            const int version = std::atoi(key.c_str() + 7);
            if (version > newest) {
                newest = version;
                newer = static_cast<int>(i);
            }
        }
    }
    if (!preferVst3 && vst2 >= 0) return false;
    const int chosen = exact7 >= 0 ? exact7 : (vst2 < 0 ? newer : -1);
    if (chosen < 0) return false;
    const PluginCacheEntry& entry = entryAt(index, chosen);
    PluginRow kontakt = row;
    kontakt.display = displayName(entry);
    kontakt.identity = identityText(entry);
    kontakt.file = repairFileName(entry.file, entry.shortName);
    kontakt.tailWord = 0xFFFF;
    kontakt.pinsOut = outputsOf(entry.display, kontakt.pinsOut);
    tables.overrides.push_back(kontakt);
    report.kontaktDisplay = entry.display;
    report.kontaktInstances = instances;
    report.kontaktPredicted = chosen != exact7;
    printRow(report, row.signature, kontakt.display,
             chosen == exact7 ? "Kontakt 7 takes Kontakt 6's settings, measured"
                              : "predicted: written the way Kontakt 7 takes them");
    return true;
}

// --prefer-vst2 over a table row that names a VST3 build.
void preferVst2OverRow(const CacheIndex& index, const std::string& key, const PluginRow& row,
                       const std::vector<const PluginInstance*>& instances, PluginTables& tables,
                       MatchReport& report) {
    if (row.identity.find('{') == std::string::npos || !row.prefix.empty() || !row.suffix.empty() || key.size() != 8) {
        return;
    }
    const MatchResult match = matchPlugin(index, key, row.name, false);
    if (match.index < 0) return;
    const PluginCacheEntry& entry = entryAt(index, match.index);
    if (entry.isVst3 || !entry.classId.empty() || entry.display.find("(x86)") != std::string::npos) return;
    if (!allFormsCarryToVst2(instances)) {
        report.keptOnVst3.push_back({key, row.name, static_cast<int>(instances.size())});
        say("    %s -> %-46s [kept on VST3: its VST2 build cannot take these settings]\n", key.c_str(),
            row.display.c_str());
        ++report.linesPrinted;
        return;
    }
    PluginRow moved = row;
    moved.display = displayName(entry);
    moved.file = entry.file;
    moved.identity = identityText(entry);
    moved.tailWord = 0;
    tables.overrides.push_back(moved);
    report.movedToVst2.push_back(key);
    say("    %s -> %-46s [--prefer-vst2 over the table row]\n", key.c_str(), moved.display.c_str());
    ++report.linesPrinted;
}

// A key the table has no build for: the cache rules, then the stored name.
void matchKey(const CacheIndex& index, const std::string& key, const PluginRow* nameOnly,
              const std::vector<const PluginInstance*>& instances,
              const std::map<std::string, std::string>& storedNames, const MatchOptions& options,
              PluginTables& tables, MatchReport& report) {
    const bool fabFilterOnVst3 = !options.preferVst3 && startsWith(key, "FabF") && !allFormsCarryToVst2(instances);
    const std::string name = nameOnly ? nameOnly->name : std::string();
    MatchResult match;
    if (key.size() == 12) {
        match.index = firstIn(index.compatByCode, key.substr(8));
        match.label = "Waves PluginSubComp";
    } else {
        match = matchPlugin(index, key, name, options.preferVst3 || fabFilterOnVst3);
    }
    if (fabFilterOnVst3 && match.index >= 0 && entryAt(index, match.index).isVst3) {
        const MatchResult plain = matchPlugin(index, key, name, false);
        const PluginCacheEntry* vst2 = plain.index >= 0 ? &entryAt(index, plain.index) : nullptr;
        if (vst2 && !vst2->isVst3 && !vst2->isClap && vst2->classId.empty()) {
            const std::string& shortName = entryAt(index, match.index).shortName;
            const std::string kept = startsWith(shortName, "FabFilter ") ? shortName : "FabFilter " + shortName;
            report.keptOnVst3.push_back({key, kept, static_cast<int>(instances.size())});
            match.label = "kept on VST3: its VST2 build cannot take these settings";
        }
    }
    const auto stored = storedNames.find(key);
    if (match.index < 0 && !nameOnly && key.size() == 8 && !isAvidFamily(key) && stored != storedNames.end()) {
        match = matchStoredName(index, stored->second);
    }
    if (match.index < 0) return;
    const PluginCacheEntry& entry = entryAt(index, match.index);
    LearnedEntry learned;
    learned.signature = key;
    learned.name = nameOnly ? nameOnly->name : entry.shortName;
    learned.file = repairFileName(entry.file, entry.shortName);
    learned.display = displayName(entry);
    learned.identity = identityText(entry);
    learned.classKnown = !(entry.isVst3 && entry.classId.empty());
    tables.matchedEntries.push_back(learned);
    say("    %s -> %-46s [%s%s]\n", key.c_str(), learned.display.c_str(), match.label.c_str(),
        learned.classKnown ? "" : ", VST3 class id unknown - marker only");
    ++report.linesPrinted;
}

// --prefer-clap: a row moves to the CLAP build of the same plug-in when its
// settings can be written for it.
void preferClap(const CacheIndex& index, const std::map<std::string, std::vector<const PluginInstance*>>& byKey,
                const StateProbe& probe, PluginTables& tables, MatchReport& report) {
    for (const auto& [key, instances] : byKey) {
        const PluginRow* row = findRow(tables, key);
        if (!row || row->identity.empty() || row->display.empty() || startsWith(row->display, "CLAP")) continue;
        const size_t colon = row->display.find(": ");
        const std::string text = colon == std::string::npos ? row->display : row->display.substr(colon + 2);
        int found = firstIn(index.clapByDisplayKey, compareKey(text));
        if (found < 0 && !row->file.empty()) {
            const auto stem = index.clapByStem.find(fileStemKey(row->file));
            if (stem != index.clapByStem.end() && stem->second.size() == 1) found = stem->second.front();
        }
        if (found < 0) continue;
        const PluginCacheEntry& entry = entryAt(index, found);
        PluginRow clap = *row;
        clap.display = displayName(entry);
        clap.file = entry.file;
        clap.identity = identityText(entry);
        clap.stateSize = 0;
        clap.prefix.clear();
        clap.suffix.clear();
        if (probe && !probe(*instances.front(), clap).empty()) {
            // A structured binding cannot be captured before C++20 (clang refuses it).
            const std::string& signature = key;
            auto same = std::find_if(tables.overrides.begin(), tables.overrides.end(),
                                     [&](const PluginRow& r) { return r.signature == signature; });
            if (same != tables.overrides.end()) {
                *same = clap;
            } else {
                tables.overrides.push_back(clap);
            }
            ++report.clapWritten;
            printRow(report, key, clap.display, "--prefer-clap");
        } else {
            report.keptOffClap.push_back(row->name);
            say("    %s stays on %s: its settings cannot be carried to the CLAP build yet\n", key.c_str(),
                row->display.c_str());
            ++report.linesPrinted;
        }
    }
}

}  // namespace

CacheIndex indexCache(const std::vector<PluginCacheEntry>& entries) {
    CacheIndex index;
    index.entries = &entries;
    index.classBytes.resize(entries.size());
    index.makerKeys.resize(entries.size());
    for (size_t k = 0; k < entries.size(); ++k) {
        const PluginCacheEntry& e = entries[k];
        const int i = static_cast<int>(k);
        index.makerKeys[k] = makerKey(e.display);
        if (e.classId.size() == 32) index.classBytes[k] = hexToBytes(e.classId);
        const std::vector<uint8_t>& bytes = index.classBytes[k];
        if (!bytes.empty() && bytes[0] == 'V' && bytes[1] == 'S' && bytes[2] == 'T') {
            index.compatByCode.emplace(std::string(bytes.begin() + 3, bytes.begin() + 7), i);
        }
        if (!e.isClap && e.classId.empty()) index.vst2ById.emplace(e.vstId, i);
        if (e.classId.empty()) index.noClassById.emplace(e.vstId, i);
        if (e.isVst3 && !bytes.empty()) {
            index.vst3ByStem.emplace(fileStemKey(e.file), i);
            index.vst3ByClassTail.emplace(std::string(bytes.begin() + 12, bytes.end()), i);
            for (size_t at = 0; at + 4 <= bytes.size(); ++at) {
                const std::string part(bytes.begin() + at, bytes.begin() + at + 4);
                std::vector<int>& holders = index.vst3ByClassPart[part];
                if (holders.empty() || holders.back() != i) holders.push_back(i);
            }
        }
        index.byShortKey.emplace(compareKey(e.shortName), i);
        const std::string displayKey = compareKey(withoutTrailingGroups(e.display));
        index.byDisplayKey[displayKey].push_back(i);
        if (displayKey.size() >= 4) index.partialKeys.emplace_back(i, displayKey);
        if (e.isClap) {
            index.clapByDisplayKey.emplace(compareKey(e.display), i);
            index.clapByStem[fileStemKey(e.file)].push_back(i);
        }
    }
    return index;
}

MatchResult matchPlugin(const CacheIndex& index, const std::string& signature, const std::string& name,
                        bool preferVst3) {
    const std::string code = signature.size() >= 8 ? signature.substr(4, 4) : std::string();
    const uint32_t number = productNumber(signature);
    int at = -1;
    if (signature.size() >= 8 && startsWith(signature, "iZtp") && signature[4] == 'Z' && signature[7] == '0') {
        const std::string izotope = "Zn" + signature.substr(5, 2);
        if ((at = firstIn(index.compatByCode, izotope)) >= 0) return {at, "iZotope code rule"};
        if ((at = firstIn(index.noClassById, productNumber("iZtp" + izotope))) >= 0) {
            return {at, "iZotope code rule (VST2)"};
        }
    }
    if (preferVst3) {
        if ((at = firstIn(index.compatByCode, code)) >= 0) return {at, "VST3 compat id (--prefer-vst3)"};
        const int vst2 = firstIn(index.vst2ById, number);
        const std::string stem = vst2 >= 0 ? fileStemKey(entryAt(index, vst2).file) : std::string();
        if (!stem.empty() && (at = firstIn(index.vst3ByStem, stem)) >= 0) {
            return {at, "VST3 by filename stem (--prefer-vst3)"};
        }
    }
    if ((at = firstIn(index.vst2ById, number)) >= 0) return {at, "VST2 id"};
    if ((at = firstIn(index.compatByCode, code)) >= 0) return {at, "VST3 compat id"};
    if ((at = firstIn(index.vst3ByClassTail, code)) >= 0) return {at, "VST3 class id ends in the AAX code"};
    const auto withMaker = index.vst3ByClassPart.find(signature.substr(0, 4));
    const auto withCode = index.vst3ByClassPart.find(code);
    if (code.size() == 4 && withMaker != index.vst3ByClassPart.end() && withCode != index.vst3ByClassPart.end()) {
        for (int i : withMaker->second) {  // both lists run in list order: the first held by both wins
            if (std::binary_search(withCode->second.begin(), withCode->second.end(), i)) {
                return {i, "VST3 class id holds both AAX codes"};
            }
        }
    }
    // An empty key would match every name without letters or digits.
    const std::string key = compareKey(name);
    if (key.empty()) return {};
    const auto byDisplay = index.byDisplayKey.find(key);
    const int byShort = firstIn(index.byShortKey, key);
    const int displayFirst = byDisplay == index.byDisplayKey.end() ? -1 : byDisplay->second.front();
    if (byShort >= 0 || displayFirst >= 0) {
        return {byShort < 0 ? displayFirst : displayFirst < 0 ? byShort : std::min(byShort, displayFirst), "name"};
    }
    for (const auto& [i, partial] : index.partialKeys) {
        if (key.find(partial) != std::string::npos || partial.find(key) != std::string::npos) {
            return {i, "name (partial)"};
        }
    }
    return {};
}

MatchResult matchStoredName(const CacheIndex& index, const std::string& storedName) {
    const std::string key = compareKey(storedName);
    if (key.size() < 3) return {};
    const auto candidates = index.byDisplayKey.find(key);
    if (candidates == index.byDisplayKey.end()) return {};
    int best = candidates->second.front();
    for (int candidate : candidates->second) {
        if (index.makerKeys[static_cast<size_t>(candidate)] != index.makerKeys[static_cast<size_t>(best)]) return {};
        const PluginCacheEntry& c = entryAt(index, candidate);
        const PluginCacheEntry& b = entryAt(index, best);
        if ((b.isClap && !c.isClap) || (c.isVst3 && !b.isVst3 && !c.isClap)) best = candidate;
    }
    return {best, "the name Pro Tools stores"};
}

void runMatchingPass(const std::vector<PluginInstance>& instances,
                     const std::map<std::string, std::string>& storedNames, const CacheIndex& index,
                     const MatchOptions& options, const StateProbe& probe, PluginTables& tables,
                     MatchReport& report) {
    std::map<std::string, std::vector<const PluginInstance*>> byKey;
    std::set<std::string> keyed;
    for (const PluginInstance& instance : instances) {
        if (instance.unreadable) continue;
        const std::string key = signatureKey(instance);
        byKey[key].push_back(&instance);
        if (instance.keyInput >= 0) keyed.insert(key);
    }
    // Rows are added but never moved: pointers into the stores stay valid.
    tables.overrides.reserve(tables.overrides.size() + 2 * byKey.size());
    tables.learned.reserve(tables.learned.size() + byKey.size());
    tables.matchedEntries.reserve(byKey.size());

    for (const auto& [key, list] : byKey) {
        const PluginRow* row = builtInRow(key);
        if (row && !row->identity.empty()) {
            if (key == "NiInNi$D" &&
                kontaktRule(index, *row, options.preferVst3, static_cast<int>(list.size()), tables, report)) {
                continue;
            }
            if (!options.preferVst3) preferVst2OverRow(index, key, *row, list, tables, report);
            continue;
        }
        matchKey(index, key, row, list, storedNames, options, tables, report);
    }
    std::sort(report.movedToVst2.begin(), report.movedToVst2.end());

    for (const LearnedEntry& entry : tables.matchedEntries) {
        PluginRow row;
        row.signature = entry.signature;
        row.name = entry.name;
        row.display = entry.display;
        row.file = entry.file;
        row.identity = entry.identity;
        row.pinsIn = keyed.count(entry.signature) ? 4 : 2;
        row.tailWord = 0xFFFF;
        if (startsWith(entry.signature, "FabF")) row.program = "Default Setting";
        tables.learned.push_back(row);
    }
    if (options.preferClap) preferClap(index, byKey, probe, tables, report);
}
