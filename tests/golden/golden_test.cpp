// Whole runs compared with stored text: a composed session in, the project and
// the console out. TRELLUM_UPDATE_GOLDEN=1 rewrites the stored files instead;
// review the change in the diff.
#include <gtest/gtest.h>

#include <filesystem>

#include "project/text.h"
#include "support/run_capture.h"
#include "support/session_builder.h"

namespace {

std::string replaceAll(std::string text, const std::string& from, const std::string& to) {
    for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
    }
    return text;
}

// Converts the session in a fresh folder and compares both texts with the stored
// ones; gives the project text.
std::string expectGolden(const std::string& caseName, const BuiltSession& session, ConvertOptions options = {},
                         const std::vector<std::string>& mediaFiles = {}) {
    const std::string folder = makeTempFolder("golden");
    const std::string path = buildSession(session).writeFile(folder, "session.ptx");
    for (const std::string& file : mediaFiles) {
        std::filesystem::create_directories(folder + "/" + file.substr(0, file.rfind('/')));
        writeFileText(folder + "/" + file, "RIFF");
    }
    options.sessionPath = path;
    options.programPath = "/nonexistent/trellum";
    CapturedRun run = runConvert(options);
    EXPECT_EQ(run.code, 0) << run.console;
    const std::string project = replaceAll(readFileText(folder + "/session.rpp"), folder, "SESSION");
    const std::string console = replaceAll(run.console, folder, "SESSION");
    EXPECT_EQ(checkProjectText(project), std::nullopt);

    EXPECT_EQ(project, storedText(caseName + ".rpp", project)) << caseName;
    EXPECT_EQ(console, storedText(caseName + ".console", console)) << caseName;
    return project;
}

}  // namespace

TEST(GoldenRuns, MonoStereoPairAndEmptyTrack) {
    BuiltSession s;
    s.files = {{"kick.wav", 96000}, {"gtr.L.wav", 48000}, {"gtr.R.wav", 48000}};
    s.clips = {{"kick", 0, 0, 96000}, {"gtr.L", 1, 100, 40000}, {"gtr.R", 2, 100, 40000}};
    s.tracks = {{"Kick", -60, 0, 0, false, {{"", false, {{0, 48000}, {0, 240000}}}}, 1},
                {"Gtr", 0, -100, 100, true, {{"", false, {{1, 0}}}, {"", false, {{2, 0}}}}, 2},
                {"Empty", 25, 50, 0, false, {}, 1}};
    expectGolden("mono-stereo-empty", s, {}, {"Audio Files/kick.wav", "Bounced Files/gtr.L.wav"});
}

// Overlapping clips, a fade-in, a crossfade with material to extend into and an
// S-curve fade-out; a bass track with volume and mute automation; a strip of
// unknown width.
TEST(GoldenRuns, FadesOverlapsAndAutomation) {
    BuiltSession s;
    s.files = {{"vox.wav", 480000}, {"bass.wav", 480000}};
    s.clips = {{"vox-a", 0, 0, 96000}, {"vox-b", 0, 96000, 96000}, {"vox-c", 0, 240000, 48000}, {"bass", 1, 0, 192000}};
    s.fades = {{2, 0, 24000, 0, true}, {1, 2400, 9600, 0, false}, {3, 0, 4800, 1, false}};
    BuiltPlacement fadeOut{0, 216000}, crossfade{1, 168000}, fadeIn{2, 0};
    fadeIn.fade = crossfade.fade = fadeOut.fade = true;
    s.tracks = {{"Vox", 0, 0, 0, false, {{"", false, {{0, 0}, {1, 72000}, {2, 168000}, fadeIn, crossfade, fadeOut}}}, 1},
                {"Bass", -30, 0, 0, false, {{"", false, {{3, 0}}}}, 1}};
    s.tracks[1].lanes = {{-60, {{48000, -120}, {96000, 0}}}, {0, {{144000, 1}}}, {0, {}}};
    // Seven lanes: a strip neither mono nor stereo, whose third lane is no pan.
    s.tracks.push_back({"Surround Pad", 0, 0, 0, false, {}, 1});
    s.tracks[2].lanes = {{0, {}}, {0, {}}, {0, {{48000, 30}}}, {0, {}}, {0, {}}, {0, {}}, {0, {}}};
    // The bass take was moved into a subfolder after the session was saved: found there by name.
    expectGolden("fades-overlaps-automation", s, {}, {"Audio Files/vox.wav", "Audio Files/Day 2/bass.wav"});
}

// Tracks output into a drum bus that an aux takes; sends reach a reverb aux
// by its input, by one leg of it, and a bus no aux takes gets a return track.
// A muted track with a pre-fader send arrives unmuted, its fader down; a
// track with no output loses its master send; an aux on a 5.1 bus is six wide,
// and a mono track panned into that bus carries ReaSurroundPan and a Trim.
TEST(GoldenRuns, OutputsSendsAndReturnTracks) {
    BuiltSession s;
    s.files = {{"kick.wav", 48000}};
    s.clips = {{"kick", 0, 0, 48000}};
    s.paths = {{"Out 1-2", 1, {1, 2}, 5},   {"Reverb", 2, {3, 4}, 10},  {"Reverb.L", 2, {3}, 11},
               {"Reverb.R", 2, {4}, 12},    {"Drums", 2, {5, 6}, 20},   {"Slap", 2, {7, 8}, 30}};
    BuiltTrack kick{"Kick", -20, 0, 0, true, {{"", false, {{0, 0}}}}, 1};
    kick.output = "Drums";
    // The second send is switched off; the first leaves its bus's id behind the rows, with no name: no input.
    kick.sends = {{"Reverb", -100, true, {}, 10}, {"Slap", -60, false, {{0, {}}, {1, {}}}}};
    BuiltTrack snare{"Snare", 0, 0, 0, false, {{"", false, {{0, 48000}}}}, 1};
    snare.output = "Drums";
    snare.sends = {{"Reverb.L", -30, true, {{0, {}}, {0, {}}, {-50, {}}}}};
    BuiltTrack drums{"Drum Bus", 0, 0, 0, false, {}, 1};
    drums.output = "Out 1-2";
    drums.inputId = 20;
    BuiltTrack verb{"Verb", 0, 0, 0, false, {}, 1};
    verb.output = "Out 1-2";
    verb.inputId = 10;
    BuiltTrack lonely{"Lonely", 0, 0, 0, false, {}, 1};
    lonely.output = "-";
    // The bass ducks under the kick: its compressor is keyed off the bus the kick sends to.
    BuiltTrack bass{"Bass", 0, 0, 0, false, {}, 1};
    bass.output = "Out 1-2";
    bass.plugins = {{"Pro-C 2", 7}, {"EQ", -1}};
    s.keyNames = {{7, "Slap"}};
    // A 5.1 bus taken by an aux, which is written six channels wide.
    s.paths.push_back({"5.1", 2, {9, 10, 11, 12, 13, 14}, 40});
    BuiltTrack crowd{"Crowd", 0, 0, 0, false, {}, 1};
    crowd.output = "5.1";
    // Crowd is panned into it (ReaSurroundPan last in its chain), and a Trim at
    // -6 dB (word 463923640) inverts it.
    crowd.panner = {-40, 20, 0, 80, 40, 100, 25};
    crowd.plugins = {builtTrim({{463923640, true}})};
    BuiltTrack room{"Surround Room", 0, 0, 0, false, {}, 1};
    room.output = "Out 1-2";
    room.inputId = 40;
    s.tracks = {kick, snare, drums, verb, lonely, bass, crowd, room};
    expectGolden("outputs-sends-returns", s, {}, {"Audio Files/kick.wav"});
}

// Positions in both units, far out, under a tempo map of 500 BPM (a quarter
// lasts 0.12 s) up to 720700 quarters (86484 s) and 60 BPM behind. What to
// check in the project: the TEMPO points at 0 and 86484 s; "Click" (tick-based
// audio, Beats-position) has items at 0.24 s (2 quarters), 1200 s (10000
// quarters, past 2^32 ticks), 24000 s (200000 quarters, a stored value of six
// bytes) and 86488 s (720704 quarters: 4 behind the change, at 60); "Long" one
// item 2^32 + 48000 samples in, at 89479.4853333333 s; "Keys" (sample-based
// MIDI, Time) its clip at 96000 samples, 2 s, notes of 6000 samples lasting
// 0.125 s, 1000 ticks at 960 a quarter; "Lead" (tick-based MIDI, Beats) a clip
// 691868160000 ticks in, at 86483.52 s, and one that starts 67 ticks before the
// session, written from 0. "Odd" holds two positions out of shape, each named
// by a console WARNING: a unit mark of 0x01 read as samples (96000, at 2 s)
// and a value past 2^55 held at 2^55 samples (750599937895.08 s), not wrapped.
TEST(GoldenRuns, TempoMapAndFarPositionsInBothUnits) {
    constexpr uint64_t kQuarter = 960000;
    BuiltSession s;
    s.files = {{"click.wav", 4800}, {"long.wav", 48000}};
    s.clips = {{"click", 0, 0, 4800}, {"long", 1, 0, 48000}};
    s.tempos = {{0, 500}, {720700 * kQuarter, 60}};
    BuiltTrack click{"Click", 0, 0, 0, false, {{"", true, {{0, 2 * kQuarter}, {0, 10000 * kQuarter},
                                                           {0, 200000 * kQuarter}, {0, 720704 * kQuarter}}}}, 1};
    BuiltTrack longTrack{"Long", 0, 0, 0, false, {{"", false, {{1, (1ull << 32) + 48000}}}}, 1};
    BuiltTrack keys{"Keys", 0, 0, 0, false, {}, 1};
    keys.midi = true;
    keys.midiInTicks = false;
    keys.midiClips = {{"keys-01", 96000, 48000, {{0, 6000, 60, 90}, {24000, 6000, 64, 80}}}};
    BuiltTrack lead{"Lead", 0, 0, 0, false, {}, 1};
    lead.midi = true;
    lead.midiClips = {{"lead-01", 691868160000, 4 * kQuarter, {{0, kQuarter, 72, 100}}},
                      {"early", -67, kQuarter, {{67, 1000, 65, 100}}}};
    BuiltTrack odd{"Odd", 0, 0, 0, false, {{"", false, {{1, (1ull << 56) | 96000}, {1, (1ull << 55) + 7}}}}, 1};
    s.tracks = {click, longTrack, keys, lead, odd};
    const std::string project =
        expectGolden("tempo-map-far-positions", s, {}, {"Audio Files/click.wav", "Audio Files/long.wav"});
    // The positions Pro Tools shows for these clips, whatever the stored file says.
    for (const char* line : {"POSITION 86483.5200000000\n", "POSITION 2.0000000000\n      SNAPOFFS 0\n      LENGTH 1.0",
                             "E 0 90 3c 5a\n        E 1000 80 3c 00\n", "POSITION 89479.4853333333\n"}) {
        EXPECT_NE(project.find(line), std::string::npos) << line;
    }
}

// Outputs to one leg of a stereo output, a six-leg track into the aux that
// takes its 5.1 bus, and a send to a bus whose only strip is a hidden track
// left out. What to check: "Gtr Left" (output "Out 1-2 / Out 1", a path of
// that one channel) and "Gtr Right" (output "Out 1-2 / 2", by the digit) have
// both pan limits at their side, -1 or 1, PANMODE 6, and the console names
// them; "Choir" is one track of six channels whose receive on "Surround Aux"
// carries code 3072 (three pairs, 3 << 10); the return track "Slap" takes the
// hidden strip's fader (-6 dB: 0.501187) and pans (-0.6, 0.4), PANMODE 6.
TEST(GoldenRuns, OneSidedOutputsSurroundLegsAndAStereoReturn) {
    BuiltSession s;
    s.files = {{"gtr.wav", 48000}, {"choir.wav", 48000, 6}};
    s.clips = {{"gtr", 0, 0, 48000}};
    for (uint32_t c = 0; c < 6; ++c) s.clips.push_back({"choir." + std::to_string(c), 1, 0, 48000, 0, c});
    s.paths = {{"Out 1-2 / Out 1-2", 1, {1, 2}, 5}, {"Out 1-2 / Out 1", 1, {1}, 6},
               {"Slap", 2, {7, 8}, 30}, {"Surround", 2, {9, 10, 11, 12, 13, 14}, 40}};
    BuiltTrack left{"Gtr Left", 0, 0, 0, false, {{"", false, {{0, 0}}}}, 1};
    left.output = "Out 1-2 / Out 1";
    left.sends = {{"Slap", 0, true}};
    BuiltTrack right{"Gtr Right", 0, 0, 0, false, {{"", false, {{0, 0}}}}, 1};
    right.output = "Out 1-2 / 2";
    BuiltTrack choir{"Choir", 0, 0, 0, false, {}, 6};
    for (uint32_t c = 1; c <= 6; ++c) choir.playlists.push_back({"", false, {{c, 48000}}});
    choir.output = "Surround";
    BuiltTrack aux{"Surround Aux", 0, 0, 0, false, {}, 1};
    aux.output = "Out 1-2 / Out 1-2";
    aux.inputId = 40;
    BuiltTrack slap{"Slap", -60, -60, 40, false, {}, 2};
    slap.lanes = {{-60, {}}, {0, {}}, {-60, {}}, {40, {}}, {0, {}}};  // volume, mute, the two pans, trim
    slap.output = "Out 1-2 / Out 1-2";
    slap.hidden = true;
    s.tracks = {left, right, choir, aux, slap};
    s.displayRecords = true;
    ConvertOptions options;
    options.skipHiddenTracks = true;
    expectGolden("one-sided-surround-return", s, options, {"Audio Files/gtr.wav", "Audio Files/choir.wav"});
}

// Playlists and units. What to check: "Pad" has no clips of its own and
// carries its alternate "Pad.01" as a lane; "Loop" has a playlist whose name
// is too long to read, so no record pairs with it, and the records of the
// other tracks disagree: its tick positions make it tick-based (BEAT 2, the
// clip at 2 quarters, 1 s) and the console says it was judged so; "Vox" plays
// a clip whose sync point lies 0.5 s in at 2 s: the item starts at 1.5 s with
// SNAPOFFS 0.5.
TEST(GoldenRuns, AlternateIntoAnEmptyParentTimebaseByPositionsAndSyncPoints) {
    constexpr uint64_t kQuarter = 960000;
    BuiltSession s;
    s.files = {{"pad.wav", 96000}, {"vox.wav", 96000}};
    s.clips = {{"pad", 0, 0, 48000}, {"loop", 0, 0, 24000}, {"vox", 1, 0, 48000, 24000}};
    s.tracks = {{"Pad", 0, 0, 0, false, {{"", false, {}}, {"Pad.01", false, {{0, 48000}}}}, 1},
                {"Loop", 0, 0, 0, false, {{std::string(65, 'L'), true, {{1, 2 * kQuarter}}}}, 1},
                {"Click", 0, 0, 0, false, {{"", true, {{1, 4 * kQuarter}}}}, 1},
                {"Vox", 0, 0, 0, false, {{"", false, {{2, 96000}}}}, 1}};
    expectGolden("alternate-timebase-sync", s, {}, {"Audio Files/pad.wav", "Audio Files/vox.wav"});
}

// MIDI under a tempo map of 120 BPM that drops to 60 at the fourth quarter
// (2 s), with controllers and SysEx. What to check: "Lead" (tick-based, from
// quarter 2, 1 s) has its second note 4 quarters in, E at 3840, which REAPER
// plays at quarter 6, 4 s; CC 64 at 960, channel pressure at 1920 and the SysEx
// (base64 of F0 7E 7F 09 01 F7) at 2880; "Keys" (sample-based, from 1 s, which
// is quarter 2) has its second note 2 s into the clip, at 3 s: quarter 5 (two
// quarters at 120 up to 2 s, one at 60), so at 2880 from the item's start, and
// half a second long, 480; CC 1 half a second in, at 960; the pitch bend 8192
// at 2880 as e0 00 40; the SysEx F0 43 10 4C F7 at 0.
TEST(GoldenRuns, MidiUnderATempoMapWithControllersAndSysex) {
    constexpr int64_t kQuarter = 960000;
    BuiltSession s;
    s.tempos = {{0, 120}, {4 * kQuarter, 60}};
    BuiltTrack keys{"Keys", 0, 0, 0, false, {}, 1};
    keys.midi = true;
    keys.midiInTicks = false;
    keys.midiClips = {{"keys-01", 48000, 192000, {{0, 24000, 60, 90}, {96000, 24000, 62, 80}},
                       {{0, 2, 7, 100}, {24000, 2, 1, 64}, {96000, 1, 0, 8192}}, {{0, {0x43, 0x10, 0x4C}}}}};
    BuiltTrack lead{"Lead", 0, 0, 0, false, {}, 1};
    lead.midi = true;
    lead.midiClips = {{"lead-01", 2 * kQuarter, 6 * kQuarter, {{0, kQuarter, 72, 100}, {4 * kQuarter, kQuarter, 74, 100}},
                       {{kQuarter, 2, 64, 127}, {2 * kQuarter, 4, 0, 50}}, {{3 * kQuarter, {0x7E, 0x7F, 0x09, 0x01}}}}};
    s.tracks = {keys, lead};
    expectGolden("midi-tempo-controllers", s);
}

// A video track of two placements of one movie beside an audio track: at 24
// frames a second (the session names no rate), 48 frames in and a cut at 96
// that runs on to the audio's end at 6 s, coloured. The movie lies in "Video Files".
TEST(GoldenRuns, VideoTrackWithTwoPlacements) {
    BuiltSession s;
    s.files = {{"dialog.wav", 288000}};
    s.clips = {{"dialog", 0, 0, 288000}};
    BuiltTrack picture{"Picture", 0, 0, 0, false, {}, 1};
    picture.kind = 0x2623;
    s.tracks = {{"Dialog", 0, 0, 0, false, {{"", false, {{0, 0}}}}, 1}, picture};
    s.videoFiles = {"Reel 1.mov"};
    BuiltPlacement cut{0xFFFFFFFF, 96, false, true, 0, false, 30};
    s.videoPlaylists = {{"Picture", {cut, {0xFFFFFFFF, 48}}}};
    expectGolden("video-track", s, {}, {"Audio Files/dialog.wav", "Video Files/Reel 1.mov"});
}
