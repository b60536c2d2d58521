#include "standins/surround_pan.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <set>

#include "project/text.h"
#include "session/session_model.h"
#include "session/tempo.h"
#include "standins/reaper_slots.h"

namespace {

constexpr ReaperVst kReaSurroundPan{"VST: ReaSurroundPan (Cockos)", "reasurround2.dll",
                                    "1920168498<56535472737232726561737572726F75>"};
constexpr uint32_t kId = 0x72737232;  // "rsr2"

struct Speaker {
    const char* name;
    double x;
    double y;
    uint32_t type;  // 4: the LFE
};
constexpr Speaker kSpeakers[] = {{"L", -1, 1, 0},   {"R", 1, 1, 0},    {"C", 0, 1, 0},     {"Lc", -0.5, 1, 0},
                                 {"Rc", 0.5, 1, 0}, {"Ls", -1, -1, 0}, {"Rs", 1, -1, 0},   {"S", 0, -1, 0},
                                 {"Cs", 0, -1, 0},  {"Lss", -1, 0, 0}, {"Rss", 1, 0, 0},   {"Lsr", -1, -1, 0},
                                 {"Rsr", 1, -1, 0}, {"LFE", 0, 0, 4}};

double clamp01(double value) { return std::min(1.0, std::max(0.0, value)); }

// Position between front (t = 1) and rear (t = 0) by the channel's Y.
double alongY(double front, double rear, double yPercent) {
    const double t = (yPercent / 100.0 + 1.0) / 2.0;
    return (front - rear) * t + rear;
}

// The value of a lane at time T, in its own units.
double laneAt(const AutomationLane& lane, double time) {
    const auto& points = lane.points;
    if (points.empty()) return lane.initial;
    if (time <= points.front().first) {
        return points.front().first == 0 || time == points.front().first ? points.front().second : lane.initial;
    }
    for (size_t k = 1; k < points.size(); ++k) {
        const auto& [t1, v1] = points[k];
        if (time > t1) continue;
        const auto& [t0, v0] = points[k - 1];
        return t1 == t0 ? v1 : v0 + (v1 - v0) * (time - t0) / (t1 - t0);
    }
    return points.back().second;
}

// The five parameters of ReaSurroundPan that the panner's lanes move.
struct Envelope {
    int parameter;
    const char* key;
    const char* name;
    int min;
    int max;
    std::vector<int> lanes;  // 0 to 6 the panner's lanes, 7 the LFE
};
const Envelope kEnvelopes[] = {{0, "_center__", "center %", 0, 1, {6}},
                               {7, "_in_1_X", "in 1 X", 1, 0, {0, 1, 2}},
                               {8, "_in_1_Y", "in 1 Y", 0, 1, {2}},
                               {10, "_in_1_LFE", "in 1 LFE", 0, 1, {7}},
                               {11, "_in_1_divergence", "in 1 divergence", 0, 1, {2, 3, 4, 5}}};

double parameterValue(int parameter, const double (&l)[8]) {
    const double t = (l[2] / 100.0 + 1.0) / 2.0;
    switch (parameter) {
        case 0: return clamp01(l[6] / 100.0);
        case 7: return clamp01((((l[0] - l[1]) * t + l[1]) / 100.0 + 1.0) / 2.0);
        case 8: return clamp01(t);
        case 10: return l[7] > -1439 ? clamp01(std::min(1.0, std::pow(10.0, l[7] / 200.0) * 0.25)) : 0.0;
        default: return clamp01((100.0 - std::min((l[3] - l[4]) * t + l[4], l[5])) / 100.0);
    }
}

// The envelopes of a mono source's panner: the lanes with points are read at
// every time any of them has a point.
void writeEnvelopes(ProjectText& text, const SurroundPanner& panner, uint32_t seed, const SessionModel& model,
                    double sampleRate, SurroundPanSlot& slot) {
    const AutomationLane* lanes[8] = {};
    for (size_t k = 0; k < 7; ++k) lanes[k] = &panner.lanes[k];
    lanes[7] = panner.hasLfe ? &panner.lfeLane : nullptr;
    bool inTicks = false;
    std::set<double> times;
    for (const AutomationLane* lane : lanes) {
        if (lane == nullptr || lane->points.empty()) continue;
        inTicks = lane->inTicks != 0;
        for (const auto& point : lane->points) times.insert(point.first);
    }
    const double rate = sampleRate > 0 ? sampleRate : 48000;
    auto seconds = [&](double time) {
        const double s = inTicks ? secondsOfTicks(time, model.tempoMap, model.sessionTempo) : time / rate;
        return std::max(0.0, s);
    };
    for (const Envelope& envelope : kEnvelopes) {
        int moving = 0;
        for (int lane : envelope.lanes) moving += lanes[lane] != nullptr && !lanes[lane]->points.empty();
        if (moving == 0) continue;
        std::vector<double> at(times.begin(), times.end());
        if (moving > 1) {
            // The mapping is not linear in the lanes: seven more times between neighbours.
            std::vector<double> finer;
            for (size_t k = 0; k < at.size(); ++k) {
                finer.push_back(at[k]);
                if (k + 1 == at.size()) break;
                for (int e = 1; e < 8; ++e) finer.push_back(at[k] + (at[k + 1] - at[k]) * e / 8.0);
            }
            at = std::move(finer);
        }
        auto valueAt = [&](double time) {
            double values[8] = {};
            for (int k = 0; k < 8; ++k) values[k] = lanes[k] ? laneAt(*lanes[k], time) : 0.0;
            return parameterValue(envelope.parameter, values);
        };
        text.open("PARMENV")
            .word(std::to_string(envelope.parameter) + ":" + envelope.key)
            .num(envelope.min)
            .num(envelope.max)
            .word("0.5")
            .name(std::string(envelope.name) + " / ReaSurroundPan");
        text.statement("EGUID").guid((uint32_t(envelope.parameter) + 0x5E000000u) ^ seed);
        text.statement("ACT").num(1).num(-1);
        text.statement("VIS").num(1).num(1).num(1);
        text.statement("LANEHEIGHT").num(0).num(0);
        text.statement("ARM").num(0);
        text.statement("DEFSHAPE").num(0).num(-1).num(-1);
        if (at.front() > 0) text.statement("PT").num(0).fine(valueAt(0)).num(0);
        for (double time : at) text.statement("PT").seconds(seconds(time)).fine(valueAt(time)).num(0);
        text.close();
        ++slot.envelopes;
        slot.points += static_cast<int>(at.size()) + (at.front() > 0 ? 1 : 0);
    }
}

}  // namespace

std::vector<uint8_t> surroundPanState(const SurroundPanner& panner) {
    const uint32_t inputs = panner.stereo ? 2 : 1;
    std::vector<uint8_t> state;
    for (uint32_t word : {5, 0, 5, 0, 0, 0, 1}) putWord(state, word);
    putWord(state, inputs);
    putDouble(state, panner.centerPercent / 100.0);
    putDouble(state, panner.stereo ? panner.sidePercent : 1.0);
    putWord(state, inputs);
    putWord(state, uint32_t(panner.outputs));
    const double lfe = panner.hasLfe && panner.lfeDb > -143.9 ? std::pow(10.0, panner.lfeDb / 20.0) : 0.0;
    for (uint32_t input = 0; input < inputs; ++input) {
        const PannerChannel& channel = input == 0 ? panner.left : panner.right;
        const double divergence =
            std::min(alongY(channel.frontDivergence, channel.rearDivergence, channel.y), double(channel.divergenceCap));
        putDouble(state, 1.0);
        putDouble(state, lfe);
        putDouble(state, alongY(channel.frontX, channel.rearX, channel.y) / 100.0);
        putDouble(state, channel.y / 100.0);
        putDouble(state, 0.0);
        putDouble(state, clamp01((100.0 - divergence) / 100.0));
        putDouble(state, 0.0);
        putWord(state, input == 0 ? 0 : 8);
        putWord(state, 9);
        const char* label = input == 0 ? "channel 1" : "channel 2";
        state.insert(state.end(), label, label + 9);
        putWord(state, input == 0 ? 0xFFF0F0F0u : 0xFFFF2020u);
    }
    for (const std::string& name : panner.speakers) {
        Speaker speaker{name.c_str(), 0, 0, 0};
        for (const Speaker& known : kSpeakers) {
            if (name == known.name) speaker = known;
        }
        putDouble(state, 1.0);
        putDouble(state, speaker.x);
        putDouble(state, speaker.y);
        putDouble(state, 0.0);
        putDouble(state, 1.0);
        putWord(state, speaker.type);
        putWord(state, uint32_t(name.size()));
        state.insert(state.end(), name.begin(), name.end());
        putDouble(state, -3.0);
        putWord(state, 0);
    }
    return state;
}

std::vector<uint8_t> surroundPanHeader(const SurroundPanner& panner, uint32_t stateSize) {
    std::vector<uint8_t> header;
    for (uint32_t word : {kId, 0xFEED5EEEu, 2u, 1u, 0u, 2u, 0u, uint32_t(panner.outputs)}) putWord(header, word);
    for (int32_t k = 0; k < panner.outputs; ++k) {
        putWord(header, k < 32 ? 1u << k : 0u);
        putWord(header, k < 32 ? 0u : k < 64 ? 1u << (k - 32) : 0u);
    }
    for (uint32_t word : {stateSize, 1u, 0x100000u}) putWord(header, word);
    return header;
}

SurroundPanSlot writeSurroundPan(const SurroundPanner& panner, uint32_t seed, const SessionModel& model,
                                 double sampleRate) {
    SurroundPanSlot slot;
    SlotPlace place;
    place.seed = seed;
    const std::vector<uint8_t> state = surroundPanState(panner);
    slot.text = writeReaperVstSlot(kReaSurroundPan, surroundPanHeader(panner, uint32_t(state.size())), state, place);
    if (panner.lanes.size() < 7) return slot;
    if (panner.stereo) {
        for (const AutomationLane& lane : panner.lanes) slot.lanesNotWritten += !lane.points.empty();
        slot.lanesNotWritten += panner.hasLfe && !panner.lfeLane.points.empty();
        return slot;
    }
    ProjectText text(slot.text, 3);
    writeEnvelopes(text, panner, seed, model, sampleRate, slot);
    return slot;
}
