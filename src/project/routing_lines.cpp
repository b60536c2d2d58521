#include "project/routing_lines.h"

#include <cmath>

#include "driver/run_state.h"
#include "project/envelopes.h"
#include "project/project_writer.h"
#include "project/text.h"
#include "project/track_tables.h"

namespace {

// The fixed tail every receive ends with.
void tail(ProjectText::Line& line) { line.word("31:U").num(4177951).num(-1).word("''"); }

}  // namespace

void writeReceives(ProjectWriter& writer, std::size_t i) {
    const RoutingTables& routing = writer.state.analysis.routing;
    // Key inputs: the first on channels 3/4, each further one two channels up.
    const std::string& key = trackKey(writer.state.analysis.outputTracks[i]);
    auto first = routing.keyFrom.find(key);
    if (first != routing.keyFrom.end() && first->second != static_cast<int>(i)) {
        ProjectText::Line line = writer.text.statement("AUXRECV");
        line.num(first->second).num(1).num(1).num(0).num(0).num(0).num(0).num(0).num(2);
        tail(line);
    }
    auto extra = routing.extraKeys.find(key);
    for (size_t n = 0; extra != routing.extraKeys.end() && n < extra->second.size(); ++n) {
        if (extra->second[n] == static_cast<int>(i)) continue;
        ProjectText::Line line = writer.text.statement("AUXRECV");
        line.num(extra->second[n]).num(1).num(1).num(0).num(0).num(0).num(0).num(0).num(static_cast<int>(2 * n + 4));
        tail(line);
    }
    for (const auto* table : {&routing.pathReceives, &routing.outputReceives}) {
        auto found = table->find(static_cast<int>(i));
        if (found == table->end()) continue;
        for (const ChannelReceive& receive : found->second) {
            if (receive.source == static_cast<int>(i)) continue;
            ProjectText::Line line = writer.text.statement("AUXRECV");
            line.num(receive.source).num(0).num(1).num(0).num(0).num(0).num(0).num(receive.code).num(0);
            tail(line);
        }
    }
}

void writeSendsInto(ProjectWriter& writer, const std::string& receiver, int selfIndex) {
    RunState& state = writer.state;
    const RoutingTables& routing = state.analysis.routing;
    auto found = routing.sendsInto.find(receiver);
    if (found == routing.sendsInto.end()) return;
    const double rate = static_cast<double>(state.sampleRate);
    for (const SendEntry& send : found->second) {
        if (send.source == selfIndex) continue;
        // A send switched off in the session, with no mute lane to switch it on.
        const bool muted = send.muteLane.points.empty() && send.muteLane.initial != 0;
        if (muted) ++state.counters.sendsMuted;
        {
            ProjectText::Line line = writer.text.statement("AUXRECV");
            line.num(send.source).num(send.postFader ? 0 : 3).seconds(std::pow(10.0, send.levelDb / 20.0))
                .compact(send.pan + 0.0).num(muted ? 1 : 0).num(0).num(0).num(0).num(0);
            tail(line);
        }
        ++state.counters.sendsWritten;
        // A send's automation is its sending track's: kept but not played when that track is Off.
        const bool active = !automationOff(state, static_cast<size_t>(send.source));
        EnvelopeForm level{"AUXVOLENV", send.source, LaneKind::volume, false, active, false};
        state.counters.sendAutomationPoints += writeEnvelope(writer.text, level, send.levelLane, state.model, rate);
        EnvelopeForm mute{"AUXMUTEENV", send.source, LaneKind::mute, false, active, false};
        state.counters.sendAutomationPoints += writeEnvelope(writer.text, mute, send.muteLane, state.model, rate);
    }
}
