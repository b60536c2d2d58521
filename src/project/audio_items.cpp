#include "project/audio_items.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "driver/run_state.h"
#include "project/clip_group_items.h"
#include "project/colour_choice.h"
#include "melodyne/ara_project.h"
#include "plugins/chain_writer.h"
#include "project/media.h"
#include "project/project_writer.h"
#include "project/text.h"
#include "project/track_tables.h"

namespace {

constexpr size_t kWarpMarkersPerLine = 28;
constexpr double kEdgeTolerance = 1e-9;

double gainOf(double db) { return std::pow(10.0, db / 20.0); }

// Markers as " t s", joined by " +", 28 to an SM line.
void writeWarpLines(ProjectText& text, const std::vector<std::pair<double, double>>& markers) {
    for (size_t start = 0; start < markers.size(); start += kWarpMarkersPerLine) {
        ProjectText::Line line = text.statement("SM");
        const size_t end = std::min(markers.size(), start + kWarpMarkersPerLine);
        for (size_t m = start; m < end; ++m) {
            if (m > start) line.word("+");
            line.seconds(markers[m].first).seconds(markers[m].second);
        }
    }
}

void writeClipGainEnvelope(ProjectText& text, const std::vector<std::pair<double, double>>& points) {
    text.open("VOLENV");
    text.statement("ACT").num(1).num(-1);
    text.statement("VIS").num(1).num(1).num(1);
    text.statement("LANEHEIGHT").num(0).num(0);
    text.statement("ARM").num(0);
    text.statement("DEFSHAPE").num(0).num(-1).num(-1);
    text.statement("VOLTYPE").num(1);
    for (const auto& point : points) text.statement("PT").seconds(point.first).fine(gainOf(point.second)).num(0);
    text.close();
}

// The take's <TAKEFX block: the Melodyne slot of an edited clip comes first,
// then the clip's effects.
void writeTakeEffects(ProjectWriter& writer, const AudioClip& clip) {
    RunState& state = writer.state;
    const bool melodyne = araCarried(state, clip);
    std::string effects;
    if (!clip.clipEffects.empty()) {
        const uint32_t seedBase = writer.takeIndex * 16u + 0x43460000u;
        effects = clipEffectsSlots(clip.clipEffects, clip.takePan != 0, seedBase, double(state.sampleRate),
                                   state.counters.clipEffects);
    }
    if (!melodyne && effects.empty()) return;
    writeTakeChain(writer.text, [&](ProjectText& text) {
        if (melodyne) writeMelodyneSlot(text, writer.takeIndex);
        text.copyLines(effects);
    });
}

}  // namespace

std::vector<std::pair<double, double>> clipGainPoints(const AudioClip& clip, double sampleRate) {
    std::vector<std::pair<double, double>> curve;
    for (const auto& point : clip.clipGainCurve) {
        curve.emplace_back(point.first / sampleRate - clip.sourceOffset, point.second);
    }
    const double end = clip.length;
    auto between = [](const std::pair<double, double>& a, const std::pair<double, double>& b, double t) {
        return a.second + (b.second - a.second) * (t - a.first) / (b.first - a.first);
    };

    std::vector<std::pair<double, double>> kept;
    for (size_t k = 0; k < curve.size(); ++k) {
        const double t = curve[k].first;
        if (t >= -kEdgeTolerance && t <= end + kEdgeTolerance) {
            kept.emplace_back(std::max(0.0, std::min(t, end)), curve[k].second);
        } else if (t < 0) {
            if (k + 1 < curve.size() && curve[k + 1].first > 0) kept.emplace_back(0.0, between(curve[k], curve[k + 1], 0.0));
        } else if (k > 0 && curve[k - 1].first < end) {
            kept.emplace_back(end, between(curve[k - 1], curve[k], end));
        }
    }
    return kept;
}

void writeAudioItem(ProjectWriter& writer, const OutputTrack& track, const AudioClip& clip, int laneIndex,
                    int laneCount) {
    if (clip.emptyGroup) {
        writeClipGroupItem(writer, track, clip, laneIndex, laneCount);
        return;
    }
    RunState& state = writer.state;
    ProjectText& text = writer.text;
    const bool warped = clip.warpMarkers.size() > 2;

    text.open("ITEM");
    text.statement("POSITION").seconds(clip.position);
    const bool syncInside = clip.syncDistance > 0 && clip.syncDistance <= clip.length;
    text.statement("SNAPOFFS").snapOffset(syncInside ? clip.syncDistance : 0.0);
    text.statement("LENGTH").seconds(clip.length);
    text.statement("LOOP").num(0);
    text.statement("ALLTAKES").num(0);
    text.statement("FADEIN").compact(clip.fadeInShape).seconds(clip.fadeInLength).num(0).compact(clip.fadeInShape)
        .num(0).num(0).num(0);
    text.statement("FADEOUT").compact(clip.fadeOutShape).seconds(clip.fadeOutLength).num(0).compact(clip.fadeOutShape)
        .num(0).num(0).num(0);
    text.statement("MUTE").num(clip.muted ? 1 : 0).num(0);
    if (clip.locked) text.statement("LOCK").num(1);
    text.statement("SOFFS").seconds(clip.sourceOffset);
    const std::optional<uint32_t> colour = audioClipColour(state, track, clip.colour);
    if (colour && !state.options.noClipColors) text.statement("COLOR").colour(*colour).word("R");
    if (laneCount > 1) {
        text.statement("YPOS").coarse(double(laneIndex) / laneCount).coarse(1.0 / laneCount).num(2);
    }
    text.statement("PLAYRATE").fine(warped ? 1.0 : clip.rate).num(1).coarse(clip.pitchSemitones).num(-1).num(0)
        .word("0.0025");
    text.statement("CHANMODE").num(clip.channelMode);
    text.statement("NAME").name(clip.clip.name);
    if (warped) writeWarpLines(text, clip.warpMarkers);
    if (clip.hasClipGain || clip.takePan != 0 || clip.flipPolarity) {
        text.statement("VOLPAN").fine(gainOf(clip.clipGainDb)).compact(clip.takePan).num(clip.flipPolarity ? -1 : 1)
            .num(-1);
    }
    if (clip.clipGainCurve.size() > 1) {
        const auto points = clipGainPoints(clip, static_cast<double>(state.sampleRate));
        if (points.size() > 1) writeClipGainEnvelope(text, points);
    }
    writeAraTakeMarks(writer, clip);

    MediaFile& media = findMedia(state.media, mediaSearchOf(state), clip.clip.fileName);
    ++media.itemCount;
    text.open("SOURCE").word("WAVE");
    text.statement("FILE").name(media.path);
    text.close();
    writeTakeEffects(writer, clip);
    text.close();

    if (writer.dumpClipColours) {
        std::fprintf(stderr, "CLIPCOL %d | %s | %s\n", static_cast<int>(clip.colour), track.name.c_str(),
                     clip.clip.name.c_str());
    }
    ++writer.takeIndex;
    ++state.counters.audioItems;
}
