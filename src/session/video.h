// The session's video files and the placements of its video tracks.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "session/blocks.h"

// One placement of a video track: start in video frames, its clip (-1 for none).
struct VideoPlacement {
    int64_t start = 0;
    int32_t clip = -1;
    int16_t colour = -2;
    bool locked = false;
};

// A video placement list (0x1053): the playlist's name and its placements.
struct VideoPlaylist {
    std::string name;
    std::vector<VideoPlacement> placements;
};

// The names of the file lists (0x103A) that end in a video file's extension, in file order.
std::vector<std::string> readVideoFiles(const SessionImage& image);
// Every video placement list, in file order.
std::vector<VideoPlaylist> readVideoPlacements(const SessionImage& image);
