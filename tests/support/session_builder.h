// Composes whole session images for tests: files, clips, tracks with their
// strips, track list rows and playlists, laid out the way Pro Tools lays them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "support/image_builder.h"

struct BuiltClip {
    std::string name;
    uint16_t file = 0;
    uint64_t sourceOffset = 0;  // samples
    uint64_t length = 0;        // samples
    uint64_t syncPoint = 0;     // samples from the clip's start, 0: none
};

struct BuiltPlacement {
    uint32_t clip = 0;
    uint64_t position = 0;  // samples, or biased ticks on a tick-based playlist
    bool muted = false;
    bool live = true;       // false: kept by the session for its undo queue
    uint8_t overlap = 0;    // 1: drawn over the next clip, 2: under the previous one
    bool fade = false;      // a fade entry: clip is the fade's number, position its anchor
    int16_t colour = -2;
};

// One playlist of a track: a mono track has one, a stereo track one per leg.
struct BuiltPlaylist {
    std::string name;  // empty: the track's name
    bool tickBased = false;
    std::vector<BuiltPlacement> placements;
};

// One automation lane of a track's strip: its resting value and breakpoints
// (sample position, value), in the session's units.
struct BuiltLane {
    int16_t initial = 0;
    std::vector<std::pair<uint32_t, int16_t>> points;
};

// One record of the fade table; a placement with `fade` set names it by number.
struct BuiltFade {
    uint8_t kind = 3;      // 1 crossfade, 2 fade-out, 3 fade-in
    uint32_t lead = 0;     // samples before the anchor
    uint32_t length = 0;   // samples in all
    uint8_t shape = 0;
    bool sCurve = false;
};

// One send of a track: the bus it feeds, its level, and its lanes (level,
// mute, pan, right pan by their place).
struct BuiltSend {
    std::string bus;
    int32_t levelTenths = 0;
    bool postFader = true;
    std::vector<BuiltLane> lanes = {};
};

// An I/O path: a bus (kind 2), an output (kind 1), ...
struct BuiltPath {
    std::string name;
    uint8_t kind = 2;
    std::vector<uint16_t> channels;
    uint32_t id = 0;  // the path's id is (1, id)
};

// A plug-in insert; keyInput names its sidechain key by number, -1 for none.
struct BuiltPlugin {
    std::string name;
    int32_t keyInput = -1;
    std::string signature = "EvTrCmpE";
    uint8_t channelSets = 1;
};

struct BuiltTrack {
    std::string name;
    int32_t faderTenths = 0;  // dB x 10
    int32_t panLeft = 0;      // -100 to 100
    int32_t panRight = 0;
    bool muted = false;
    std::vector<BuiltPlaylist> playlists;  // one per channel; none for an empty mono track
    int channels = 1;
    std::vector<BuiltLane> lanes = {};  // volume, mute, pan, ... by their place
    // Routing: with an output, the strip row stands in a row holder named by
    // it, and each send follows in a holder of its own. "-" holds no name.
    std::string output = {};
    std::vector<BuiltSend> sends = {};
    uint32_t inputId = 0;  // the id of the path on the track's input, 0 for none
    std::vector<BuiltPlugin> plugins = {};
};

struct BuiltSession {
    int64_t rate = 48000;
    std::vector<TestAudioFile> files;
    std::vector<BuiltClip> clips;
    std::vector<BuiltTrack> tracks;
    std::vector<BuiltFade> fades;
    std::vector<BuiltPath> paths = {};
    std::vector<std::pair<uint16_t, std::string>> keyNames = {};  // key input numbers and their bus names
};

ImageBuilder buildSession(const BuiltSession& session);
