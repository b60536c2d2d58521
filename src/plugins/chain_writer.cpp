#include "plugins/chain_writer.h"

#include <algorithm>
#include <cstdio>
#include <optional>
#include <set>

#include "cli/console.h"
#include "driver/run_state.h"
#include "plugins/identity.h"
#include "plugins/parameter_lanes.h"
#include "plugins/state_rules.h"
#include "plugins/state_scan.h"
#include "plugins/table.h"
#include "project/text.h"
#include "standins/trim.h"

namespace {

constexpr uint32_t kStateMagic = 0xFEED5EEE;

bool startsWith(const std::string& text, const char* start) { return text.compare(0, std::string(start).size(), start) == 0; }

const char* formatOfDisplay(const std::string& display) {
    if (startsWith(display, "VST3")) return "vst3";
    if (startsWith(display, "CLAP")) return "clap";
    if (startsWith(display, "VST")) return "vst2";
    if (startsWith(display, "JS")) return "reaper";
    return "none";
}

// The name in notes and reports: the row's, a Waves shell's product, the name
// the session stores, the stock name, else the signature.
std::string nameForReports(const RunState& state, const PluginInstance& instance, const PluginRow* row) {
    if (row && !row->name.empty()) return row->name;
    if (!instance.wavesName.empty()) return "Waves " + instance.wavesName;
    const auto stored = state.model.storedPluginNames.find(instance.signature);
    if (stored != state.model.storedPluginNames.end() && !stored->second.empty()) return stored->second;
    const std::string stock = stockName(instance.signature);
    return stock.empty() ? instance.signature : stock;
}

StateRequest requestFor(const RunState& state, const std::string& key, const ChainPlace& place) {
    StateRequest request;
    request.view = &state.image.view;
    request.trackHasMidi = place.carriesMidi;
    request.keepPluginMidi = state.options.keepPluginMidi;
    request.kontaktState = state.options.kontaktState;
    const std::vector<std::string>& moved = state.pluginRun.matches.movedToVst2;
    request.movedToVst2 = std::binary_search(moved.begin(), moved.end(), key);
    return request;
}

// Why an instance with a row arrives without its settings.
std::string reasonWithoutSettings(const PluginInstance& instance, const PluginRow& row, bool unreadable) {
    if (unreadable) return "state unreadable";
    if (startsWith(row.display, "CLAP") && instance.stateForm != 0) {
        return "tried: its settings ARE in the session, but how the CLAP build of this plug-in stores them is not "
               "measured yet. In REAPER, put the plug-in on a track, right-click the FX chain, Save chain as "
               ".RfxChain, and send that file with this report: one export is all it takes";
    }
    if (instance.innerSize != 0 || instance.chunkLabel == "AAX chunk after elck") {
        return "tried: its settings ARE in the session, but how this build of the plug-in takes them is not known "
               "yet, and a wrong guess loads wrong settings silently - so nothing was guessed. Worth telling us about";
    }
    if (instance.stateForm == 5) {
        return "tried: Pro Tools stored only its control values, in a layout not yet known for this plug-in's "
               "REAPER build";
    }
    return "Pro Tools stored no transferable settings for it";
}

// The stock processors a stand-in could replace, by what their records hold.
bool standInPossible(const RunState& state, const PluginInstance& instance) {
    if (instance.signature == "AVIDChSt") return !channelStripControls(state.image.view, instance).empty();
    const size_t values = instance.stateForm == 5 ? instance.controlValues.size() : 0;
    if (instance.signature == "Digi47e3") return values == 38;
    if (instance.signature == "Digi1be3") return values == 8;
    if (instance.signature == "Digidn3c") return values == 14;
    if (instance.signature == "Digidn3e") return values == 15;
    return false;
}

// The first pass for one instance: its outcome, and its slot when it gets one.
std::optional<ChainSlot> decide(RunState& state, const PluginInstance& instance, int slot, const ChainPlace& place) {
    const ConvertOptions& options = state.options;
    PluginRun& run = state.pluginRun;
    ChainTallies& tallies = run.tallies;
    const std::string key = signatureKey(instance);
    const PluginRow* row = findRow(run.tables, key);
    const std::string name = nameForReports(state, instance, row);
    ++tallies.all[name];

    PluginOutcome outcome;
    outcome.track = place.trackName;
    outcome.slot = slot;
    outcome.plugin = name;
    outcome.wasInactive = instance.inactive;
    if (row && !row->identity.empty() && !row->display.empty()) outcome.format = formatOfDisplay(row->display);
    outcome.maker = pluginMaker(row, instance.signature);
    auto record = [&](OutcomeStatus status, std::string detail) {
        outcome.status = status;
        outcome.detail = std::move(detail);
        state.pluginOutcomes.push_back(outcome);
        return state.pluginOutcomes.size() - 1;
    };

    if (options.bypassedFxMode == 2 && (instance.inactive || instance.bypassed)) {
        record(OutcomeStatus::leftOutBypassed,
               instance.inactive ? "was inactive in Pro Tools" : "was bypassed in Pro Tools");
        return std::nullopt;
    }
    ChainSlot plan;
    plan.instance = &instance;
    plan.row = row;
    if (row && !row->identity.empty()) {
        if (!isInstalled(run.cache, row->identity)) {
            outcome.notInstalled = true;
            outcome.display = row->display;
            if (options.skipMissingFx) {
                MissingTally& missing = tallies.missingLeftOut[name];
                ++missing.count;
                missing.display = row->display;
                record(OutcomeStatus::leftOutMissing, "not installed for REAPER here - left out");
                return std::nullopt;
            }
        }
        plan.built = buildPluginState(instance, *row, requestFor(state, key, place));
        if (plan.built.bytes.empty()) {
            const std::string reason = reasonWithoutSettings(instance, *row, plan.built.unreadable);
            if (!options.placeholders) {
                ++tallies.leftOutNoSettings[name];
                record(OutcomeStatus::leftOutNoState, reason);
                return std::nullopt;
            }
            ++tallies.atDefaults[name];
            if (!classKnown(run.tables, key)) ++tallies.classUnknownAtDefaults;
            plan.outcome = record(OutcomeStatus::defaults, reason);
        } else {
            plan.outcome = record(OutcomeStatus::settings, std::string());
        }
        if (outcome.notInstalled) {
            MissingTally& missing = tallies.missingWritten[name];
            ++missing.count;
            missing.display = row->display;
        }
        return plan;
    }
    const std::map<uint64_t, double>& trimGains = state.analysis.trim.gainDb;
    const auto trimGain = trimGains.find(instance.recordStart);
    if (instance.signature == "DigiTrim" && trimGain != trimGains.end()) {
        if (options.noStandIns) {
            ++tallies.avidKept;
        } else if (place.width >= 3) {
            ++state.counters.trim.wideKept;
        } else {
            plan.kind = ChainSlotKind::trim;
            plan.trimGainDb = trimGain->second;
            outcome.format = "reaper";
            ++state.counters.standIns.written;
            state.counters.standIns.became[name].insert("Volume Adjustment");
            plan.outcome =
                record(OutcomeStatus::settings, "gain carried as REAPER's Volume Adjustment (JS), in the same slot");
            return plan;
        }
    }
    if (!stockName(instance.signature).empty() && standInPossible(state, instance)) {
        if (options.noStandIns) {
            ++tallies.avidKept;
        } else if (std::optional<StandinResult> standIn = standInSlotText(state, instance, place)) {
            plan.kind = ChainSlotKind::standIn;
            plan.standIn = std::move(standIn->text);
            outcome.format = "reaper";
            StandInTally& standIns = state.counters.standIns;
            ++standIns.written;
            std::set<std::string>& became = standIns.became[name];
            became.insert(standIn->products.begin(), standIn->products.end());
            std::string detail = std::string("stand-in: REAPER's own plug-ins with the same settings") +
                                 (instance.keyInput >= 0 ? ", keyed from the key input" : "");
            for (const std::string& note : standIn->notes) {
                detail += "; " + note;
                ++standIns.notes[note];
            }
            plan.outcome = record(OutcomeStatus::settings, std::move(detail));
            return plan;
        }
    }
    if (isAaxOnly(instance.signature)) {
        const AaxOnlyRow* listed = aaxOnlyRow(instance.signature);
        AaxOnlyTally& aax = tallies.aaxOnly[name];
        ++aax.count;
        aax.what = listed ? listed->what : std::string("an Avid stock processor");
        outcome.processesAudio = listed && listed->processesAudio;
        aax.processesAudio = aax.processesAudio || outcome.processesAudio;
        plan.kind = ChainSlotKind::marker;
        plan.outcome = record(OutcomeStatus::aaxOnly, "AAX only - no VST/VST3 version exists");
        if (!options.aaxSlots) return std::nullopt;
        return plan;
    }
    ++tallies.unknown[name];
    record(OutcomeStatus::notRecognised, instance.stateForm == 9
                                       ? "REAPER has not scanned this Waves plug-in - rescan plug-ins in REAPER and "
                                         "convert again"
                                       : "not recognized - we have not matched this one to a REAPER plug-in yet");
    return std::nullopt;
}

uint64_t pinMask(uint64_t bit) { return bit < 64 ? uint64_t(1) << bit : 0; }

// strtoul of the identity's leading digits, held to 32 bits.
uint32_t identityNumber(const std::string& identity) {
    uint64_t number = 0;
    for (size_t k = 0; k < identity.size() && identity[k] >= '0' && identity[k] <= '9'; ++k) {
        number = std::min<uint64_t>(number * 10 + uint64_t(identity[k] - '0'), 0xFFFFFFFFu);
    }
    return static_cast<uint32_t>(number);
}

// The program name a state is given: "Program 0" for a bank in XML, else the row's.
std::string programOf(const PluginRow& row, const std::vector<uint8_t>& state) {
    const std::string text(state.begin(), state.end());
    if (text.size() > 44 && startsWith(text, "<?xml") && text.find("<Bank>") != std::string::npos) return "Program 0";
    return row.program;
}

void writeMarkerSlot(ProjectText& text, const PluginInstance& instance, const std::string& name, const ChainPlace& place) {
    const std::string identity = aaxOnlyIdentity(signatureKey(instance));
    text.statement("BYPASS").num(1).num(0).num(0);
    text.open("VST").name("VST3: " + name).name("").num(0).name("").word(identity).name("");
    VstStateLines lines;
    lines.id = identityNumber(identity);
    const int pins = place.width > 0 ? place.width : 2;
    for (int pin = 0; pin < pins; ++pin) {
        lines.inputMasks.push_back(pinMask(pin));
        lines.outputMasks.push_back(pinMask(pin));
    }
    writeVstStateLines(text, lines);
    text.close();
    text.statement("PRESETNAME").name("** Pro Tools only - no VST exists - replace me here");
    text.statement("FLOATPOS").num(0).num(0).num(0).num(0);
    text.statement("FXID").word(fxGuid(static_cast<uint32_t>(instance.recordStart)));
    text.statement("WAK").num(0).num(0);
}

// 64-bit FNV-1a over the record and the chunk: the name of a corpus pair.
uint64_t corpusHash(const RecordBytes& record, const std::vector<uint8_t>& chunk) {
    uint64_t hash = 0xCBF29CE484222325ull;
    for (size_t k = 0; k < record.size; ++k) hash = (hash ^ record.data[k]) * 0x100000001B3ull;
    for (uint8_t byte : chunk) hash = (hash ^ byte) * 0x100000001B3ull;
    return hash;
}

bool writeWhole(const std::string& path, const uint8_t* data, size_t size) {
    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (!file) return false;
    const bool written = std::fwrite(data, 1, size, file) == size;
    return std::fclose(file) == 0 && written;
}

// --dump-corpus: each distinct record and the chunk written for it, stored once.
void dumpCorpus(RunState& state, const PluginInstance& instance, const PluginRow& row, const std::vector<uint8_t>& chunk) {
    const std::string& folder = state.options.corpusDir;
    if (folder.empty() || chunk.empty() || (instance.stateForm == 0 && instance.stateSize == 0)) return;
    const RecordBytes record = recordBytesOf(state.image.view, instance);
    const uint64_t hash = corpusHash(record, chunk);
    const std::string hashText = formatText("%08x%08x", static_cast<unsigned>(hash >> 32), static_cast<unsigned>(hash));
    const std::string stem = folder + "/" + instance.signature + "." + hashText + ".";
    if (std::FILE* existing = std::fopen((stem + "block").c_str(), "rb")) {
        std::fclose(existing);
        return;
    }
    bool written = writeWhole(stem + "block", record.data, record.size) && writeWhole(stem + "chunk", chunk.data(), chunk.size());
    if (written) {
        const std::string indexPath = folder + "/index.tsv";
        std::FILE* index = std::fopen(indexPath.c_str(), "ab");
        written = index != nullptr;
        if (index) {
            if (std::ftell(index) == 0) {
                std::fputs("name\tsig\tproduct\tident\tkind\tblocklen\tdocoff\tdoclen\tchunklen\tsession\n", index);
            }
            const uint64_t offset = instance.stateOffset ? instance.stateOffset - instance.recordStart : 0;
            std::fprintf(index, "%s\t%s\t%s\t%s\t%d\t%llu\t%llu\t%u\t%u\t%s\n", hashText.c_str(),
                         instance.signature.c_str(), row.name.c_str(), row.identity.c_str(),
                         static_cast<int>(instance.stateForm), static_cast<unsigned long long>(record.size),
                         static_cast<unsigned long long>(offset), static_cast<unsigned>(instance.stateSize),
                         static_cast<unsigned>(chunk.size()), state.options.sessionPath.c_str());
            written = std::fclose(index) == 0;
        }
    }
    if (!written && !state.pluginRun.tallies.corpusRefused) {
        state.pluginRun.tallies.corpusRefused = true;
        std::fprintf(stderr, "--dump-corpus: cannot write in %s (does the directory exist?)\n", folder.c_str());
    }
}

// The slot of a plug-in REAPER can load: its state, bypass and offline, and
// what REAPER needs to find and place it.
void writePluginSlot(RunState& state, ProjectText& text, ChainSlot& plan, const ChainPlace& place, bool pinFlags) {
    const PluginInstance& instance = *plan.instance;
    const PluginRow& row = *plan.row;
    ChainTallies& tallies = state.pluginRun.tallies;
    PluginOutcome& outcome = state.pluginOutcomes[plan.outcome];
    std::vector<uint8_t>& bytes = plan.built.bytes;
    dumpCorpus(state, instance, row, bytes);
    int corrections = plan.built.midiCorrections;
    if (!state.options.keepPluginMidi && place.carriesMidi && switchOffMidiTrigger(bytes, instance.signature)) {
        ++corrections;
    }
    if (corrections > 0) {
        tallies.midiTriggersOff += corrections;
        tallies.midiTriggerSlots.push_back(place.trackName + " / " + (row.name.empty() ? instance.signature : row.name));
    }

    const bool empty = bytes.empty();
    const bool offline = empty || instance.inactive || (instance.bypassed && state.options.bypassedFxMode == 1);
    text.statement("BYPASS").num(offline || instance.bypassed ? 1 : 0).num(offline ? 1 : 0).num(0);
    if (startsWith(row.display, "CLAP")) {
        text.open("CLAP").name(row.display).word(row.identity).name("");
        text.statement("CFG").num(4).num(0).num(0).name("");
        if (!empty) {
            text.open("STATE");
            text.writeBase64Lines(base64(bytes));
            text.close();
        }
        text.close();
    } else {
        text.open("VST").name(row.display).name(row.file).num(0).name("").word(row.identity).name("");
        VstStateLines lines;
        lines.id = identityNumber(row.identity);
        const auto pair = state.analysis.routing.keyPairOf.find(instance.recordStart);
        const int keyPair = pair == state.analysis.routing.keyPairOf.end() ? 0 : pair->second;
        const bool lineSixMono = place.width == 1 && row.pinsIn >= 2 &&
                                 (instance.signature == "Lin6Helx" || instance.signature == "Lin66SAX");
        for (uint32_t pin = 0; pin < row.pinsIn; ++pin) {
            uint64_t bit = pin;
            if ((pin == 2 || pin == 3) && row.pinsIn > 3 && keyPair >= 1) bit += 2 * uint64_t(keyPair);
            lines.inputMasks.push_back(pin == 1 && lineSixMono ? 0 : pinMask(bit));
        }
        for (uint32_t pin = 0; pin < row.pinsOut; ++pin) lines.outputMasks.push_back(pinMask(pin));
        lines.state = bytes;
        lines.tailWord = row.tailWord;
        lines.program = programOf(row, bytes);
        writeVstStateLines(text, lines);
        text.close();
    }
    text.statement("FLOATPOS").num(0).num(0).num(0).num(0);
    const std::string program = programOf(row, bytes);
    if (!program.empty()) text.statement("PRESETNAME").name(program);
    if (empty) text.statement("PRESETNAME").name("** Pro Tools settings not transferred **");
    text.statement("FXID").word(fxGuid(static_cast<uint32_t>(instance.recordStart)));
    if (pinFlags) text.statement("PINFLAGS").num(1);
    text.statement("WAK").num(0).num(0);
    if (empty && outcome.status == OutcomeStatus::settings) {
        outcome.status = OutcomeStatus::defaults;
        outcome.detail = "Pro Tools stored no transferable settings for it";
    }
}

std::string replacedAll(std::string text, const std::string& from, const std::string& to) {
    for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
    }
    return text;
}

// A stand-in's slots, bypassed and offline as the instance was, the last one
// passing the key channels by when asked.
void writeStandInSlot(const RunState& state, ProjectText& text, const ChainSlot& plan, bool pinFlags) {
    const PluginInstance& instance = *plan.instance;
    std::string slot = plan.standIn;
    const bool offline = instance.inactive || (instance.bypassed && state.options.bypassedFxMode == 1);
    if (offline || instance.bypassed) slot = replacedAll(slot, "BYPASS 0 0 0\n", "BYPASS 1 0 0\n");
    if (offline) slot = replacedAll(slot, "BYPASS 1 0 0\n", "BYPASS 1 1 0\n");
    const std::string indent(static_cast<size_t>(2 * text.depth()), ' ');
    const size_t wak = slot.rfind(indent + "WAK 0 0\n");
    if (pinFlags && wak != std::string::npos) slot.insert(wak, indent + "PINFLAGS 1\n");
    text.copyLines(slot);
}

}  // namespace

const char* outcomeWord(const PluginOutcome& outcome) {
    if (outcome.wasInactive) return "inactive";
    if (outcome.status == OutcomeStatus::leftOutMissing || outcome.notInstalled) return "missing";
    switch (outcome.status) {
        case OutcomeStatus::settings: return "settings";
        case OutcomeStatus::defaults: return "default";
        case OutcomeStatus::aaxOnly:
        case OutcomeStatus::notRecognised: return "unsupported";
        default: return "left-out";
    }
}

void writeVstStateLines(ProjectText& text, const VstStateLines& lines) {
    std::vector<uint8_t> header;
    putWord(header, lines.id);
    putWord(header, kStateMagic);
    for (const std::vector<uint64_t>* masks : {&lines.inputMasks, &lines.outputMasks}) {
        putWord(header, static_cast<uint32_t>(masks->size()));
        for (uint64_t mask : *masks) {
            putWord(header, static_cast<uint32_t>(mask));
            putWord(header, static_cast<uint32_t>(mask >> 32));
        }
    }
    putWord(header, static_cast<uint32_t>(lines.state.size()));
    putWord(header, 1);
    putWord(header, lines.tailWord);
    text.writeBase64Lines(base64(header));
    text.writeBase64Lines(base64(lines.state));
    // A zero, the program name, a zero and a zero word.
    std::vector<uint8_t> tail(lines.program.size() + 6, 0);
    std::copy(lines.program.begin(), lines.program.end(), tail.begin() + 1);
    text.writeBase64Lines(base64(tail));
}

int writeFxChain(RunState& state, ProjectText& text, const std::vector<PluginInstance>& instances,
                 const ChainPlace& place) {
    std::vector<ChainSlot> plans;
    for (size_t k = 0; k < instances.size(); ++k) {
        if (std::optional<ChainSlot> plan = decide(state, instances[k], static_cast<int>(k) + 1, place)) {
            plans.push_back(std::move(*plan));
        } else {
            countLanesLost(instances[k], state.pluginOutcomes.back().plugin, state.pluginRun.lanes.lostAtDefaults,
                           state.pluginRun.lanes);
        }
    }
    // A track chain also holds a one-sided Trim flip first and the surround panner last.
    const bool trackChain = place.blockName == "FXCHAIN";
    const bool polarity = trackChain && place.polaritySide != 0 && !state.options.noStandIns;
    const bool surround = trackChain && place.surround.has_value();
    if (trackChain && place.polaritySide != 0 && state.options.noStandIns) {
        state.counters.trim.oneSidedDropped.insert(place.trackName);
    }
    if (plans.empty() && !polarity && !surround) return 0;
    size_t last = plans.size();
    for (size_t k = plans.size(); k > 0 && last == plans.size(); --k) {
        if (plans[k - 1].kind != ChainSlotKind::marker) last = k - 1;
    }

    text.open(place.blockName);
    text.statement("WNDRECT").num(0).num(0).num(0).num(0);
    text.statement("SHOW").num(0);
    text.statement("LASTSEL").num(0);
    text.statement("DOCKED").num(0);
    if (polarity) {
        text.copyLines(trimPolaritySlot(place.trackName, place.polaritySide));
        state.counters.trim.oneSidedWritten.insert(place.trackName);
    }
    for (size_t k = 0; k < plans.size(); ++k) writeChainSlot(state, text, plans[k], place, place.pinFlags && k == last);
    if (surround) {
        text.copyLines(place.surround->text);
        RunCounters& counters = state.counters;
        ++(place.surroundStereo ? counters.surroundStereo : counters.surroundMono);
        counters.surroundEnvelopes += place.surround->envelopes;
        counters.surroundPoints += place.surround->points;
        counters.surroundLanesNotWritten += place.surround->lanesNotWritten;
    }
    text.close();
    return static_cast<int>(plans.size());
}

void writeChainSlot(RunState& state, ProjectText& text, ChainSlot& plan, const ChainPlace& place, bool pinFlags) {
    ChainTallies& tallies = state.pluginRun.tallies;
    const PluginInstance& instance = *plan.instance;
    if (plan.kind == ChainSlotKind::marker) {
        writeMarkerSlot(text, instance, state.pluginOutcomes[plan.outcome].plugin, place);
        ++tallies.markersWritten;
        carrySlotLanes(state, text, plan);
        return;
    }
    if (plan.kind == ChainSlotKind::standIn) {
        writeStandInSlot(state, text, plan, pinFlags);
    } else if (plan.kind == ChainSlotKind::trim) {
        const bool off = instance.bypassed || instance.inactive;
        text.copyLines(trimGainSlot(plan.trimGainDb, off, instance.recordStart, pinFlags, place.slotDepth()));
        ++state.counters.trim.gainSlots;
    } else {
        writePluginSlot(state, text, plan, place, pinFlags);
    }
    carrySlotLanes(state, text, plan);
    if (instance.inactive) {
        ++tallies.inactiveOffline;
    } else if (instance.bypassed) {
        ++tallies.bypassedCarried;
        if (state.options.bypassedFxMode == 1) ++tallies.bypassedOffline;
    }
    if (place.blockName == "MASTERFXLIST") ++tallies.masterInserts;
    if (state.pluginOutcomes[plan.outcome].status == OutcomeStatus::settings) ++state.counters.pluginsWritten;
}

void writeTakeChain(ProjectText& text, const std::function<void(ProjectText&)>& slots) {
    text.open("TAKEFX");
    text.statement("SHOW").num(0);
    text.statement("LASTSEL").num(0);
    text.statement("DOCKED").num(0);
    slots(text);
    text.close();
}
