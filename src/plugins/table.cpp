#include "plugins/table.h"

#include <cstdlib>

#include "cli/options.h"
#include "plugins/cache.h"
#include "plugins/identity.h"

namespace {

// Rows only for plug-ins whose identity a REAPER plug-in list shows. Kontakt:
// REAPER's list gives "Kontakt.vst", id 1315513412 ("Ni$D"), 64 outputs; the
// row also lets the Kontakt rule put a newer Kontakt in its place.
std::vector<PluginRow> makeBuiltInRows() {
    PluginRow kontakt;
    kontakt.signature = "NiInNi$D";
    kontakt.name = "Kontakt";
    kontakt.display = "VSTi: Kontakt (Native Instruments GmbH) (64 out)";
    kontakt.file = "Kontakt.vst";
    kontakt.identity = "1315513412<5653544E6924446B6F6E74616B742028>";
    kontakt.pinsIn = 0;
    kontakt.pinsOut = 64;
    kontakt.tailWord = 0xFFFF;
    return {kontakt};
}

std::string trimmed(const std::string& text) {
    const size_t first = text.find_first_not_of(" \t");
    if (first == std::string::npos) return std::string();
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

std::vector<std::string> fieldsOf(const std::string& line) {
    std::vector<std::string> fields;
    size_t start = 0;
    for (;;) {
        const size_t bar = line.find('|', start);
        fields.push_back(trimmed(line.substr(start, bar == std::string::npos ? std::string::npos : bar - start)));
        if (bar == std::string::npos) return fields;
        start = bar + 1;
    }
}

// "signature | display | file | identity | pins in | pins out | tail word | program"
bool learnedRowOf(const std::string& line, PluginRow& row) {
    if (line.empty() || line[0] == '#') return false;
    const std::vector<std::string> fields = fieldsOf(line);
    if (fields.size() < 4 || fields[0].size() < 8 || fields[3].empty()) return false;
    auto number = [&](size_t k, uint32_t absent) {
        return k < fields.size() && !fields[k].empty() ? static_cast<uint32_t>(std::atoi(fields[k].c_str())) : absent;
    };
    row.signature = fields[0].substr(0, 8);
    row.display = fields[1];
    row.name = fields[1].empty() ? row.signature : fields[1];
    row.file = fields[2];
    row.identity = fields[3];
    row.pinsIn = number(4, 2);
    row.pinsOut = number(5, 2);
    row.tailWord = number(6, 0);
    row.program = fields.size() > 7 ? fields[7] : std::string();
    if (row.program.empty() && row.signature.compare(0, 4, "FabF") == 0) row.program = "Default Setting";
    return true;
}

}  // namespace

const std::vector<PluginRow>& builtInPluginRows() {
    static const std::vector<PluginRow> rows = makeBuiltInRows();
    return rows;
}

// Avid's processors under the signatures sessions store them by, with whether
// they change the sound (Click II adds the click REAPER's metronome gives).
// No other maker's plug-in is listed without public proof that it has no
// build for another host.
const std::vector<AaxOnlyRow>& aaxOnlyRows() {
    static const std::vector<AaxOnlyRow> rows = {
        {"Digi47e3", "Avid's EQ3 equalizer", true},        {"Digi1be3", "Avid's EQ3 equalizer", true},
        {"Digidn3c", "Avid's Dyn3 dynamics", true},        {"Digidn3e", "Avid's Dyn3 dynamics", true},
        {"AVIDChSt", "Avid's Channel Strip", true},        {"DigiRvrb", "Avid's D-Verb reverb", true},
        {"Avidmdl3", "Avid's Mod Delay III delay", true},  {"DigiMaxm", "Avid's Maxim limiter", true},
        {"DigiTrim", "Avid's Trim gain", true},            {"Digiclik", "Avid's Click II click", false},
    };
    return rows;
}

const PluginRow* builtInRow(const std::string& key) {
    for (const PluginRow& row : builtInPluginRows()) {
        if (row.signature == key) return &row;
    }
    return nullptr;
}

const PluginRow* findRow(const PluginTables& tables, const std::string& key) {
    for (const PluginRow& row : tables.overrides) {
        if (row.signature == key) return &row;
    }
    for (const PluginRow& row : builtInPluginRows()) {
        if (row.signature == key && !row.identity.empty()) return &row;
    }
    for (const PluginRow& row : tables.learned) {
        if (row.signature == key) return &row;
    }
    return builtInRow(key);
}

bool classKnown(const PluginTables& tables, const std::string& key) {
    for (const LearnedEntry& entry : tables.matchedEntries) {
        if (entry.signature == key) return entry.classKnown;
    }
    return true;
}

const AaxOnlyRow* aaxOnlyRow(const std::string& signature) {
    const std::string first8 = signature.substr(0, 8);
    for (const AaxOnlyRow& row : aaxOnlyRows()) {
        if (row.signature.substr(0, 8) == first8) return &row;
    }
    return nullptr;
}

bool isAaxOnly(const std::string& signature) { return aaxOnlyRow(signature) != nullptr || isAvidFamily(signature); }

std::string pluginMaker(const PluginRow* row, const std::string& signature) {
    if (row && !row->display.empty()) return makerOfDisplay(row->display);
    return isAvidFamily(signature) ? std::string("Avid") : std::string();
}

int loadLearnedEntries(const std::string& programPath, PluginTables& tables) {
    std::FILE* file = std::fopen((folderOf(programPath) + "/trellum-plugins.txt").c_str(), "rb");
    if (!file) return 0;
    int taken = 0;
    forEachListLine(file, [&](std::string& line) {
        PluginRow row;
        if (!learnedRowOf(line, row)) return;
        tables.learned.push_back(std::move(row));
        ++taken;
    });
    std::fclose(file);
    return taken;
}
