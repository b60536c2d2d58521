// Clip groups (0x262C list, one 0x262B per group): each group's name and
// extent. A playlist entry flagged as a group names one by its place in this
// list; what a group plays stands in a playlist of its own (TimebaseRecord's
// clipGroup).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "session/blocks.h"
#include "session/timeline_position.h"

struct ClipGroup {
    bool readable = false;     // the group's name block was in shape; else a place-holder
    std::string name;
    TimelinePosition start;    // the origin of the group's own timeline: ticks when biased
    int64_t length = 0;        // samples
    uint64_t endValue = 0;     // carried, not used
};

// Every group of the first clip group list, in order, those out of shape kept
// as place-holders so that a group's number is its index.
std::vector<ClipGroup> readClipGroups(const SessionImage& image);
