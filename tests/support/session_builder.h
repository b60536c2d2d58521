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
    uint32_t channel = 0;       // the channel of the file it plays, from 0
    std::vector<uint8_t> araUid = {};  // the id of its Melodyne edit, behind the clip's record
};

struct BuiltPlacement {
    uint32_t clip = 0;
    uint64_t position = 0;  // samples, or ticks on a tick-based playlist
    bool muted = false;
    bool live = true;       // false: kept by the session for its undo queue
    uint8_t overlap = 0;    // 1: drawn over the next clip, 2: under the previous one
    bool fade = false;      // a fade entry: clip is the fade's number, position its anchor
    int16_t colour = -2;
    bool group = false;     // a clip group entry: clip is the group's number
};

// One playlist of a track: a mono track has one, a stereo track one per leg.
struct BuiltPlaylist {
    std::string name;  // empty: the track's name
    bool tickBased = false;
    std::vector<BuiltPlacement> placements;
    bool unnamed = false;  // stored with an empty name
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
    uint32_t pathId = 0;  // the bus path's id, kept nameless behind the rows as sessions do; 0: none
};

// An I/O path: a bus (kind 2), an output (kind 1), ...
struct BuiltPath {
    std::string name;
    uint8_t kind = 2;
    std::vector<uint16_t> channels;
    uint32_t id = 0;  // the path's id is (1, id)
};

// An automation lane of a plug-in: the control's name and number, the id the
// plug-in gave it, points (time in samples or ticks, value 0 to 1).
struct BuiltPluginLane {
    std::string name;
    int32_t number = 0;
    std::vector<std::pair<int32_t, double>> points;
    std::string idText = {};
    bool ticks = false;
    double start = 0.5;
};

// A plug-in insert; keyInput names its sidechain key by number, -1 for none.
// The state bytes stand behind the name and eight zeros; the lanes follow the record.
struct BuiltPlugin {
    std::string name;
    int32_t keyInput = -1;
    std::string signature = "EvTrCmpE";
    uint8_t channelSets = 1;
    std::vector<uint8_t> state = {};
    bool bypassed = false;
    bool inactive = false;
    std::vector<BuiltPluginLane> lanes = {};
};

// An Avid Trim: the signature "DigiTrim" opens the first copy of its controls
// (the gain word 48 bytes on), each further channel's copy follows as
// "DigiTrim", 40 bytes, gain, polarity; each copy is (gain word, flipped).
BuiltPlugin builtTrim(const std::vector<std::pair<int32_t, bool>>& copies, bool bypassed = false);

// A note of a MIDI clip: its start from the clip's start and its length, in
// the unit of the clip's track.
struct BuiltNote {
    int64_t start = 0;
    int64_t length = 0;
    uint8_t pitch = 60;
    uint8_t velocity = 100;
};

// A controller event of a MIDI clip: its kind (1 pitch bend, 2 controller,
// 4 aftertouch), controller number and value, at `at` from the clip's start.
struct BuiltController {
    int64_t at = 0;
    uint8_t kind = 2;
    uint8_t controller = 0;
    uint32_t value = 0;
};

// A MIDI clip placed on a MIDI track at `position`: samples on a sample-based
// track, ticks on a tick-based one. Each clip shows a note chunk of its own,
// with its controller and SysEx streams behind it.
struct BuiltMidiClip {
    std::string name;
    int64_t position = 0;
    int64_t length = 0;
    std::vector<BuiltNote> notes;
    std::vector<BuiltController> controllers = {};
    std::vector<std::pair<int64_t, std::vector<uint8_t>>> sysex = {};  // from the clip's start, the bytes
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
    // The surround panner's words in the row, from the fader value + 12 on, and
    // its lane groups behind the lanes.
    std::vector<int32_t> panner = {};
    std::vector<std::vector<BuiltLane>> laneGroups = {};
    // Routing: with an output, the strip row stands in a row holder named by
    // it, and each send follows in a holder of its own. "-" holds no name.
    std::string output = {};
    std::vector<BuiltSend> sends = {};
    uint32_t inputId = 0;  // the id of the path on the track's input, 0 for none
    std::vector<BuiltPlugin> plugins = {};
    // A MIDI track holds MIDI clips, in ticks or in samples, and no playlists.
    bool midi = false;
    bool midiInTicks = true;
    std::vector<BuiltMidiClip> midiClips = {};
    // The track list row: a folder (rowType 11 Basic, else Routing) and its
    // direct members by track position; the track block's kind.
    bool folder = false;
    uint16_t rowType = 0;
    std::vector<size_t> members = {};
    uint32_t kind = 0x261B;
    int16_t vcaLevelTenths = 0;  // a VCA master's level (kind 0x261F)
    // The display record, written when the session asks for them.
    uint16_t colour = 0xFFFE;
    std::string comment = {};
    uint32_t displayRow = 0;
    bool hidden = false;
};

// A group record; Pro Tools lists a live group twice (Mix and Edit lists).
struct BuiltGroup {
    std::string name;
    uint8_t type = 1;  // 1 Mix, 0 Edit, 2 both
    uint8_t slot = 1;
    std::vector<uint16_t> members;  // track positions
    int32_t vcaPosition = -1;
    std::vector<uint8_t> attributes = {};  // none: no attribute block
    int copies = 2;
};

struct BuiltSession {
    int64_t rate = 48000;
    std::vector<TestAudioFile> files;
    std::vector<BuiltClip> clips;
    std::vector<BuiltTrack> tracks;
    std::vector<BuiltFade> fades;
    std::vector<BuiltPath> paths = {};
    std::vector<std::pair<uint16_t, std::string>> keyNames = {};  // key input numbers and their bus names
    // The tempo map: (ticks, quarter-note BPM), the first at 0 and its BPM the
    // session's tempo. Empty: no tempo block, 120 BPM.
    std::vector<std::pair<int64_t, double>> tempos = {};
    std::vector<BuiltPlaylist> strays = {};  // playlists of a clip group list, stored before the track playlists
    // Clip groups (name, length in samples) in number order; group n plays stray n.
    std::vector<std::pair<std::string, uint32_t>> clipGroups = {};
    std::vector<BuiltGroup> groups = {};
    int32_t trackCoding = -1;  // the colour coding block, when either is 0 or more
    int32_t clipCoding = -1;
    bool displayRecords = false;  // one display record per track
    // Video: the movie files of a list of their own, and one placement list per
    // video track (a track of kind 0x2623), by name; positions in video frames.
    std::vector<std::string> videoFiles = {};
    std::vector<std::pair<std::string, std::vector<BuiltPlacement>>> videoPlaylists = {};
};

ImageBuilder buildSession(const BuiltSession& session);

// The streams behind a MIDI note list, each record at a position already in the
// session's eight-byte form: a controller stream of one kind; a SysEx stream,
// whose stated size `shortBy` makes larger than what follows.
void midiControllerStream(ImageBuilder& b, uint8_t kind, uint8_t controller,
                          const std::vector<std::pair<uint64_t, uint32_t>>& records);
void midiSysexStream(ImageBuilder& b, const std::vector<std::pair<uint64_t, std::vector<uint8_t>>>& records,
                     uint32_t shortBy = 0);
