// The session's track tables as they stand: the track blocks with their names
// and spans, the track list rows, the display records and a few name lists.
// Binding these tables to one another is left to the analysis.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "session/blocks.h"

// One track block, in file order.
struct SessionTrack {
    uint64_t blockStart = 0;  // the block's "Z"
    uint64_t blockEnd = 0;    // just behind the block
    uint32_t kind = 0;        // content type: 0x261B audio or aux, 0x261D master fader,
                              // 0x261F VCA master, 0x2620 MIDI, 0x2621 instrument, 0x2623 video
    std::string name;         // from the 0x2619 child; can be empty
    std::string currentName;  // from the 0x251A list; can be empty
    uint8_t active = 1;       // 0 for an inactive track
};

// The name a track goes by: currentName, or name when that is empty.
const std::string& effectiveName(const SessionTrack& track);

struct SessionTrackRows {
    std::vector<SessionTrack> rows;
    bool currentNamesFitted = false;  // the 0x251A names were assigned
};
SessionTrackRows readSessionTracks(const SessionImage& image);

// Display values of one track, from its 0x2015 record.
struct TrackAttributes {
    uint8_t shown = 1;            // 0: hidden in the edit window
    int32_t height = 0;           // stored track height
    uint32_t displayRow = 0;      // 1-based row in the track order, 0 if none
    int32_t automationMode = -1;  // 0 Off, 1 Read, 2 Touch, 3 Latch, 4 Write, 5 Touch/Latch
    int32_t trimOn = -1;          // 1: the mode is combined with Trim
    std::string comment;
    int32_t solo = -1;            // 1: soloed
    int32_t soloSafe = -1;        // 1: solo safe
};
// One record per track row, defaults where no display record belongs to it.
std::vector<TrackAttributes> readTrackAttributes(const SessionImage& image,
                                                 const std::vector<SessionTrack>& tracks);

// One 0x251A row of the first 0x2519 track list.
struct TrackListRow {
    std::string name;
    uint16_t rowType = 0;
    uint8_t width = 0;  // channels
    bool rowFlag = false;
    uint64_t rowId = 0;
};
std::vector<TrackListRow> readTrackListRows(const SessionImage& image);

// The table of track names near the start of the image, anchored at the first
// name that is one of knownNames (the names the placements use); empty if none is.
std::vector<std::string> readTrackNameScan(const SessionImage& image,
                                           const std::vector<std::string>& knownNames);

// Names of tracks whose 0x251A row marks them inactive.
std::vector<std::string> readInactiveNames(const SessionImage& image);
// Names (current and stored) of tracks whose voice is switched off.
std::vector<std::string> readVoiceOffNames(const SessionImage& image,
                                           const std::vector<SessionTrack>& tracks);
// The first master fader's name, or empty.
std::string readMasterName(const SessionImage& image);

// The run's track list: the name scan, unless the track rows give a complete
// list of distinct names that differs from it. When the rows win, the driver
// says "  track list taken from the strip rows (name scan found %d of %d)\n"
// with scanCount and rowCount.
struct TrackListChoice {
    std::vector<std::string> names;
    bool fromStripRows = false;
    int scanCount = 0;  // names of the track rows that the scan found too
    int rowCount = 0;   // track rows
};
TrackListChoice chooseTrackList(const std::vector<std::string>& scanNames,
                                const std::vector<SessionTrack>& tracks);
