#include "standins/trim.h"

#include <iterator>

#include "project/text.h"
#include "session/plugin_records.h"
#include "standins/reaper_slots.h"

namespace {

// The gain curve of Trim's control, measured: (word, dB).
constexpr struct {
    double word;
    double db;
} kCurve[] = {{-161638556.0, -12}, {463923640.0, -6}, {778803940.0, -3},
              {1093684240.0, 0},   {1635278356.0, 3}, {2147483646.0, 6}};

constexpr uint32_t kPolarityOn = 0x7FFFFFFF;

int countOf(const std::map<std::string, int>& map, const std::string& key) {
    const auto found = map.find(key);
    return found == map.end() ? 0 : found->second;
}

}  // namespace

double trimGainDbOfWord(int32_t word, bool& belowCurve) {
    belowCurve = false;
    if (word > 0x7FFFFFFD) return 6.0;
    const double w = word;
    size_t segment = 0;
    if (w < kCurve[0].word) {
        belowCurve = true;
    } else {
        while (segment + 2 < std::size(kCurve) && w > kCurve[segment + 1].word) ++segment;
    }
    const auto& a = kCurve[segment];
    const auto& b = kCurve[segment + 1];
    return a.db + (w - a.word) * (b.db - a.db) / (b.word - a.word);
}

void scanTrim(const PluginInstance& instance, const std::string& track, TrimTables& tables) {
    ++tables.instances;
    const std::vector<int32_t>& gains = instance.trimGainWords;
    if (!gains.empty()) {
        bool below = false;
        tables.gainDb[instance.recordStart] = trimGainDbOfWord(gains[0], below);
        if (below) ++tables.gainsBelowCurve;
        for (size_t k = 1; k < gains.size(); ++k) {
            if (gains[k] != gains[0]) {
                ++tables.unlinkedGains;
                break;
            }
        }
    }
    const std::vector<uint32_t>& polarity = instance.trimPolarityWords;
    auto on = [&polarity](size_t k) { return k < polarity.size() && polarity[k] == kPolarityOn; };
    if (instance.bypassed || instance.inactive) {
        // Pro Tools inverts nothing through a Trim that does not run.
        if (on(0)) ++tables.offWithPolarity;
        return;
    }
    if (polarity.size() <= 1) {
        if (on(0)) ++tables.flips[track];
        return;
    }
    if (on(0)) ++tables.leftFlips[track];
    if (on(1)) ++tables.rightFlips[track];
    if (polarity.size() >= 3) {
        for (size_t k = 1; k < polarity.size(); ++k) {
            if (on(k) != on(0)) {
                ++tables.mixedSurroundFlips;
                break;
            }
        }
    }
}

TrimPolarity trackPolarity(const TrimTables& tables, const std::string& key, const std::string& second,
                           TrimWriting& writing) {
    TrimPolarity result;
    std::string found;
    const size_t lane = second.find(" [lane:");
    for (const std::string& name : {key, second, lane == std::string::npos ? second : second.substr(0, lane)}) {
        if (tables.flips.count(name)) {
            found = name;
            break;
        }
    }
    int left = 0;
    int right = 0;
    if (!found.empty()) {
        left = countOf(tables.flips, found) + countOf(tables.leftFlips, found);
        right = countOf(tables.flips, found) + countOf(tables.rightFlips, found);
    } else {
        const bool keyFlips = tables.leftFlips.count(key) || tables.rightFlips.count(key);
        found = keyFlips ? key : second;
        if (!tables.leftFlips.count(found) && !tables.rightFlips.count(found)) return result;
        left = countOf(tables.leftFlips, found);
        right = countOf(tables.rightFlips, found);
    }
    writing.polarityUsed.insert(found);
    if (left % 2 == right % 2) {
        // An even number of flips cancels; an odd one is the track's polarity.
        result.trackSwitch = left % 2;
        if (result.trackSwitch == 0 && left + right > 0) writing.cancelled.insert(found);
        return result;
    }
    result.oneSided = 2 - left % 2;
    return result;
}

std::string trimPolaritySlot(const std::string& trackName, int side) {
    SlotPlace place;
    const uint32_t first = trackName.empty() ? 0 : uint8_t(trackName[0]);
    place.seed = (first << 16) ^ uint32_t(trackName.size()) ^ 0x504F4C00u;
    place.title = slotTitle(side == 1 ? "Trim polarity, left channel" : "Trim polarity, right channel",
                            "Channel Polarity Control");
    return writeJsSlot("IX/StereoPhaseInvert", side == 1 ? "1" : "2", 1, place);
}

std::string trimGainSlot(double gainDb, bool off, uint64_t recordStart, bool pinFlags, int depth) {
    SlotPlace place;
    place.depth = depth;
    place.seed = uint32_t(recordStart);
    place.bypassed = off;
    place.title = slotTitle("Trim", "Volume Adjustment");
    std::string shown = fixedText(gainDb, 2);
    if (shown[0] != '-') shown = "+" + shown;
    place.preset = "Avid Trim " + shown + " dB";
    std::string slot = writeVolumeSlot(gainDb, place);
    const std::string indent(static_cast<size_t>(2 * depth), ' ');
    const size_t wak = slot.rfind(indent + "WAK 0 0\n");
    if (pinFlags && wak != std::string::npos) slot.insert(wak, indent + "PINFLAGS 1\n");
    return slot;
}
