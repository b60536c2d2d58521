#include "reporting/plugin_notes.h"

#include <algorithm>
#include <string>
#include <vector>

#include "cli/console.h"
#include "plugins/matching.h"

namespace {

// A line each under the note: at most 8, then how many more.
void sayLineEach(const std::vector<std::string>& lines) {
    const size_t shown = std::min<size_t>(lines.size(), 8);
    for (size_t n = 0; n < shown; ++n) say("      %s\n", lines[n].c_str());
    if (lines.size() > shown) say("      ... and %d more\n", static_cast<int>(lines.size() - shown));
}

}  // namespace

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
