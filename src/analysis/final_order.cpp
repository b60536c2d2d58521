#include <map>
#include <set>

#include "analysis/passes.h"
#include "cli/console.h"

namespace {

constexpr uint32_t kMasterRow = 0x261D;
constexpr uint32_t kVcaRow = 0x261F;
constexpr uint32_t kMidiRow = 0x2620;
constexpr uint32_t kInstrumentRow = 0x2621;
constexpr uint32_t kVideoRow = 0x2623;
constexpr uint16_t kBasicFolderRow = 11;

bool startsWith(const std::string& text, const std::string& start) {
    return text.compare(0, start.size(), start) == 0;
}

// A VCA master gets a track only when it leads a VCA group.
bool leadsVca(const AnalysisModel& analysis, const std::string& name) {
    auto bits = analysis.groups.bits.find(name);
    return bits != analysis.groups.bits.end() && bits->second.vcaLead != 0;
}

// Tracks by key, handed out in list order, each once.
class KeyedTracks {
public:
    KeyedTracks(const std::vector<OutputTrack>& tracks, const std::vector<bool>& placed, bool byName)
        : placed_(placed) {
        for (size_t i = 0; i < tracks.size(); ++i) {
            if (tracks[i].isFreezeRecord) continue;
            const std::string& key = byName ? tracks[i].name : tracks[i].matchKey;
            if (!key.empty()) indices_[key].push_back(i);
        }
    }
    // The first track of this key not yet placed, or -1.
    long first(const std::string& key) {
        auto found = indices_.find(key);
        if (found == indices_.end()) return -1;
        std::vector<size_t>& list = found->second;
        size_t& next = cursor_[key];
        while (next < list.size() && placed_[list[next]]) ++next;
        return next < list.size() ? static_cast<long>(list[next]) : -1;
    }

private:
    const std::vector<bool>& placed_;
    std::map<std::string, std::vector<size_t>> indices_;
    std::map<std::string, size_t> cursor_;
};

OutputTrack emptyTrack(const std::string& name) {
    OutputTrack track;
    track.name = name;
    track.matchKey = name;
    return track;
}

struct Ordering {
    std::vector<OutputTrack> audio;
    std::vector<bool> audioPlaced;
    std::vector<OutputTrack> midi;
    std::vector<bool> midiPlaced;
    std::vector<OutputTrack> ordered;
};

// Places the audio track found for a row's key and the tracks that belong with
// it: more tracks answering to the key, lanes and recovered takes behind it.
void placeWithFollowers(Ordering& order, size_t found, const std::string& key) {
    order.audioPlaced[found] = true;
    order.ordered.push_back(std::move(order.audio[found]));
    const std::string bracket = key + " [";
    for (size_t j = found + 1; j < order.audio.size() && !order.audioPlaced[j]; ++j) {
        const OutputTrack& next = order.audio[j];
        const bool belongs = next.matchKey == key || (next.matchKey.empty() && startsWith(next.name, bracket));
        if (!belongs || next.isFreezeRecord) break;
        order.audioPlaced[j] = true;
        order.ordered.push_back(std::move(order.audio[j]));
    }
}

// The rows of the session's track table in their order: the edit window's
// order, and the project's.
void walkRows(const SessionModel& model, Ordering& order,
              std::set<std::string>& inactive, AnalysisModel& analysis) {
    const std::vector<SessionTrack>& rows = model.tracks.rows;
    std::map<std::string, int> currentNameCount;
    for (const SessionTrack& row : rows) ++currentNameCount[effectiveName(row)];
    KeyedTracks audioByKey(order.audio, order.audioPlaced, false);
    KeyedTracks midiByName(order.midi, order.midiPlaced, true);

    for (const SessionTrack& row : rows) {
        if (row.kind == kMasterRow) continue;
        const std::string& current = effectiveName(row);
        const std::string& stored = row.name;
        if (row.active == 0) {
            if (!current.empty()) inactive.insert(current);
            if (!stored.empty()) inactive.insert(stored);
        }
        if (row.kind == kVideoRow) {
            ++analysis.counts.videoTracks;
            analysis.videoTrackNames.push_back(current);
            continue;
        }
        if (row.kind == kVcaRow) {
            if (leadsVca(analysis, current)) order.ordered.push_back(emptyTrack(current));
            continue;
        }
        // The Click rule of --no-click is applied with the routing rules, to the ordered tracks.
        std::string key = current;
        long found = audioByKey.first(current);
        if (found < 0 && !stored.empty() && stored != current && currentNameCount[stored] == 0) {
            key = stored;
            found = audioByKey.first(stored);
        }
        if (found >= 0) {
            placeWithFollowers(order, static_cast<size_t>(found), key);
            continue;
        }
        const bool midiRow = row.kind == kMidiRow || row.kind == kInstrumentRow;
        if (midiRow) {
            long midi = midiByName.first(current);
            if (midi < 0 && !stored.empty()) midi = midiByName.first(stored);
            if (midi >= 0) {
                order.midiPlaced[static_cast<size_t>(midi)] = true;
                order.ordered.push_back(std::move(order.midi[static_cast<size_t>(midi)]));
                continue;
            }
        }
        OutputTrack empty = emptyTrack(current);
        empty.isMidi = midiRow;
        order.ordered.push_back(std::move(empty));
        ++analysis.counts.emptyTracks;
    }
}

// An alternate whose parent strip has no clips of its own joins the parent's
// empty track as a lane.
void foldIntoEmptyParents(Ordering& order, BindingCounts& counts) {
    std::map<std::string, size_t> placedByKey;
    for (size_t i = 0; i < order.ordered.size(); ++i) {
        if (!order.ordered[i].matchKey.empty()) placedByKey.emplace(order.ordered[i].matchKey, i);
    }
    for (size_t i = 0; i < order.audio.size(); ++i) {
        OutputTrack& alternate = order.audio[i];
        if (order.audioPlaced[i] || alternate.laneParent.empty()) continue;
        auto parent = placedByKey.find(alternate.laneParent);
        if (parent == placedByKey.end()) continue;
        order.ordered[parent->second].lanes.push_back({alternate.laneName, std::move(alternate.clips)});
        order.audioPlaced[i] = true;
        ++counts.alternatesIntoEmptyParent;
    }
}

// What no row took goes to the end: audio tracks first, then MIDI tracks.
// Freeze records are never tracks of the project.
void appendUnplaced(Ordering& order, AnalysisModel& analysis) {
    BindingCounts& counts = analysis.counts;
    for (size_t i = 0; i < order.audio.size(); ++i) {
        if (order.audioPlaced[i]) continue;
        OutputTrack& track = order.audio[i];
        if (track.isFreezeRecord) {
            ++counts.freezeRecords;
            continue;
        }
        if (track.name.find("[alt playlist]") == std::string::npos) {
            ++counts.unmatchedTracks;
            analysis.unmatchedTrackNames.push_back(track.name);
        }
        order.ordered.push_back(std::move(track));
    }
    for (size_t i = 0; i < order.midi.size(); ++i) {
        if (order.midiPlaced[i]) continue;
        ++counts.unmatchedTracks;
        analysis.unmatchedTrackNames.push_back(order.midi[i].name);
        order.ordered.push_back(std::move(order.midi[i]));
    }
}

// A Basic folder with no track of its own gets an empty stereo track, right
// before the first track that answers to a later row of the table.
void insertBasicFolders(const SessionModel& model, std::vector<OutputTrack>& tracks, AnalysisModel& analysis) {
    const std::vector<TrackListRow>& rows = model.trackListRows;
    std::map<std::string, size_t> rowOfName;
    for (size_t r = 0; r < rows.size(); ++r) rowOfName.emplace(rows[r].name, r);
    for (size_t r = 0; r < rows.size(); ++r) {
        if (rows[r].rowType != kBasicFolderRow) continue;
        const std::string& name = rows[r].name;
        size_t before = tracks.size();
        bool hasTrack = false;
        for (size_t i = 0; i < tracks.size(); ++i) {
            if (tracks[i].matchKey.empty()) continue;
            if (tracks[i].matchKey == name) {
                hasTrack = true;
                break;
            }
            auto row = rowOfName.find(tracks[i].matchKey);
            if (before == tracks.size() && row != rowOfName.end() && row->second > r) before = i;
        }
        if (hasTrack) continue;
        tracks.insert(tracks.begin() + static_cast<long>(before), emptyTrack(name));
        analysis.channelsOfTrack[name] = 2;
    }
}

OutputTrack midiOutputTrack(const MidiTrack& source) {
    OutputTrack track;
    track.name = source.name;
    track.matchKey = source.matchKey;
    track.isMidi = true;
    track.midiItems = source.items;
    return track;
}

}  // namespace

// The project's tracks in the edit window's order: each row takes the track that
// answers to its name, or an empty one; what no row takes is appended.
void orderTracks(const SessionModel& model, const ConvertOptions&, BindingWork& work,
                 AnalysisModel& analysis) {
    Ordering order;
    order.audio = std::move(analysis.outputTracks);
    order.audioPlaced.assign(order.audio.size(), false);
    for (const MidiTrack& track : work.midiTracks) order.midi.push_back(midiOutputTrack(track));
    order.midiPlaced.assign(order.midi.size(), false);

    std::set<std::string> inactive(model.inactiveNames.begin(), model.inactiveNames.end());
    walkRows(model, order, inactive, analysis);
    foldIntoEmptyParents(order, analysis.counts);
    appendUnplaced(order, analysis);
    insertBasicFolders(model, order.ordered, analysis);

    if (analysis.counts.unmatchedTracks > 0) {
        setProblem("unmatched-tracks", formatText("%d track(s) matched no strip row", analysis.counts.unmatchedTracks));
    }
    const std::set<std::string> voiceOff(model.voiceOffNames.begin(), model.voiceOffNames.end());
    for (OutputTrack& track : order.ordered) {
        if (track.matchKey.empty()) continue;
        track.inactive = inactive.count(track.matchKey) > 0;
        track.voiceOff = voiceOff.count(track.matchKey) > 0;
    }
    analysis.outputTracks = std::move(order.ordered);
}
