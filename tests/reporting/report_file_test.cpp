// The conversion report from hand-set outcomes and tracks: its plug-in
// sections, the blocks that need a look, the track list, and its path. A
// report with nothing to say is among the stored texts of the real sessions.
#include <gtest/gtest.h>

#include "cli/console.h"
#include "driver/run_state.h"
#include "reporting/report_file.h"
#include "support/run_capture.h"

TEST(ReportFile, EveryPluginByNameAndWhatNeedsALook) {
    RunState state;
    state.analysis.outputTracks.resize(2);
    state.analysis.outputTracks[0].name = "Lead Vocal Double Tracked Chorus Take 7";  // 39 characters
    state.analysis.outputTracks[0].clips.resize(2);
    state.analysis.outputTracks[1].name = "Bus";
    state.counters.pluginsFound = 6;
    auto outcome = [](const char* track, int slot, const char* plugin, OutcomeStatus status, const char* detail) {
        PluginOutcome o;
        o.track = track, o.slot = slot, o.plugin = plugin, o.status = status, o.detail = detail;
        return o;
    };
    state.pluginOutcomes = {outcome("Vox", 1, "Pro-Q 3", OutcomeStatus::settings, "carried"),
                            outcome("Vox", 2, "EQ3 7-Band", OutcomeStatus::aaxOnly, "AAX only - no VST/VST3 version exists"),
                            outcome("Bus", 1, "Mystery", OutcomeStatus::notRecognised, "not recognized"),
                            outcome("Bus", 2, "Old Synth", OutcomeStatus::defaults, "no settings"),
                            outcome("Bus", 3, "Gone", OutcomeStatus::leftOutMissing, "not installed")};
    state.pluginOutcomes[4].notInstalled = true;
    state.pluginOutcomes[4].display = "VST: Gone (Maker)";
    state.pluginOutcomes[0].notInstalled = true;
    state.pluginOutcomes[0].lanesWritten = 1;  // one lane of three points
    state.pluginOutcomes[0].pointsWritten = 3;
    state.pluginOutcomes[0].display = "VST3: Pro-Q 3 (FabFilter)";
    state.pluginOutcomes[1].processesAudio = true;
    std::string report;
    setReportCapture(&report);
    EXPECT_EQ(composeReport(state, "out.rpp"), 6);  // the blocks under NEEDS A LOOK
    setReportCapture(nullptr);
    // Read once by eye: the long name cut at 34 bytes, 5 outcomes of which 1 with
    // settings, 1 at defaults and 3 not inserted, the one left out not marked as
    // not installed, each block under NEEDS A LOOK.
    EXPECT_EQ(report, storedText("report/every-plugin.report", report));
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
