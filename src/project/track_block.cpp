#include "project/track_block.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "cli/console.h"
#include "driver/run_state.h"
#include "plugins/chain_writer.h"
#include "project/audio_items.h"
#include "project/colour_choice.h"
#include "project/envelopes.h"
#include "project/freeze.h"
#include "project/midi_items.h"
#include "project/project_head.h"
#include "project/project_writer.h"
#include "project/routing_lines.h"
#include "project/text.h"
#include "project/track_tables.h"

namespace {

double gainOf(double db) { return std::pow(10.0, db / 20.0); }

int roundUpEven(int count) { return count + (count & 1); }

bool holds(const std::string& text, const char* part) { return text.find(part) != std::string::npos; }

// A second track of the same key (the other half of a pair) adds no key-wide lines.
bool firstOfKey(const std::vector<OutputTrack>& tracks, size_t i) {
    const std::string& key = trackKey(tracks[i]);
    for (size_t j = 0; j < i; ++j) {
        if (trackKey(tracks[j]) == key) return false;
    }
    return true;
}

// The track's colour; counted once per key for the notes.
uint32_t peakColourOf(RunState& state, const std::string& name, const std::string& matchKey, bool counted) {
    const TrackColourChoice choice = trackColourChoice(state, name, matchKey);
    if (counted) countTrackColour(state.counters.colours, choice);
    return choice.colour.value_or(kDefaultPeakColour);
}

// Pro Tools' stored mode to REAPER's; with no usable mode, Read for an automated strip.
int automationModeOf(const std::optional<TrackView>& view, const StripRow* strip, const StripShape& shape,
                     bool hasPanner) {
    if (view) {
        switch (view->automationMode) {
            case 0: case 1: case 2: return view->automationMode;
            case 3: case 5: return 4;
            case 4: return 3;
            default: break;
        }
    }
    const bool automated = strip && (shape.volumeLane || shape.panLane || shape.muteLane || shape.trimLane ||
                                      (shape.stereo && !hasPanner));
    return automated ? 1 : 0;
}

struct SoloForm {
    int solo = 0;
    int defeat = 0;
};

// A soloed track that is also muted loses its solo unless a mute lane may unmute it.
SoloForm soloOf(const std::optional<TrackView>& view, bool muted, const StripShape& shape) {
    SoloForm form;
    if (!view) return form;
    form.solo = view->solo == 1 ? 2 : 0;
    if (form.solo && muted && !shape.muteLane) form.solo = 0;
    form.defeat = view->soloSafe == 1 ? 1 : 0;
    return form;
}

const char* modeName(int32_t mode) {
    static const char* const kNames[] = {"Off", "Read", "Touch", "Latch", "Write", "Touch/Latch"};
    return mode >= 0 && mode <= 5 ? kNames[mode] : "?";
}

// What the solo, mute, hidden and automation rules did to a track, counted
// once per key for the notes.
void countTrackRules(RunCounters& counters, const OutputTrack& track, const std::optional<TrackView>& view,
                     const StripRow* strip, const StripShape& shape, bool muted, bool automated) {
    if (track.inactive) ++counters.inactiveTracks;
    if (track.voiceOff) ++counters.voiceOffTracks;
    if (strip && automated) ++counters.automatedTracksRead;
    if (strip && shape.volumeLane) ++counters.fadersParked;
    if (!view) return;
    if (view->solo == 1) {
        counters.soloedTracks.push_back(track.name);
        if (muted && !shape.muteLane) {
            ++counters.soloedAndMuted;
        } else {
            if (muted) ++counters.soloMuteAutomation;
            ++counters.soloKept;
        }
    }
    if (view->soloSafe == 1) counters.soloSafeTracks.push_back(track.name);
    if (view->shown == 0) counters.hiddenTracks.push_back(track.name);
    if (view->height > 0) ++counters.tracksWithHeight;
    if (view->automationMode >= 0 && view->automationMode != 1) {
        counters.modeOtherThanRead.push_back(formatText(" %s=%s%s", track.name.c_str(), modeName(view->automationMode),
                                                        view->trimOn == 1 ? "+Trim" : ""));
        if (view->automationMode == 0) counters.modeOff.push_back(track.name);
    }
}

void writeGroupFlags(ProjectText& text, const TrackGroupBits& masks) {
    std::array<uint32_t, 22> fields{};
    fields[0] = fields[1] = masks.volume;
    fields[4] = fields[5] = masks.mute;
    fields[6] = fields[7] = masks.solo;
    fields[12] = fields[13] = masks.fourth;
    fields[20] = masks.vcaLead;
    fields[21] = masks.vcaFollow;
    size_t count = fields.size();
    while (count > 0 && fields[count - 1] == 0) --count;
    if (count == 0) return;
    ProjectText::Line line = text.statement("GROUP_FLAGS");
    for (size_t f = 0; f < count; ++f) line.num(fields[f]);
}

void writeTrackHeight(ProjectText& text, const std::optional<TrackView>& view) {
    const int height = view && view->height > 0 ? view->height : 0;
    text.statement("TRACKHEIGHT").num(height).num(0).num(0).num(0).num(0).num(0).num(0);
}

void writeInputQuantize(ProjectText& text) {
    text.statement("INQ").num(0).num(0).num(0).word("0.5").num(100).num(0).num(0).num(100);
}

// Key inputs need channels 3/4 and on; a surround fold, a wide aux, a panner
// or the routing may ask for more.
struct ChannelPlan {
    int count = 2;
    bool keyOnly = false;  // only a key input asked for more than two
};

ChannelPlan channelPlanOf(const RunState& state, size_t i, const std::string& key,
                          const std::optional<SurroundPanner>& panner) {
    const KeyInputs keys = keyInputsOf(state, key);
    const bool keyFromOther = keys.keyFrom >= 0 && static_cast<size_t>(keys.keyFrom) != i;
    const int forKey = keyFromOther ? 4 + 2 * static_cast<int>(keys.extraKeys.size()) : 2;
    int other = std::max(2, surroundLegsOf(state, key));
    other = std::max(other, roundUpEven(auxWidthOf(state, key)));
    if (panner) other = std::max(other, roundUpEven(panner->outputs));
    other = std::max(other, needChannelsOf(state, key));
    ChannelPlan plan;
    plan.count = std::max(forKey, other);
    plan.keyOnly = keyFromOther && other == 2;
    return plan;
}

// The inserts of a strip as a chain, each strip's once.
void writeStripChain(ProjectWriter& writer, const std::string& stripName, const ChainPlace& place) {
    if (!writer.stripsWithChain.insert(stripName).second) return;
    const auto chain = writer.state.model.pluginsOfStrip.find(stripName);
    static const std::vector<PluginInstance> kNone;
    writeFxChain(writer.state, writer.text, chain == writer.state.model.pluginsOfStrip.end() ? kNone : chain->second,
                 place);
}

// The track's channels for the pins of its slots: 0 when not known.
int trackWidthOf(const RunState& state, const std::string& key, const StripRow* strip, const StripShape& shape) {
    const int channels = channelsOfTrackOf(state, key);
    if (channels > 0) return channels;
    return strip ? (shape.stereo ? 2 : 1) : 0;
}

// The chain of the track's strip; a track whose key takes a key input from
// another track has its last slot pass the key channels by.
void writeTrackChain(ProjectWriter& writer, size_t i, int width, int polaritySide,
                     const std::optional<SurroundPanner>& panner) {
    const OutputTrack& track = writer.state.analysis.outputTracks[i];
    const StripRow* strip = stripOf(writer.state, track);
    ChainPlace place;
    place.trackName = track.name;
    place.width = width;
    place.polaritySide = polaritySide;
    if (panner) {
        place.surround = writeSurroundPan(*panner, static_cast<uint32_t>(i) + 0x53555200u, writer.state.model,
                                          static_cast<double>(writer.state.sampleRate));
        place.surroundStereo = panner->stereo;
    }
    place.carriesMidi = track.isMidi;
    const KeyInputs keys = keyInputsOf(writer.state, trackKey(track));
    place.pinFlags = keys.keyFrom >= 0 && static_cast<size_t>(keys.keyFrom) != i;
    writeStripChain(writer, strip ? strip->name : track.name, place);
}

void writeReturnChain(ProjectWriter& writer, const std::string& busName, int width, int polaritySide) {
    ChainPlace place;
    place.trackName = busName;
    place.width = width;
    place.polaritySide = polaritySide;
    writeStripChain(writer, busName, place);
}

// A frozen track's chain sits in its freeze; the track shows an empty one.
void writeEmptyChain(ProjectText& text) {
    text.open("FXCHAIN");
    text.statement("SHOW").num(0);
    text.statement("LASTSEL").num(0);
    text.statement("DOCKED").num(0);
    text.close();
}

// The track's Pro Tools comment as the notes of an empty item at its start.
void writeCommentItem(ProjectWriter& writer, const std::string& name, const std::string& matchKey, uint32_t headSeed) {
    const std::vector<std::string> lines = commentLines(trackCommentOf(writer.state, name, matchKey));
    if (lines.empty()) return;
    ProjectText& text = writer.text;
    text.open("ITEM");
    text.statement("POSITION").num(0);
    text.statement("SNAPOFFS").num(0);
    text.statement("LENGTH").num(2);
    text.statement("LOOP").num(0);
    text.statement("ALLTAKES").num(0);
    text.statement("FADEIN").num(1).num(0).num(0).num(1).num(0).num(0).num(0);
    text.statement("FADEOUT").num(1).num(0).num(0).num(1).num(0).num(0).num(0);
    text.statement("MUTE").num(0).num(0);
    text.statement("IGUID").guid(headSeed + 0x7C000000u);
    text.statement("NAME").name("Pro Tools comment");
    text.open("NOTES");
    for (const std::string& line : lines) text.rawLine("|" + line);
    text.close();
    text.close();
}

struct MixForm {
    double volume = 1;
    double pan = 0;
    double leftLimit = -1;
    double rightLimit = 1;
};

void countMidiTrackState(RunState& state, const std::string& key) {
    auto found = state.model.midiTrackStates.find(key);
    if (found == state.model.midiTrackStates.end()) return;
    if (found->second.muted) ++state.counters.midiTracksMuted;
    if (found->second.otherLanes) ++state.counters.midiOtherLanes;
}

void countAutomation(RunCounters& counters, int points) {
    counters.automationPoints += points;
    if (points > 0) ++counters.automatedTracks;
}

void countDualPan(RunCounters& counters, int points) {
    counters.dualPanPoints += points;
    if (points > 0) ++counters.dualPanTracks;
}

// The strip's lanes as envelopes; on a MIDI track without a strip, its MIDI mute lane.
void writeTrackEnvelopes(ProjectWriter& writer, size_t i, int autoMode) {
    RunState& state = writer.state;
    const OutputTrack& track = state.analysis.outputTracks[i];
    const std::string& key = trackKey(track);
    const double rate = static_cast<double>(state.sampleRate);
    const bool active = !automationOff(state, i);
    const StripRow* strip = stripOf(state, track);
    if (strip) {
        const StripShape shape = stripShapeOf(state, key, *strip);
        StripEnvelopeForm form;
        form.automationMode = autoMode;
        form.active = active;
        form.surroundPanner = surroundPannerOf(state, key).has_value();
        form.unknownWidth = hasUnknownWidth(state, *strip);
        form.dualPanLanes = shape.dualPan;
        int dualPanPoints = 0;
        const int points = writeStripEnvelopes(writer.text, *strip, form, state.model, rate, dualPanPoints);
        countAutomation(state.counters, points);
        countDualPan(state.counters, dualPanPoints);
        return;
    }
    if (!track.isMidi) return;
    auto midi = state.model.midiTrackStates.find(key);
    if (midi == state.model.midiTrackStates.end() || !midi->second.hasMuteLane) return;
    EnvelopeForm form{"MUTEENV", -1, LaneKind::mute, autoMode == 1, active, false};
    const int points = writeEnvelope(writer.text, form, midi->second.muteLane, state.model, rate);
    countAutomation(state.counters, points);
    if (points > 0) ++state.counters.midiMuteLanes;
}

// A return track's envelopes, from its bus's strip: volume, mute and pan.
void writeReturnEnvelopes(ProjectWriter& writer, const std::string& busName, int autoMode, bool active) {
    RunState& state = writer.state;
    const StripRow* strip = stripNamed(state, busName);
    if (!strip) return;
    StripEnvelopeForm form;
    form.automationMode = autoMode;
    form.active = active;
    form.unknownWidth = hasUnknownWidth(state, *strip);
    form.trimAndDualPan = false;
    int dualPanPoints = 0;
    countAutomation(state.counters, writeStripEnvelopes(writer.text, *strip, form, state.model,
                                                        static_cast<double>(state.sampleRate), dualPanPoints));
}

void countTimebase(RunCounters& counters, int beat) {
    if (beat == 0) ++counters.timeTracks;
    if (beat == 1) ++counters.beatsTracks;
    if (beat == 2) ++counters.beatsPositionTracks;
}

}  // namespace

void writeTrack(ProjectWriter& writer, size_t i) {
    const RunState& state = writer.state;
    ProjectText& text = writer.text;
    const OutputTrack& track = state.analysis.outputTracks[i];
    const std::string& key = trackKey(track);
    const StripRow* strip = stripOf(state, track);
    const StripShape shape = strip ? stripShapeOf(state, key, *strip) : StripShape();
    const std::optional<TrackView> view = trackViewOf(state, track.name, track.matchKey);
    const std::optional<SurroundPanner> panner = surroundPannerOf(state, key);
    const bool first = firstOfKey(state.analysis.outputTracks, i);
    const int side = track.matchKey.empty() ? 0 : sideOfOutputOf(state, track.matchKey);
    const bool routingFolder = isRoutingFolder(state, i);
    const uint32_t headSeed = static_cast<uint32_t>(i + 1);

    text.open("TRACK").guid(headSeed);
    // A track kept frozen writes its chain and items apart, into its freeze.
    const FreezePlan freeze = tryFreeze(writer.state, i);
    std::string frozenBody;
    ProjectText frozenText(frozenBody, text.depth() + 1);
    ProjectWriter frozenWriter{writer.state, frozenText, writer.takeIndex, {}, writer.dumpClipColours, {}, writer.stripsWithChain};
    ProjectWriter& inner = freeze.frozen ? frozenWriter : writer;
    text.statement("NAME").name(track.name);
    const bool countColour = first && !track.matchKey.empty();
    text.statement("PEAKCOL").colour(peakColourOf(writer.state, track.name, track.matchKey, countColour));
    int beat = timebaseOf(state, track.name, track.matchKey);
    if (track.isMidi) beat = isSampleBasedMidi(state, key) ? 0 : 1;
    text.statement("BEAT").num(beat);
    countTimebase(writer.state.counters, beat);
    const int autoMode = automationModeOf(view, strip, shape, panner.has_value());
    text.statement("AUTOMODE").num(autoMode);

    MixForm mix;
    mix.pan = track.legPan;
    if (strip) {
        mix.volume = shape.volumeLane ? 1.0 : gainOf(strip->faderDb);
        if (!holds(track.name, " [L]") && !holds(track.name, " [R]")) mix.pan = stripPan(*strip, shape.stereo);
        const bool lanesCarryPan = shape.dualPan && !panner && !(autoMode == 0 && first);
        if (shape.stereo && !lanesCarryPan) {
            mix.leftLimit = shape.leftPanLimit;
            mix.rightLimit = shape.rightPanLimit;
        }
    }
    if (shape.panLane || panner) mix.pan = 0;
    if (track.isMidi) mix.volume = 1;  // a MIDI track's fader travels as controller events
    if (preFaderUnmuted(state, i)) mix.volume = 0;  // the send plays, the track is silent
    if (std::optional<double> vca = vcaLevelDbOf(state, track.name)) mix.volume = gainOf(*vca);
    if (side != 0) {
        mix.leftLimit = mix.rightLimit = side;
        mix.pan = 0;
    }
    // "+ 0.0" turns a negative zero into 0, which %g would print as "-0".
    text.statement("VOLPAN").coarse(mix.volume).compact(mix.pan + 0.0).num(-1).coarse(mix.leftLimit)
        .coarse(mix.rightLimit);

    bool muted = trackMuteOf(state, i, track, strip);
    if (track.isMidi) {
        const std::optional<bool> midiMute = midiTrackMuteOf(state, key);
        if (firstOfKey(state.analysis.outputTracks, i)) countMidiTrackState(writer.state, key);
        muted = midiMute.value_or(muted) || track.inactive || track.voiceOff;
    }
    const SoloForm solo = soloOf(view, muted, shape);
    if (first) {
        const bool automated = shape.volumeLane || shape.panLane || shape.muteLane || shape.trimLane ||
                               (shape.stereo && !panner);
        countTrackRules(writer.state.counters, track, view, strip, shape, muted, automated);
    }
    text.statement("MUTESOLO").num(muted ? 1 : 0).num(solo.solo).num(solo.defeat);
    const TrimPolarity polarity = trimPolarityOf(writer.state, key, track.name);
    text.statement("IPHASE").num(polarity.trackSwitch);
    const FolderText folder = folderTextOf(state, i);
    text.statement("ISBUS").num(folder.first).num(folder.second);
    if (view && view->shown == 0 && first) text.statement("SHOWINMIX").word("0 0.6667 0.5 0 0.5 0 0 0 0");
    writeGroupFlags(text, groupMasksOf(state, track.name, track.matchKey));
    if ((strip && shape.stereo && !panner) || side != 0 || routingFolder) {
        text.statement("PANMODE").num(6);
    } else if (strip && !shape.stereo && !panner && channelsOfTrackOf(state, key) == 1) {
        text.statement("PANMODE").num(3);
    }
    text.statement("FREEMODE").num(track.lanes.empty() ? 0 : 2);
    writeTrackHeight(text, view);
    writeInputQuantize(text);
    const ChannelPlan channels = channelPlanOf(state, i, key, panner);
    text.statement("NCHAN").num(channels.count);
    text.statement("FX").num(1);
    text.statement("TRACKID").guid(static_cast<uint32_t>(i + 0x2329));
    const bool mainSend = !noMainSend(state, i);
    text.statement("MAINSEND").num(mainSend ? 1 : 0).num(0);
    if (mainSend && channels.keyOnly) {
        text.statement("MAINSEND_NCH").num(2);
        ++writer.state.counters.keyedTracksTwoChannels;
    }

    writeReceives(writer, i);
    if (freeze.frozen) writeEmptyChain(text);
    writeTrackChain(inner, i, trackWidthOf(state, key, strip, shape), polarity.oneSided, panner);
    writeSendsInto(writer, first ? trackKey(track) : track.name, static_cast<int>(i));
    writer.namesWithTrack.insert(track.name);
    if (holds(track.name, "[alt takes]") || holds(track.name, "[alt playlist]")) {
        text.statement("MUTESOLO").num(1).num(0).num(0);  // REAPER takes the last MUTESOLO
    }

    const int laneCount = static_cast<int>(track.lanes.size()) + 1;
    if (!track.lanes.empty()) {
        text.statement("FIXEDLANES").num(9).num(0).num(0).num(0).num(0);
        text.statement("LANESOLO").num(1).num(0).num(0).num(0).num(0).num(0).num(0).num(0);
        text.statement("ITEMLANES").num(laneCount);
        ProjectText::Line names = text.statement("LANENAME");
        names.name(track.matchKey);
        for (const Lane& lane : track.lanes) names.name(lane.name);
    }
    writeTrackEnvelopes(writer, i, autoMode);
    for (const AudioClip& clip : track.clips) writeAudioItem(inner, track, clip, 0, laneCount);
    for (size_t l = 0; l < track.lanes.size(); ++l) {
        for (const AudioClip& clip : track.lanes[l].clips) {
            writeAudioItem(inner, track, clip, static_cast<int>(l) + 1, laneCount);
        }
    }
    writeMidiItemsOf(inner, track);
    if (freeze.frozen) {
        frozenText.flush();
        writer.takeIndex = frozenWriter.takeIndex;
        writer.stripsWithChain = frozenWriter.stripsWithChain;
        writer.araEdits.insert(writer.araEdits.end(), frozenWriter.araEdits.begin(), frozenWriter.araEdits.end());
        writeFreeze(writer, i, freeze, frozenBody);
    }
    if (state.options.commentsMode == 0 && first) writeCommentItem(writer, track.name, track.matchKey, headSeed);
    text.close();
}

void writeReturnTrack(ProjectWriter& writer, size_t k, const std::string& busName) {
    const RunState& state = writer.state;
    ProjectText& text = writer.text;
    const StripRow* strip = stripNamed(state, busName);
    const StripShape shape = strip ? stripShapeOf(state, busName, *strip) : StripShape();
    const std::optional<TrackView> view = trackViewOf(state, busName, std::string());
    const uint32_t headSeed = static_cast<uint32_t>(k + 0xC351);

    text.open("TRACK").guid(headSeed);
    text.statement("NAME").name(busName);
    text.statement("PEAKCOL").colour(peakColourOf(writer.state, busName, std::string(), true));
    text.statement("BEAT").num(-1);
    const int autoMode = automationModeOf(view, strip, shape, false);
    text.statement("AUTOMODE").num(autoMode);

    MixForm mix;
    if (strip) {
        mix.volume = shape.volumeLane ? 1.0 : gainOf(strip->faderDb);
        mix.pan = shape.panLane ? 0.0 : stripPan(*strip, shape.stereo);
    }
    const bool stereo = strip && shape.stereo;
    {
        ProjectText::Line volpan = text.statement("VOLPAN");
        volpan.coarse(mix.volume).compact(mix.pan + 0.0).num(-1);
        if (stereo) {
            // A return track writes no dual-pan lanes: the resting pans are its limits.
            volpan.coarse(shape.leftPanLimit).coarse(shape.rightPanLimit);
        } else {
            volpan.num(-1).num(1);
        }
    }
    const bool muted = strip && strip->muted;
    const SoloForm solo = soloOf(view, muted, shape);
    text.statement("MUTESOLO").num(muted ? 1 : 0).num(solo.solo).num(solo.defeat);
    const TrimPolarity polarity = trimPolarityOf(writer.state, busName, busName);
    text.statement("IPHASE").num(polarity.trackSwitch);
    text.statement("ISBUS").num(0).num(0);
    if (stereo) text.statement("PANMODE").num(6);
    if (view && view->shown == 0) text.statement("SHOWINMIX").word("0 0.6667 0.5 0 0.5 0 0 0 0");
    writeGroupFlags(text, groupMasksOf(state, busName, std::string()));
    text.statement("FREEMODE").num(0);
    writeTrackHeight(text, view);
    writeInputQuantize(text);
    text.statement("NCHAN").num(2);
    text.statement("FX").num(1);
    text.statement("TRACKID").guid(static_cast<uint32_t>(k + 0xEA61));
    text.statement("MAINSEND").num(writer.state.analysis.routing.keyOnlyBuses.count(busName) ? 0 : 1).num(0);
    writeReturnChain(writer, busName, trackWidthOf(state, busName, strip, shape), polarity.oneSided);
    writeSendsInto(writer, busName, -1);
    writeReturnEnvelopes(writer, busName, autoMode, !(view && view->automationMode == 0));
    if (state.options.commentsMode == 0) writeCommentItem(writer, busName, std::string(), headSeed);
    text.close();
}

void writeMasterChain(ProjectWriter& writer) {
    const RunState& state = writer.state;
    const StripRow* strip = state.model.masterName.empty() ? nullptr : stripNamed(state, state.model.masterName);
    ChainPlace place;
    place.trackName = state.model.masterName;
    place.blockName = "MASTERFXLIST";
    place.width = strip ? trackWidthOf(state, strip->name, strip, stripShapeOf(state, strip->name, *strip)) : 2;
    writeStripChain(writer, state.model.masterName, place);
}
