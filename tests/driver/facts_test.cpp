// Every placement an independent reader finds in a real session arrives as an
// item of the track of that name, at its position in seconds.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string_view>

#include "analysis/binding_work.h"
#include "cli/console.h"
#include "driver/stages.h"
#include "project/text.h"
#include "reporting/note_order.h"
#include "session/real_sessions.h"
#include "support/image_builder.h"
#include "support/run_capture.h"

namespace {

// A placement line of the facts: its track, its clip and the number behind " at ".
struct FactPlacement {
    std::string track;
    std::string clip;
    double at = 0;
};

FactPlacement placementOf(const std::string& line) {
    const size_t q1 = line.find('"'), q2 = line.find('"', q1 + 1);
    const size_t q3 = line.find('"', q2 + 1), q4 = line.find('"', q3 + 1);
    return {line.substr(q1 + 1, q2 - q1 - 1), line.substr(q3 + 1, q4 - q3 - 1),
            std::atof(line.substr(line.rfind(" at ") + 4).c_str())};
}

std::vector<FactPlacement> factPlacements(const std::string& sessionPath) {
    std::ifstream in(sessionPath.substr(0, sessionPath.rfind('.')) + ".facts");
    std::vector<FactPlacement> placements;
    for (std::string line; std::getline(in, line);) {
        if (line.rfind("placement track ", 0) == 0) placements.push_back(placementOf(line));
    }
    return placements;
}

// The tempo events (ticks, quarter-note BPM) and the tick-based placements
// (their "at" in ticks) that music.facts beside the sessions gives for one.
void musicFacts(const std::string& sessionPath, std::vector<std::pair<double, double>>& tempos,
                std::vector<FactPlacement>& tickPlacements) {
    const size_t slash = sessionPath.rfind('/');
    std::ifstream in(sessionPath.substr(0, slash) + "/music.facts");
    const std::string section = "== " + sessionPath.substr(slash + 1, sessionPath.size() - slash - 5);
    bool inSection = false;
    for (std::string line; std::getline(in, line);) {
        if (line.rfind("== ", 0) == 0) inSection = line == section;
        double ticks = 0, bpm = 0, beat = 0;
        if (!inSection) continue;
        if (std::sscanf(line.c_str(), "tempo at %lf bpm %lf beat_len %lf", &ticks, &bpm, &beat) == 3) {
            tempos.emplace_back(ticks, bpm * (beat > 0 ? beat : 960000) / 960000);
        } else if (line.rfind("placement ", 0) == 0 && line.find("\" ticks 1 at ") != std::string::npos) {
            tickPlacements.push_back(placementOf(line));
        }
    }
}

// Seconds at a tick position, each tempo holding until the next: 960000 ticks
// a quarter note, a quarter lasting 60 / BPM seconds.
double handSeconds(double ticks, const std::vector<std::pair<double, double>>& tempos) {
    double seconds = 0, at = 0, bpm = tempos.empty() ? 120 : tempos.front().second;
    for (const auto& [position, next] : tempos) {
        if (position >= ticks) break;
        seconds += (position - at) / 960000 * 60 / bpm;
        at = position;
        bpm = next;
    }
    return seconds + (ticks - at) / 960000 * 60 / bpm;
}

// Runs the reading and analysis stages of a conversion on a session.
void analyse(RunState& state, const std::string& path) {
    state.options = optionsFor(path);
    ASSERT_EQ(loadSession(state.session, path, 48000), 0) << path;
    if (state.session.sessionRate != 48000) {
        ASSERT_EQ(loadSession(state.session, path, state.session.sessionRate), 0);
    }
    readStage(state);
    readMixStage(state);
    clipStage(state);
    trackStage(state);
}

// Checks each placement of the facts against the output tracks. A sample
// position, rounded as the facts round it, must be the fact's number exactly.
// The facts print a tick-based track's positions cut to 32 bits, at 2^31 and
// above: music.facts gives those in ticks, and its tempo map their seconds.
void expectPlacementsArrive(const RunState& state, const std::string& path) {
    std::vector<std::pair<double, double>> tempos;
    std::vector<FactPlacement> tickPlacements;
    musicFacts(path, tempos, tickPlacements);
    const double rate = static_cast<double>(state.sampleRate);
    std::multimap<std::string, const AudioClip*> clipsByTrack;
    for (const OutputTrack& track : state.analysis.outputTracks) {
        for (const AudioClip& clip : track.clips) clipsByTrack.emplace(track.name, &clip);
        for (const Lane& lane : track.lanes) {
            for (const AudioClip& clip : lane.clips) clipsByTrack.emplace(track.name, &clip);
        }
    }
    const auto arrived = [&clipsByTrack](const FactPlacement& fact, auto at) {
        auto range = clipsByTrack.equal_range(fact.track);
        for (auto it = range.first; it != range.second; ++it) {
            // One item plays both channels of an interleaved file: "X" stands for "X.L" and "X.R".
            const std::string& name = it->second->clip.name;
            const bool named = name == fact.clip || (it->second->takePan == 0 && fact.clip.rfind(name + ".", 0) == 0);
            if (named && at(it->second->position)) return true;
        }
        return false;
    };
    int checked = 0;
    for (const FactPlacement& fact : factPlacements(path)) {
        if (fact.at >= 2147483648.0) continue;
        const auto asPrinted = [&](double seconds) {
            return static_cast<double>(static_cast<float>(std::llround(seconds * rate))) == fact.at;
        };
        EXPECT_TRUE(arrived(fact, asPrinted)) << path << ": " << fact.track << " / " << fact.clip << " at " << fact.at;
        ++checked;
    }
    for (const FactPlacement& fact : tickPlacements) {
        const double seconds = handSeconds(fact.at, tempos);
        EXPECT_TRUE(arrived(fact, [seconds](double at) { return std::fabs(at - seconds) < 1e-6; }))
            << path << ": " << fact.track << " / " << fact.clip << " at " << fact.at << " ticks, " << seconds << " s";
        ++checked;
    }
    EXPECT_GT(checked, 0) << path;
}

}  // namespace

TEST(FactsRuns, RealSessionPlacementsArriveOnTheirTracks) {
    const std::string folder = realSessionFolder();
    if (folder.empty()) GTEST_SKIP() << "no real sessions beside the repository";
    int sessions = 0;
    for (const std::string& path : filesEnding(folder, ".ptx")) {
        if (factPlacements(path).empty()) continue;
        RunState state;
        analyse(state, path);
        expectPlacementsArrive(state, path);
        ++sessions;
        // Every track of the session's track list is a track of the project.
        for (const std::string& name : state.model.trackList.names) {
            bool present = false;
            for (const OutputTrack& track : state.analysis.outputTracks) present = present || track.name == name;
            EXPECT_TRUE(present) << path << ": " << name;
        }
    }
    EXPECT_GE(sessions, 1);  // more sessions arrive over time: never count them
}

// The project text of each bench session, its media folder written as "BENCH",
// by its FNV-1a hash: the hashes were taken from the program before the reading,
// analysis and writing were made fast (which changed no byte), less the empty
// master chain no longer written.
// FNV-1a of the text with the bench folder read as "BENCH", in one pass.
uint64_t benchTextHash(const std::string& text, const std::string& bench) {
    const std::string folder = std::filesystem::weakly_canonical(bench).string();
    uint64_t hash = 14695981039346656037ull;
    auto add = [&hash](std::string_view piece) {
        for (unsigned char c : piece) hash = (hash ^ c) * 1099511628211ull;
    };
    size_t from = 0;
    for (size_t at = text.find(folder); at != std::string::npos; at = text.find(folder, from)) {
        add(std::string_view(text).substr(from, at - from));
        add("BENCH");
        from = at + folder.size();
    }
    add(std::string_view(text).substr(from));
    return hash;
}

TEST(FactsRuns, LargeSessionsConvertWholeAndUnchanged) {
    const std::string bench = std::string(TRELLUM_SHARED_DIR) + "/bench";
    if (realSessionFolder().empty() || filesEnding(bench, ".ptx").empty()) GTEST_SKIP() << "no bench sessions";
    const std::string folder = makeTempFolder("bench");
    const std::pair<const char*, uint64_t> sessions[] = {
        {"medium-32", 10195504833770450134ull}, {"big-256", 16126426490038039576ull}, {"max-418", 8387216323324459327ull}};
    for (const auto& [name, hash] : sessions) {
        const std::string path = bench + "/" + name + ".ptx";
        ConvertOptions options = optionsFor(path);
        options.outputPath = folder + "/" + name + ".rpp";
        CapturedRun run = runConvert(options);
        ASSERT_EQ(run.code, 0) << run.console;
        EXPECT_EQ(noteOrderFault(run.console), "") << name;

        const std::string project = readFileText(options.outputPath);
        size_t items = 0;
        for (size_t at = project.find("<ITEM\n"); at != std::string::npos; at = project.find("<ITEM\n", at + 1)) ++items;
        EXPECT_EQ(items * 2, factPlacements(path).size()) << name;  // every item plays a stereo file's .L and .R
        EXPECT_EQ(checkProjectText(project), std::nullopt) << name;
        EXPECT_EQ(benchTextHash(project, bench), hash) << name;
    }
    RunState state;
    analyse(state, bench + "/medium-32.ptx");
    expectPlacementsArrive(state, bench + "/medium-32.ptx");
}

// The studio sessions (their README says what each holds and who saved it):
// every track of the track list is a track of the project and none is left
// unmatched; the comps of "Megan Solo", named "Meg Solo", "Meg Solo.01" ...,
// ride on it as lanes, found through the track that owns them; SinkDown's
// inactive track is told by its track block (its list row holds no such byte);
// the console names the saved-by version; its notes keep the catalogue's order.
TEST(StudioRuns, EveryTrackBoundCompsAsLanesAndTheSavedByVersion) {
    const std::string studio = std::string(TRELLUM_SHARED_DIR) + "/studio";
    if (filesEnding(studio, ".ptx").empty()) GTEST_SKIP() << "no studio sessions";
    // Clip gain: Stayin' Alive's five gain records name five placed clips, the comping session's one.
    struct Case { const char* file; const char* savedBy; const char* lanes; const char* inactive; int clipGain; };
    for (const Case& c : {Case{"Stayin' Alive.ptx", "Pro Tools Ultimate 2024.10.0, Windows", "", "", 5},
                          Case{"SinkDown.ptx", "Pro Tools 2019.6.0, Windows", "", "Kick Loop ", 0},
                          Case{"Vocal Comping Session.ptx", "Pro Tools 2019.6.0, Windows",
                               "Megan Solo: 10 Meg Solo .. Meg Solo.09 ", "", 1}}) {
        RunState state;
        analyse(state, studio + "/" + c.file);
        EXPECT_EQ(state.analysis.counts.unmatchedTracks, 0) << c.file;
        std::string lanes, inactive, names = "|" + state.model.masterName + "|";
        for (const OutputTrack& track : state.analysis.outputTracks) {
            names += track.name + "|";
            if (track.inactive) inactive += track.name + " ";
            if (track.lanes.empty()) continue;
            lanes += formatText("%s: %d %s .. %s ", track.name.c_str(), static_cast<int>(track.lanes.size()),
                                track.lanes.front().name.c_str(), track.lanes.back().name.c_str());
        }
        for (const std::string& name : state.model.trackList.names) {
            EXPECT_NE(names.find("|" + name + "|"), std::string::npos) << c.file << ": " << name;
        }
        EXPECT_EQ(lanes, c.lanes);
        EXPECT_EQ(inactive, c.inactive);
        ConvertOptions options = optionsFor(studio + "/" + c.file);
        options.checkOnly = true;
        const std::string console = runConvert(options).console;
        EXPECT_NE(console.find(std::string("  Read:  ") + c.savedBy + ", "), std::string::npos);
        EXPECT_EQ(noteOrderFault(console), "") << c.file;
        EXPECT_EQ(noteOrderFault(runConvert(withNoteSwitches(options)).console), "") << c.file;
        EXPECT_NE(console.find(formatText("  %d clips given clip gain\n", c.clipGain)), std::string::npos) << c.file;
    }
}
