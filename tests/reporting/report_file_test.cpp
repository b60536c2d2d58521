// The conversion report from hand-set outcomes and tracks: its plug-in
// sections, the blocks that need a look, the track list, and its path.
#include <gtest/gtest.h>

#include "cli/console.h"
#include "driver/run_state.h"
#include "reporting/report_file.h"

namespace {

std::string reportOf(const RunState& state, int& needsLook) {
    std::string text;
    setReportCapture(&text);
    needsLook = composeReport(state, "out.rpp");
    setReportCapture(nullptr);
    return text;
}

}  // namespace

TEST(ReportFile, EveryPluginByNameAndWhatNeedsALook) {
    RunState state;
    state.analysis.outputTracks.resize(2);
    state.analysis.outputTracks[0].name = "Lead Vocal Double Tracked Chorus Take 7";  // 39 characters
    state.analysis.outputTracks[0].clips.resize(2);
    state.analysis.outputTracks[1].name = "Bus";
    state.counters.pluginsFound = 5;
    auto outcome = [](const char* track, int slot, const char* plugin, OutcomeStatus status, const char* detail) {
        PluginOutcome o;
        o.track = track, o.slot = slot, o.plugin = plugin, o.status = status, o.detail = detail;
        return o;
    };
    state.pluginOutcomes = {outcome("Vox", 1, "Pro-Q 3", OutcomeStatus::settings, "carried"),
                            outcome("Vox", 2, "EQ3 7-Band", OutcomeStatus::aaxOnly, "AAX only - no VST/VST3 version exists"),
                            outcome("Bus", 1, "Mystery", OutcomeStatus::notRecognised, "not recognized"),
                            outcome("Bus", 2, "Old Synth", OutcomeStatus::defaults, "no settings")};
    state.pluginOutcomes[0].notInstalled = true;
    state.pluginOutcomes[0].lanesWritten = 3;
    state.pluginOutcomes[0].display = "VST3: Pro-Q 3 (FabFilter)";
    state.pluginOutcomes[1].processesAudio = true;
    int needsLook = 0;
    const std::string report = reportOf(state, needsLook);
    size_t at = 0;
    for (const std::string& part :
         {std::string("  1   Lead Vocal Double Tracked Chorus T     2     0   0\n  2   Bus"),
          std::string("   0     0   0   (empty)\n"),
          std::string("\nEVERY PLUG-IN, AND WHAT HAPPENED TO IT\n  4 instance(s): 1 arrived with Pro Tools settings, "
                      "1 inserted at\n  the plug-in's own defaults, 2 could not be inserted.\n  1 is marked (not "
                      "installed): its settings WERE written, and it\n"),
          std::string("  Vox\n     1 [settings] Pro-Q 3                     3 automation point(s)  (not installed for "
                      "REAPER here)\n     2 [dropped ] EQ3 7-Band                  - AAX only - no VST/VST3 version "
                      "exists\n  Bus\n     1 [dropped ] Mystery                     - not recognized\n"),
          std::string("\nPLUG-INS\n  5 instance(s) found, 0 written with their settings\n    EQ3 7-Band               x1\n"
                      "    Mystery                  x1\n"),
          std::string("\n  WHAT REAPER NEEDS INSTALLED, AND WHAT IT DOES NOT\n"),
          std::string("    This run could not check which of them you have: REAPER's\n"),
          std::string("\nNEEDS A LOOK\n  AAX ONLY - no VST/VST3 version of these exists, so no converter\n"),
          std::string("    EQ3 7-Band               x1\n    1 of these processed audio, so that much of the mix\n"
                      "    is not carried.\n  not recognized."),
          std::string("  placed OFFLINE - named, settings not carried (reasons above):\n    Old Synth                x1\n"),
          std::string("  (settings were written; install these and they load):\n"
                      "    Pro-Q 3                  needs VST3: Pro-Q 3 (FabFilter)\n"
                      "  1 plug-in instance(s) found in the session are not in the project\n"),
          std::string("\nPRIVACY\n")}) {
        const size_t found = report.find(part, at);
        ASSERT_NE(found, std::string::npos) << "missing or out of order:\n" << part << "\nin:\n" << report;
        at = found + part.size();
    }
    EXPECT_EQ(needsLook, 5);

    // Nothing to say: no plug-in sections beyond the count, and the one line.
    EXPECT_EQ(reportOf(RunState(), needsLook).find("EVERY PLUG-IN"), std::string::npos);
    EXPECT_NE(reportOf(RunState(), needsLook).find("\nNEEDS A LOOK\n  nothing - everything in this session was "
                                                   "carried across\n\nPRIVACY\n"),
              std::string::npos);
    EXPECT_EQ(needsLook, 0);
}

TEST(ReportFile, NameBesideTheSession) {
    for (const auto& [session, report] : std::vector<std::pair<std::string, std::string>>{
             {"a/Song.ptx", "a/Song-varnoak-report.txt"},
             {"a.b/Song", "a.b/Song-varnoak-report.txt"},
             {"C:\\a.b\\Song", "C:\\a.b\\Song-varnoak-report.txt"},
             {"Song", "Song-varnoak-report.txt"}}) {
        EXPECT_EQ(reportPathFor(session), report);
    }
}
