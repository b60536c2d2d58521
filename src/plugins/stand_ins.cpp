#include "plugins/chain_writer.h"

// No stand-in writer is part of this build: every stock processor keeps its
// AAX-only slot.
std::optional<std::string> standInSlotText(const RunState&, const PluginInstance&, const ChainPlace&) {
    return std::nullopt;
}
