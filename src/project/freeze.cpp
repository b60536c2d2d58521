#include "project/freeze.h"

#include <cstdint>
#include <cstdio>

#include "driver/run_state.h"
#include "project/media.h"
#include "project/project_writer.h"
#include "project/text.h"
#include "project/track_tables.h"

namespace {

uint32_t littleWord(const unsigned char* bytes) {
    return uint32_t(bytes[0]) | uint32_t(bytes[1]) << 8 | uint32_t(bytes[2]) << 16 | uint32_t(bytes[3]) << 24;
}

// The reason a frozen track cannot stay frozen; empty when it can, with the plan filled.
std::string refusalOf(RunState& state, const OutputTrack& track, const std::vector<FreezeRecord>& records,
                      FreezePlan& plan) {
    if (records.size() == 2 && records[0].fileName != records[1].fileName) {
        return "its render is two mono files, one per side (not supported yet)";
    }
    if (records.size() > 1) return "its freeze record places more than one render (not measured yet)";
    const FreezeRecord& render = records[0];
    if (render.fileName.find("-FZ") == std::string::npos) return "its render could not be identified in the session";
    const MediaFile& file = findMedia(state.media, mediaSearchOf(state), render.fileName);
    if (file.place == MediaPlace::missing) return "its render \"" + render.fileName + "\" is not on disk";
    if (!track.lanes.empty()) return "it has alternate playlist lanes";
    if (surroundPannerOf(state, trackKey(track))) return "it feeds a surround panner";
    const double length = waveFileSeconds(file.diskPath);
    if (length <= 0) return "its render could not be read";
    plan.renders = records;
    plan.renderLengths = {length};
    return std::string();
}

}  // namespace

double waveFileSeconds(const std::string& path) {
    std::FILE* file = std::fopen(path.c_str(), "rb");
    if (!file) return 0;
    unsigned char head[12];
    double seconds = 0;
    if (std::fread(head, 1, 12, file) == 12 && std::string(head, head + 4) == "RIFF" &&
        std::string(head + 8, head + 12) == "WAVE") {
        uint32_t channels = 0, rate = 0, bits = 0;
        unsigned char chunk[8];
        while (std::fread(chunk, 1, 8, file) == 8) {
            const uint32_t size = littleWord(chunk + 4);
            const std::string id(chunk, chunk + 4);
            if (id == "fmt ") {
                unsigned char format[16];
                if (size < 16 || std::fread(format, 1, 16, file) != 16) break;
                channels = uint32_t(format[2]) | uint32_t(format[3]) << 8;
                rate = littleWord(format + 4);
                bits = uint32_t(format[14]) | uint32_t(format[15]) << 8;
                if (std::fseek(file, static_cast<long>(size - 16 + (size & 1)), SEEK_CUR) != 0) break;
            } else if (id == "data") {
                if (bits >= 8 && channels > 0 && rate > 0) {
                    seconds = static_cast<double>(size) / (bits / 8 * channels) / rate;
                }
                break;
            } else if (std::fseek(file, static_cast<long>(size + (size & 1)), SEEK_CUR) != 0) {
                break;
            }
        }
    }
    std::fclose(file);
    return seconds;
}

FreezePlan tryFreeze(RunState& state, std::size_t i) {
    FreezePlan plan;
    if (!state.options.keepFrozen) return plan;
    const OutputTrack& track = state.analysis.outputTracks[i];
    const auto& table = state.analysis.freezeRecords;
    auto records = table.find(track.name);
    if (records == table.end() && !track.matchKey.empty()) records = table.find(track.matchKey);
    if (records == table.end() || records->second.empty()) return plan;
    const std::string refusal = refusalOf(state, track, records->second, plan);
    if (!refusal.empty()) {
        state.freezeRefusals.emplace_back(track.name, refusal);
        return plan;
    }
    plan.frozen = true;
    ++state.counters.frozenTracks;
    return plan;
}

void writeFreeze(ProjectWriter& writer, std::size_t i, const FreezePlan& plan, const std::string& body) {
    ProjectText& text = writer.text;
    text.open("FREEZE").num(0);
    text.copyLines(body);
    text.close();
    for (std::size_t j = 0; j < plan.renders.size(); ++j) {
        const FreezeRecord& render = plan.renders[j];
        const double length = plan.renderLengths[j];
        const uint32_t seed = static_cast<uint32_t>(i * 16 + 0x465A0000u + j);
        text.open("ITEM");
        text.statement("POSITION").seconds(render.position);
        text.statement("SNAPOFFS").num(0);
        text.statement("LENGTH").seconds(length);
        text.statement("LOOP").num(0);
        text.statement("ALLTAKES").num(0);
        text.statement("FADEIN").num(1).num(0).num(0).num(1).num(0).num(0).num(0);
        text.statement("FADEOUT").num(1).num(0).num(0).num(1).num(0).num(0).num(0);
        text.statement("MUTE").num(0).num(0);
        text.statement("FREEZE").seconds(render.position).seconds(length).num(0);
        text.statement("LOCK").num(1);
        text.statement("SEL").num(0);
        text.statement("IGUID").guid(seed);
        text.statement("NAME").name("Freeze 1");
        text.statement("VOLPAN").num(1).num(0).num(1).num(-1);
        text.statement("SOFFS").seconds(render.sourceOffset);
        text.statement("PLAYRATE").num(1).num(1).num(0).num(-1).num(0).word("0.0025");
        text.statement("CHANMODE").num(0);
        text.statement("GUID").guid(seed + 0x10000);
        text.open("SOURCE").word("WAVE");
        text.statement("FILE").name(mediaPath(writer.state, render.fileName));
        text.close();
        text.close();
    }
}
