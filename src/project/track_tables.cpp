#include "project/track_tables.h"

#include <algorithm>

#include "driver/run_state.h"
#include "project/colour_choice.h"

namespace {

template <typename Map>
auto findByBoth(const Map& map, const std::string& name, const std::string& matchKey) -> decltype(&map.begin()->second) {
    auto found = map.find(name);
    if (found == map.end() && !matchKey.empty()) found = map.find(matchKey);
    return found == map.end() ? nullptr : &found->second;
}

}  // namespace

const StripRow* stripOf(const RunState& state, const OutputTrack& track) {
    for (const StripRow& strip : state.model.strips) {
        if (!strip.present) continue;
        if (strip.name == track.name || (!track.matchKey.empty() && strip.name == track.matchKey)) return &strip;
    }
    return nullptr;
}

const StripRow* stripNamed(const RunState& state, const std::string& name) {
    for (const StripRow& strip : state.model.strips) {
        if (strip.present && strip.name == name) return &strip;
    }
    return nullptr;
}

// A strip is stereo by its five lanes, by a merged pair, or by a track list row
// that stores a second channel.
StripShape stripShapeOf(const RunState& state, const std::string& key, const StripRow& strip) {
    StripShape shape;
    shape.stereo = channelsOfTrackOf(state, key) == 2 || strip.stereoLanes != 0;
    for (const TrackListRow& row : state.model.trackListRows) {
        if (row.name == key) {
            shape.stereo = shape.stereo || row.width == 1;
            break;
        }
    }
    shape.volumeLane = !strip.volumeLane.points.empty();
    shape.panLane = !strip.panLane.points.empty();
    shape.muteLane = !strip.muteLane.points.empty();
    shape.trimLane = !strip.trimLane.points.empty();
    shape.dualPan = strip.stereoLanes != 0 && strip.dualPanPoints > 0;
    // The resting values of a stereo strip's two pan lanes are its pan limits.
    if (strip.stereoLanes != 0) {
        shape.leftPanLimit = strip.panLane.initial / 100.0;
        shape.rightPanLimit = strip.rightPanLane.initial / 100.0;
    }
    return shape;
}

// The display records belong to the session's track rows; found by name, then matchKey.
std::optional<TrackView> trackViewOf(const RunState& state, const std::string& name, const std::string& matchKey) {
    const std::vector<SessionTrack>& rows = state.model.tracks.rows;
    const std::vector<TrackAttributes>& attributes = state.model.attributes;
    for (const std::string* wanted : {&name, &matchKey}) {
        if (wanted->empty()) continue;
        for (size_t r = 0; r < rows.size() && r < attributes.size(); ++r) {
            if (effectiveName(rows[r]) != *wanted) continue;
            TrackView view;
            view.shown = attributes[r].shown;
            view.height = attributes[r].height;
            view.automationMode = attributes[r].automationMode;
            view.trimOn = attributes[r].trimOn;
            view.solo = attributes[r].solo;
            view.soloSafe = attributes[r].soloSafe;
            return view;
        }
    }
    return std::nullopt;
}

bool automationOff(const RunState& state, std::size_t trackIndex) {
    const std::vector<OutputTrack>& tracks = state.analysis.outputTracks;
    if (trackIndex >= tracks.size()) return false;
    const OutputTrack& track = tracks[trackIndex];
    for (size_t j = 0; j < trackIndex; ++j) {
        if (trackKey(tracks[j]) == trackKey(track)) return false;
    }
    const std::optional<TrackView> view = trackViewOf(state, track.name, track.matchKey);
    return view && view->automationMode == 0;
}

bool hasUnknownWidth(const RunState& state, const StripRow& strip) {
    for (const UnknownWidthStrip& unknown : state.analysis.unknownWidthStrips) {
        if (unknown.name == strip.name) return true;
    }
    return false;
}

std::string trackCommentOf(const RunState& state, const std::string& name, const std::string& matchKey) {
    const std::vector<SessionTrack>& rows = state.model.tracks.rows;
    const std::vector<TrackAttributes>& attributes = state.model.attributes;
    for (const std::string* wanted : {&name, &matchKey}) {
        if (wanted->empty()) continue;
        for (size_t r = 0; r < rows.size() && r < attributes.size(); ++r) {
            if (effectiveName(rows[r]) == *wanted) return attributes[r].comment;
        }
    }
    return std::string();
}

namespace {

PannerChannel pannerChannel(const int32_t (&words)[7]) {
    return {words[0], words[1], words[2], words[3], words[4], words[5]};
}

}  // namespace

std::optional<SurroundPanner> surroundPannerOf(const RunState& state, const std::string& key) {
    const auto feed = state.analysis.surroundFeeds.find(key);
    const StripRow* strip = stripNamed(state, key);
    if (feed == state.analysis.surroundFeeds.end() || strip == nullptr) return std::nullopt;
    SurroundPanner panner;
    panner.outputs = static_cast<int32_t>(feed->second.speakers.size());
    panner.speakers = feed->second.speakers;
    panner.stereo = feed->second.stereo;
    const PannerWords& words = strip->panner;
    panner.left = pannerChannel(words.left);
    panner.centerPercent = words.left[6];
    if (panner.stereo && words.hasRight) panner.right = pannerChannel(words.right);
    if (words.hasSide) panner.sidePercent = std::min(1.0, std::max(0.0, words.side / 6553600.0));
    panner.hasLfe = strip->hasPannerExtraLane != 0;
    panner.lfeDb = strip->pannerExtraLane.initial / 10.0;
    panner.lfeLane = strip->pannerExtraLane;
    panner.lanes = strip->surroundLanes[0];
    return panner;
}

std::optional<uint32_t> trackColourOf(const RunState& state, const std::string& name, const std::string& matchKey) {
    return trackColourChoice(state, name, matchKey).colour;
}

int timebaseOf(const RunState& state, const std::string& name, const std::string& matchKey) {
    const int* timebase = findByBoth(state.analysis.timebaseOfTrack, name, matchKey);
    return timebase ? *timebase : -1;
}

bool isSampleBasedMidi(const RunState& state, const std::string& key) {
    return state.analysis.midiCounts.sampleBasedTracks.count(key) > 0;
}

std::optional<bool> midiTrackMuteOf(const RunState& state, const std::string& key) {
    auto found = state.model.midiTrackStates.find(key);
    if (found == state.model.midiTrackStates.end()) return std::nullopt;
    return found->second.muted != 0;
}

std::optional<double> vcaLevelDbOf(const RunState& state, const std::string& name) {
    auto found = state.analysis.groups.vcaLevelDb.find(name);
    if (found == state.analysis.groups.vcaLevelDb.end()) return std::nullopt;
    return found->second;
}

int sideOfOutputOf(const RunState& state, const std::string& matchKey) {
    auto found = state.analysis.routing.sideOfOutput.find(matchKey);
    return found == state.analysis.routing.sideOfOutput.end() ? 0 : found->second;
}

FolderText folderTextOf(const RunState& state, std::size_t trackIndex) {
    const std::vector<FolderWord>& words = state.analysis.folders.words;
    if (trackIndex >= words.size()) return FolderText();
    return {words[trackIndex].first, words[trackIndex].second};
}

bool isRoutingFolder(const RunState& state, std::size_t trackIndex) {
    return state.analysis.folders.routingFolders.count(trackIndex) > 0;
}

TrackGroupBits groupMasksOf(const RunState& state, const std::string& name, const std::string& matchKey) {
    const TrackGroupBits* bits = findByBoth(state.analysis.groups.bits, name, matchKey);
    return bits == nullptr ? TrackGroupBits() : *bits;
}

bool noMainSend(const RunState& state, std::size_t trackIndex) {
    return state.analysis.routing.noMainSend.count(static_cast<int>(trackIndex)) > 0;
}

KeyInputs keyInputsOf(const RunState& state, const std::string& key) {
    KeyInputs keys;
    const RoutingTables& routing = state.analysis.routing;
    auto first = routing.keyFrom.find(key);
    if (first != routing.keyFrom.end()) keys.keyFrom = first->second;
    auto extra = routing.extraKeys.find(key);
    if (extra != routing.extraKeys.end()) keys.extraKeys = extra->second;
    return keys;
}

int surroundLegsOf(const RunState& state, const std::string& key) {
    auto found = state.analysis.surroundLegs.find(key);
    return found == state.analysis.surroundLegs.end() ? 0 : found->second;
}

int channelsOfTrackOf(const RunState& state, const std::string& key) {
    auto found = state.analysis.channelsOfTrack.find(key);
    return found == state.analysis.channelsOfTrack.end() ? 0 : found->second;
}

int auxWidthOf(const RunState& state, const std::string& key) {
    auto found = state.analysis.routing.auxWidth.find(key);
    return found == state.analysis.routing.auxWidth.end() ? 0 : found->second;
}

int needChannelsOf(const RunState& state, const std::string& key) {
    auto found = state.analysis.routing.needChannels.find(key);
    return found == state.analysis.routing.needChannels.end() ? 0 : found->second;
}

TrimPolarity trimPolarityOf(RunState& state, const std::string& key, const std::string& second) {
    return trackPolarity(state.analysis.trim, key, second, state.counters.trim);
}

bool trackMuteOf(const RunState& state, std::size_t trackIndex, const OutputTrack& track, const StripRow* strip) {
    const bool rowMuted = strip && strip->muted && !preFaderUnmuted(state, trackIndex);
    return track.inactive || track.voiceOff || rowMuted;
}

bool preFaderUnmuted(const RunState& state, std::size_t trackIndex) {
    return state.analysis.routing.preFaderUnmuted.count(static_cast<int>(trackIndex)) > 0;
}

std::vector<std::string> busesReceivingSends(const RunState& state) { return state.analysis.routing.returnTracks; }
