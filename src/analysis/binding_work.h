// The working state of the binding passes: the session's placement tracks with
// their clips as each pass leaves them, before they become output tracks.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "analysis/analysis_model.h"
#include "session/clips.h"
#include "session/tempo.h"

// One track of the placements (one playlist as the placements name it), by
// track index.
struct BoundTrack {
    uint16_t trackIndex = 0;
    uint16_t storedIndex = 0;      // the track number the placements were stored under
    std::string name;              // the placements' name; the current name once names are bound
    std::vector<AudioClip> clips;  // kept clips, sorted by position once positions are known
    std::vector<AudioClip> losers; // set aside: same-position losers, and deleted placements under --recover-deleted
    int record = -1;               // paired timebase record and playlist row, -1 for none
    bool isTick = false;
    bool isAlternate = false;      // an alternate playlist: its name is not in the track list
    bool isFreezeRecord = false;
    std::string playlistName;      // the paired record's name
    std::string parent;            // an alternate's parent strip, empty if none was found
    std::string frozenTrackName;
};

// One MIDI track, from the MIDI placement entries.
struct MidiTrack {
    uint16_t trackIndex = 0;
    std::string name;
    std::string firstClipName;
    std::string matchKey;  // the track-list name it is bound to, empty when unbound
    std::vector<MidiItem> items;
};

// A clip looped by Loop Length, ended there once overlaps are resolved.
struct LoopLengthEnd {
    size_t track = 0;  // index into BindingWork::tracks
    uint16_t clipIndex = 0;
    TimelinePosition position;  // the looped placement's
    double loopLength = 0;      // seconds
};

struct BindingWork {
    std::vector<std::string> trackList;
    std::set<std::string> trackNames;  // the same names, for lookups
    std::vector<BoundTrack> tracks;    // in track-index order
    std::vector<MidiTrack> midiTracks; // in track-index order
    bool syncApplied = false;          // the sync list fitted the clips
    std::vector<LoopLengthEnd> loopLengthEnds;
};

// REAPER's take channel mode for the one channel of its file a clip plays.
int oneChannelMode(const ClipDefinition& clip);

// Stable sort of clips by timeline position.
void sortByPosition(std::vector<AudioClip>& clips);

// True when legs (3 or more tracks of one name) are one multichannel track:
// the same non-zero number of clips, and clip by clip the same file, each leg
// playing another of its channels where the file has as many as there are
// legs, and positions and lengths within 1e-9 s.
bool legsFold(const std::vector<const std::vector<AudioClip>*>& legs);

// The name a track goes by once names are bound: its paired playlist's, else its own.
inline const std::string& currentNameOf(const BoundTrack& track) {
    return track.record >= 0 && !track.playlistName.empty() ? track.playlistName : track.name;
}

// Warp markers (timeline s, source s) ending at `at`: those past it are replaced
// by one marker interpolated there.
void cutWarpMarkers(std::vector<std::pair<double, double>>& markers, double at);
