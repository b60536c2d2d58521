// Plug-in inserts as the session stores them: one 0x1038 block per instance,
// inside its strip's block, with the frame around its state (name, signature,
// key input, bypass), and the session's table of plug-in names.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "session/blocks.h"
#include "session/strips.h"

struct PluginInstance {
    std::string signature;   // 8 characters, "." for a byte that is not printable
    std::string pluginName;  // up to 64 printable bytes
    uint64_t recordStart = 0;
    uint64_t payloadEnd = 0;
    int32_t channelSets = 1;  // above 1: unlinked multi-mono, one set of settings per channel
    uint64_t stripWindowStart = 0;
    uint64_t stripWindowEnd = 0;
    uint32_t ownerWord = 0;
    int32_t keyInput = -1;  // the key input's number, -1 for none
    bool bypassed = false;
    bool inactive = false;
};

// Every instance, sorted by recordStart.
std::vector<PluginInstance> readPluginInstances(const SessionImage& image);

// Signature to the name the session's own table gives it; the first entry stands.
std::map<std::string, std::string> readStoredPluginNames(const SessionImage& image);

// Each instance under the first present strip whose row lies inside its
// window, in record order; the place in a strip's list, from 1, is its slot.
std::map<std::string, std::vector<PluginInstance>> bindInstancesToStrips(const std::vector<PluginInstance>& instances,
                                                                         const std::vector<StripRow>& strips);
