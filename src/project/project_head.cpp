#include "project/project_head.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "analysis/palette.h"
#include "driver/run_state.h"
#include "project/envelopes.h"
#include "project/text.h"
#include "session/tempo.h"

namespace {

// ---- the staircase of Pro Tools' tempo steps ----

// Each point's tempo holds until the next point (the first one's also before
// it); quarters[k] counts the quarter notes from the first point to point k.
struct Staircase {
    const std::vector<TempoPoint>& points;
    std::vector<double> quarters;
};

Staircase staircaseOf(const std::vector<TempoPoint>& points) {
    Staircase stairs{points, std::vector<double>(points.size(), 0.0)};
    for (size_t k = 1; k < points.size(); ++k)
        stairs.quarters[k] = stairs.quarters[k - 1] + (points[k].time - points[k - 1].time) * points[k - 1].bpm / 60.0;
    return stairs;
}

// The step in force at a time: the last point at or before it, 0 before the first.
size_t stepAt(const Staircase& stairs, double time) {
    const std::vector<TempoPoint>& p = stairs.points;
    auto after = std::upper_bound(p.begin(), p.end(), time,
                                  [](double t, const TempoPoint& point) { return t < point.time; });
    return after == p.begin() ? 0 : static_cast<size_t>(after - p.begin()) - 1;
}

double stepQuartersAt(const Staircase& stairs, double time) {
    const size_t k = stepAt(stairs, time);
    return stairs.quarters[k] + (time - stairs.points[k].time) * stairs.points[k].bpm / 60.0;
}

double stepQuarters(const Staircase& stairs, double from, double to) {
    return stepQuartersAt(stairs, to) - stepQuartersAt(stairs, from);
}

// Quarter notes a ramp covers from its first point to a time inside it: a
// linear point glides to the next one, a square point holds.
double rampQuartersAt(const std::vector<TempoPoint>& ramp, double time) {
    double quarters = 0;
    for (size_t j = 0; j + 1 < ramp.size() && ramp[j].time < time; ++j) {
        const TempoPoint& a = ramp[j];
        const TempoPoint& b = ramp[j + 1];
        const double until = std::min(time, b.time);
        double bpmThere = a.bpm;
        if (a.shape == 0 && b.time > a.time) bpmThere = a.bpm + (b.bpm - a.bpm) * (until - a.time) / (b.time - a.time);
        quarters += (a.bpm + bpmThere) / 2.0 * (until - a.time) / 60.0;
    }
    return quarters;
}

// ---- folding drawn ramps ----

constexpr double kLongestRampStep = 2.0;      // seconds
constexpr double kStepSpread = 0.02;          // steps of a run differ by at most 2% from the first
constexpr double kLeastRampSpan = 1e-9;       // seconds
constexpr double kLowestRampTempo = 1;
constexpr double kHighestRampTempo = 1000;

// The last point of the run of steps that starts at point i, or i when no run
// of at least three points starts there.
size_t rampRunEnd(const std::vector<TempoPoint>& p, size_t i) {
    if (i + 2 >= p.size()) return i;
    const double s = p[i + 1].time - p[i].time;
    if (!(s > 0 && s <= kLongestRampStep) || p[i + 1].bpm == p[i].bpm) return i;
    const bool rising = p[i + 1].bpm > p[i].bpm;
    size_t e = i + 1;
    for (size_t k = i + 1; k + 1 < p.size(); ++k) {
        const double length = p[k + 1].time - p[k].time;
        const bool sameWay = rising ? p[k].bpm > p[k - 1].bpm : p[k].bpm < p[k - 1].bpm;
        if (!sameWay || !(length > 0) || length > (1 + kStepSpread) * s) break;
        e = k + 1;
        if (length < (1 - kStepSpread) * s) break;  // a shorter step ends the run and belongs to it
    }
    return e - i + 1 >= 3 ? e : i;
}

struct RampFit {
    std::vector<TempoPoint> points;
    bool solved = true;
    double pointError = 0;   // seconds
    double insideError = 0;  // seconds
};

// Solves the linear points that replace points i to e, and measures how far
// the ramp's beats stray from the steps'.
RampFit fitRamp(const std::vector<TempoPoint>& p, const Staircase& stairs, size_t i, size_t e) {
    RampFit fit;
    std::vector<TempoPoint>& q = fit.points;
    const double s = p[i + 1].time - p[i].time;

    // It starts half a step early at the tempo before it, unless the point
    // before lies there already; then it starts at point i.
    const TempoPoint& before = p[i > 0 ? i - 1 : 0];
    const double lead = p[i].time - s / 2;
    if (before.time >= lead)
        q.push_back(TempoPoint{p[i].time, p[i].bpm, 0, 0, 0});
    else
        q.push_back(TempoPoint{lead, before.bpm, 0, 0, 0});

    // A point in the middle of each even step, with the step's tempo.
    size_t lastEven = i;
    for (size_t k = i; k < e; ++k) {
        if (std::fabs((p[k + 1].time - p[k].time) - s) <= kStepSpread * s) lastEven = k;
    }
    for (size_t k = i; k <= lastEven; ++k) {
        const double middle = (p[k].time + p[k + 1].time) / 2;
        if (middle < p[e].time) q.push_back(TempoPoint{middle, p[k].bpm, 0, 0, 0});
    }

    // Each tempo solved so the stretch up to it covers the steps' quarter notes.
    for (size_t j = 1; j < q.size() && fit.solved; ++j) {
        const double d = q[j].time - q[j - 1].time;
        if (d <= kLeastRampSpan) {
            fit.solved = false;
            break;
        }
        const double solved = 120.0 * stepQuarters(stairs, q[j - 1].time, q[j].time) / d - q[j - 1].bpm;
        if (solved < kLowestRampTempo || solved > kHighestRampTempo || std::fabs(solved - q[j].bpm) > q[j].bpm / 4)
            fit.solved = false;
        q[j].bpm = solved;
    }

    // The last stretch to point e, split in two so that it comes out even too.
    constexpr size_t kNoHalfWay = static_cast<size_t>(-1);
    size_t halfWay = kNoHalfWay;
    const double half = (p[e].time - q.back().time) / 2;
    if (fit.solved && half > kLeastRampSpan) {
        const double quarters = stepQuarters(stairs, q.back().time, p[e].time);
        const double middle = (120.0 * quarters / half - q.back().bpm - p[e].bpm) / 2;
        if (!(middle > kLowestRampTempo && middle < kHighestRampTempo)) fit.solved = false;
        halfWay = q.size();
        q.push_back(TempoPoint{q.back().time + half, middle, 0, 0, 0});
    }
    TempoPoint last = p[e];
    last.shape = 1;
    q.push_back(last);
    if (!fit.solved) return fit;

    // Beats apart, as seconds at the local tempo: at the ramp's points, and at
    // each step and step middle inside it.
    const double start = q.front().time;
    for (size_t j = 0; j < q.size(); ++j) {
        if (j == halfWay) continue;
        const double apart = rampQuartersAt(q, q[j].time) - stepQuarters(stairs, start, q[j].time);
        fit.pointError = std::max(fit.pointError, std::fabs(apart) * 60.0 / q[j].bpm);
    }
    for (size_t k = i; k < e; ++k) {
        for (double time : {p[k].time, (p[k].time + p[k + 1].time) / 2}) {
            if (time < start) continue;
            const double apart = rampQuartersAt(q, time) - stepQuarters(stairs, start, time);
            fit.insideError = std::max(fit.insideError, std::fabs(apart) * 60.0 / p[k].bpm);
        }
    }
    return fit;
}

uint32_t meterCodeOf(const MeterEvent& meter) { return meter.denominator * 65536u + meter.numerator; }

// The tempo in force at a time by the session's events (eventTimes in
// seconds): the last at or before it, the first if none lies before it, the
// session tempo without events.
double eventTempoAt(const SessionModel& model, const std::vector<double>& eventTimes, double time) {
    if (model.tempoMap.empty()) return model.sessionTempo;
    double bpm = model.tempoMap.front().bpm;
    for (size_t k = 0; k < eventTimes.size() && eventTimes[k] <= time; ++k) bpm = model.tempoMap[k].bpm;
    return bpm;
}

// Puts a meter change at its time: on a point that stands there, or on a new one.
void placeMeterChange(std::vector<TempoPoint>& points, double time, double bpm, uint32_t code) {
    constexpr double kSamePlace = 1e-7;
    for (TempoPoint& point : points) {
        if (std::fabs(point.time - time) < kSamePlace) {
            point.meterCode = code;
            point.meterFlags = 3;
            return;
        }
    }
    auto at = std::upper_bound(points.begin(), points.end(), time,
                               [](double t, const TempoPoint& point) { return t < point.time; });
    TempoPoint change{time, bpm, code, 3, 1};
    if (at != points.begin() && std::prev(at)->shape == 0) {
        // Inside a ramp: on its line, and the ramp goes on from here.
        const TempoPoint& a = *std::prev(at);
        change.bpm = a.bpm;
        if (at != points.end() && at->time > a.time)
            change.bpm = a.bpm + (at->bpm - a.bpm) * (time - a.time) / (at->time - a.time);
        change.shape = 0;
    }
    points.insert(at, change);
}

// ---- the seams later work fills ----

// The project colour of a marker's palette slot.
uint32_t markerPaletteColour(const RunState&, int32_t index) { return paletteColour(index).colour; }

// The master strip's automation lanes and their envelopes come with the lane
// reader; until then the master has none.
struct MasterLanes {
    bool volume = false;
    bool mute = false;
};
MasterLanes masterLanes(const StripRow& strip) {
    return {!strip.volumeLane.points.empty(), !strip.muteLane.points.empty()};
}

void writeMasterEnvelopes(const RunState& state, const StripRow& strip, ProjectText& text) {
    const double rate = static_cast<double>(state.sampleRate);
    writeEnvelope(text, {"MASTERVOLENV2", -1, LaneKind::volume, false, true, false}, strip.volumeLane, state.model, rate);
    writeEnvelope(text, {"MASTERMUTEENV", -1, LaneKind::mute, false, true, false}, strip.muteLane, state.model, rate);
}

// ---- the parts of the head ----

}  // namespace

// A comment's lines for the notes: LF ends a line, other control bytes but
// tab go, tab becomes a blank, a lone ">" is shifted off the block's end
// mark; empty lines at the end go too.
std::vector<std::string> commentLines(const std::string& comment) {
    std::vector<std::string> lines(1);
    for (char c : comment) {
        const unsigned char byte = static_cast<unsigned char>(c);
        if (byte == '\n')
            lines.emplace_back();
        else if (byte == '\t')
            lines.back().push_back(' ');
        else if (byte >= 32)
            lines.back().push_back(c);
    }
    while (!lines.empty() && lines.back().empty()) lines.pop_back();
    for (std::string& line : lines) {
        if (line == ">") line = " >";
    }
    return lines;
}

namespace {

void writeNotes(const RunState& state, ProjectText& text) {
    if (state.options.commentsMode != 1) return;
    const SessionModel& model = state.model;
    bool opened = false;
    for (size_t i = 0; i < model.attributes.size() && i < model.tracks.rows.size(); ++i) {
        const std::vector<std::string> lines = commentLines(model.attributes[i].comment);
        if (lines.empty()) continue;
        if (!opened) {
            text.open("NOTES").num(0).num(2);
            opened = true;
        }
        text.rawLine("|" + effectiveName(model.tracks.rows[i]) + ": " + lines[0]);
        for (size_t k = 1; k < lines.size(); ++k) text.rawLine("|    " + lines[k]);
    }
    if (opened) text.close();
}

void writeTimecode(const SessionInfo& info, ProjectText& text, ProjectHeadSummary& summary) {
    const SessionTimecode timecode = sessionTimecode(info);
    summary.timecode = timecode;
    const int32_t code = info.timecodeRateCode;
    int32_t dropMode = code == 3 || code == 9 ? 2 : code == 5 ? 1 : 0;
    if (timecode.factor > 1) {
        if (dropMode == 1) dropMode = 2;
    } else if (info.sessionStartFrames == 0 && dropMode == 0 && timecode.integerRate == 30) {
        return;  // 30 fps from zero is REAPER's own default
    }
    summary.timecodeWritten = true;
    text.statement("PROJOFFS").seconds(timecode.startSeconds).num(0).num(0);
    text.statement("TIMEMODE").num(1).num(5).num(-1).num(timecode.integerRate).num(dropMode).num(0).num(-1).num(0);
}

void writeRecordFormat(const SessionInfo& info, ProjectText& text, ProjectHeadSummary& summary) {
    text.open("RECORD_CFG");
    if (info.fileTypeCode != 4 && (info.bitDepth == 16 || info.bitDepth == 32)) {
        const uint8_t format[7] = {'e', 'v', 'a', 'w', static_cast<uint8_t>(info.bitDepth), 0, 1};
        text.writeBase64Lines(base64(format, sizeof format));
        summary.recordFormatWritten = true;
    }
    text.close();
}

void writeTempoEnvelope(const RunState& state, ProjectText& text, ProjectHeadSummary& summary) {
    TempoRampFigures figures;
    const std::vector<TempoPoint> points =
        tempoEnvelope(state.model, state.options.tempoRamps, static_cast<double>(state.sampleRate), figures);
    summary.ramps = figures;
    summary.rampSampleRate = state.sampleRate > 0 ? static_cast<double>(state.sampleRate) : 48000;
    if (points.empty()) return;
    summary.tempoEnvelopeWritten = true;
    summary.tempoPoints = static_cast<int>(points.size());
    text.open("TEMPOENVEX");
    for (const TempoPoint& point : points) {
        ProjectText::Line line = text.statement("PT");
        line.seconds(point.time).coarse(point.bpm).num(point.shape);
        if (point.meterFlags != 0) line.num(point.meterCode).num(0).num(point.meterFlags);
    }
    text.close();
}

void writeMarkers(const RunState& state, ProjectText& text, ProjectHeadSummary& summary) {
    const SessionModel& model = state.model;
    const double rate = state.sampleRate > 0 ? static_cast<double>(state.sampleRate) : 48000;
    auto seconds = [&](const MemoryLocation& location, double at) {
        return location.sampleBased ? at / rate : secondsOfTicks(at, model.tempoMap, model.sessionTempo);
    };
    uint32_t number = 0;
    for (const MemoryLocation& location : model.memoryLocations) {
        if (location.kind == 0) {
            ++summary.locationsWithoutTime;
            continue;
        }
        ++number;
        const double start = seconds(location, location.start);
        const double end = seconds(location, location.end);
        bool unmapped = false;
        const uint32_t colour =
            markerColour(location, markerPaletteColour(state, location.paletteIndex), unmapped);
        if (colour != 0) ++summary.markersColoured;
        if (unmapped) summary.unmappedColours.push_back({location.name, location.colourNumber});
        const bool region = location.kind == 2 && end > start;
        text.statement("MARKER").num(number).seconds(start).name(location.name).num(region ? 1 : 0)
            .colour(colour).num(1).word("R").guid(number + 0x4D41524Bu).num(0);
        if (region) {
            text.statement("MARKER").num(number).seconds(end).name("").num(1);
            ++summary.regionsWritten;
        }
    }
    summary.locationsWritten = static_cast<int>(number);
}

void writeMaster(const RunState& state, ProjectText& text, ProjectHeadSummary& summary) {
    const SessionModel& model = state.model;
    const StripRow* strip = nullptr;
    if (!model.masterName.empty()) {
        for (const StripRow& row : model.strips) {
            if (row.present && row.name == model.masterName) strip = &row;
        }
    }
    summary.masterStripFound = strip != nullptr;
    const MasterLanes lanes = strip ? masterLanes(*strip) : MasterLanes{};
    summary.masterFaderParked = lanes.volume;

    text.statement("MASTERMUTESOLO").num(strip ? strip->muted : 0);
    text.statement("MASTER_NCH").num(2).num(2);
    text.statement("PANLAW").seconds(std::pow(10.0, panLawDb(model.info.panDepthCode) / 20.0));
    summary.gridQuarterNotes = gridQuarterNotes(model.info, summary.meterNumerator, summary.meterDenominator);
    if (summary.gridQuarterNotes > 0) {
        summary.gridWritten = true;
        text.statement("GRID").num(3199).num(8).gridSize(summary.gridQuarterNotes).num(8).num(1).num(0).num(0).num(0);
    }
    // With a volume lane the envelope carries the level.
    const double volume = strip && !lanes.volume ? std::pow(10.0, strip->faderDb / 20.0) : 1.0;
    text.statement("MASTER_VOLUME").fine(volume).coarse(0).num(-1).coarse(-1).coarse(1);
    text.statement("MASTER_PANMODE").num(3);
    if (lanes.volume || lanes.mute) text.statement("MASTERAUTOMODE").num(1);
    if (strip) writeMasterEnvelopes(state, *strip, text);
}

}  // namespace

std::vector<TempoPoint> foldTempoRamps(const std::vector<TempoPoint>& points, double sampleRate,
                                       TempoRampFigures& figures) {
    const double oneSample = 1.0 / (sampleRate > 0 ? sampleRate : 48000);
    const Staircase stairs = staircaseOf(points);
    std::vector<TempoPoint> folded;
    size_t i = 0;
    while (i < points.size()) {
        const size_t e = rampRunEnd(points, i);
        if (e == i) {
            folded.push_back(points[i]);
            ++i;
            continue;
        }
        const RampFit fit = fitRamp(points, stairs, i, e);
        if (fit.solved && fit.pointError <= oneSample) {
            folded.insert(folded.end(), fit.points.begin(), fit.points.end());
            ++figures.folded;
            figures.largestPointError = std::max(figures.largestPointError, fit.pointError);
            figures.largestInsideError = std::max(figures.largestInsideError, fit.insideError);
        } else {
            for (size_t k = i; k <= e; ++k) folded.push_back(points[k]);
            ++figures.leftAsSteps;
        }
        i = e + 1;
    }
    return folded;
}

MeterChanges meterChanges(const std::vector<MeterEvent>& meters) {
    MeterChanges result;
    if (meters.empty()) return result;
    const MeterEvent* inForce = &meters.front();
    for (size_t k = 1; k < meters.size(); ++k) {
        const MeterEvent& meter = meters[k];
        if (meter.numerator != inForce->numerator || meter.denominator != inForce->denominator) {
            result.changes.push_back(meter);
            inForce = &meter;
        } else {
            result.repeats.push_back(meter);
        }
    }
    return result;
}

std::vector<TempoPoint> tempoEnvelope(const SessionModel& model, bool tempoRamps, double sampleRate,
                                      TempoRampFigures& figures) {
    const MeterChanges meters = meterChanges(model.meterMap);
    const std::vector<TempoEvent>& events = model.tempoMap;
    if (events.size() <= 1 && meters.changes.empty()) return {};

    std::vector<double> eventTimes;
    for (const TempoEvent& event : events)
        eventTimes.push_back(secondsOfTicks(event.position, events, model.sessionTempo));
    std::vector<TempoPoint> points;
    if (events.size() > 1) {
        for (size_t k = 0; k < events.size(); ++k) points.push_back(TempoPoint{eventTimes[k], events[k].bpm, 0, 0, 1});
    } else {
        points.push_back(TempoPoint{0, events.empty() ? model.sessionTempo : events.front().bpm, 0, 0, 1});
    }
    if (tempoRamps && points.size() > 2) points = foldTempoRamps(points, sampleRate, figures);

    if (!meters.changes.empty()) {
        points.front().meterCode = meterCodeOf(model.meterMap.front());
        points.front().meterFlags = 1;
        for (const MeterEvent& change : meters.changes) {
            const double time = secondsOfTicks(change.position, events, model.sessionTempo);
            placeMeterChange(points, time, eventTempoAt(model, eventTimes, time), meterCodeOf(change));
        }
    }
    return points;
}

uint32_t markerColour(const MemoryLocation& location, uint32_t paletteColour, bool& unmapped) {
    struct NumberedColour {
        int32_t number;
        uint32_t rgb;
    };
    static const NumberedColour kNumberedColours[] = {
        {2, 0x6600FE}, {3, 0x9202DD}, {5, 0xFE7CD5}, {12, 0xDFDF00}, {13, 0x8DE702}, {17, 0x00DA32},
    };
    constexpr int32_t kUnsetRgb = 0xFFB300;
    constexpr int32_t kDefaultColourNumber = 11;
    auto projectColour = [](uint32_t rgb) {
        return ((rgb & 0xFF) << 16) | (rgb & 0xFF00) | ((rgb >> 16) & 0xFF) | 0x1000000u;
    };

    unmapped = false;
    uint32_t colour = 0;
    const int32_t index = location.paletteIndex;
    if (index >= 25 && index <= 95 && index % 24 != 0) colour = paletteColour;
    if (location.colourNumber < 0) return colour;
    if (location.rgb >= 0) {
        if (location.rgb != kUnsetRgb) colour = projectColour(static_cast<uint32_t>(location.rgb));
        return colour;
    }
    if (location.colourNumber == kDefaultColourNumber) return colour;
    for (const NumberedColour& row : kNumberedColours) {
        if (row.number == location.colourNumber) return projectColour(row.rgb);
    }
    unmapped = true;
    return colour;
}

ProjectHeadSummary writeProjectHead(const RunState& state, ProjectText& text) {
    const SessionModel& model = state.model;
    ProjectHeadSummary summary;
    summary.meterMapRead = !model.meterMap.empty();
    if (summary.meterMapRead) {
        summary.meterNumerator = static_cast<int32_t>(model.meterMap.front().numerator);
        summary.meterDenominator = static_cast<int32_t>(model.meterMap.front().denominator);
    }
    MeterChanges meters = meterChanges(model.meterMap);
    summary.meterChanges = std::move(meters.changes);
    summary.repeatedMeters = std::move(meters.repeats);
    summary.tempoEvents = static_cast<int>(model.tempoMap.size());

    writeNotes(state, text);
    text.statement("RIPPLE").num(0);
    text.statement("GROUPOVERRIDE").num(0).num(0).num(0);
    text.statement("AUTOXFADE").num(1);
    text.statement("SAMPLERATE").num(state.sampleRate).num(0).num(0);
    text.statement("TEMPO").compact(model.sessionTempo).num(summary.meterNumerator).num(summary.meterDenominator);
    text.statement("PLAYRATE").num(1).num(0).word("0.25").num(4);
    writeTimecode(model.info, text, summary);
    writeRecordFormat(model.info, text, summary);
    text.open("APPLYFX_CFG");
    text.close();
    text.statement("RENDER_FILE").name("");
    writeTempoEnvelope(state, text, summary);
    writeMarkers(state, text, summary);
    writeMaster(state, text, summary);
    return summary;
}

ProjectHeadSummary projectHeadSummary(const RunState& state) {
    std::string discarded;
    ProjectText text(discarded, 1);
    return writeProjectHead(state, text);
}
