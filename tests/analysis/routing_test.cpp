// The routing rules on hand-made models: which aux takes a bus, what keeps a
// hidden track in the project, the click toggle, keys, and the strips of
// unknown width.
#include <gtest/gtest.h>

#include <cstdlib>

#include "analysis/passes.h"

namespace {

struct RoutingBench {
    SessionModel model;
    BindingWork work;
    AnalysisModel analysis;
    ConvertOptions options;

    // A track with its strip, its routing row (blocks laid out one after another) and its output track.
    TrackRouting& track(const std::string& name, const std::string& output, bool shown = true) {
        const uint64_t start = 1000 * (model.routing.size() + 1);
        TrackRouting row;
        row.name = name;
        row.outputPath = output;
        row.blockStart = start;
        row.blockEnd = start + 500;
        model.routing.push_back(row);
        StripRow strip;
        strip.name = name;
        strip.present = 1;
        strip.position = start + 10;
        model.strips.push_back(strip);
        SessionTrack sessionTrack;
        sessionTrack.name = name;
        model.tracks.rows.push_back(sessionTrack);
        TrackAttributes attributes;
        attributes.shown = shown ? 1 : 0;
        model.attributes.push_back(attributes);
        OutputTrack out;
        out.name = out.matchKey = name;
        analysis.outputTracks.push_back(out);
        return model.routing.back();
    }
    void bus(const std::string& name, std::vector<int32_t> channels, uint32_t id) {
        BusRecord path;
        path.name = name;
        path.kind = kBusPath;
        path.channels = std::move(channels);
        path.idLow = 1;
        path.idHigh = id;
        model.paths.push_back(path);
    }
    // The aux takes the bus of that id on its input.
    void takes(TrackRouting& aux, const std::string& bus, uint32_t id) {
        aux.inputPath = bus;
        aux.inputKind = static_cast<int32_t>(kBusPath);
        aux.inputIdLow = 1;
        aux.inputIdHigh = id;
    }
    SendRecord& send(TrackRouting& row, const std::string& bus, int32_t left = 0, int32_t right = 0) {
        SendRecord s;
        s.busName = bus;
        s.panLeft = left;
        s.panRight = right;
        row.sends.push_back(s);
        return row.sends.back();
    }
    std::vector<std::string> names() const {
        std::vector<std::string> out;
        for (const OutputTrack& t : analysis.outputTracks) out.push_back(t.name);
        return out;
    }
    void run() {
        skipHiddenAndInactive(model, options, work, analysis);
        buildRoutingGraph(model, options, work, analysis);
    }
};

}  // namespace

TEST(RoutingRules, BusesResolveByInputThenByChannels) {
    RoutingBench b;
    b.bus("FX", {3, 4}, 10);
    b.bus("FX.L", {3}, 11);
    b.bus("Twice", {5, 6}, 20);
    b.bus("Twice", {5, 6}, 21);  // a name stored twice resolves only by an aux's input
    TrackRouting& aux = b.track("Aux", "Out");
    b.takes(aux, "FX", 10);
    b.send(b.track("Own", "FX"), "FX");  // the aux feeds its own bus: keeps its master send
    b.model.routing[0].outputPath = "FX";
    b.send(b.track("Gtr", "Out"), "FX.L");
    b.send(b.track("Keys", "Out"), "Twice", -100, 99);
    b.model.trackListRows.push_back({"Keys", 0, 1, false, 0});  // Keys is stereo
    b.run();

    const RoutingTables& r = b.analysis.routing;
    EXPECT_EQ(r.noMainSend.count(0), 0u);  // Aux outputs into the bus it takes
    ASSERT_EQ(r.sendsInto.at("Aux").size(), 2u);
    EXPECT_EQ(r.monoLegsMatched, 1);
    EXPECT_EQ(r.returnTracks, std::vector<std::string>{"Twice"});
    EXPECT_EQ(r.sendsInto.at("Twice")[0].pan, 0.0);
    EXPECT_EQ(r.stereoSendsOffDefault, std::vector<std::string>{"Keys"});
    EXPECT_EQ(r.noMainSend.count(1), 1u);  // Own outputs into FX, which Aux takes
}

TEST(RoutingRules, AnInstrumentPathFeedsItsAuxFromTheTrackThatNamesIt) {
    RoutingBench b;
    BusRecord path;
    path.name = "Synth Out 3";
    path.kind = kInstrumentOrHardwarePath;
    path.channels = {3};
    path.idLow = 1;
    path.idHigh = 40;
    b.model.paths.push_back(path);
    b.track("Synth", "Out").heldPaths = {0};
    TrackRouting& aux = b.track("Synth Aux", "Out");
    aux.inputKind = static_cast<int32_t>(kInstrumentOrHardwarePath);
    aux.inputIdLow = 1;
    aux.inputIdHigh = 40;
    b.run();
    // Channel 3 is the second pair: the source plays on 5 and 6, and needs six channels.
    EXPECT_EQ(b.analysis.routing.needChannels["Synth"], 6);
    ASSERT_EQ(b.analysis.routing.pathReceives[1].size(), 1u);
    EXPECT_EQ(b.analysis.routing.pathReceives[1][0].source, 0);
    EXPECT_EQ(b.analysis.routing.pathReceives[1][0].code, 4);
}

TEST(RoutingRules, HiddenTracksStayWhenAWrittenTrackNeedsThem) {
    RoutingBench b;
    b.bus("Verb", {3, 4}, 10);
    b.bus("Slap", {5, 6}, 20);
    b.options.skipHiddenTracks = true;
    b.send(b.track("Vox", "Out"), "Verb");
    TrackRouting& verb = b.track("Verb Aux", "Slap", false);  // hidden, fed by Vox
    b.takes(verb, "Verb", 10);
    TrackRouting& slap = b.track("Slap Aux", "Out", false);  // hidden, fed only by the kept Verb Aux
    b.takes(slap, "Slap", 20);
    b.track("Notes", "Out", false);  // hidden, needed by nobody
    OutputTrack alt;
    alt.name = "Notes [alt takes]";
    b.analysis.outputTracks.push_back(alt);
    b.run();
    EXPECT_EQ(b.names(), (std::vector<std::string>{"Vox", "Verb Aux", "Slap Aux"}));
    EXPECT_EQ(b.analysis.routing.hiddenLeftOut, std::vector<std::string>{"Notes"});
    EXPECT_EQ(b.analysis.routing.keptForNeeds,
              (std::vector<std::string>{"Verb Aux (Vox needs it)", "Slap Aux (Verb Aux needs it)"}));
}

// Click II is known by its signature; its record's name field holds state bytes.
PluginInstance clickTwo() {
    PluginInstance p;
    p.signature = "Digiclik";
    p.pluginName = "CkRTelckComplete Controls State";
    return p;
}

TEST(RoutingRules, TheClickToggleTakesOnlyAClickTrackWithoutClips) {
    RoutingBench b;
    b.options.noClick = true;
    b.track("Click", "Out");
    b.track("Click 2", "Out");
    b.analysis.outputTracks.back().clips.push_back(AudioClip());
    b.track("Clicky", "Out");
    b.track("Metronome", "Out");  // any name: it holds only Click II
    b.track("Tempo Bed", "Out");  // Click II and something else
    b.model.pluginsOfStrip["Metronome"] = {clickTwo()};
    PluginInstance eq;
    eq.signature = "Digi47e3";
    b.model.pluginsOfStrip["Tempo Bed"] = {clickTwo(), eq};
    b.run();
    EXPECT_EQ(b.names(), (std::vector<std::string>{"Click 2", "Clicky", "Tempo Bed"}));
    EXPECT_EQ(b.analysis.routing.clickTracksLeftOut, (std::vector<std::string>{"Click", "Metronome"}));
    EXPECT_EQ(b.analysis.routing.clickTracksKept, (std::vector<std::string>{"Click 2", "Tempo Bed"}));
    EXPECT_EQ(b.analysis.routing.clickPlayer, "");

    // Without the toggle, a session whose click is on names the track that plays it.
    RoutingBench on;
    on.model.info.clickState = 1;
    on.track("Muted", "Out");
    on.model.strips.back().muted = 1;
    on.track("Zed", "Out");
    on.model.pluginsOfStrip["Muted"] = {clickTwo()};
    on.model.pluginsOfStrip["Zed"] = {clickTwo()};
    on.run();
    EXPECT_EQ(on.analysis.routing.clickPlayer, "Zed");
}

TEST(RoutingRules, KeysWireToChannelsThreeAndUp) {
    RoutingBench b;
    b.bus("Kick Key", {5, 6}, 10);
    b.bus("Snare Key", {7, 8}, 20);
    b.bus("Hat", {9, 10}, 30);
    b.model.keyInputNames = {{1, "Kick Key"}, {2, "Snare Key"}, {3, "Hat.L"}, {4, "Nowhere"}};
    b.send(b.track("Kick", "Out"), "Kick Key");
    b.send(b.track("Snare", "Out"), "Snare Key");
    b.track("Bass", "Out");
    auto plugin = [](const std::string& name, int32_t key, uint64_t at) {
        PluginInstance p;
        p.pluginName = name;
        p.keyInput = key;
        p.recordStart = at;
        return p;
    };
    // Two keys, the first used twice; then one whose bus nobody knows, heard from the track's key.
    b.model.pluginsOfStrip["Bass"] = {plugin("Comp", 1, 10), plugin("Gate", 2, 20), plugin("Duck", 1, 30),
                                      plugin("Late", 4, 40)};
    b.model.pluginsOfStrip["Kick"] = {plugin("Hat Comp", 3, 50)};  // "Hat.L" falls back to "Hat"
    b.run();
    const RoutingTables& r = b.analysis.routing;
    EXPECT_EQ(r.keyFrom.at("Bass"), 3);  // the return track of "Kick Key", after the three tracks
    EXPECT_EQ(r.extraKeys.at("Bass"), std::vector<int>{4});
    EXPECT_EQ(r.keyOnlyBuses.count("Kick Key"), 1u);
    EXPECT_EQ(r.keysWired, 1);
    EXPECT_EQ(r.extraKeysWired, 1);
    EXPECT_EQ(r.keysUnresolved, 1);  // "Hat" has no track and no return track
    EXPECT_EQ(r.keysHeardFromTrack.at("Late on Bass"), 1);

    RoutingBench off;
    off.options.noSidechain = true;
    off.track("Bass", "Out");
    off.model.keyInputNames = {{1, "Kick Key"}};
    off.model.pluginsOfStrip["Bass"] = {plugin("Comp", 1, 10)};
    off.run();
    EXPECT_TRUE(off.analysis.routing.keyFrom.empty());
}

// Strips whose lanes are neither a mono nor a stereo strip's are listed: not
// the master's single lane, nor two to five lanes, nor a strip without lanes.
TEST(RoutingRules, StripsOfUnknownWidthAreListed) {
    RoutingBench b;
    b.model.masterName = "Master 1";
    const std::pair<const char*, int> strips[] = {{"Master 1", 1}, {"VCA-ish", 1}, {"Mono", 4}, {"Old Mono", 3},
                                                  {"Stereo", 5}, {"5.1", 7}, {"Bare", 0}, {"Quad", 6}};
    for (const auto& [name, slots] : strips) b.track(name, "Out");
    for (size_t k = 0; k < b.model.strips.size(); ++k) b.model.strips[k].controlSlots = strips[k].second;
    b.model.strips.back().present = 0;  // no row was found for it
    listUnknownWidths(b.model, b.options, b.work, b.analysis);
    std::string listed;
    for (const UnknownWidthStrip& strip : b.analysis.unknownWidthStrips) listed += strip.name + ";";
    EXPECT_EQ(listed, "VCA-ish;5.1;");
}
