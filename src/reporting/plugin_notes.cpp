#include "reporting/plugin_notes.h"

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "cli/console.h"
#include "plugins/matching.h"
#include "plugins/preparation.h"
#include "reporting/support.h"

namespace {

// A line each under the note: at most 8, then how many more.
void sayLineEach(const std::vector<std::string>& lines) {
    const size_t shown = std::min<size_t>(lines.size(), 8);
    for (size_t n = 0; n < shown; ++n) say("      %s\n", lines[n].c_str());
    if (lines.size() > shown) say("      ... and %d more\n", static_cast<int>(lines.size() - shown));
}

int total(const std::map<std::string, int>& counts) {
    int sum = 0;
    for (const auto& entry : counts) sum += entry.second;
    return sum;
}

// The plug-in blocks: a line a plug-in, in name order.
void sayCounts(const std::map<std::string, int>& counts) {
    for (const auto& [name, count] : counts) say("      %-24s x%d\n", name.c_str(), count);
}

// Not-installed plug-ins with the build each needs; gives their count.
int sayNeeds(const char* note, const std::map<std::string, MissingTally>& missing) {
    int count = 0;
    for (const auto& entry : missing) count += entry.second.count;
    if (count == 0) return 0;
    say(note, count);
    for (const auto& [name, tally] : missing) say("      %-24s needs %s\n", name.c_str(), tally.display.c_str());
    return count;
}

}  // namespace

void sayPluginsInBrief(const ChainTallies& tallies) {
    if (tallies.bypassedCarried > 0) say("  %d plug-in(s) carried across bypassed\n", tallies.bypassedCarried);
    if (tallies.masterInserts > 0) say("  %d insert(s) on the Master Fader carried\n", tallies.masterInserts);
    if (tallies.inactiveOffline > 0) {
        say("  %d plug-in(s) were INACTIVE in Pro Tools, written offline\n"
            "    (not instantiated, exactly as Pro Tools had them)\n",
            tallies.inactiveOffline);
    }
    if (tallies.bypassedOffline > 0) {
        say("  %d of them written OFFLINE - no DSP, no RAM, one click to restore\n", tallies.bypassedOffline);
    }
}

void sayMidiTriggerNotes(const ChainTallies& tallies) {
    if (tallies.midiTriggerSlots.empty()) return;
    say("  %d plug-in(s) on MIDI tracks had MIDI triggering switched off:\n",
        static_cast<int>(tallies.midiTriggerSlots.size()));
    say("      Pro Tools leaves this on but routes nothing to it, so it does\n"
        "      nothing there. REAPER feeds a track's MIDI to every plug-in in\n"
        "      the chain, where a held note reads as a 0 dBFS side-chain signal\n"
        "      and pins the compressor at full gain reduction. Switching it off\n"
        "      reproduces what the session sounds like in Pro Tools. Plug-ins on\n"
        "      audio tracks are left exactly as saved; --keep-plugin-midi keeps\n"
        "      the literal value everywhere.\n");
}

void sayPluginOutcomeNotes(const ChainTallies& tallies, const std::vector<PluginOutcome>& outcomes) {
    int aaxOnly = 0;
    int processing = 0;
    for (const auto& [name, tally] : tallies.aaxOnly) {
        aaxOnly += tally.count;
        if (tally.processesAudio) processing += tally.count;
    }
    if (aaxOnly > 0) {
        say("    %d cannot transfer - AAX only, no VST/VST3 version exists:\n", aaxOnly);
        for (const auto& [name, tally] : tallies.aaxOnly) say("      %-24s x%d\n", name.c_str(), tally.count);
        if (processing > 0) {
            say("      %d of these processed audio, so that much of the mix is\n"
                "      not carried. The rest did not touch the sound.\n",
                processing);
        } else {
            say("      None of these processed audio: the mix is unaffected.\n");
        }
        say("      Avid ships these with Pro Tools in AAX form only. No converter\n"
            "      can move them. If you still have Pro Tools, print or commit\n"
            "      those tracks to audio before converting.\n");
    }
    if (tallies.markersWritten > 0) {
        say("      %d empty slot(s) were left in place, named and BYPASSED, so\n"
            "      the chain order survives and you can see exactly where each\n"
            "      one sat. REAPER shows them red because there is no such\n"
            "      plug-in to load; drop a replacement on the slot, or delete\n"
            "      it. --no-aax-slots leaves them out.\n",
            tallies.markersWritten);
    }
    const int unknown = total(tallies.unknown);
    if (unknown > 0) {
        say("    %d not recognized:\n", unknown);
        sayCounts(tallies.unknown);
        say("      Avid's own stock processors exist only as AAX and no tool can\n"
            "      move them. The AIR instruments bundled with Pro Tools are also\n"
            "      sold as VST: if one of these is installed for REAPER, or it is\n"
            "      anything else, send this report to %s\n"
            "      and say which one.\n",
            kSupportAddress);
    }
    if (const int skipped = total(tallies.leftOutNoSettings)) {
        say("    %d skipped - Pro Tools stored no transferable state:\n", skipped);
        sayCounts(tallies.leftOutNoSettings);
    }
    if (const int offline = total(tallies.atDefaults)) {
        say("    %d placed OFFLINE - the plug-in is named but its\n"
            "      Pro Tools settings were not carried (the report\n"
            "      says why for each). Switch one online in REAPER\n"
            "      and it loads at its own defaults:\n",
            offline);
        sayCounts(tallies.atDefaults);
        if (tallies.classUnknownAtDefaults > 0) {
            say("      (%d of these were named from a .vst3 entry, whose class\n"
                "       id the cache does not store - they may not resolve)\n",
                tallies.classUnknownAtDefaults);
        }
    }
    const int leftOut = static_cast<int>(std::count_if(outcomes.begin(), outcomes.end(), [](const PluginOutcome& o) {
        return o.status == OutcomeStatus::leftOutBypassed;
    }));
    if (leftOut > 0) say("    %d left out - bypassed or inactive in Pro Tools (--skip-bypassed-fx)\n", leftOut);
    const int written = sayNeeds("    %d written but NOT INSTALLED for REAPER on this machine:\n", tallies.missingWritten);
    if (written > 0) {
        say("      Their settings ARE in the project. Install the VST3 (or VST)\n"
            "      build of each and REAPER will pick them up on next load.\n"
            "      This is almost always the SAME PRODUCT YOU ALREADY OWN --\n"
            "      most Pro Tools users installed the AAX and nothing else.\n"
            "      Re-run the maker's installer and select VST3.\n");
    }
    const int missing =
        sayNeeds("    %d NOT INSTALLED for REAPER on this machine and LEFT OUT (as asked):\n", tallies.missingLeftOut);
    if (unknown + written + missing == 0) return;
    say("    WHAT REAPER NEEDS INSTALLED, AND WHAT IT DOES NOT:\n"
        "      Nothing about Pro Tools has to be installed for this to work,\n"
        "      and neither do the AAX plug-ins. This read the session file.\n"
        "      REAPER is different: it cannot load an AAX, so every plug-in\n"
        "      above also has to exist on this machine as a VST, VST2 or VST3.\n"
        "      Most makers ship that in the same installer, under the same\n"
        "      license, with the VST or VST3 option selected.\n\n"
        "      IF A PLUG-IN IS MISSING and you think it should be there,\n"
        "      check it in REAPER before assuming the conversion failed:\n"
        "        1. Click any insert slot in the project and search for that\n"
        "           plug-in by name.\n"
        "        2. NOT in the list? REAPER does not have it. Either install\n"
        "           the VST or VST3 build from the maker, or -- if you know\n"
        "           it IS installed -- have REAPER look again:\n"
        "           Options > Preferences > Plug-ins > VST > Re-scan\n"
        "           (\"Clear cache and re-scan\" if a plain one finds nothing).\n"
        "           The settings are already in this project either way, and\n"
        "           appear the moment REAPER can see the plug-in.\n"
        "        3. IS in the list, and it still did not come across? Then the\n"
        "           fault is in the conversion. Send the report .txt written\n"
        "           beside the .rpp -- add --report if it was not used --\n"
        "           to %s and name the plug-in. Nothing\n"
        "           else is needed.\n\n"
        "      IF REAPER CRASHES OR HANGS opening the project, a plug-in is the\n"
        "      usual cause. Open it again with File > Open project and select\n"
        "      \"Open with FX offline (recovery mode)\" (or say Yes when REAPER\n"
        "      offers to load it with all FX offline), then bring the plug-ins\n"
        "      back online one at a time to find the one that fails.\n",
        kSupportAddress);
}

void sayPluginSwitchNotes(const MatchReport& report) {
    if (!report.keptOnVst3.empty()) {
        std::string names;
        for (const KeptOnVst3& kept : report.keptOnVst3) names += (names.empty() ? "" : ", ") + kept.name;
        say("  --prefer-vst2: %d plug-in(s) kept on their VST3 build so their settings\n"
            "      carry: %s.\n"
            "      Their VST2 builds keep settings in a form this version cannot\n"
            "      write yet.\n",
            static_cast<int>(report.keptOnVst3.size()), names.c_str());
    }
    if (report.kontaktDisplay.empty()) return;
    const char* kontakt = report.kontaktDisplay.c_str();
    if (!report.kontaktPredicted) {
        say("  Kontakt: %d instance(s) written for %s, the Kontakt installed here.\n"
            "      Pro Tools saved them with Kontakt 6; %s plays those settings\n"
            "      unchanged.\n",
            report.kontaktInstances, kontakt, kontakt);
    } else {
        say("  Kontakt: %d instance(s) written for %s, the Kontakt installed here.\n"
            "      Pro Tools saved them with Kontakt 6, and they are written the way\n"
            "      Kontakt 7 takes them. %s itself is untested, so check that\n"
            "      each instrument loads.\n",
            report.kontaktInstances, kontakt, kontakt);
    }
}

void sayPreferClapNotes(const MatchReport& report) {
    if (report.clapWritten > 0) {
        say("  %d plug-in(s) written as their CLAP build (--prefer-clap), settings carried\n", report.clapWritten);
    }
    if (report.keptOffClap.empty()) return;
    std::string names;
    const size_t shown = std::min<size_t>(report.keptOffClap.size(), 12);
    for (size_t n = 0; n < shown; ++n) {
        names += formatText("%s\"%s\"", n == 0 ? " " : ", ", report.keptOffClap[n].c_str());
    }
    if (report.keptOffClap.size() > shown) names += ", ...";
    say("  %d plug-in(s) kept on their VST build under --prefer-clap: how the CLAP\n"
        "      build stores their settings is not measured yet, and the VST build\n"
        "      carries them. One .RfxChain export of each from REAPER would\n"
        "      measure it:%s\n",
        static_cast<int>(report.keptOffClap.size()), names.c_str());
}

void sayPluginInstanceWarnings(const MatchReport& report) {
    if (!report.multiMono.empty()) {
        say("  WARNING: %d unlinked MULTI-MONO instance(s). Pro Tools stores a\n"
            "      separate set of settings per channel and this tool writes the\n"
            "      FIRST only, so the second channel's settings are lost. Check\n"
            "      these by hand:\n",
            static_cast<int>(report.multiMono.size()));
        sayLineEach(report.multiMono);
    }
    if (!report.unreadable.empty()) {
        say("  WARNING: %d plug-in record(s) run past the block that holds them, so\n"
            "      they could not be read and are NOT in the project:\n",
            static_cast<int>(report.unreadable.size()));
        sayLineEach(report.unreadable);
    }
}
