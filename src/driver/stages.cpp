#include "driver/stages.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <map>
#include <set>
#include <system_error>

#include "analysis/passes.h"
#include "cli/console.h"
#include "driver/output_path.h"
#include "plugins/listing.h"
#include "plugins/preparation.h"
#include "plugins/state_rules.h"
#include "project/media.h"
#include "project/project_writer.h"
#include "melodyne/ara_sets.h"
#include "project/text.h"
#include "reporting/console_notes.h"
#include "reporting/report_file.h"
#include "session/tempo.h"

namespace {

void sayDamage(const RunState& state) {
    const ImageCheck& check = state.damage;
    if (state.options.checkOnly) say("damage %s\n", damageWord(check.verdict));
    if (check.verdict == DamageVerdict::incomplete) {
        say("  *** THIS SESSION FILE LOOKS INCOMPLETE ***\n"
            "      %llu byte(s) after the last complete block. The file was very\n"
            "      likely truncated in a copy or a sync. Tracks, clips and\n"
            "      automation may be MISSING from this conversion.\n"
            "      Re-copy the .ptx from the original and convert it again.\n",
            static_cast<unsigned long long>(state.image.view.length - check.lastCompleteEnd));
    } else if (check.verdict == DamageVerdict::damaged) {
        const double percent = 100.0 * static_cast<double>(check.chainBreak) /
                               static_cast<double>(state.image.view.length);
        say("  *** THIS SESSION FILE IS DAMAGED ***\n"
            "      Its structure breaks at byte %llu, %.0f%% of the way in, as a bad\n"
            "      disk or a failed copy leaves it. Tracks, clips, mixer settings\n"
            "      and automation after that point may be MISSING or wrong in\n"
            "      this conversion. Convert a backup instead if you have one --\n"
            "      the newest .ptx in the session's \"Session File Backups\"\n"
            "      folder, or a copy from another drive.\n",
            static_cast<unsigned long long>(check.chainBreak), percent);
    }
}

void readTrackTables(RunState& state) {
    SessionModel& model = state.model;
    const SessionImage& image = state.image;
    model.tracks = readSessionTracks(image);
    // The scan anchors at the first name it knows: every track's, not only those
    // of tracks with audio clips, so that a table opening with instrument or aux
    // tracks is read from its start.
    std::vector<std::string> known = placementTrackNames(model.clips);
    for (const MidiClip& placement : model.clips.midiPlacements) known.push_back(placement.trackName);
    for (const SessionTrack& row : model.tracks.rows) known.push_back(effectiveName(row));
    const std::vector<std::string> scan = readTrackNameScan(image, known);
    model.trackList = chooseTrackList(scan, model.tracks.rows);
    model.attributes = readTrackAttributes(image, model.tracks.rows);
    model.trackListRows = readTrackListRows(image);
    model.inactiveNames = readInactiveNames(image);
    model.voiceOffNames = readVoiceOffNames(image, model.tracks.rows);
    model.masterName = readMasterName(image);
    model.groupRecords = readGroupRecords(image);
    model.vcaLevels = readVcaLevels(image, model.tracks.rows);
    model.folderTree = readFolderTree(image);
    model.trackColourValues = readTrackColourValues(image, model.trackListRows);
    model.trackSchemeFacts = readTrackSchemeFacts(image, model.tracks.rows);
    model.paths = readPaths(image);
    model.busNames.clear();
    for (const BusRecord& path : model.paths) {
        const bool known = std::find(model.busNames.begin(), model.busNames.end(), path.name) != model.busNames.end();
        if (path.kind == kBusPath && !known) model.busNames.push_back(path.name);
    }
}

void readMidiTables(RunState& state) {
    SessionModel& model = state.model;
    const SessionImage& image = state.image;
    model.midiStreams = readMidiStreams(image, &model.positionFaults);
    model.midiControls = readMidiTrackControls(image, model.tracks.rows);
    model.midiRealTime = readMidiRealTime(image, model.tracks.rows);
    model.midiTrackStates = readMidiTrackStates(image, model.tracks.rows);
    model.midiOutputs = readMidiOutputs(image);
}

// --dump-cc: the controller streams of each chunk, by stream.
void sayControllerStreams(const std::vector<MidiStreamChunk>& chunks) {
    int streams = 0;
    int events = 0;
    for (size_t c = 0; c < chunks.size(); ++c) {
        // The origin as the session stores it: biased when it counts ticks.
        const TimelinePosition& origin = chunks[c].origin;
        say("chunk %-3d notes %-5u origin %lld\n", static_cast<int>(c), chunks[c].noteCount,
            static_cast<long long>(origin.value) + (origin.inTicks() ? static_cast<long long>(kPositionBias) : 0));
        std::map<int, int> countOfKey;
        for (const MidiControllerEvent& event : chunks[c].controllers) {
            ++countOfKey[event.kind * 256 + (event.kind == kController ? event.controller : 0)];
        }
        for (const auto& [key, count] : countOfKey) {
            const int kind = key / 256;
            const std::string name = kind == kPitchBend    ? std::string("pitch bend")
                                     : kind == kAftertouch ? std::string("aftertouch")
                                                           : formatText("CC %03d", key % 256);
            say("    %-16s count %d\n", name.c_str(), count);
            ++streams;
            events += count;
        }
    }
    say("%d chunks, %d streams with data, %d events\n", static_cast<int>(chunks.size()), streams, events);
}

// The inserts, the session's table of plug-in names, and each insert's strip.
void readInsertRecords(RunState& state) {
    SessionModel& model = state.model;
    model.plugins = readPluginInstances(state.image);
    model.storedPluginNames = readStoredPluginNames(state.image);
    model.pluginsOfStrip = bindInstancesToStrips(model.plugins, model.strips);
}

}  // namespace

void readStage(RunState& state) {
    SessionModel& model = state.model;
    state.sampleRate = state.session.sessionRate > 0 ? state.session.sessionRate : 48000;
    state.image = makeSessionImage(state.session.view());
    model.info = readSessionInfo(state.image, state.session.sessionRate, state.session.versionByte);
    state.darkTheme = model.info.savedAt2020_11OrLater;
    if (state.options.ptTheme == 1) state.darkTheme = false;
    if (state.options.ptTheme == 2) state.darkTheme = true;

    model.audioFiles = audioFileRefs(state.session.audioFiles);
    model.positionFaults = {};
    model.clips = readClipsAndPlacements(state.image, model.audioFiles, &model.positionFaults);

    state.damage = checkImage(state.image.view);
    sayDamage(state);

    model.sessionTempo =
        state.options.tempoOverride > 0 ? state.options.tempoOverride : readSessionTempo(state.image.view);
    readMusicalTime(state.image, model);
    readTrackTables(state);
    readMidiTables(state);
    if (state.options.dumpCc) sayControllerStreams(model.midiStreams);
}

void listStage(RunState& state) {
    state.model.strips = readStripRows(state.image, state.model.trackList.names, state.model.busNames);
    readInsertRecords(state);
    const SessionModel& model = state.model;
    const std::vector<std::string>& table = model.trackList.names;
    say("\n  tempo %g BPM, %lld Hz\n\n  session track table (%d):\n", model.sessionTempo,
        static_cast<long long>(state.sampleRate), static_cast<int>(table.size()));
    for (size_t i = 0; i < table.size(); ++i) {
        say("    %2d  %s\n", static_cast<int>(i), table[i].c_str());
        sayInsertsOfTrack(table[i], model, state.pluginRun.tables);
    }
    sayInsertsOnNoTrack(model, state.pluginRun.tables);
    say("\n  buses (%d): ", static_cast<int>(model.busNames.size()));
    for (const std::string& bus : model.busNames) say("%s | ", bus.c_str());
    std::vector<std::string> libraryNames = placementTrackNames(model.clips);
    std::sort(libraryNames.begin(), libraryNames.end());
    say("\n\n  libptformat track names (%d unique):\n", static_cast<int>(libraryNames.size()));
    const std::set<std::string> inTable(table.begin(), table.end());
    for (const std::string& name : libraryNames) {
        say("    %-34s %s\n", name.c_str(), inTable.count(name) ? "" : "<- not in table");
    }
}

void readMixStage(RunState& state) {
    SessionModel& model = state.model;
    model.strips = readStripRows(state.image, model.trackList.names, model.busNames);
    readStripLanes(state.image, model.strips);
    model.routing = readTrackRouting(state.image, model.paths);
    model.keyInputNames = readKeyInputNames(state.image);
    model.hardwareInserts = readHardwareInserts(state.image);
    readInsertRecords(state);
    // --prefer-clap moves a row only when the CLAP build can be given the state.
    const StateProbe probe = [&state](const PluginInstance& instance, const PluginRow& row) {
        StateRequest request;
        request.view = &state.image.view;
        request.keepPluginMidi = state.options.keepPluginMidi;
        request.kontaktState = state.options.kontaktState;
        return buildPluginState(instance, row, request).bytes;
    };
    preparePlugins(state.options, model, probe, state.pluginRun);
}

void clipStage(RunState& state) {
    SessionModel& model = state.model;
    model.fileFolders = readFileFolders(state.image);
    model.videoFiles = readVideoFiles(state.image);
    model.videoPlaylists = readVideoPlacements(state.image);
    model.syncOffsets = readClipSyncOffsets(state.image);
    model.timebaseRecords = readTimebaseRecords(state.image);
    model.playlistRows = readPlaylistRows(state.image);
    model.playlistOwners = readPlaylistOwners(state.image);
    if (!state.options.noFades) model.fades = readFades(state.image);
    model.loopRecords = readLoopRecords(state.image);
    model.clipGroups = readClipGroups(state.image);
    model.clipGains = bindClipGains(state.image, readClipGains(state.image).curves);
    model.clipEffects = readClipEffects(state.image);
    model.warpMaps = readWarpMaps(state.image);
    model.pitchShifts = readPitchShifts(state.image);
    model.midiPlaylistRows = readMidiPlaylistRows(state.image);
    model.araSets = readAraSets(state.image);
    model.araClipSets = readAraClipSets(state.image, model.araSets);
}

void trackStage(RunState& state) {
    runAnalysisPasses(state.model, state.options, state.analysis);
    for (const auto& chain : state.model.pluginsOfStrip) {
        state.counters.pluginsFound += static_cast<int>(chain.second.size());
    }
}

void writeStage(RunState& state, std::FILE* file) { writeProject(state, file); }

void writeStage(RunState& state, std::string& text) {
    ProjectText project(text);
    writeProjectText(state, project);
}

void notesStage(RunState& state, const std::string& writtenPath) { sayConsoleNotes(state, writtenPath); }

void mediaStage(RunState& state) {
    checkMedia(state);
    sayMediaNotes(state);
}

void closingNotesStage(RunState& state) { sayClosingNotes(state); }

namespace {

bool sameExistingFile(const std::string& a, const std::string& b) {
    std::error_code error;
    return std::filesystem::equivalent(a, b, error) && !error;
}

// Writes the text under a temporary name and moves it into place whole; gives
// the system's reason when that failed, else "". Nothing is left behind on failure.
std::string storeWhole(const std::string& path, const std::string& text) {
    const std::string temporary = partialPath(path);
    std::FILE* file = std::fopen(temporary.c_str(), "wb");
    if (!file) return std::strerror(errno);
    std::string reason;
    if (std::fwrite(text.data(), 1, text.size(), file) != text.size()) reason = std::strerror(errno);
    if (std::fclose(file) != 0 && reason.empty()) reason = std::strerror(errno);
    std::error_code error;
    if (reason.empty()) {
        std::filesystem::rename(temporary, path, error);
        if (!error) return std::string();
        reason = error.message();
    }
    std::filesystem::remove(temporary, error);
    return reason;
}

}  // namespace

void reportStage(RunState& state, const std::string& projectPath) {
    state.reportText.clear();
    setReportCapture(&state.reportText);
    state.counters.needsLook = composeReport(state, projectPath);
    setReportCapture(nullptr);
    composeSummaryLine(state);
    if (!state.options.writeReport) return;
    const std::string path = reportPathFor(state.options.sessionPath);
    // Never over the session or the project just written.
    const bool taken = sameExistingFile(path, state.options.sessionPath) || sameExistingFile(path, projectPath);
    if (taken || !storeWhole(path, state.reportText).empty()) {
        say("  could not write report: %s\n", path.c_str());
        return;
    }
    state.reportPath = path;
    say("  report written: %s\n", path.c_str());
}

void composeSummaryLine(const RunState& state) {
    const RunCounters& c = state.counters;
    setSummaryLine(formatText("summary tracks=%d clips=%d notes=%d fx=%d written=%d needs_look=%d%s", c.outputTracks,
                              c.audioItems, c.notesWritten, c.pluginsFound, c.pluginsWritten, c.needsLook,
                              problemKind().empty() ? "" : " problem=1"));
}

void wantedParamsStage(RunState& state) {
    if (state.options.wantParamsPath.empty()) return;
    std::FILE* file = std::fopen(state.options.wantParamsPath.c_str(), "wb");
    if (!file) return;
    for (const std::string& name : state.pluginRun.wantedPlugins) std::fprintf(file, "%s\n", name.c_str());
    std::fclose(file);
}
