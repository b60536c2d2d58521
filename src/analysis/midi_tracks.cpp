#include <cctype>
#include <map>
#include <set>

#include "analysis/passes.h"

namespace {

std::string lowerCase(std::string text) {
    for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

bool startsWith(const std::string& text, const std::string& start) {
    return !start.empty() && text.compare(0, start.size(), start) == 0;
}

// A clip's name without the take numbers Pro Tools appends: "Bass_02-01" is "Bass".
std::string clipStem(std::string name) {
    for (;;) {
        size_t cut = name.size();
        while (cut > 0 && std::isdigit(static_cast<unsigned char>(name[cut - 1]))) --cut;
        if (cut == name.size() || cut < 2) return name;
        const char separator = name[cut - 1];
        if (separator != '-' && separator != '_' && separator != '.') return name;
        name.resize(cut - 1);
    }
}

}  // namespace

// MIDI tracks have no playlist pairing: each is bound to the track list by its
// name, else by its first clip's name, else by a name that begins like it.
void bindMidiTrackNames(const SessionModel& model, const ConvertOptions&, BindingWork& work,
                        AnalysisModel& analysis) {
    std::map<uint16_t, MidiTrack> byIndex;
    for (const MidiClip& placement : model.clips.midiPlacements) {
        auto found = byIndex.find(placement.trackIndex);
        if (found == byIndex.end()) {
            MidiTrack track;
            track.trackIndex = placement.trackIndex;
            track.name = placement.trackName;
            found = byIndex.emplace(placement.trackIndex, std::move(track)).first;
        }
        if (found->second.firstClipName.empty() && placement.clip.index != kNoClip) {
            found->second.firstClipName = placement.clip.name;
        }
    }

    std::set<std::string> claimed;
    for (const OutputTrack& track : analysis.outputTracks) {
        if (!track.matchKey.empty()) claimed.insert(track.matchKey);
    }
    std::map<std::string, size_t> placeInList;
    for (size_t i = 0; i < work.trackList.size(); ++i) placeInList.emplace(work.trackList[i], i);

    size_t cursor = 0;  // the list place behind the last bound MIDI track
    for (auto& entry : byIndex) {
        MidiTrack& track = entry.second;
        std::string bound;
        if (work.trackNames.count(track.name)) {
            bound = track.name;
        } else {
            const std::string stem = lowerCase(clipStem(track.firstClipName));
            const std::string lowerName = lowerCase(track.name);
            for (const std::string& name : work.trackList) {
                if (!stem.empty() && !claimed.count(name) && lowerCase(name) == stem) {
                    bound = name;
                    break;
                }
            }
            for (size_t i = cursor, looked = 0; bound.empty() && i < work.trackList.size() && looked < 3; ++i) {
                const std::string& name = work.trackList[i];
                if (claimed.count(name)) continue;
                ++looked;
                const std::string lowerListed = lowerCase(name);
                if (startsWith(lowerListed, lowerName) || startsWith(lowerListed, stem)) bound = name;
            }
        }
        if (!bound.empty()) {
            track.name = bound;
            track.matchKey = bound;
            claimed.insert(bound);
            cursor = placeInList[bound] + 1;
        }
        work.midiTracks.push_back(std::move(track));
    }
}
