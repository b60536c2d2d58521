// What the analysis passes leave for the writer: the ordered output tracks and
// the run-wide tables and counts keyed by track name.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "analysis/mix_structure.h"
#include "melodyne/ara_gate.h"
#include "session/automation.h"
#include "session/clips.h"
#include "standins/trim.h"

// An alternate playlist attached to its parent track as a REAPER fixed lane.
struct Lane {
    std::string name;
    std::vector<AudioClip> clips;
};

// One event of a MIDI item's source, at 960 per quarter note.
struct MidiItemEvent {
    uint64_t ppq = 0;     // from the start of the source
    uint32_t status = 0;  // 0x80, 0x90, 0xA0, 0xB0, 0xD0, 0xE0 or 0xF0
    uint32_t data1 = 0;
    uint32_t data2 = 0;
    bool muted = false;
    std::vector<uint8_t> sysex;  // without F0 and F7
};

// One MIDI clip placed on a MIDI track, its edges as Pro Tools plays them.
struct MidiItem {
    double position = 0;     // seconds
    double length = 0;       // seconds
    double sourceStart = 0;  // seconds into the clip; negative when notes sit before the item
    std::string name;
    bool muted = false;
    std::vector<MidiItemEvent> events;  // sorted by ppq
    int32_t colour = -2;
    bool locked = false;
};

// One track of the project, in project order. What is not in the list of
// output tracks is not in the project.
struct OutputTrack {
    std::string name;           // the name shown in the project
    std::string matchKey;       // the strip-row name it answers to; empty for lanes, alternates, recovered tracks
    std::string laneParent;     // an alternate playlist: the name of its parent strip
    std::string besideParent;   // a recovered track of an alternate: the parent it is written after
    std::string laneName;       // an alternate playlist: its own playlist name
    std::vector<Lane> lanes;
    double legPan = 0;          // -1.0 or +1.0 for one half of a pair written apart
    std::vector<AudioClip> clips;  // the kept clips, sorted by position
    bool isMidi = false;
    std::vector<MidiItem> midiItems;
    bool isFreezeRecord = false;
    std::string frozenTrackName;
    bool inactive = false;
    bool voiceOff = false;
};

// A clip of a track frozen in Pro Tools: the render that plays in its place.
struct FreezeRecord {
    std::string fileName;
    double position = 0;
    double sourceOffset = 0;
};

// Counts the binding leaves for the console notes.
struct BindingCounts {
    int mergedPairs = 0;             // stereo tracks merged from split mono
    int foldedSurround = 0;          // surround tracks folded from their legs
    int alternatesMatched = 0;       // alternate playlists matched to their parent track
    int alternatesWithoutParent = 0;
    int alternatesSetAside = 0;      // with keepAltTakes off
    int lanesWritten = 0;            // written as REAPER fixed lanes
    int alternatesIntoEmptyParent = 0;
    int fadeReferencesDropped = 0;
    int deletedPlacements = 0;
    int emptyTracks = 0;             // had no clips and were written empty
    int unmatchedTracks = 0;         // matched no strip row
    int freezeRecords = 0;
    int videoTracks = 0;
    int alternatesKept = 0;          // alternate playlists given a track or lane of their own

    int tickTracks = 0;              // tracks with clips, a split-mono pair or surround track once, read in ticks
    int sampleTracks = 0;            // the same, read in samples
    bool playlistListMissing = false;  // no track playlist list: tracks were paired by their clip counts
    int unpairedReadByRecords = 0;   // unpaired tracks given the unit every record agrees on
    bool unpairedRecordsTickBased = false;  // that unit is ticks
    int judgedByPositions = 0;       // unpaired tracks judged by the size of their positions
    int clipsWithSyncPoint = 0;      // clips placed by their sync point
    bool syncPointsUnmatched = false;  // sync points exist but their list fits no clip list
};

// A track given an inferred play rate.
struct StretchedTrack {
    std::string name;
    double rate = 1.0;
};

// A looped clip, or a loop record of no clip, that arrives as stored.
struct LoopNotWritten {
    std::string trackName;
    std::string clipName;
    double position = 0;  // seconds
    std::string reason;   // empty for a loop longer than its clip
    double loopLength = 0;
    double clipLength = 0;
    bool orphan = false;  // a record of no clip: kind and storedPosition tell it
    uint16_t kind = 0;
    TimelinePosition storedPosition;
};

// Counts and lists the clip passes leave for the console notes: fades,
// loops, overlaps and stretch.
struct ClipCounts {
    int fadeIns = 0;
    int fadeOuts = 0;
    int crossfades = 0;
    int sCurves = 0;
    int fadesWithoutEdge = 0;        // sat on no kept clip edge
    int fadesNotUnderstood = 0;      // named a record past the table or of kind 0

    int loopsWritten = 0;            // looped clips written as their passes
    int loopPasses = 0;
    int loopsWithFades = 0;
    int loopsEndedByLength = 0;      // set by a Loop Length end
    std::vector<LoopNotWritten> loopsNotWritten;

    int headsStartLater = 0;
    int clipsCoveredMuted = 0;
    int tailsSilencedUnderMuted = 0;

    int clipsStretched = 0;
    int clipsStretchedFromSession = 0;  // whose rate a session record gave
    std::vector<StretchedTrack> stretchedTracks;
    int clipsPitchShifted = 0;
    int clipsWithWarpMarkers = 0;
    int warpMarkerTrims = 0;          // of those, trims of a take
    int warpMapsNotSliced = 0;
    int warpMapsCrossing = 0;         // maps whose crossing points were dropped

    int clipGainLinesMended = 0;      // gain lines with points out of order or past their clip
    int clipsGivenGroupGain = 0;      // clips in a clip group given the group's fixed gain as well
    std::vector<std::string> clipsUnderGroupGainLine;  // clips in a group whose own gain is a drawn line
    int clipsWithEffectsPolarity = 0;  // Clip Effects polarity switched on: take polarity

    int clipGroupsFlattened = 0;      // clip group entries laid out as the clips they play
    int clipGroupPieces = 0;
    int emptyClipGroups = 0;          // clip group entries holding no audio, written as empty items
    int groupFadeIns = 0;
    int groupFadeOuts = 0;
    int groupFadesUnbound = 0;
    int groupPiecesUnread = 0;
    std::vector<std::string> tracksWithUnreadPieces;
};

// What the MIDI pass did, for the console notes.
struct MidiCounts {
    int clips = 0;
    int notes = 0;                 // note events of the written items
    int controllerEvents = 0;      // pitch bend, CC and aftertouch
    int sysexEvents = 0;
    int sysexOutside = 0;          // SysEx outside its clip, written live
    int mismatchedStreams = 0;     // controller data that did not match its note chunk
    int eventsMutedOutside = 0;    // outside a clip edge, muted
    int eventsKeptOutside = 0;     // outside a clip edge, kept unmuted (--keep-inaudible-midi)
    int notesTooShort = 0;         // too short for 960 PPQ: one tick long and muted
    int notesRunningPast = 0;      // unmuted notes that run past a clip edge
    int clipsCut = 0;              // cut where a later clip takes over
    int clipsHeadTrimmed = 0;      // start later, under the clip on top
    int sampleBasedClips = 0;      // MIDI clips on a sample-based track
    int sampleBasedOverlaps = 0;   // of those, with a cut or head trim not applied
    std::set<std::string> sampleBasedTracks;
};

// One send as its receiver takes it.
struct SendEntry {
    int source = 0;  // output track index
    double levelDb = 0;
    bool postFader = false;
    AutomationLane levelLane;
    AutomationLane muteLane;
    double pan = 0;  // -1 left to +1 right
};

// A receive from another track: its index and the source channel code.
struct ChannelReceive {
    int source = 0;
    int code = 0;
};

// The routing graph: who plays into whom, and what was left out.
struct RoutingTables {
    std::map<std::string, int> sideOfOutput;  // owner name: -1 left, +1 right
    std::vector<std::string> oneSidedTracks;  // "name (left)" lines
    std::set<int> noMainSend;                 // output track indices
    std::map<std::string, std::vector<SendEntry>> sendsInto;  // by receiver name
    std::vector<std::string> returnTracks;    // buses with no track of their own, in name order
    std::map<int, std::vector<ChannelReceive>> outputReceives;  // by target track index
    std::map<int, std::vector<ChannelReceive>> pathReceives;    // instrument paths, by aux track index
    std::map<std::string, int> needChannels;                    // by track key
    std::map<std::string, int> auxWidth;      // aux key: channels of the bus it takes, above two
    int wideAuxes = 0;                        // auxes written as wide as their surround bus
    std::vector<std::string> noOutputTracks;
    std::map<std::string, std::set<std::string>> needs;  // owner: the names it plays into
    std::map<std::string, int> keyFrom;       // track key: the track index feeding its channels 3/4
    std::map<std::string, std::vector<int>> extraKeys;  // further key sources, channels 5/6 and up
    std::map<uint64_t, int> keyPairOf;        // keyed insert (record offset): 0 for channels 3/4, 1 for 5/6, ...
    std::set<std::string> keyOnlyBuses;       // return tracks that feed a key, not the mix
    int keysWired = 0;
    int extraKeysWired = 0;
    int keysUnresolved = 0;
    std::map<std::string, int> keysHeardFromTrack;  // plug-in on track: hears the track's wired key
    std::vector<std::string> multiMonoNotes;  // one "NOTE: ..." per unlinked multi-mono pair
    std::string clickPlayer;                  // the track whose Click II plays the session's click
    std::set<int> preFaderUnmuted;            // muted tracks written unmuted, fader down
    std::vector<std::string> preFaderUnmutedNames;
    std::vector<std::string> preFaderKeptMuted;  // with automation: they stay muted

    int sends = 0;
    int sendsToAux = 0;           // routed bus -> aux by the aux's input
    int monoLegsMatched = 0;      // of those, a mono leg matched to its stereo pair
    int sendsToTwoAuxes = 0;
    int sendsPanned = 0;          // mono sends panned off center
    std::vector<std::string> stereoSendsOffDefault;
    int sendPanLanes = 0;         // send pan automation lanes not carried
    int outputsToAux = 0;
    std::vector<std::string> clickTracksLeftOut;
    std::vector<std::string> clickTracksKept;
    std::vector<std::string> hiddenLeftOut;
    std::vector<std::string> inactiveLeftOut;
    std::vector<std::string> keptForNeeds;
};

// A mono or stereo source panned into a bus wider than stereo: the bus and
// its legs, in the bus's channel order.
struct SurroundFeed {
    std::string bus;
    std::vector<std::string> speakers;
    bool stereo = false;
};

// A strip whose lanes are neither a mono nor a stereo strip's.
struct UnknownWidthStrip {
    std::string name;
    int controlSlots = 0;
};

struct AnalysisModel {
    std::vector<OutputTrack> outputTracks;
    std::vector<UnknownWidthStrip> unknownWidthStrips;

    std::map<std::string, int> channelsOfTrack;  // 2 for a merged pair, the leg count of a folded track
    std::map<std::string, int> timebaseOfTrack;  // 0 sample-based, 2 tick-based
    std::map<std::string, int> surroundLegs;
    std::map<std::string, std::vector<FreezeRecord>> freezeRecords;  // by frozen track name
    std::vector<std::string> videoTrackNames;
    std::vector<std::string> busNames;  // the session's buses, without those that are tracks
    std::vector<std::string> unmatchedTrackNames;  // tracks appended because no strip row took them

    BindingCounts counts;
    ClipCounts clipCounts;
    MidiCounts midiCounts;
    RoutingTables routing;
    GroupTables groups;
    ColourTables colours;
    FolderTables folders;
    AraTables ara;  // Melodyne edit sets: which can be carried, their archives
    TrimTables trim;  // Avid Trim gains and polarity flips
    std::map<std::string, SurroundFeed> surroundFeeds;  // by track key: the surround bus it is panned into
    int surroundUnplaced = 0;  // tracks feeding a surround bus whose layout has no speaker positions
};

// The key a track is looked up by in the name tables: matchKey, else name.
inline const std::string& trackKey(const OutputTrack& track) {
    return track.matchKey.empty() ? track.name : track.matchKey;
}
