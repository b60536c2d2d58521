// Records that stand beside the track list: the folder tree, the colour each
// track row stores, and the facts a colour coding scheme reads off a track block.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "session/blocks.h"
#include "session/tracks.h"

// One folder of the track list and its direct members, by rowId.
struct FolderLink {
    uint64_t folderId = 0;
    std::vector<uint64_t> memberIds;
};

struct FolderTree {
    bool readable = false;  // the 0x210C table was found and kept its bounds
    std::vector<FolderLink> links;
};
FolderTree readFolderTree(const SessionImage& image);

// The colour value a track's 0x2015 record stores: a palette index, or 65534 for none.
struct TrackColourValue {
    std::string name;  // the track list row of the same position
    uint16_t value = 0;
};
std::vector<TrackColourValue> readTrackColourValues(const SessionImage& image, const std::vector<TrackListRow>& rows);

// What the colour coding schemes read off a track block, one per track row.
struct TrackSchemeFacts {
    bool insideVoiceHolder = false;  // a 0x261C block encloses the track's start
    int64_t midiOutput = -1;         // 1-based MIDI output of a MIDI track; -1 when none is stored
};
std::vector<TrackSchemeFacts> readTrackSchemeFacts(const SessionImage& image, const std::vector<SessionTrack>& rows);
