#include "session/session_model.h"

#include <set>

std::vector<std::string> placementTrackNames(const ClipLists& clips) {
    std::vector<std::string> names;
    std::set<std::string> seen;
    for (const ClipPlacement& placement : clips.audioPlacements) {
        if (seen.insert(placement.trackName).second) names.push_back(placement.trackName);
    }
    return names;
}
