// The clip list, the clips placed on tracks and the sync points of the clips.
// Clip and track lists are read through the block tree; everything else scans.
#pragma once

#include <cstdint>
#include <string>
#include <vector>
#include <utility>

#include "session/blocks.h"
#include "session/ptx_file.h"
#include "session/timeline_position.h"

// One audio file of the session, as the session layer lists it.
struct AudioFileRef {
    std::string name;
    uint16_t index = 0;
    int64_t posAbsolute = 0;
    int64_t length = 0;  // samples
    uint16_t channels = 0;  // 0 where the session stores none
};
std::vector<AudioFileRef> audioFileRefs(const std::vector<AudioFileEntry>& files);

// One note of a MIDI chunk, from the chunk's origin, in the chunk's unit.
struct MidiEvent {
    int64_t position = 0;
    int64_t length = 0;
    uint8_t note = 0;
    uint8_t velocity = 0;
};

// A clip index that names no clip: the entry stands for a track only.
constexpr uint16_t kNoClip = 65535;

// One clip of the clip list. Offsets and lengths are samples (MIDI clips: in
// their chunk's unit), kept exact.
struct ClipDefinition {
    uint16_t index = 0;  // running number over all clip lists, from 0
    std::string name;
    TimelinePosition start;
    int64_t sourceOffset = 0;  // samples into the file
    int64_t length = 0;        // samples
    uint8_t muted = 0;         // set from the placement
    std::string fileName;
    uint16_t fileIndex = 0;
    int64_t filePosition = 0;  // equal to start's value
    int64_t fileLength = 0;    // equal to length
    uint32_t channel = 0;       // the one channel of the file the clip plays, from 0
    uint16_t fileChannels = 0;  // channels in the file, 0 where the session stores none
    std::vector<MidiEvent> midiEvents;
    int32_t midiChunk = -1;  // -1 for audio
};

// One placement of a clip on a track; clip.start is the placement's position.
struct AudioClip {
    std::string trackName;
    uint16_t trackIndex = 0;
    uint16_t storedTrackIndex = 0;  // the track number as stored: its playlist's place in the track
                                    // playlist list; trackIndex is closed up over the tracks with clips
    uint8_t playlist = 0;
    ClipDefinition clip;

    // What the analysis decides, in seconds on the timeline, for the writer.
    double position = 0;
    double length = 0;
    double sourceOffset = 0;
    uint32_t sourceOffsetSamples = 0;
    bool muted = false;
    double fadeInLength = 0;   // 0: none
    double fadeOutLength = 0;
    double fadeInShape = 0;    // 0.0, 1.0 or 5.1
    double fadeOutShape = 0;
    bool crossfaded = false;   // the clip's end is the outgoing side of a crossfade
    bool stretched = false;
    double rate = 1.0;
    std::vector<std::pair<double, double>> warpMarkers;  // (timeline s, source s), relative to the clip
    bool drawnOverNext = false;
    bool drawnOverPrevious = false;
    double syncDistance = 0;   // from the clip's start to its sync point, 0: none
    double takePan = 0;        // -1.0, 0 or +1.0
    int channelMode = 0;       // REAPER's take channel mode: 0 the whole file
    int32_t araSet = -1;
    double clipGainDb = 0;
    bool hasClipGain = false;
    std::vector<std::pair<uint32_t, double>> clipGainCurve;  // (source position in samples, dB)
    double pitchSemitones = 0;
    bool flipPolarity = false;
    std::vector<std::pair<std::string, double>> clipEffects;
    int32_t colour = -2;       // palette index, -2: none
    bool locked = false;
    std::string groupName;     // the clip group this clip was laid out from, or the one an empty item stands for
    bool emptyGroup = false;   // an item standing for a clip group that holds no audio: it plays nothing
};

// One placement of a MIDI clip on a MIDI track; clip.start is its position.
struct MidiClip {
    std::string trackName;
    uint16_t trackIndex = 0;
    ClipDefinition clip;
};

// One placement of an audio clip on a track as the reader finds it: the clip by
// its number in the clip list, not a copy of it. The analysis makes an AudioClip
// of each, whose clip is the list's with start and muted taken from here.
struct ClipPlacement {
    std::string trackName;
    uint16_t trackIndex = 0;
    uint16_t storedTrackIndex = 0;  // as AudioClip's
    uint8_t playlist = 0;
    uint16_t clipIndex = kNoClip;   // into ClipLists::audioClips
    TimelinePosition start;         // the placement's position
    uint8_t muted = 0;
};

struct ClipLists {
    std::vector<ClipDefinition> audioClips;
    std::vector<ClipDefinition> midiClips;
    std::vector<ClipPlacement> audioPlacements;  // sorted by track, track numbers closed up
    // One clipless entry (clip.index kNoClip) per MIDI track, numbered over MIDI
    // tracks only: the MIDI placement step finds its tracks here, adds the
    // placements and then removes the clipless entries.
    std::vector<MidiClip> midiPlacements;
};

// The audio clip list and the audio placements of both placement forms, plus the
// MIDI track entries. An image without a tree (under 65 bytes, or big-endian)
// gives empty lists: the session layer has no lists of its own for those.
// Positions out of shape are counted in faults when given.
ClipLists readClipsAndPlacements(const SessionImage& image, const std::vector<AudioFileRef>& files,
                                 PositionFaults* faults = nullptr);

// Each clip's sync point, as a distance in samples from the clip's start (0 for
// none), in clip list order, with the clip names beside them.
struct ClipSyncOffsets {
    std::vector<uint64_t> values;
    std::vector<std::string> names;
};
ClipSyncOffsets readClipSyncOffsets(const SessionImage& image);

// True when the sync list may be used for these clips: one entry per clip, and
// each entry's name and position agree with the clip's name and index.
bool syncOffsetsMatch(const ClipSyncOffsets& offsets, const std::vector<ClipDefinition>& clips);
