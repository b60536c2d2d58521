// Mix and VCA groups as REAPER group bits, and the palette index each track
// stores or the session's colour coding scheme gives it.
#include <algorithm>
#include <map>
#include <set>

#include "analysis/palette.h"
#include "analysis/passes.h"
#include "cli/console.h"

namespace {

constexpr uint32_t kAudioRow = 0x261B;
constexpr uint32_t kMasterRow = 0x261D;
constexpr uint32_t kVcaRow = 0x261F;
constexpr uint32_t kMidiRow = 0x2620;
constexpr uint32_t kInstrumentRow = 0x2621;
constexpr uint32_t kVideoRow = 0x2623;
constexpr uint32_t kCarriedAttributes = 0x193;  // volume, mute, 4, solo and 8
constexpr int kGroupBits = 32;
constexpr uint16_t kNoColour = 0xFFFE;
const char* const kAllGroup = "<ALL>";

enum TrackCoding { kRowsAndChannels = 1, kRowsAndDevices = 2, kGroups = 3, kTrackType = 4 };

bool attributeOn(const GroupRecord& group, size_t attribute) {
    if (!group.hasAttributes) return attribute == 0;  // a group without attributes links volume alone
    return attribute < group.attributes.size() && group.attributes[attribute] != 0;
}

// Pro Tools lists a live group in both its Mix and its Edit list; a record
// that stands once is stale. "<ALL>" is never a group of the project.
std::vector<const GroupRecord*> liveGroups(const std::vector<GroupRecord>& records, GroupTables& groups) {
    std::map<std::pair<std::string, std::vector<uint16_t>>, int> copies;
    for (const GroupRecord& group : records) ++copies[{group.name, group.members}];
    std::set<std::pair<std::string, std::vector<uint16_t>>> taken;
    std::set<std::string> stale;
    std::vector<const GroupRecord*> kept;
    for (const GroupRecord& group : records) {
        if (group.name == kAllGroup) continue;
        const auto key = std::make_pair(group.name, group.members);
        if (taken.count(key)) continue;
        if (copies[key] == 1) {
            stale.insert(group.name);
            continue;
        }
        taken.insert(key);
        kept.push_back(&group);
        groups.decoded.push_back(group.name);
    }
    groups.ignoredNames.assign(stale.begin(), stale.end());
    return kept;
}

// Members are positions in the track table: a table of another size than the
// "<ALL>" group says makes every member past the gap point at the wrong track.
bool membersTrusted(const std::vector<GroupRecord>& records, size_t rows, GroupTables& groups) {
    int said = -1;
    for (const GroupRecord& group : records) {
        if (group.name == kAllGroup) said = std::max(said, static_cast<int>(group.members.size()));
    }
    if (said < 0 || static_cast<size_t>(said) == rows) return true;
    groups.stripsSaid = said;
    groups.stripsFound = static_cast<int>(rows);
    return false;
}

void linkMixGroup(const GroupRecord& group, uint32_t bit, const std::vector<SessionTrack>& rows, GroupTables& groups) {
    bool holdsMaster = false;
    bool linked = false;  // some member got a bit a GROUP_FLAGS line carries
    const bool links = attributeOn(group, 0) || attributeOn(group, 1) || attributeOn(group, 7) || attributeOn(group, 8);
    for (uint16_t member : group.members) {
        if (member >= rows.size()) continue;
        if (rows[member].kind == kMasterRow) {
            holdsMaster = true;
            continue;
        }
        TrackGroupBits& bits = groups.bits[effectiveName(rows[member])];
        if (attributeOn(group, 0)) bits.volume |= bit;
        if (attributeOn(group, 1)) bits.mute |= bit;
        if (attributeOn(group, 7)) bits.solo |= bit;
        if (attributeOn(group, 8)) bits.fourth |= bit;
        linked = linked || links;
    }
    if (holdsMaster) groups.masterFaderGroups.push_back(group.name);
    std::string uncarried;
    for (size_t attribute = 0; attribute < kGroupBits; ++attribute) {
        if (!attributeOn(group, attribute) || ((kCarriedAttributes >> attribute) & 1)) continue;
        uncarried += formatText("%s#%d", uncarried.empty() ? "" : ", ", static_cast<int>(attribute));
    }
    if (!uncarried.empty()) groups.uncarried.emplace_back(group.name, uncarried);
    if (linked) {
        ++groups.written;
    } else {
        groups.linkless.push_back(group.name);
    }
}

// A VCA takes a bit only when some member follows it.
bool linkVcaGroup(const GroupRecord& group, uint32_t bit, const SessionModel& model, GroupTables& groups) {
    const std::vector<SessionTrack>& rows = model.tracks.rows;
    const size_t master = static_cast<size_t>(group.vcaPosition);
    bool followed = false;
    bool holdsMaster = false;
    for (uint16_t member : group.members) {
        if (member == master || member >= rows.size()) continue;
        if (rows[member].kind == kMasterRow) {
            holdsMaster = true;
            continue;
        }
        groups.bits[effectiveName(rows[member])].vcaFollow |= bit;
        followed = true;
    }
    if (holdsMaster) groups.masterFaderGroups.push_back(group.name);
    if (!followed) return false;
    const std::string& name = effectiveName(rows[master]);
    groups.bits[name].vcaLead |= bit;
    double level = 0;
    auto stored = model.vcaLevels.find(master);
    if (stored != model.vcaLevels.end()) {
        level = stored->second / 10.0;
        groups.vcaLevelDb[name] = level;
    }
    groups.vcaMasters.emplace_back(name, level);
    return true;
}

void resolveGroups(const SessionModel& model, GroupTables& groups) {
    const std::vector<SessionTrack>& rows = model.tracks.rows;
    for (const SessionTrack& row : rows) groups.masterFaders += row.kind == kMasterRow ? 1 : 0;
    const std::vector<const GroupRecord*> kept = liveGroups(model.groupRecords, groups);
    if (!membersTrusted(model.groupRecords, rows.size(), groups)) return;
    int counter = 0;
    for (const GroupRecord* group : kept) {
        if (group->vcaPosition >= 0) {
            const size_t master = static_cast<size_t>(group->vcaPosition);
            if (master >= rows.size() || rows[master].kind != kVcaRow) {
                groups.unresolvedVcas.push_back(group->name);
            } else if (counter >= kGroupBits) {
                ++groups.pastLimit;
            } else if (linkVcaGroup(*group, 1u << counter, model, groups)) {
                ++counter;
            }
            continue;
        }
        if (group->type == 0) {
            groups.editGroups.push_back(group->name);
            continue;
        }
        if (group->type > 2) {
            groups.unknownTypeGroups.push_back(group->name);
            continue;
        }
        if (counter >= kGroupBits) {
            ++groups.pastLimit;
            continue;
        }
        linkMixGroup(*group, 1u << counter++, rows, groups);
    }
}

void storeScheme(ColourTables& colours, const SessionTrack& row, int32_t index, bool storedNameOnlyIfNew) {
    colours.schemeTrackColour[effectiveName(row)] = index;
    if (row.name.empty()) return;
    if (!storedNameOnlyIfNew || !colours.schemeTrackColour.count(row.name)) colours.schemeTrackColour[row.name] = index;
}

int32_t trackTypeIndex(const SessionTrack& row, const TrackSchemeFacts& facts) {
    switch (row.kind) {
        case kAudioRow: return facts.insideVoiceHolder ? 94 : 86;
        case kMasterRow: return 80;
        case kVcaRow: return 95;
        case kMidiRow: return 75;
        case kInstrumentRow: return 59;
        case kVideoRow: return 91;
        default: return 0;
    }
}

// The lowest slot wins; an equal slot keeps the first group.
void colourByGroups(const SessionModel& model, ColourTables& colours) {
    const std::vector<SessionTrack>& rows = model.tracks.rows;
    std::map<std::string, int> slotOf;
    for (const GroupRecord& group : model.groupRecords) {
        if (!group.active || group.name == kAllGroup) continue;
        if (group.slot == 0) {
            ++colours.groupsWithoutSlot;
            continue;
        }
        const int32_t index = rowCycleIndex((group.slot - 1) % 26 % 16);
        for (uint16_t member : group.members) {
            if (member >= rows.size()) continue;
            for (const std::string* name : {&effectiveName(rows[member]), &rows[member].name}) {
                if (name->empty()) continue;
                auto slot = slotOf.find(*name);
                if (slot != slotOf.end() && slot->second <= group.slot) continue;
                slotOf[*name] = group.slot;
                colours.schemeTrackColour[*name] = index;
            }
        }
    }
}

// A MIDI track's colour under the row schemes comes from its MIDI output: its
// channel, or under "Tracks and MIDI Devices" the hardware port's device.
int32_t midiRowIndex(const SessionModel& model, int64_t output, int coding, ColourTables& colours) {
    const std::vector<MidiOutputRow>& outputs = model.midiOutputs;
    if (output < 1 || static_cast<size_t>(output) > outputs.size() || outputs[output - 1].channel <= 0) {
        ++colours.midiWithoutOutput;
        return 0;
    }
    const MidiOutputRow& row = outputs[static_cast<size_t>(output - 1)];
    if (coding == kRowsAndChannels) return rowCycleIndex((row.channel - 1) % 26 % 16);
    if (row.pluginNode) {
        ++colours.feedingPluginInstrument;
        return 0;
    }
    return rowCycleIndex(row.deviceByte % 16);
}

void colourByRows(const SessionModel& model, int coding, ColourTables& colours) {
    const std::vector<SessionTrack>& rows = model.tracks.rows;
    for (size_t i = 0; i < rows.size(); ++i) {
        const uint32_t stored = i < model.attributes.size() ? model.attributes[i].displayRow : 0;
        int64_t displayRow = stored;
        if (stored == 0) {
            displayRow = static_cast<int64_t>(i) + 1;
            ++colours.withoutDisplayRow;
        }
        int32_t index = 0;
        if (rows[i].kind == kVideoRow) {
            colours.videoUnderRowScheme = true;
        } else if (rows[i].kind == kMidiRow || rows[i].kind == kInstrumentRow) {
            const int64_t output = i < model.trackSchemeFacts.size() ? model.trackSchemeFacts[i].midiOutput : -1;
            index = midiRowIndex(model, output, coding, colours);
        } else {
            if (displayRow > 26) ++colours.pastRow26;
            index = rowCycleIndex((displayRow - 1) % 16);
        }
        if (index > 0) storeScheme(colours, rows[i], index, true);
    }
}

void colourTracks(const SessionModel& model, ColourTables& colours) {
    for (size_t i = 0; i < model.tracks.rows.size() && i < model.attributes.size(); ++i) {
        const uint32_t displayRow = model.attributes[i].displayRow;
        if (displayRow == 0) continue;
        colours.displayRows[effectiveName(model.tracks.rows[i])] = displayRow;
        colours.displayRows.emplace(model.tracks.rows[i].name, displayRow);
    }
    for (const TrackColourValue& value : model.trackColourValues) {
        if (value.value == kNoColour) continue;
        if (onTrackPalette(value.value)) {
            colours.explicitTrackColour[value.name] = value.value;
        } else {
            colours.offPalette.insert(value.name);
        }
    }
    const int coding = model.info.trackColorCoding;
    if (coding == kTrackType) {
        const std::vector<SessionTrack>& rows = model.tracks.rows;
        for (size_t i = 0; i < rows.size(); ++i) {
            const bool hasFacts = i < model.trackSchemeFacts.size();
            const int32_t index = trackTypeIndex(rows[i], hasFacts ? model.trackSchemeFacts[i] : TrackSchemeFacts());
            if (index > 0) storeScheme(colours, rows[i], index, false);
        }
    } else if (coding == kGroups) {
        colourByGroups(model, colours);
    } else if (coding == kRowsAndChannels || coding == kRowsAndDevices) {
        colourByRows(model, coding, colours);
    }
}

// The most common colour of a list, the lowest index on a tie; -2 for none.
int32_t mostCommon(const std::map<int32_t, int>& counts) {
    int32_t best = -2;
    int most = 0;
    for (const auto& [colour, count] : counts) {
        if (count > most) {
            best = colour;
            most = count;
        }
    }
    return best;
}

}  // namespace

void applyGroupsAndColours(const SessionModel& model, const ConvertOptions&, BindingWork&, AnalysisModel& analysis) {
    resolveGroups(model, analysis.groups);
    colourTracks(model, analysis.colours);
}

// A clip on an alternate lane with no colour of its own is drawn by Pro Tools
// in the colour of the other clips of its recording, or else of its lane.
void borrowLaneColours(const SessionModel&, const ConvertOptions&, BindingWork&, AnalysisModel& analysis) {
    for (OutputTrack& track : analysis.outputTracks) {
        if (track.isMidi || track.lanes.empty()) continue;
        std::map<std::string, std::map<int32_t, int>> byFile;
        std::vector<std::map<int32_t, int>> byLane(track.lanes.size());
        for (const AudioClip& clip : track.clips) {
            if (clip.colour != -2) ++byFile[clip.clip.fileName][clip.colour];
        }
        for (size_t l = 0; l < track.lanes.size(); ++l) {
            for (const AudioClip& clip : track.lanes[l].clips) {
                if (clip.colour == -2) continue;
                ++byFile[clip.clip.fileName][clip.colour];
                ++byLane[l][clip.colour];
            }
        }
        for (size_t l = 0; l < track.lanes.size(); ++l) {
            for (AudioClip& clip : track.lanes[l].clips) {
                if (clip.colour != -2) continue;
                auto file = byFile.find(clip.clip.fileName);
                int32_t colour = file == byFile.end() ? -2 : mostCommon(file->second);
                if (colour == -2) colour = mostCommon(byLane[l]);
                if (colour == -2) continue;
                clip.colour = colour;
                ++analysis.colours.laneClipsBorrowed;
            }
        }
    }
}
