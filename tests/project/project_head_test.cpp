#include <gtest/gtest.h>

#include <fstream>

#include "driver/run_state.h"
#include "project/project_head.h"
#include "project/text.h"
#include "session/real_sessions.h"
#include "session/tempo.h"

namespace {

constexpr double kQuarter = 960000;

std::string headText(const RunState& state) {
    std::string text;
    ProjectText project(text);
    project.open("REAPER_PROJECT").word("0.1").name("7.0").num(0);
    writeProjectHead(state, project);
    project.close();
    return text;
}

std::string pointsText(const std::vector<TempoPoint>& points) {
    std::string text;
    for (const TempoPoint& p : points)
        text += fixedText(p.time, 4) + " " + fixedText(p.bpm, 4) + " " + std::to_string(p.shape) + "\n";
    return text;
}

}  // namespace

TEST(ProjectHead, SmallSessionByteForByte) {
    RunState state;
    state.sampleRate = 48000;
    SessionModel& model = state.model;
    model.sessionTempo = 90;
    model.tempoMap = {{0, 90}, {2 * kQuarter, 120}};
    model.meterMap = {{0, 1, 4, 4, 0}, {4 * kQuarter, 2, 6, 8, 0}, {6 * kQuarter, 3, 6, 8, 0}};
    // name, flags, kind, start, end, palette index, colour number, RGB, sample-based
    model.memoryLocations = {{"Verse", 1, 1, 2 * kQuarter, 2 * kQuarter, -2, -1, -1, 0},
                             {"Nothing", 1, 0, 0, 0, -2, -1, -1, 0},
                             {"Chorus", 1, 2, 0, kQuarter, -2, 17, 0x00DB32, 0},
                             {"Take's \"best\"", 1, 1, 96000, 96000, -2, 3, -1, 1},
                             {"Empty", 1, 2, 3 * kQuarter, 3 * kQuarter, -2, 40, -1, 0}};
    model.info.timecodeRateCode = 2;
    model.info.sessionStartFrames = 250;
    model.info.fileTypeCode = 3;
    model.info.bitDepth = 16;
    model.info.panDepthCode = 1;
    model.info.gridBarsBeatsTicks = BarsBeatsTicks{0, 0, 480};
    model.tracks.rows = {{0, 0, 0, "Gtr old", "Gtr", 1}, {0, 0, 0, "Bass", "", 1}};
    model.attributes = {{1, 0, 0, -1, -1, "Played live\r\non the 2nd\ttake\n>\n\n"}, {}};
    model.masterName = "Master 1";
    model.strips.resize(2);  // the second is absent
    model.strips[0].name = model.strips[1].name = "Master 1";
    model.strips[0].faderDb = -6;
    model.strips[0].muted = 1;
    model.strips[0].present = 1;

    const std::string text = headText(state);
    EXPECT_EQ(text,
              "<REAPER_PROJECT 0.1 \"7.0\" 0\n"
              "  <NOTES 0 2\n"
              "    |Gtr: Played live\n"
              "    |    on the 2nd take\n"
              "    |     >\n"
              "  >\n"
              "  RIPPLE 0\n"
              "  GROUPOVERRIDE 0 0 0\n"
              "  AUTOXFADE 1\n"
              "  SAMPLERATE 48000 0 0\n"
              "  TEMPO 90 4 4\n"
              "  PLAYRATE 1 0 0.25 4\n"
              "  PROJOFFS 10.0000000000 0 0\n"
              "  TIMEMODE 1 5 -1 25 0 0 -1 0\n"
              "  <RECORD_CFG\n"
              "    ZXZhdxAAAQ==\n"
              "  >\n"
              "  <APPLYFX_CFG\n"
              "  >\n"
              "  RENDER_FILE \"\"\n"
              "  <TEMPOENVEX\n"
              "    PT 0.0000000000 90.000000 1 262148 0 1\n"
              "    PT 1.3333333333 120.000000 1\n"
              "    PT 2.3333333333 120.000000 1 524294 0 3\n"
              "  >\n"
              "  MARKER 1 1.3333333333 \"Verse\" 0 0 1 R {7E9B4C45-40B5-E613-6CEE-BC87D7B089C9} 0\n"
              "  MARKER 2 0.0000000000 \"Chorus\" 1 20110080 1 R {1CD2C5F6-3D00-215A-0447-1E72A6693CEE} 0\n"
              "  MARKER 2 0.6666666667 \"\" 1\n"
              "  MARKER 3 2.0000000000 `Take's \"best\"` 0 31261330 1 R {BB0A3FA7-394A-5CA1-9B9F-805D7521F013} 0\n"
              "  MARKER 4 1.8333333333 \"Empty\" 0 0 1 R {5941B958-3594-97E8-32F7-E24843DAA338} 0\n"
              "  MASTERMUTESOLO 1\n"
              "  MASTER_NCH 2 2\n"
              "  PANLAW 0.7498942093\n"
              "  GRID 3199 8 0.5 8 1 0 0 0\n"
              "  MASTER_VOLUME 0.501187234 0.000000 -1 -1.000000 1.000000\n"
              "  MASTER_PANMODE 3\n"
              ">\n");
    EXPECT_EQ(checkProjectText(text), std::nullopt);
    const ProjectHeadSummary s = projectHeadSummary(state);
    EXPECT_EQ(std::vector<size_t>({s.meterChanges.size(), s.repeatedMeters.size(), size_t(s.locationsWritten),
                                   size_t(s.regionsWritten), size_t(s.locationsWithoutTime), size_t(s.markersColoured),
                                   s.unmappedColours.size()}),
              std::vector<size_t>({1, 1, 4, 1, 1, 2, 1}));

}

// 29.97 drop is drop mode 1 at 30; 59.94 drop (stored wide as code 12, twice
// the frames) is mode 2 at 60.
TEST(ProjectHead, DropFrameTimecodeModes) {
    for (const auto& [wide, line] : {std::pair{-1, "\n  TIMEMODE 1 5 -1 30 1 0 -1 0\n"},
                                     std::pair{12, "\n  TIMEMODE 1 5 -1 60 2 0 -1 0\n"}}) {
        RunState state;
        state.sampleRate = 48000;
        state.model.info.timecodeRateCode = 5;
        state.model.info.timecodeWideFound = wide >= 0;
        state.model.info.timecodeRateCodeWide = wide;
        EXPECT_NE(headText(state).find(line), std::string::npos) << headText(state);
    }
}

TEST(ProjectHead, TempoRampsFoldOnlyWhenTheBeatsComeOutEven) {
    auto steps = [](const std::vector<std::pair<double, double>>& timesAndTempos) {
        std::vector<TempoPoint> points;
        for (auto [time, bpm] : timesAndTempos) points.push_back(TempoPoint{time, bpm, 0, 0, 1});
        return points;
    };
    // Midpoints of the even steps, then a half-way point solved so the last
    // stretch comes out even before the next tempo's square point.
    TempoRampFigures figures;
    EXPECT_EQ(pointsText(foldTempoRamps(steps({{0, 90}, {4, 100}, {4.5, 104}, {5, 108}, {5.5, 112}, {9, 80}}), 48000,
                                        figures)),
              "0.0000 90.0000 1\n"
              "3.7500 90.0000 0\n"
              "4.2500 100.0000 0\n"
              "4.7500 104.0000 0\n"
              "5.2500 108.0000 0\n"
              "5.3750 106.0000 0\n"
              "5.5000 112.0000 1\n"
              "9.0000 80.0000 1\n");
    EXPECT_EQ(figures.folded, 1);
    EXPECT_LT(figures.largestPointError, 1e-9);
    // Inside, the ramp runs 1/96 quarter ahead where 100 BPM starts: 0.6/96 s.
    EXPECT_NEAR(figures.largestInsideError, 0.6 / 96, 1e-9);

    // A run whose beat count needs no real tempo stays as it is, and is counted.
    const std::vector<TempoPoint> leap = steps({{0, 100}, {0.5, 104}, {1.0, 108}, {1.5, 900}, {5, 900}});
    figures = TempoRampFigures();
    EXPECT_EQ(pointsText(foldTempoRamps(leap, 48000, figures)), pointsText(leap));
    EXPECT_EQ(figures.folded * 10 + figures.leftAsSteps, 1);
}

TEST(ProjectHead, RealSessionsTempoAndMarkers) {
    const std::string folder = realSessionFolder();
    if (!std::ifstream(folder + "/TempoTimeKeySig.ptx")) GTEST_SKIP() << "no real sessions";
    auto head = [&](const std::string& name) {
        RunState state;
        EXPECT_EQ(loadSession(state.session, folder + "/" + name, 44100), 0) << name;
        state.sampleRate = state.session.sessionRate;
        state.image = makeSessionImage(state.session.view());
        state.model.info = readSessionInfo(state.image, state.session.sessionRate, state.session.versionByte);
        state.model.sessionTempo = readSessionTempo(state.image.view);
        readMusicalTime(state.image, state.model);
        const std::string text = headText(state);
        EXPECT_EQ(checkProjectText(text), std::nullopt) << name;
        std::string kept;  // the tempo, the first two tempo points, the meter changes and the markers
        for (size_t at = 0, end; (end = text.find('\n', at)) != std::string::npos; at = end + 1) {
            const std::string line = text.substr(at, end - at);
            const bool point = line.rfind("    PT ", 0) == 0;
            if (line.rfind("  TEMPO ", 0) == 0 || line.rfind("  MARKER", 0) == 0 ||
                (point && (kept.find("PT ", kept.find("PT ") + 1) == std::string::npos ||
                           line.compare(line.size() - 4, 4, " 0 3") == 0)))
                kept += line.substr(2) + "\n";
        }
        return kept;
    };
    // 200 BPM in sixteenths: the first sixteenth, 0.3 s, plays at 50. The
    // meters at bar 2 and 3 fall on tempo points; 3/4 at bar 2597 repeats the
    // meter in force; the meters from bar 91180 on need a sixth position byte.
    EXPECT_EQ(head("TempoTimeKeySig.ptx"),
              "TEMPO 50 4 4\n"
              "  PT 0.0000000000 50.000000 1 262148 0 1\n"
              "  PT 0.3000000000 51.000000 1\n"
              "  PT 4.1393480579 99.999800 1 262146 0 3\n"
              "  PT 5.3393504579 110.000000 1 262147 0 3\n"
              "  PT 18641.2078923121 200.000000 1 262146 0 3\n"
              "  PT 62866.6078923121 200.000000 1 524291 0 3\n"
              "  PT 62867.0578923121 200.000000 1 131077 0 3\n"
              "  PT 62870.0578923121 200.000000 1 1048582 0 3\n"
              "  PT 62870.5078923121 200.000000 1 262146 0 3\n"
              "MARKER 1 0.0000000000 \"Location 1\" 0 0 1 R {7E9B4C45-40B5-E613-6CEE-BC87D7B089C9} 0\n"
              "MARKER 2 4.1393424609 \"Location 2\" 0 0 1 R {1CD2C5F6-3D00-215A-0447-1E72A6693CEE} 0\n"
              "MARKER 3 5.3393504579 \"    3| 1| 000\" 1 0 1 R {BB0A3FA7-394A-5CA1-9B9F-805D7521F013} 0\n"
              "MARKER 3 8.7578923121 \"\" 1\n");
    EXPECT_EQ(head("a few named markers.ptx"),
              "TEMPO 120 4 4\n"
              "MARKER 1 0.0000000000 \"MARKER_ONE\" 0 20110080 1 R {7E9B4C45-40B5-E613-6CEE-BC87D7B089C9} 0\n"
              "MARKER 2 8.0000000000 \"MARKER_TWO\" 0 20110080 1 R {1CD2C5F6-3D00-215A-0447-1E72A6693CEE} 0\n"
              "MARKER 3 16.0000000000 \"MARKER_THREE\" 0 20110080 1 R {BB0A3FA7-394A-5CA1-9B9F-805D7521F013} 0\n"
              "MARKER 4 24.0000000000 \"MARKER_FOUR\" 0 20110080 1 R {5941B958-3594-97E8-32F7-E24843DAA338} 0\n");
    EXPECT_EQ(head("RegionTest.ptx"), "TEMPO 120 4 4\n");
}
