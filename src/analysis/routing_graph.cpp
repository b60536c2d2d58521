// The session routes by name: a track plays into a bus, an aux takes a bus on
// its input. The project has no buses, so outputs and sends become receives on
// the aux that takes the bus, or on a return track of the bus's own.
#include <algorithm>
#include <iterator>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <set>

#include "analysis/folders.h"
#include "analysis/passes.h"
#include "cli/console.h"

namespace {

constexpr const char* kAltTakes = "[alt takes]";

bool holds(const std::string& text, const char* part) { return text.find(part) != std::string::npos; }

// The strip that owns each routing row: the first present strip whose row lies
// inside the row's block, else the row's own name.
std::vector<std::string> ownerNames(const SessionModel& model) {
    std::vector<std::string> owners;
    for (const TrackRouting& row : model.routing) {
        std::string owner = row.name;
        for (const StripRow& strip : model.strips) {
            if (strip.present && strip.position > row.blockStart && strip.position < row.blockEnd) {
                owner = strip.name;
                break;
            }
        }
        owners.push_back(owner);
    }
    return owners;
}

// Which aux takes a bus: by the aux's input name, else through the bus's channels.
struct BusResolver {
    std::map<std::string, std::string> auxByInput;
    std::map<std::string, std::vector<int32_t>> channelsOfBus;
    std::map<int32_t, std::string> auxByChannel;

    BusResolver(const SessionModel& model, const std::vector<std::string>& owners) {
        std::map<std::string, int> named;
        for (const BusRecord& path : model.paths) {
            if (path.kind == kBusPath) ++named[path.name];
        }
        for (const BusRecord& path : model.paths) {
            if (path.kind == kBusPath && named[path.name] == 1) channelsOfBus[path.name] = path.channels;
        }
        for (size_t r = 0; r < model.routing.size(); ++r) {
            const TrackRouting& row = model.routing[r];
            if (row.inputKind != static_cast<int32_t>(kBusPath)) continue;
            const std::string& owner = owners[r].empty() ? row.name : owners[r];
            if (!row.inputPath.empty()) auxByInput.emplace(row.inputPath, owner);
            for (const BusRecord& path : model.paths) {
                if (path.kind != kBusPath || path.idLow != row.inputIdLow || path.idHigh != row.inputIdHigh) continue;
                for (int32_t channel : path.channels) auxByChannel.emplace(channel, owner);
            }
        }
    }

    // The aux that takes the bus, and how many distinct auxes take its channels.
    std::pair<std::string, int> resolve(const std::string& bus) const {
        auto direct = auxByInput.find(bus);
        if (direct != auxByInput.end()) return {direct->second, 1};
        auto channels = channelsOfBus.find(bus);
        if (channels == channelsOfBus.end()) return {std::string(), 0};
        std::string first;
        std::set<std::string> takers;
        for (int32_t channel : channels->second) {
            auto aux = auxByChannel.find(channel);
            if (aux == auxByChannel.end()) continue;
            if (first.empty()) first = aux->second;
            takers.insert(aux->second);
        }
        return {first, static_cast<int>(takers.size())};
    }
};

// The width of a strip's source: 2 stereo, 1 mono, 0 unknown (no strip of that name).
int sourceWidth(const SessionModel& model, const AnalysisModel& analysis, const std::string& owner) {
    for (const StripRow& strip : model.strips) {
        if (!strip.present || strip.name != owner) continue;
        auto channels = analysis.channelsOfTrack.find(owner);
        bool stereo = strip.stereoLanes != 0 || (channels != analysis.channelsOfTrack.end() && channels->second == 2);
        for (const TrackListRow& row : model.trackListRows) {
            if (row.name == owner) stereo = stereo || row.width == 1;
        }
        return stereo ? 2 : 1;
    }
    return 0;
}

int busWidth(const SessionModel& model, const std::string& bus) {
    for (const BusRecord& path : model.paths) {
        if (path.name == bus) return static_cast<int>(path.channels.size());
    }
    return 0;
}

// The first output track answering to the owner, not a recovered one; -1 for none.
int trackOfOwner(const std::vector<OutputTrack>& tracks, const std::string& owner) {
    for (size_t i = 0; i < tracks.size(); ++i) {
        if (tracks[i].matchKey == owner && !holds(tracks[i].name, kAltTakes)) return static_cast<int>(i);
    }
    return -1;
}

int trackNamed(const std::vector<OutputTrack>& tracks, const std::string& name) {
    for (size_t i = 0; i < tracks.size(); ++i) {
        if ((tracks[i].name == name || tracks[i].matchKey == name) && !holds(tracks[i].name, kAltTakes)) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

double sendPan(const SessionModel& model, const AnalysisModel& analysis, const std::string& owner,
               const SendRecord& send, RoutingTables& routing) {
    const int channels = busWidth(model, send.busName);
    if (channels <= 1) return 0;
    const int width = sourceWidth(model, analysis, owner);
    if (width == 2 || (width == 0 && send.panRight != 0)) {
        if (!(send.panLeft == -100 && send.panRight == 100)) routing.stereoSendsOffDefault.push_back(owner);
        return 0;
    }
    const int left = std::max(-100, std::min(100, static_cast<int>(send.panLeft)));
    if (left != 0) ++routing.sendsPanned;
    return left / 100.0;
}

void routeSends(const SessionModel& model, const std::vector<std::string>& owners, const BusResolver& buses,
                AnalysisModel& analysis) {
    RoutingTables& routing = analysis.routing;
    const std::vector<OutputTrack>& tracks = analysis.outputTracks;
    for (size_t r = 0; r < model.routing.size(); ++r) {
        const std::string& owner = owners[r];
        for (const SendRecord& send : model.routing[r].sends) {
            const auto [taker, count] = buses.resolve(send.busName);
            const std::string receiver = taker.empty() ? send.busName : taker;
            if (!taker.empty()) {
                ++routing.sendsToAux;
                if (!buses.auxByInput.count(send.busName)) ++routing.monoLegsMatched;
            }
            if (count > 1) ++routing.sendsToTwoAuxes;
            SendEntry entry;
            entry.levelDb = send.levelDb;
            entry.postFader = send.postFader != 0;
            entry.levelLane = send.levelLane;
            entry.muteLane = send.muteLane;
            entry.pan = sendPan(model, analysis, owner, send, routing);
            if (!send.panLane.points.empty() || !send.rightPanLane.points.empty()) ++routing.sendPanLanes;
            for (size_t i = 0; i < tracks.size(); ++i) {
                if (tracks[i].matchKey != owner || holds(tracks[i].name, kAltTakes)) continue;
                entry.source = static_cast<int>(i);
                routing.sendsInto[receiver].push_back(entry);
                ++routing.sends;
            }
        }
    }
    for (const auto& [receiver, entries] : routing.sendsInto) {
        const std::string& bus = receiver;  // a lambda captures a variable, not a binding
        const bool hasTrack = std::any_of(tracks.begin(), tracks.end(), [&bus](const OutputTrack& track) {
            return track.name == bus || track.matchKey == bus;
        });
        if (!hasTrack && !entries.empty()) routing.returnTracks.push_back(receiver);
    }
}

// The channels a track carries, surround legs or the width of the bus its aux
// takes, rounded up to even.
int legsOf(const AnalysisModel& analysis, const OutputTrack& track) {
    const std::string& key = trackKey(track);
    int legs = 2;
    auto surround = analysis.surroundLegs.find(key);
    if (surround != analysis.surroundLegs.end()) legs = std::max(legs, surround->second);
    auto aux = analysis.routing.auxWidth.find(key);
    if (aux != analysis.routing.auxWidth.end()) legs = std::max(legs, aux->second);
    // A surround panner on the track spreads it over every leg of its bus.
    auto feed = analysis.surroundFeeds.find(key);
    if (feed != analysis.surroundFeeds.end()) legs = std::max(legs, static_cast<int>(feed->second.speakers.size()));
    return legs + (legs & 1);
}

// An aux taking a bus wider than stereo is as wide as that bus: the bus by the
// id pair of the aux's input, else by the input's name.
void findAuxWidths(const SessionModel& model, const std::vector<std::string>& owners, const BusResolver& buses,
                   AnalysisModel& analysis) {
    RoutingTables& routing = analysis.routing;
    for (size_t r = 0; r < model.routing.size(); ++r) {
        const TrackRouting& row = model.routing[r];
        if (row.inputKind != static_cast<int32_t>(kBusPath)) continue;
        int width = 0;
        for (const BusRecord& path : model.paths) {
            if (path.kind == kBusPath && path.idLow == row.inputIdLow && path.idHigh == row.inputIdHigh) {
                width = static_cast<int>(path.channels.size());
                break;
            }
        }
        auto named = buses.channelsOfBus.find(row.inputPath);
        if (width == 0 && named != buses.channelsOfBus.end()) width = static_cast<int>(named->second.size());
        if (width <= 2 || routing.auxWidth.count(owners[r])) continue;
        routing.auxWidth[owners[r]] = width;
        if (trackOfOwner(analysis.outputTracks, owners[r]) >= 0) ++routing.wideAuxes;
    }
}

// The legs of a bus wider than stereo: the names of its one-channel legs
// ("bus.Ls") when the session holds one for every channel, else Pro Tools'
// film order for its width; none for a width without a standard layout.
std::vector<std::string> legNamesOf(const SessionModel& model, const BusRecord& bus) {
    std::vector<std::string> named;
    const std::string stem = bus.name + ".";
    for (int32_t channel : bus.channels) {
        for (const BusRecord& leg : model.paths) {
            if (leg.kind == kBusPath && leg.channels.size() == 1 && leg.channels[0] == channel &&
                leg.name.size() > stem.size() && leg.name.compare(0, stem.size(), stem) == 0) {
                named.push_back(leg.name.substr(stem.size()));
                break;
            }
        }
    }
    if (named.size() == bus.channels.size()) return named;
    static const std::vector<std::vector<std::string>> kFilmOrder = {
        {"L", "C", "R"},
        {"L", "C", "R", "S"},
        {"L", "C", "R", "Ls", "Rs"},
        {"L", "C", "R", "Ls", "Rs", "LFE"},
        {"L", "C", "R", "Ls", "Cs", "Rs", "LFE"},
        {"L", "C", "R", "Lss", "Rss", "Lsr", "Rsr", "LFE"}};
    const size_t width = bus.channels.size();
    return width >= 3 && width <= 8 ? kFilmOrder[width - 3] : std::vector<std::string>();
}

bool speakerKnown(const std::string& leg) {
    static const char* const kSpeakers[] = {"L",  "R",  "C",   "Lc",  "Rc",  "Ls",  "Rs",
                                            "S",  "Cs", "Lss", "Rss", "Lsr", "Rsr", "LFE"};
    return std::any_of(std::begin(kSpeakers), std::end(kSpeakers), [&leg](const char* name) { return leg == name; });
}

// A mono or stereo track whose output goes into a bus wider than stereo is
// panned there by a surround panner, the strip's own. A send into such a bus
// has a panner of its own in its row, which is not read: the track's chain
// must not pan its main output. PTX_DEBUG_SURR tells each decision on
// standard error.
void findSurroundFeeds(const SessionModel& model, const std::vector<std::string>& owners, const BusResolver& buses,
                       AnalysisModel& analysis) {
    const bool debug = std::getenv("PTX_DEBUG_SURR") != nullptr;
    for (size_t r = 0; r < model.routing.size(); ++r) {
        const TrackRouting& row = model.routing[r];
        const std::string& owner = owners[r];
        std::vector<std::pair<std::string, std::string>> targets;  // (bus, how)
        if (!row.outputPath.empty()) targets.emplace_back(row.outputPath, "output");
        for (size_t k = 0; k < row.sends.size(); ++k) {
            targets.emplace_back(row.sends[k].busName, "send " + std::to_string(k + 1));
        }
        const BusRecord* bus = nullptr;
        std::string how;
        for (const auto& [name, way] : targets) {
            auto channels = buses.channelsOfBus.find(name);
            if (channels == buses.channelsOfBus.end() || channels->second.size() <= 2) continue;
            for (const BusRecord& path : model.paths) {
                if (path.kind == kBusPath && path.name == name) bus = &path;
            }
            how = way;
            break;
        }
        if (bus == nullptr || analysis.surroundFeeds.count(owner) || trackOfOwner(analysis.outputTracks, owner) < 0) {
            continue;
        }
        const int width = sourceWidth(model, analysis, owner);
        auto channels = analysis.channelsOfTrack.find(owner);
        const bool wide = channels != analysis.channelsOfTrack.end() && channels->second > 2;
        SurroundFeed feed;
        feed.bus = bus->name;
        feed.speakers = legNamesOf(model, *bus);
        feed.stereo = width == 2;
        std::string legs;
        for (const std::string& leg : feed.speakers) legs += " " + leg;
        std::string decision = "ReaSurroundPan";
        if (how != "output") {
            decision = "no panner: a send's panner is not carried";
        } else if (width == 0 || wide) {
            decision = "no panner: the source is not a mono or stereo strip";
        } else if (feed.speakers.empty() || !std::all_of(feed.speakers.begin(), feed.speakers.end(), speakerKnown)) {
            decision = "no panner: layout not placed";
            ++analysis.surroundUnplaced;
        } else {
            analysis.surroundFeeds[owner] = feed;
        }
        if (debug) {
            std::fprintf(stderr, "SURR route %s -> %s (%s) %d legs:%s, %s source: %s\n", owner.c_str(),
                         bus->name.c_str(), how.c_str(), static_cast<int>(bus->channels.size()), legs.c_str(),
                         wide ? "wide" : width == 2 ? "stereo" : width == 1 ? "mono" : "unknown", decision.c_str());
        }
    }
}

void routeOutputs(const SessionModel& model, const std::vector<std::string>& owners, const BusResolver& buses,
                  AnalysisModel& analysis) {
    RoutingTables& routing = analysis.routing;
    const std::vector<OutputTrack>& tracks = analysis.outputTracks;
    for (size_t r = 0; r < model.routing.size(); ++r) {
        const TrackRouting& row = model.routing[r];
        const std::string& owner = owners[r];
        if (row.noOutput) {
            const int source = trackOfOwner(tracks, owner);
            if (source >= 0) {
                routing.noMainSend.insert(source);
                routing.noOutputTracks.push_back(tracks[static_cast<size_t>(source)].name);
            }
            continue;
        }
        if (row.outputPath.empty() || !buses.channelsOfBus.count(row.outputPath)) continue;
        const std::string taker = buses.resolve(row.outputPath).first;
        if (taker.empty() || taker == owner) continue;
        const int source = trackOfOwner(tracks, owner);
        const int target = trackNamed(tracks, taker);
        if (source < 0 || target < 0) continue;
        routing.noMainSend.insert(source);
        const int legs = legsOf(analysis, tracks[static_cast<size_t>(source)]);
        const int targetLegs = legsOf(analysis, tracks[static_cast<size_t>(target)]);
        const int code = legs > 2 && targetLegs >= legs ? ((legs + 1) >> 1) << 10 : 0;
        routing.outputReceives[target].push_back({source, code});
        ++routing.outputsToAux;
    }
}

// What each owner plays into: the auxes of its output and of its sends, and
// the tracks whose output feeds a key of one of its plug-ins.
void buildNeeds(const SessionModel& model, const std::vector<std::string>& owners, const BusResolver& buses,
                RoutingTables& routing) {
    std::map<std::string, std::set<int32_t>> outputChannels;
    for (size_t r = 0; r < model.routing.size(); ++r) {
        const TrackRouting& row = model.routing[r];
        std::vector<std::string> names;
        if (!row.outputPath.empty()) names.push_back(row.outputPath);
        for (const SendRecord& send : row.sends) names.push_back(send.busName);
        for (const std::string& bus : names) {
            const std::string taker = buses.resolve(bus).first;
            if (!taker.empty() && taker != owners[r]) routing.needs[owners[r]].insert(taker);
            auto channels = buses.channelsOfBus.find(bus);
            if (channels != buses.channelsOfBus.end()) {
                outputChannels[owners[r]].insert(channels->second.begin(), channels->second.end());
            }
        }
    }
    for (const auto& [strip, chain] : model.pluginsOfStrip) {
        for (const PluginInstance& plugin : chain) {
            auto name = plugin.keyInput < 0 ? model.keyInputNames.end()
                                            : model.keyInputNames.find(static_cast<uint16_t>(plugin.keyInput));
            if (name == model.keyInputNames.end()) continue;
            auto key = buses.channelsOfBus.find(name->second);
            if (key == buses.channelsOfBus.end()) continue;
            for (const auto& [owner, channels] : outputChannels) {
                if (owner == strip) continue;
                const auto& taken = channels;  // a lambda captures a variable, not a binding
                const bool shares = std::any_of(key->second.begin(), key->second.end(),
                                                [&taken](int32_t c) { return taken.count(c) > 0; });
                if (shares) routing.needs[strip].insert(owner);
            }
        }
    }
}

// Click II: the session names it by its signature, "Digiclik"; the name field
// of its record holds state bytes, not the plug-in's name.
bool isClickPlugin(const PluginInstance& plugin) {
    return plugin.signature.compare(0, 8, "Digiclik") == 0 || plugin.pluginName.compare(0, 8, "Digiclik") == 0;
}

bool isClickName(const std::string& name) {
    return name == "Click" || name.rfind("Click ", 0) == 0 || name.rfind("Click.", 0) == 0;
}

// --no-click: a track that is only the click, by its name, goes; one with clips stays and is named.
void leaveOutClick(const SessionModel& model, AnalysisModel& analysis) {
    std::map<std::string, int> rowsOfName;
    for (const SessionTrack& row : model.tracks.rows) {
        ++rowsOfName[row.name];
        if (!row.currentName.empty() && row.currentName != row.name) ++rowsOfName[row.currentName];
    }
    std::vector<OutputTrack> kept;
    for (OutputTrack& track : analysis.outputTracks) {
        const std::string& name = trackKey(track);
        auto chain = model.pluginsOfStrip.find(name);
        bool digiclik = false;
        bool other = false;
        if (chain != model.pluginsOfStrip.end()) {
            for (const PluginInstance& plugin : chain->second) (isClickPlugin(plugin) ? digiclik : other) = true;
        }
        bool sends = false;
        for (const TrackRouting& row : model.routing) sends = sends || (row.name == name && !row.sends.empty());
        bool insert = false;
        for (const HardwareInsert& hardware : model.hardwareInserts) insert = insert || hardware.trackName == name;
        bool pure = false;
        if (digiclik) {
            other = other || rowsOfName[name] > 1 || sends || insert;
            pure = !other;
            if (other) {
                analysis.routing.clickTracksKept.push_back(track.name);
                kept.push_back(std::move(track));
                continue;
            }
        } else {
            pure = isClickName(name) && !other && rowsOfName[name] <= 1 && !sends && !insert;
        }
        if (!pure) {
            kept.push_back(std::move(track));
        } else if (!track.clips.empty() || !track.midiItems.empty()) {
            analysis.routing.clickTracksKept.push_back(track.name);
            kept.push_back(std::move(track));
        } else {
            analysis.routing.clickTracksLeftOut.push_back(track.name);
        }
    }
    analysis.outputTracks = std::move(kept);
}

bool listedInDebugHide(const std::string& key) {
    const char* list = std::getenv("PTX_DEBUG_HIDE");
    if (list == nullptr) return false;
    return ("," + std::string(list) + ",").find("," + key + ",") != std::string::npos;
}

const TrackAttributes* attributesOf(const SessionModel& model, const OutputTrack& track) {
    for (const std::string* wanted : {&track.name, &track.matchKey}) {
        for (size_t r = 0; r < model.tracks.rows.size() && r < model.attributes.size(); ++r) {
            if (effectiveName(model.tracks.rows[r]) == *wanted) return &model.attributes[r];
        }
    }
    return nullptr;
}

const StripRow* stripOfTrack(const SessionModel& model, const OutputTrack& track) {
    for (const std::string* wanted : {&track.matchKey, &track.name}) {
        for (const StripRow& strip : model.strips) {
            if (strip.present && !wanted->empty() && strip.name == *wanted) return &strip;
        }
    }
    return nullptr;
}

// A muted track's pre-fader sends keep playing in Pro Tools. Written unmuted
// with the fader down, the send plays and the track is silent; with volume or
// mute automation the fader cannot stay down, so the track stays muted.
void keepPreFaderSendsPlaying(const SessionModel& model, AnalysisModel& analysis) {
    RoutingTables& routing = analysis.routing;
    std::set<int> preFaderSources;
    for (const auto& entries : routing.sendsInto) {
        for (const SendEntry& entry : entries.second) {
            if (!entry.postFader) preFaderSources.insert(entry.source);
        }
    }
    for (int source : preFaderSources) {
        const OutputTrack& track = analysis.outputTracks[static_cast<size_t>(source)];
        const StripRow* strip = stripOfTrack(model, track);
        if (strip == nullptr || !strip->muted || track.inactive || track.voiceOff) continue;
        if (!strip->volumeLane.points.empty() || !strip->muteLane.points.empty()) {
            routing.preFaderKeptMuted.push_back(track.name);
        } else {
            routing.preFaderUnmuted.insert(source);
            routing.preFaderUnmutedNames.push_back(track.name);
        }
    }
}

// An instrument or hardware path taken by an aux, fed from another track: the
// aux receives the channels the source plays on, and the source gets that many.
void routeInstrumentPaths(const SessionModel& model, const std::vector<std::string>& owners, AnalysisModel& analysis) {
    RoutingTables& routing = analysis.routing;
    const std::vector<OutputTrack>& tracks = analysis.outputTracks;
    for (size_t k = 0; k < model.paths.size(); ++k) {
        const BusRecord& path = model.paths[k];
        if (path.kind != kInstrumentOrHardwarePath || path.channels.empty()) continue;
        const int pair = (path.channels[0] + 1) / 2;
        const int value = pair * 2 + 1;
        int auxRow = -1;
        for (size_t r = 0; r < model.routing.size() && auxRow < 0; ++r) {
            const TrackRouting& row = model.routing[r];
            if (row.inputKind == static_cast<int32_t>(kInstrumentOrHardwarePath) && row.inputIdLow == path.idLow &&
                row.inputIdHigh == path.idHigh) {
                auxRow = static_cast<int>(r);
            }
        }
        if (auxRow < 0) continue;
        for (size_t r = 0; r < model.routing.size(); ++r) {
            if (static_cast<int>(r) == auxRow) continue;
            const std::vector<size_t>& held = model.routing[r].heldPaths;
            if (std::find(held.begin(), held.end(), k) == held.end()) continue;
            const int source = trackOfOwner(tracks, owners[r]);
            const int aux = trackOfOwner(tracks, owners[static_cast<size_t>(auxRow)]);
            if (source < 0 || aux < 0 || source == aux) break;
            int& need = routing.needChannels[trackKey(tracks[static_cast<size_t>(source)])];
            need = std::max(need, value + 1);
            routing.pathReceives[aux].push_back({source, value - 1});
            break;
        }
    }
}

const BusRecord* busNamed(const SessionModel& model, const std::string& name) {
    for (const BusRecord& path : model.paths) {
        if (path.name == name) return &path;
    }
    return nullptr;
}

std::string keyName(const SessionModel& model, int32_t keyInput) {
    if (keyInput < 0) return std::string();
    auto found = model.keyInputNames.find(static_cast<uint16_t>(keyInput));
    return found == model.keyInputNames.end() ? std::string() : found->second;
}

// Two neighbouring instances of one plug-in keyed off the two legs of one
// stereo bus are one unlinked multi-mono insert; the second is not wired.
std::set<uint64_t> findMultiMonoSecondLegs(const SessionModel& model, RoutingTables& routing) {
    std::set<uint64_t> second;
    for (const auto& [strip, chain] : model.pluginsOfStrip) {
        for (size_t k = 0; k + 1 < chain.size(); ++k) {
            const PluginInstance& a = chain[k];
            const PluginInstance& b = chain[k + 1];
            if (a.pluginName != b.pluginName || a.keyInput < 0 || b.keyInput < 0 || a.keyInput == b.keyInput) continue;
            const std::string keyA = keyName(model, a.keyInput);
            const std::string keyB = keyName(model, b.keyInput);
            const BusRecord* busA = busNamed(model, keyA);
            const BusRecord* busB = busNamed(model, keyB);
            if (keyA.empty() || keyB.empty() || !busA || !busB || busA->channels.size() != 1 || busB->channels.size() != 1) {
                continue;
            }
            for (const BusRecord& pair : model.paths) {
                if (pair.kind != kBusPath || pair.channels.size() != 2) continue;
                const bool both = std::is_permutation(pair.channels.begin(), pair.channels.end(),
                                                      std::vector<int32_t>{busA->channels[0], busB->channels[0]}.begin());
                if (!both) continue;
                second.insert(b.recordStart);
                routing.multiMonoNotes.push_back(formatText(
                    "  NOTE: '%s' carries what looks like ONE unlinked MULTI-MONO\n"
                    "    %s: two records, keyed off '%s' and '%s'. It is written\n"
                    "    as two stereo plug-ins IN SERIES, which compresses twice --\n"
                    "    Pro Tools runs one per channel in parallel. Known gap.\n",
                    strip.c_str(), a.pluginName.c_str(), keyA.c_str(), keyB.c_str()));
                break;
            }
        }
    }
    return second;
}

// Sidechain keys: each keyed plug-in's bus feeds channels 3/4 of its track, a
// second bus 5/6 and so on, from the track (or return track) that carries it.
void wireKeys(const SessionModel& model, const BusResolver& buses, AnalysisModel& analysis) {
    RoutingTables& routing = analysis.routing;
    const std::vector<OutputTrack>& tracks = analysis.outputTracks;
    const std::set<uint64_t> secondLegs = findMultiMonoSecondLegs(model, routing);
    auto returnIndex = [&](const std::string& name) {
        auto found = std::find(routing.returnTracks.begin(), routing.returnTracks.end(), name);
        return found == routing.returnTracks.end() ? -1
                                                   : static_cast<int>(tracks.size() + (found - routing.returnTracks.begin()));
    };
    for (const auto& [strip, chain] : model.pluginsOfStrip) {
        const int receiver = trackOfOwner(tracks, strip);
        std::vector<std::string> sources;  // bus names already wired on this track
        uint64_t firstKeyed = 0;
        std::vector<const PluginInstance*> unresolvedHere;
        for (const PluginInstance& plugin : chain) {
            if (plugin.keyInput < 0) continue;
            std::string name = keyName(model, plugin.keyInput);
            const auto unresolved = [&]() {
                ++routing.keysUnresolved;
                unresolvedHere.push_back(&plugin);
            };
            if (secondLegs.count(plugin.recordStart) || name.empty() || receiver < 0) {
                unresolved();
                continue;
            }
            const size_t dot = name.rfind('.');
            const std::string stripped = dot != std::string::npos && name.size() - dot <= 2 ? name.substr(0, dot) : name;
            std::string taker = buses.resolve(name).first;
            if (taker.empty() && stripped != name) {
                taker = buses.resolve(stripped).first;
                if (!taker.empty()) name = stripped;
            }
            std::string target = taker.empty() ? name : taker;
            if (taker.empty() && !buses.channelsOfBus.count(name) && !buses.channelsOfBus.count(stripped)) {
                unresolved();
                continue;
            }
            int source = trackNamed(tracks, target);
            if (source < 0) source = returnIndex(target);
            if (source < 0 && stripped != target) {
                source = trackNamed(tracks, stripped);
                if (source < 0) source = returnIndex(stripped);
                if (source >= 0) target = stripped;
            }
            if (source < 0) {
                unresolved();
                continue;
            }
            if (taker.empty()) routing.keyOnlyBuses.insert(target);
            const auto wired = std::find(sources.begin(), sources.end(), target);
            routing.keyPairOf[plugin.recordStart] = static_cast<int>(wired - sources.begin());
            if (wired != sources.end()) continue;
            const std::string& key = trackKey(tracks[static_cast<size_t>(receiver)]);
            if (sources.empty()) {
                routing.keyFrom[key] = source;
                firstKeyed = plugin.recordStart;
                ++routing.keysWired;
            } else {
                routing.extraKeys[key].push_back(source);
                ++routing.extraKeysWired;
            }
            sources.push_back(target);
        }
        // An unwired keyed plug-in behind the first wired one hears the track's key.
        for (const PluginInstance* plugin : unresolvedHere) {
            if (sources.empty() || plugin->recordStart <= firstKeyed) continue;
            --routing.keysUnresolved;
            ++routing.keysHeardFromTrack[plugin->pluginName + " on " + strip];
        }
    }
}

// The track whose Click II plays the session's click: the first strip by name
// with one neither bypassed nor inactive, on a track that sounds.
void findClickPlayer(const SessionModel& model, AnalysisModel& analysis) {
    for (const auto& [strip, chain] : model.pluginsOfStrip) {
        const bool plays = std::any_of(chain.begin(), chain.end(), [](const PluginInstance& plugin) {
            return isClickPlugin(plugin) && !plugin.bypassed && !plugin.inactive;
        });
        if (!plays) continue;
        const int track = trackOfOwner(analysis.outputTracks, strip);
        if (track < 0) continue;
        const OutputTrack& output = analysis.outputTracks[static_cast<size_t>(track)];
        bool muted = false;
        for (const StripRow& row : model.strips) muted = muted || (row.present && row.name == strip && row.muted);
        if (output.inactive || output.voiceOff || muted) continue;
        analysis.routing.clickPlayer = strip;
        return;
    }
}

}  // namespace

// A track that outputs to one leg of a stereo output plays from that side.
void findOneSidedOutputs(const SessionModel& model, const ConvertOptions&, BindingWork&, AnalysisModel& analysis) {
    const std::vector<std::string> owners = ownerNames(model);
    for (size_t r = 0; r < model.routing.size(); ++r) {
        const std::string& output = model.routing[r].outputPath;
        const size_t split = output.find(" / ");
        if (split == std::string::npos) continue;
        const std::string prefix = output.substr(0, split + 3);
        const std::string side = output.substr(split + 3);
        int channel = -1;
        bool single = false;
        for (const BusRecord& path : model.paths) {
            if (path.name == output && path.channels.size() == 1) {
                channel = path.channels[0];
                single = true;
                break;
            }
        }
        if (!single) {
            if (side.find_first_of("0123456789") == std::string::npos) continue;
            channel = std::atoi(side.c_str());
        }
        if (channel < 0) continue;
        for (const BusRecord& path : model.paths) {
            if (path.channels.size() != 2 || path.name.compare(0, prefix.size(), prefix) != 0) continue;
            if (path.channels[0] == channel) {
                analysis.routing.sideOfOutput[owners[r]] = -1;
                break;
            }
            if (path.channels[1] == channel) {
                analysis.routing.sideOfOutput[owners[r]] = 1;
                break;
            }
        }
    }
}

// --no-click, --skip-hidden-tracks and --skip-inactive-tracks take tracks out,
// except those a written track plays into.
void skipHiddenAndInactive(const SessionModel& model, const ConvertOptions& options, BindingWork&,
                           AnalysisModel& analysis) {
    if (options.noClick) leaveOutClick(model, analysis);
    if (!options.skipHiddenTracks && !options.skipInactiveTracks) return;
    const std::vector<std::string> owners = ownerNames(model);
    const BusResolver buses(model, owners);
    buildNeeds(model, owners, buses, analysis.routing);
    addFolderNeeds(model, analysis.routing.needs);
    const std::set<std::string> unmarkedFolders = foldersKeptWithoutTable(model);

    std::vector<OutputTrack>& tracks = analysis.outputTracks;
    std::vector<int> mark(tracks.size(), 0);
    bool anyMarked = false;
    for (size_t i = 0; i < tracks.size(); ++i) {
        if (tracks[i].matchKey.empty()) continue;
        const TrackAttributes* attributes = attributesOf(model, tracks[i]);
        if (options.skipHiddenTracks && ((attributes && attributes->shown == 0) || listedInDebugHide(tracks[i].matchKey))) {
            mark[i] |= 1;
        }
        if (options.skipInactiveTracks && tracks[i].inactive) mark[i] |= 2;
        if (unmarkedFolders.count(tracks[i].matchKey)) mark[i] = 0;
        anyMarked = anyMarked || mark[i] != 0;
    }
    if (!anyMarked) return;

    // A marked track that an unmarked one plays into stays, and so on, until nothing changes.
    for (bool changed = true; changed;) {
        changed = false;
        for (size_t i = 0; i < tracks.size(); ++i) {
            if (mark[i] != 0 || tracks[i].matchKey.empty()) continue;
            auto needs = analysis.routing.needs.find(tracks[i].matchKey);
            if (needs == analysis.routing.needs.end()) continue;
            for (const std::string& needed : needs->second) {
                for (size_t j = 0; j < tracks.size(); ++j) {
                    if (mark[j] == 0 || tracks[j].matchKey != needed) continue;
                    mark[j] = 0;
                    analysis.routing.keptForNeeds.push_back(needed + " (" + tracks[i].matchKey + " needs it)");
                    changed = true;
                }
            }
        }
    }

    std::vector<OutputTrack> kept;
    std::string droppedKey;
    for (size_t i = 0; i < tracks.size(); ++i) {
        if (mark[i] != 0) {
            ((mark[i] & 2) ? analysis.routing.inactiveLeftOut : analysis.routing.hiddenLeftOut).push_back(tracks[i].name);
            droppedKey = tracks[i].matchKey;
            continue;
        }
        if (tracks[i].matchKey.empty() && !droppedKey.empty() && tracks[i].name == droppedKey + " " + kAltTakes) continue;
        droppedKey.clear();
        kept.push_back(std::move(tracks[i]));
    }
    tracks = std::move(kept);
}

// Sends and outputs as receives, return tracks for buses no aux takes, and the
// tracks whose master send goes off.
void buildRoutingGraph(const SessionModel& model, const ConvertOptions& options, BindingWork&,
                       AnalysisModel& analysis) {
    const std::vector<std::string> owners = ownerNames(model);
    const BusResolver buses(model, owners);
    findAuxWidths(model, owners, buses, analysis);
    findSurroundFeeds(model, owners, buses, analysis);
    routeSends(model, owners, buses, analysis);
    routeOutputs(model, owners, buses, analysis);
    routeInstrumentPaths(model, owners, analysis);
    if (!options.noSidechain) wireKeys(model, buses, analysis);
    if (!options.noClick && model.info.clickState == 1) findClickPlayer(model, analysis);
    keepPreFaderSendsPlaying(model, analysis);
    for (const auto& [owner, side] : analysis.routing.sideOfOutput) {
        const int track = trackOfOwner(analysis.outputTracks, owner);
        if (track >= 0) {
            analysis.routing.oneSidedTracks.push_back(analysis.outputTracks[static_cast<size_t>(track)].name +
                                                      (side < 0 ? " (left)" : " (right)"));
        }
    }
}
