// Everything the readers take from the session image, in one record. The
// analysis passes and the writer read this model, never the image bytes.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "melodyne/ara_sets.h"
#include "session/automation.h"
#include "session/clip_effects.h"
#include "session/clip_gain.h"
#include "session/clip_groups.h"
#include "session/clips.h"
#include "session/fades.h"
#include "session/file_folders.h"
#include "session/folders.h"
#include "session/groups.h"
#include "session/locations.h"
#include "session/loops.h"
#include "session/meters.h"
#include "session/midi.h"
#include "session/playlists.h"
#include "session/plugin_records.h"
#include "session/routing.h"
#include "session/session_info.h"
#include "session/strips.h"
#include "session/tempo.h"
#include "session/tracks.h"
#include "session/warp.h"
#include "session/video.h"

struct SessionModel {
    SessionInfo info;
    double sessionTempo = 120;  // quarter-note BPM the session opens with
    std::vector<TempoEvent> tempoMap;
    std::vector<MeterEvent> meterMap;
    std::vector<MemoryLocation> memoryLocations;

    std::vector<AudioFileRef> audioFiles;
    FileFolderMap fileFolders;
    std::vector<std::string> videoFiles;
    std::vector<VideoPlaylist> videoPlaylists;
    ClipLists clips;
    ClipSyncOffsets syncOffsets;
    std::vector<TimebaseRecord> timebaseRecords;
    std::vector<PlaylistRow> playlistRows;
    std::map<uint16_t, std::string> playlistOwners;  // track number to the name of the track that plays it
    std::vector<FadeRecord> fades;  // the fade table; left empty under --no-fades
    std::vector<LoopRecord> loopRecords;
    std::vector<ClipGroup> clipGroups;  // by group number
    ClipGainsOfNames clipGains;         // by clip or clip group name
    std::map<std::string, ClipEffectsValues> clipEffects;  // stored Clip Effects by clip name
    WarpMaps warpMaps;
    std::map<std::string, double> pitchShifts;  // semitones by clip name
    std::vector<AraSet> araSets;                  // Melodyne edit sets
    std::map<std::string, int32_t> araClipSets;   // clip name to its edit set

    SessionTrackRows tracks;
    std::vector<TrackAttributes> attributes;
    std::vector<TrackListRow> trackListRows;
    TrackListChoice trackList;  // the names the run calls its tracks
    std::vector<std::string> inactiveNames;
    std::vector<std::string> voiceOffNames;
    std::string masterName;
    std::vector<std::string> busNames;
    std::vector<StripRow> strips;
    std::vector<BusRecord> paths;
    std::vector<TrackRouting> routing;
    std::map<uint16_t, std::string> keyInputNames;
    std::vector<HardwareInsert> hardwareInserts;
    std::vector<PluginInstance> plugins;
    std::map<std::string, std::string> storedPluginNames;
    std::map<std::string, std::vector<PluginInstance>> pluginsOfStrip;  // by strip name, slot order

    std::vector<MidiStreamChunk> midiStreams;  // by chunk number, as the note chunks
    std::vector<MidiPlaylistRow> midiPlaylistRows;
    std::map<std::string, MidiTrackControls> midiControls;
    std::map<std::string, MidiRealTime> midiRealTime;
    std::map<std::string, MidiTrackState> midiTrackStates;
    std::vector<MidiOutputRow> midiOutputs;  // the rows a MIDI track's output index points into

    PositionFaults positionFaults;  // stored positions the readers could not take as they stand

    std::vector<GroupRecord> groupRecords;
    std::map<size_t, int32_t> vcaLevels;  // VCA master row position: its level in tenths of a dB
    FolderTree folderTree;
    std::vector<TrackColourValue> trackColourValues;
    std::vector<TrackSchemeFacts> trackSchemeFacts;  // one per track row
};

// The unique track names of the audio placements, in file order.
std::vector<std::string> placementTrackNames(const ClipLists& clips);
