// What the track writer reads about a track from the tables the reader and the
// analysis leave. A table that no pass fills yet gives its absent value here,
// so that the pass that fills it changes one function and not the writer.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "analysis/analysis_model.h"
#include "session/strips.h"
#include "standins/surround_pan.h"
#include "standins/trim.h"

struct RunState;

// The strip of a track: the first present row named like its matchKey or name.
const StripRow* stripOf(const RunState& state, const OutputTrack& track);
// The first present strip row of that name (a bus's strip).
const StripRow* stripNamed(const RunState& state, const std::string& name);

// Lanes and width of a strip, as the lane reader gives them.
struct StripShape {
    bool stereo = false;
    bool volumeLane = false;  // each: a lane with points
    bool panLane = false;
    bool muteLane = false;
    bool trimLane = false;
    bool dualPan = false;     // real dual pan: the two pan lanes carry the pan
    double leftPanLimit = -1;  // the resting values of the two pan lanes over 100
    double rightPanLimit = 1;
};
StripShape stripShapeOf(const RunState& state, const std::string& key, const StripRow& strip);

// The track's display record: shown, height, solo, solo safe, automation mode.
struct TrackView {
    uint8_t shown = 1;
    int32_t height = 0;
    int32_t solo = -1;      // 1: soloed
    int32_t soloSafe = -1;  // 1: solo safe
    int32_t automationMode = -1;
    int32_t trimOn = -1;
};
std::optional<TrackView> trackViewOf(const RunState& state, const std::string& name, const std::string& matchKey);
// The comment of the track's display record, by name, then matchKey; empty for none.
std::string trackCommentOf(const RunState& state, const std::string& name, const std::string& matchKey);

// Pro Tools plays no automation of a track in mode Off: the envelopes of output
// track i are then written inactive, on the first track of its key.
bool automationOff(const RunState& state, std::size_t trackIndex);
// The strip is among those of unknown width: its third lane is no single pan.
bool hasUnknownWidth(const RunState& state, const StripRow& strip);

// The surround panner of a track panned into a surround bus, from its strip's
// numbers and lanes; none for any other track.
std::optional<SurroundPanner> surroundPannerOf(const RunState& state, const std::string& key);

// The track's colour in the project, from its own or its group's palette index.
std::optional<uint32_t> trackColourOf(const RunState& state, const std::string& name, const std::string& matchKey);
// 0 sample-based, 2 tick-based, -1 not in the table.
int timebaseOf(const RunState& state, const std::string& name, const std::string& matchKey);
bool isSampleBasedMidi(const RunState& state, const std::string& key);
// The mute of a MIDI track from the MIDI track state, if the table has it.
std::optional<bool> midiTrackMuteOf(const RunState& state, const std::string& key);
std::optional<double> vcaLevelDbOf(const RunState& state, const std::string& name);
// -1 or +1 for a track whose output is one leg of a stereo path, else 0.
int sideOfOutputOf(const RunState& state, const std::string& matchKey);

// The ISBUS pair of output track i: "1 1" opens a folder, "2 -1" closes one.
struct FolderText {
    int first = 0;
    int second = 0;
};
FolderText folderTextOf(const RunState& state, std::size_t trackIndex);
bool isRoutingFolder(const RunState& state, std::size_t trackIndex);

// The group bits of a track, all clear for a track in no group.
TrackGroupBits groupMasksOf(const RunState& state, const std::string& name, const std::string& matchKey);

// The track's master send is off: its output reaches an aux, or it has none.
bool noMainSend(const RunState& state, std::size_t trackIndex);

// Key inputs wired into a track: the first source track index, and further ones.
struct KeyInputs {
    int keyFrom = -1;
    std::vector<int> extraKeys;
};
KeyInputs keyInputsOf(const RunState& state, const std::string& key);

int surroundLegsOf(const RunState& state, const std::string& key);
int channelsOfTrackOf(const RunState& state, const std::string& key);
int auxWidthOf(const RunState& state, const std::string& key);
int needChannelsOf(const RunState& state, const std::string& key);
// The polarity the track's Trim plug-ins give it, by its key and a second name;
// noted in the run's Trim tallies.
TrimPolarity trimPolarityOf(RunState& state, const std::string& key, const std::string& second);
// The mute the analysis decided: the strip's switch, inactive and voice-off.
bool trackMuteOf(const RunState& state, std::size_t trackIndex, const OutputTrack& track, const StripRow* strip);
// A muted track that feeds a pre-fader send, written unmuted with its fader down.
bool preFaderUnmuted(const RunState& state, std::size_t trackIndex);

// Buses that receive sends, in order; those without a track get a return track.
std::vector<std::string> busesReceivingSends(const RunState& state);
