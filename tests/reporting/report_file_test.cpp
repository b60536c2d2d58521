// The conversion report from hand-set outcomes and tracks: its plug-in
// sections, the blocks that need a look, the track list, and its path.
#include <gtest/gtest.h>

#include "cli/console.h"
#include "driver/run_state.h"
#include "reporting/report_file.h"
#include "support/run_capture.h"

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
    // Read once by eye: the long name cut at 34 bytes, 4 outcomes of which 1 with
    // settings, 1 at defaults and 2 not inserted, each block under NEEDS A LOOK.
    EXPECT_EQ(report, storedText("report/every-plugin.report", report));
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
