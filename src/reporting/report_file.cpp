#include "reporting/report_file.h"

#include <map>
#include <string>
#include <vector>

#include "cli/console.h"
#include "driver/run_state.h"
#include "project/media.h"
#include "reporting/console_notes.h"
#include "reporting/support.h"

namespace {

constexpr int kTrackNameWidth = 34;
constexpr int kPluginNameWidth = 26;

// At most `width` bytes of text, never ending inside a UTF-8 sequence.
std::string cutAt(const std::string& text, size_t width) {
    if (text.size() <= width) return text;
    size_t cut = width;
    while (cut > 0 && (static_cast<unsigned char>(text[cut]) & 0xC0) == 0x80) --cut;
    return text.substr(0, cut);
}

int countOf(const std::vector<std::string>& names) { return static_cast<int>(names.size()); }

// The tallies by the name for reports, each in name order.
struct PluginTallies {
    std::map<std::string, int> all;
    std::map<std::string, int> aaxOnly;
    int aaxProcessing = 0;  // AAX-only instances that touched the sound
    int aaxSilent = 0;
    std::map<std::string, int> notRecognised;
    std::map<std::string, int> placedOffline;
    std::map<std::string, int> noState;
    std::map<std::string, std::string> notInstalledWritten;  // name: the build to install
    std::map<std::string, std::string> notInstalledLeftOut;
};

PluginTallies talliesOf(const std::vector<PluginOutcome>& outcomes) {
    PluginTallies t;
    for (const PluginOutcome& o : outcomes) {
        ++t.all[o.plugin];
        switch (o.status) {
            case OutcomeStatus::aaxOnly:
                ++t.aaxOnly[o.plugin];
                ++(o.processesAudio ? t.aaxProcessing : t.aaxSilent);
                break;
            case OutcomeStatus::notRecognised: ++t.notRecognised[o.plugin]; break;
            case OutcomeStatus::defaults: ++t.placedOffline[o.plugin]; break;
            case OutcomeStatus::leftOutNoState: ++t.noState[o.plugin]; break;
            case OutcomeStatus::leftOutMissing: t.notInstalledLeftOut.emplace(o.plugin, o.display); break;
            default: break;
        }
        if (o.notInstalled && o.status != OutcomeStatus::leftOutMissing) t.notInstalledWritten.emplace(o.plugin, o.display);
    }
    return t;
}

void reportCounts(const std::map<std::string, int>& counts) {
    for (const auto& [name, count] : counts) reportLine("    %-24s x%d\n", name.c_str(), count);
}

void reportNeeds(const std::map<std::string, std::string>& needs) {
    for (const auto& [name, display] : needs) reportLine("    %-24s needs %s\n", name.c_str(), display.c_str());
}

void reportHead(const RunState& state, const std::string& projectPath) {
    const SessionInfo& info = state.model.info;
    reportLine("varnoak conversion report\n=========================\n\n");
    reportLine("made with   varnoak %s\n", kProgramVersion[0] != '\0' ? kProgramVersion : "(unreleased)");
    reportLine("conversion  Pro Tools session (.ptx) to REAPER project (.rpp)\n");
    reportLine("converter   build %s\n", kProgramBuild);
    if (!problemKind().empty()) reportLine("problem     %s: %s\n", problemKind().c_str(), problemDetail().c_str());
    reportLine("\n");

    reportLine("source   %s\n", state.options.sessionPath.c_str());
    if (state.options.checkOnly) {
        reportLine("output   (not written: %s)\n", "this was a check");
    } else {
        reportLine("output   %s\n", projectPath.c_str());
    }
    const TimecodeRateRow* timecode = info.timecodeRateCode >= 0 ? sessionTimecode(info).row : nullptr;
    const std::string depth = info.bitDepth > 0 ? formatText(", %d-bit%s", info.bitDepth,
                                                             info.bitDepth == 32 && info.floatSamples ? " float" : "")
                                                : std::string();
    reportLine("session  Pro Tools %d%s, %lld Hz%s%s, %g BPM%s\n", static_cast<int>(info.versionByte),
               info.versionByte == 12 && info.savedByMajor != 12 ? " or later" : "",
               static_cast<long long>(state.sampleRate), depth.c_str(),
               timecode ? formatText(", %s", timecode->longName).c_str() : "", state.model.sessionTempo,
               state.model.tempoMap.size() > 1 ? " (tempo map)" : "");
    if (info.fileTypeCode == 3) reportLine("audio    WAV files\n");
    if (info.fileTypeCode == 4) reportLine("audio    AIFF files\n");
    if (timecode) {
        reportLine("start    %s\n", sessionStartText(info).c_str());
        const char* dropNumber = timecode->dropNumber;
        if (dropNumber[0] != '\0') {
            reportLine("         (REAPER has no %s drop-frame ruler: the project's ruler\n"
                       "         runs at %s non-drop)\n",
                       dropNumber, dropNumber);
        }
    }
    reportLine("\n");
}

// The Avid plug-ins left in their slots by the switch, or written as REAPER's own.
void reportStandIns(const RunState& state) {
    const int kept = state.pluginRun.tallies.avidKept;
    if (state.options.noStandIns && kept == 0) {
        reportLine("\"Replace Avid plug-ins with REAPER's\" is off; no Avid plug-in in this\n"
                   "session had a REAPER stand-in\n");
    } else if (state.options.noStandIns) {
        reportLine("\"Replace Avid plug-ins with REAPER's\" is off: %d Avid plug-in(s) left\n"
                   "as named, switched-off slots instead of REAPER's own%s\n",
                   kept, state.counters.trim.oneSidedDropped.empty() ? "" : ";\none-sided Trim polarity not carried");
    }
    if (state.counters.standIns.written > 0) {
        reportLine("%d Avid plug-in(s) written as REAPER's own equivalents (stand-ins;\n"
                   "EQ exact in design, dynamics close, not identical)\n",
                   state.counters.standIns.written);
    }
    if (state.pluginRun.eqFit.firstOrderSlots > 0) {
        reportLine("%d EQ3 high-pass or low-pass filter(s) set to 6 or 18 dB/oct use\n"
                   "REAPER's Simple 1-Pole Filter for 6 dB/oct of the slope, in the slot\n"
                   "after the ReaEQ and named for the EQ3 filter (ReaEQ has no 6 dB/oct\n"
                   "filter)\n",
                   state.pluginRun.eqFit.firstOrderSlots);
    }
}

// The totals, and what was carried that a user may look for.
void reportCarried(const RunState& state) {
    const ConvertOptions& options = state.options;
    const RunCounters& counters = state.counters;
    int instrument = 0;
    for (const OutputTrack& track : state.analysis.outputTracks) instrument += track.isMidi ? 1 : 0;
    const int tracks = static_cast<int>(state.analysis.outputTracks.size());
    reportLine("%d tracks (%d audio/aux, %d instrument), %d clips, %d MIDI notes\n", tracks, tracks - instrument,
               instrument, counters.audioItems, counters.notesWritten);

    const int returns = static_cast<int>(state.analysis.routing.returnTracks.size());
    if (returns > 0) reportLine("plus %d send-return bus track(s)\n", returns);
    if (counters.frozenTracks > 0) {
        reportLine("%d frozen track(s) delivered FROZEN (--keep-frozen); Track > Unfreeze\n"
                   "in REAPER restores the source and plug-ins\n",
                   counters.frozenTracks);
    }
    if (counters.soloedAndMuted > 0) {
        reportLine("%d track(s) soloed AND muted in Pro Tools arrive muted with their solo off\n"
                   "(REAPER would play a soloed track through its mute)%s\n",
                   counters.soloedAndMuted,
                   counters.soloTrackWritten ? "; an empty soloed track,\n"
                                               "\"Pro Tools solo (the soloed tracks were muted)\", keeps the rest silent"
                                             : "");
    }
    if (state.analysis.counts.freezeRecords > 0 && counters.frozenTracks == 0) {
        reportLine("frozen track(s) converted UNFROZEN - original audio with the\n"
                   "plug-ins live and editable (%d internal freeze record(s) left out)\n",
                   state.analysis.counts.freezeRecords);
    }
    if (counters.clipEffects.clips > 0) {
        reportLine("Clip Effects on %d clip(s) written as take FX with REAPER's own\n"
                   "plug-ins (EQ and filters exact; dynamics close, not identical)\n",
                   counters.clipEffects.clips);
    }
    const MidiCounts& midi = state.analysis.midiCounts;
    if (options.keepInaudibleMidi) {
        reportLine("\"Play MIDI notes Pro Tools silences\" is on: %d MIDI event(s) Pro\n"
                   "Tools does not play (outside a clip's boundary) written unmuted\n",
                   midi.eventsKeptOutside);
    }
    if (options.truncateMidiToClip) {
        reportLine("\"Cut MIDI notes at clip edge\" is on: %d note(s) Pro Tools plays past\n"
                   "a clip edge are cut there\n",
                   midi.notesRunningPast);
    }
    reportStandIns(state);
    if (options.noTrackColors) reportLine("\"Leave out track colors\" is on: tracks in REAPER's default color\n");
    if (options.noClipColors) {
        reportLine("\"Leave out clip colors\" is on: %d clip(s) that would carry a color\n"
                   "are in their track's color instead\n",
                   counters.colours.clipsHeldBack);
    }
    const MatchReport& matches = state.pluginRun.matches;
    if (!matches.keptOnVst3.empty()) {
        std::string names;
        for (const KeptOnVst3& kept : matches.keptOnVst3) names += (names.empty() ? "" : ", ") + kept.name;
        reportLine("--prefer-vst2: %d plug-in(s) kept on their VST3 build so their\n"
                   "settings carry: %s.\n"
                   "Their VST2 builds keep settings in a form this version cannot\n"
                   "write yet\n",
                   static_cast<int>(matches.keptOnVst3.size()), names.c_str());
    }
    if (!matches.kontaktDisplay.empty()) {
        const char* kontakt = matches.kontaktDisplay.c_str();
        if (!matches.kontaktPredicted) {
            reportLine("Kontakt: %d instance(s) written for %s, the Kontakt installed\n"
                       "here. Pro Tools saved them with Kontakt 6; %s plays those\n"
                       "settings unchanged\n",
                       matches.kontaktInstances, kontakt, kontakt);
        } else {
            reportLine("Kontakt: %d instance(s) written for %s, the Kontakt installed\n"
                       "here. Pro Tools saved them with Kontakt 6, and they are written\n"
                       "the way Kontakt 7 takes them. %s itself is untested, so check\n"
                       "that each instrument loads\n",
                       matches.kontaktInstances, kontakt, kontakt);
        }
    }
    if (state.headSummary.masterStripFound) {
        reportLine("master fader \"%s\" carried onto the REAPER master\n", state.model.masterName.c_str());
    }
}

// The plug-in instances of a track's strip: by its strip name, else by its own name.
int pluginsOfTrack(const SessionModel& model, const OutputTrack& track) {
    auto chain = track.matchKey.empty() ? model.pluginsOfStrip.end() : model.pluginsOfStrip.find(track.matchKey);
    if (chain == model.pluginsOfStrip.end()) chain = model.pluginsOfStrip.find(track.name);
    return chain == model.pluginsOfStrip.end() ? 0 : static_cast<int>(chain->second.size());
}

void reportTrackList(const RunState& state) {
    reportLine("\nTRACK LIST (Pro Tools edit-window order)\n");
    reportLine("  %-3s %-34s %5s %5s %3s\n", "#", "name", "clips", "notes", "fx");
    int number = 0;
    for (const OutputTrack& track : state.analysis.outputTracks) {
        int clips = static_cast<int>(track.clips.size());
        for (const Lane& lane : track.lanes) clips += static_cast<int>(lane.clips.size());
        int notes = 0;
        for (const MidiItem& item : track.midiItems) {
            for (const MidiItemEvent& event : item.events) notes += event.status == 0x90 ? 1 : 0;
        }
        const int fx = pluginsOfTrack(state.model, track);
        reportLine("  %-3d %-34s %5d %5d %3d%s\n", ++number, cutAt(track.name, kTrackNameWidth).c_str(), clips, notes,
                   fx, clips + notes + fx == 0 ? "   (empty)" : "");
    }
}

void reportEveryPlugin(const std::vector<PluginOutcome>& outcomes) {
    if (outcomes.empty()) return;
    int settings = 0, defaults = 0, markedNotInstalled = 0, leftOutMissing = 0;
    for (const PluginOutcome& o : outcomes) {
        settings += o.status == OutcomeStatus::settings ? 1 : 0;
        defaults += o.status == OutcomeStatus::defaults ? 1 : 0;
        leftOutMissing += o.status == OutcomeStatus::leftOutMissing ? 1 : 0;
        markedNotInstalled += o.notInstalled && o.status != OutcomeStatus::leftOutMissing ? 1 : 0;
    }
    const int total = static_cast<int>(outcomes.size());
    reportLine("\nEVERY PLUG-IN, AND WHAT HAPPENED TO IT\n");
    reportLine("  %d instance(s): %d arrived with Pro Tools settings, %d inserted at\n"
               "  the plug-in's own defaults, %d could not be inserted.\n",
               total, settings, defaults, total - settings - defaults);
    if (markedNotInstalled == 1) {
        reportLine("  1 is marked (not installed): its settings WERE written, and it\n"
                   "  loads as soon as that plug-in is installed for REAPER.\n");
    } else if (markedNotInstalled > 1) {
        reportLine("  %d are marked (not installed): the settings WERE written, and\n"
                   "  they load as soon as those plug-ins are installed for REAPER.\n",
                   markedNotInstalled);
    }
    if (leftOutMissing == 1) {
        reportLine("  1 is not installed for REAPER here and was left out, as asked.\n");
    } else if (leftOutMissing > 1) {
        reportLine("  %d are not installed for REAPER here and were left out, as asked.\n", leftOutMissing);
    }
    reportLine("\n  key:  [settings]  arrived with its Pro Tools settings\n"
               "        [defaults]  inserted, but Pro Tools stored nothing to carry\n"
               "        [dropped ]  not inserted; the line says why\n\n");
    const std::string* track = nullptr;
    for (const PluginOutcome& o : outcomes) {
        if (!track || *track != o.track) reportLine("  %s\n", o.track.c_str());
        track = &o.track;
        const char* mark = o.status == OutcomeStatus::settings   ? "[settings]"
                           : o.status == OutcomeStatus::defaults ? "[defaults]"
                                                                 : "[dropped ]";
        reportLine("    %2d %s %-26s", o.slot, mark, cutAt(o.plugin, kPluginNameWidth).c_str());
        if (o.lanesWritten > 0) reportLine("  %d automation point(s)", o.pointsWritten);
        if (o.notInstalled && o.status != OutcomeStatus::leftOutMissing) reportLine("  (not installed for REAPER here)");
        if (!o.detail.empty() && o.status != OutcomeStatus::settings) reportLine("  - %s", o.detail.c_str());
        reportLine("\n");
    }
}

void reportPlugins(const RunState& state, const PluginTallies& tallies) {
    reportLine("\nPLUG-INS\n");
    // The same counts as the console and the summary line.
    reportLine("  %d instance(s) found, %d written with their settings\n", state.counters.pluginsFound,
               state.counters.pluginsWritten);
    reportCounts(tallies.all);
    if (tallies.all.empty()) return;
    reportLine(
        "\n  WHAT REAPER NEEDS INSTALLED, AND WHAT IT DOES NOT\n"
        "    Nothing about Pro Tools has to be installed for this to work,\n"
        "    and neither do the AAX plug-ins. This read the session file.\n"
        "    REAPER is different: it cannot load an AAX, so every plug-in\n"
        "    listed above also has to exist on this machine as a VST, VST2\n"
        "    or VST3. Most makers ship that in the same installer, under\n"
        "    the same license, with the VST or VST3 option selected.\n\n"
        "    IF A PLUG-IN IS MISSING and you think it should be there,\n"
        "    check it in REAPER before assuming the conversion failed:\n"
        "      1. Click any insert slot in the project and search for that\n"
        "         plug-in by name.\n"
        "      2. NOT in the list? REAPER does not have it. Either install\n"
        "         the VST or VST3 build from the maker, or - if you know it\n"
        "         IS installed - have REAPER look again:\n"
        "         Options > Preferences > Plug-ins > VST > Re-scan\n"
        "         (\"Clear cache and re-scan\" if a plain one finds nothing).\n"
        "         The settings are already in this project either way, and\n"
        "         appear the moment REAPER can see the plug-in.\n"
        "      3. IS in the list, and it still did not come across? Then the\n"
        "         fault is in the conversion. Send THIS FILE to\n"
        "         %s and name the plug-in. Nothing else\n"
        "         is needed.\n\n"
        "    IF REAPER CRASHES OR HANGS opening the project, a plug-in is the\n"
        "    usual cause. Open it again with File > Open project and select\n"
        "    \"Open with FX offline (recovery mode)\" (or say Yes when REAPER\n"
        "    offers to load it with all FX offline), then bring the plug-ins\n"
        "    back online one at a time to find the one that fails.\n",
        kSupportAddress);
    if (state.pluginRun.cache.path.empty()) {
        reportLine("    This run could not check which of them you have: REAPER's\n"
                   "    own plug-in list was not found on this computer. REAPER\n"
                   "    writes that list when it scans plug-ins, so open REAPER\n"
                   "    once, then check the session again and the missing ones\n"
                   "    are named exactly.\n");
    }
}

// Each block that has something to say; gives how many were printed.
int reportNeedsALook(const RunState& state, const PluginTallies& tallies) {
    reportLine("\nNEEDS A LOOK\n");
    int blocks = 0;
    if (!tallies.aaxOnly.empty()) {
        ++blocks;
        reportLine("  AAX ONLY - no VST/VST3 version of these exists, so no converter\n"
                   "  can move them. Print or commit these tracks in Pro Tools:\n");
        reportCounts(tallies.aaxOnly);
        if (tallies.aaxProcessing > 0) {
            reportLine("    %d of these processed audio, so that much of the mix\n    is not carried.%s\n",
                       tallies.aaxProcessing, tallies.aaxSilent > 0 ? " The rest did not touch the sound." : "");
        } else {
            reportLine("    None of these processed audio: the mix is unaffected.\n");
        }
    }
    if (!tallies.notRecognised.empty()) {
        ++blocks;
        reportLine("  not recognized. An Avid stock plug-in is AAX only and cannot\n"
                   "  be transferred by any tool; anything else we can add - send\n"
                   "  this report to %s and say which one:\n",
                   kSupportAddress);
        reportCounts(tallies.notRecognised);
    }
    if (!tallies.placedOffline.empty()) {
        ++blocks;
        reportLine("  placed OFFLINE - named, settings not carried (reasons above):\n");
        reportCounts(tallies.placedOffline);
    }
    if (!tallies.noState.empty()) {
        ++blocks;
        reportLine("  no transferable state stored by Pro Tools:\n");
        reportCounts(tallies.noState);
    }
    if (!tallies.notInstalledWritten.empty()) {
        ++blocks;
        reportLine("  installed in Pro Tools but NOT for REAPER on this machine\n"
                   "  (settings were written; install these and they load):\n");
        reportNeeds(tallies.notInstalledWritten);
    }
    if (!tallies.notInstalledLeftOut.empty()) {
        ++blocks;
        reportLine("  NOT installed for REAPER on this machine, and LEFT OUT as asked\n"
                   "  (install these and convert again to keep them):\n");
        reportNeeds(tallies.notInstalledLeftOut);
    }
    // Instances the FX chain writer gave no outcome would otherwise go untold.
    const int untold = state.counters.pluginsFound - static_cast<int>(state.pluginOutcomes.size());
    if (untold > 0) {
        ++blocks;
        reportLine("  %d plug-in instance(s) found in the session are not in the project\n"
                   "  and are not named above: no FX chain was written for them\n",
                   untold);
    }
    const std::vector<UnknownWidthStrip>& wide = state.analysis.unknownWidthStrips;
    if (!wide.empty()) {
        ++blocks;
        reportLine("  %d mixer strip(s) of an unrecognized width (pan not converted):\n", static_cast<int>(wide.size()));
        for (const UnknownWidthStrip& strip : wide) reportLine("    %s\n", strip.name.c_str());
    }
    const std::vector<std::string>& multiMono = state.pluginRun.matches.multiMono;
    if (!multiMono.empty()) {
        ++blocks;
        reportLine("  %d unlinked multi-mono instance(s) - only channel 1's settings\n"
                   "  were written; check these by hand:\n",
                   countOf(multiMono));
        for (const std::string& line : multiMono) reportLine("    %s\n", line.c_str());
    }
    if (state.analysis.routing.keysUnresolved > 0) {
        ++blocks;
        reportLine("  %d sidechain key input(s) could not be resolved\n", state.analysis.routing.keysUnresolved);
    }
    if (state.analysis.clipCounts.fadesNotUnderstood > 0) {
        ++blocks;
        reportLine("  %d fade record(s) not understood\n", state.analysis.clipCounts.fadesNotUnderstood);
    }
    if (state.analysis.counts.unmatchedTracks > 0) {
        ++blocks;
        reportLine("  %d track(s) matched no strip row (appended at the end)\n", state.analysis.counts.unmatchedTracks);
    }
    const MediaSummary media = summarizeMedia(state.media);
    if (!media.missingFiles.empty()) {
        ++blocks;
        reportLine("  %d referenced audio file(s) not in \"Audio Files\" or beside it:\n", countOf(media.missingFiles));
        for (const std::string& name : media.missingFiles) reportLine("    %s\n", name.c_str());
    }
    if (blocks == 0) reportLine("  nothing - everything in this session was carried across\n");
    return blocks;
}

// The video tracks written, and what of the picture could not be carried.
void reportVideo(const RunState& state) {
    const RunCounters& c = state.counters;
    const SessionInfo& info = state.model.info;
    reportLine("  %d video track(s), %d video item(s) written. Position, length,\n"
               "  source offset, name and clip color are the session's own, in\n"
               "  frames, so a split picture arrives as the same two pieces on\n"
               "  the same track, the second starting where it was cut.\n",
               c.videoTracksWritten, c.videoItems);
    if (info.videoFrameRate > 0) {
        reportLine("    Frame rate %.3f fps, read from the session rather than\n"
                   "    assumed: a 23.976 reel read as 24 drifts about a second\n"
                   "    over the length of a reel.\n",
                   info.videoFrameRate);
    }
    if (info.videoQuality > 1) {
        reportLine("    The video track was set to %s, not Full Quality. REAPER's\n"
                   "    video decode quality is a global preference with no place\n"
                   "    in a project file, so set it in REAPER if picture plays\n"
                   "    rough. Nothing else about the picture is affected.\n",
                   videoQualityWord(info.videoQuality));
    }
    if (c.videoTracksWithoutFile > 0) {
        reportLine("    %d video track(s) hold a file this build does not recognize\n"
                   "    as video, so no item was written. The movie is still in the\n"
                   "    session folder; drag it onto the track in REAPER.\n",
                   c.videoTracksWithoutFile);
    }
    if (c.videoFilesMissing > 0) {
        reportLine("    %d video file(s) were not found beside the session, so the\n"
                   "    item carries the bare name and REAPER shows it OFFLINE\n"
                   "    until you point at the file.\n",
                   c.videoFilesMissing);
    }
    reportLine("    Pro Tools' Video Sync Offset (Setup > Video Sync Offset) is a\n"
               "    preference, not part of the session file: it calibrates one\n"
               "    monitoring rig's video delay and does not travel with the\n"
               "    session. Nothing was lost; there was nothing there to carry.\n");
}

// Video tracks, folded surround tracks, wide auxes and strips wider than stereo.
void reportWideTracks(const RunState& state) {
    const int folded = state.analysis.counts.foldedSurround;
    const int wide = static_cast<int>(state.analysis.unknownWidthStrips.size());
    const bool video = state.counters.videoTracksWritten > 0;
    const RunCounters& c = state.counters;
    const int panned = c.surroundMono + c.surroundStereo + state.analysis.surroundUnplaced;
    if (folded == 0 && wide == 0 && panned == 0 && !video) return;
    reportLine("\nPICTURE AND WIDE TRACKS\n");
    if (video) reportVideo(state);
    if (folded == 0 && wide == 0 && panned == 0) return;
    if (folded > 0) {
        reportLine("  %d surround track(s) folded from their Pro Tools legs into one\n"
                   "  multichannel track each, the way a stereo pair is folded: one\n"
                   "  track, one item, one insert chain, channels in the file's\n"
                   "  order. Level, mute and their automation are carried.\n",
                   folded);
    }
    if (state.analysis.routing.wideAuxes > 0) {
        reportLine("  %d aux(es) taking a surround bus arrive as wide as that bus, and\n"
                   "  every track feeding it sends all of its channels.\n",
                   state.analysis.routing.wideAuxes);
    }
    if (c.surroundMono > 0) {
        reportLine("  %d mono track(s) panned into a surround bus arrive with REAPER's\n"
                   "  surround panner (ReaSurroundPan) set from Pro Tools' panner:\n"
                   "  position, divergence and center %%. Not carried: the LFE level,\n"
                   "  and automation of the panner (its lanes are not named yet).\n",
                   c.surroundMono);
    }
    if (c.surroundStereo > 0) {
        reportLine("  %d stereo track(s) panned into a surround bus arrive with\n"
                   "  ReaSurroundPan set from Pro Tools' left and right panners: each\n"
                   "  channel's position and divergence, center %% and side %%.\n",
                   c.surroundStereo);
    }
    if (state.analysis.surroundUnplaced > 0) {
        reportLine("  %d track(s) feed a surround bus whose speaker layout this build\n"
                   "  cannot place, so they arrive without a surround panner.\n",
                   state.analysis.surroundUnplaced);
    }
    if (wide > 0) {
        reportLine("  %d mixer strip(s) are wider than stereo. Level, mute and their\n"
                   "  automation are right. The panner of a WIDE strip itself is not\n"
                   "  converted (only a mono or stereo source panned into a surround\n"
                   "  bus is, above), so if one was positioned, set it by hand in\n"
                   "  REAPER. They are listed under NEEDS A LOOK above.\n",
                   wide);
        const int panLanes = unknownWidthPanLanes(state);
        if (panLanes > 0) {
            reportLine("    %d of them %s PAN automation that is NOT written: which\n"
                       "    panner control each lane moves is not named in the session\n"
                       "    yet. Volume, trim and mute automation ARE.\n",
                       panLanes, panLanes == 1 ? "carries" : "carry");
        }
    }
    reportLine("    A surround session is the one thing this converter has had\n"
               "    least of to test on. If yours matters, send this report to\n"
               "    %s and say what is wrong with it.\n",
               kSupportAddress);
}

// With --usage-shared the anonymous summary is said to leave the computer.
void reportPrivacy(bool usageShared) {
    if (usageShared) {
        reportLine("\nPRIVACY\n"
                   "  The converter that wrote this report has no network code. It\n"
                   "  wrote an anonymous summary of this conversion (counts, and\n"
                   "  which plug-ins converted how), which varnoak sends because\n"
                   "  usage summaries are on in Help > App settings\n"
                   "  (%s). The summary holds no track, clip or\n"
                   "  file names, no paths and no audio. Nothing else about this\n"
                   "  session was transmitted from this computer.\n\n",
                   kPrivacyAddress);
    } else {
        reportLine("\nPRIVACY\n"
                   "  This conversion sent nothing from this computer: the converter\n"
                   "  that wrote this report has no network code, and there was no\n"
                   "  upload, telemetry or usage reporting.\n\n");
    }
    reportLine("  This report is your property. It names your tracks, your\n"
               "  plug-ins and the paths to your files. No one receives it\n"
               "  unless you send it. Review its contents before providing it\n"
               "  to any third party.\n");
}

}  // namespace

std::string reportPathFor(const std::string& sessionPath) {
    const size_t dot = sessionPath.rfind('.');
    const size_t separator = sessionPath.find_last_of("/\\");
    const bool cut = dot != std::string::npos && (separator == std::string::npos || dot > separator);
    return (cut ? sessionPath.substr(0, dot) : sessionPath) + "-varnoak-report.txt";
}

int composeReport(const RunState& state, const std::string& projectPath) {
    const PluginTallies tallies = talliesOf(state.pluginOutcomes);
    reportHead(state, projectPath);
    reportCarried(state);
    reportTrackList(state);
    reportEveryPlugin(state.pluginOutcomes);
    reportPlugins(state, tallies);
    const int needsLook = reportNeedsALook(state, tallies);
    reportWideTracks(state);
    reportPrivacy(state.options.usageShared);
    return needsLook;
}
