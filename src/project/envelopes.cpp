#include "project/envelopes.h"

#include <cmath>

#include "project/text.h"
#include "session/session_model.h"

double envelopeValue(double value, LaneKind kind) {
    switch (kind) {
        case LaneKind::volume: return std::pow(10.0, (value / 10.0) / 20.0);
        case LaneKind::mute: return value == 1.0 ? 0.0 : 1.0;
        case LaneKind::pan:
        case LaneKind::dualPan: return value == 0.0 ? 0.0 : -value / 100.0;
    }
    return value;
}

int writeEnvelope(ProjectText& text, const EnvelopeForm& form, const AutomationLane& lane, const SessionModel& model,
                  double sampleRate) {
    if (lane.points.empty() && !form.force) return 0;
    const bool mute = form.kind == LaneKind::mute;
    {
        ProjectText::Line head = text.open(form.name);
        if (form.number >= 0) head.num(form.number);
    }
    text.statement("ACT").num(form.active ? 1 : 0).num(-1);
    text.statement("VIS").num(1).num(1).num(1);
    text.statement("LANEHEIGHT").num(0).num(0);
    text.statement("ARM").num(form.arm ? 1 : 0);
    text.statement("DEFSHAPE").num(mute ? 1 : 0).num(-1).num(-1);
    const int shape = mute ? 1 : 0;
    text.statement("PT").seconds(0).fine(envelopeValue(lane.initial, form.kind)).num(shape);
    const double rate = sampleRate > 0 ? sampleRate : 48000;
    for (const auto& point : lane.points) {
        const double time = lane.inTicks ? secondsOfTicks(point.first, model.tempoMap, model.sessionTempo)
                                         : point.first / rate;
        text.statement("PT").seconds(time).fine(envelopeValue(point.second, form.kind)).num(shape);
    }
    text.close();
    return static_cast<int>(lane.points.size());
}

int writeStripEnvelopes(ProjectText& text, const StripRow& strip, const StripEnvelopeForm& form,
                        const SessionModel& model, double sampleRate, int& dualPanPoints) {
    const bool armed = form.automationMode == 1;
    auto envelope = [&](std::string_view name, LaneKind kind, bool arm, bool force, const AutomationLane& lane) {
        EnvelopeForm envelopeForm{name, -1, kind, arm && armed, form.active, force};
        return writeEnvelope(text, envelopeForm, lane, model, sampleRate);
    };
    int points = envelope("VOLENV2", LaneKind::volume, true, false, strip.volumeLane);
    points += envelope("MUTEENV", LaneKind::mute, true, false, strip.muteLane);
    if (!form.surroundPanner && !form.unknownWidth) {
        points += envelope("PANENV2", LaneKind::pan, true, false, strip.panLane);
    }
    dualPanPoints = 0;
    if (!form.trimAndDualPan) return points;
    points += envelope("VOLENV3", LaneKind::volume, false, false, strip.trimLane);
    if (form.dualPanLanes && !form.surroundPanner) {
        dualPanPoints += envelope("DUALPANENVL", LaneKind::dualPan, true, true, strip.dualPanLeftLane);
        dualPanPoints += envelope("DUALPANENV", LaneKind::dualPan, true, true, strip.rightPanLane);
    }
    return points + dualPanPoints;
}
