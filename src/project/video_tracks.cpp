#include "project/video_tracks.h"

#include <algorithm>
#include <cstdio>
#include <optional>
#include <string>

#include "driver/run_state.h"
#include "project/colour_choice.h"
#include "project/media.h"
#include "project/project_writer.h"
#include "project/text.h"

namespace {

bool opens(const std::string& path) {
    std::FILE* file = std::fopen(path.c_str(), "rb");
    if (file) std::fclose(file);
    return file != nullptr;
}

// Frames per second of the video timeline.
double videoFrameRate(const SessionInfo& info) {
    if (info.videoFrameRate > 1) return info.videoFrameRate;
    switch (info.timecodeRateCode) {
        case 2: return 25;
        case 3:
        case 5:
        case 7:
        case 8: return 30;
        default: return 24;
    }
}

// The placements of a video track: the list of its name, else the list at its place.
const VideoPlaylist* playlistOf(const std::vector<VideoPlaylist>& lists, const std::string& name, size_t v) {
    for (const VideoPlaylist& list : lists) {
        if (list.name == name) return &list;
    }
    return v < lists.size() ? &lists[v] : nullptr;
}

// The end of the last audio item of the project, in seconds.
double lastAudioEnd(const std::vector<OutputTrack>& tracks) {
    double end = 0;
    for (const OutputTrack& track : tracks) {
        for (const AudioClip& clip : track.clips) end = std::max(end, clip.position + clip.length);
        for (const Lane& lane : track.lanes) {
            for (const AudioClip& clip : lane.clips) end = std::max(end, clip.position + clip.length);
        }
    }
    return end;
}

// The path of the video file: in the media folder, else in "Video Files" or beside
// the session, else wherever the media search finds it by name.
std::string videoPath(RunState& state, const std::string& name) {
    if (!state.options.inMemory && !opens(state.options.audioDir + "/" + name)) {
        for (const std::string& candidate :
             {state.sessionFolder + "/Video Files/" + name, state.sessionFolder + "/" + name}) {
            if (opens(candidate)) return pathFromProject(candidate, state.projectFolder);
        }
    }
    const MediaFile& found = findMedia(state.media, mediaSearchOf(state), name);
    if (found.place == MediaPlace::missing) ++state.counters.videoFilesMissing;
    return found.path;
}

void writeVideoItems(ProjectWriter& writer, std::vector<VideoPlacement> placements, const std::string& file) {
    RunState& state = writer.state;
    ProjectText& text = writer.text;
    const double rate = videoFrameRate(state.model.info);
    const std::string path = videoPath(state, file);
    std::stable_sort(placements.begin(), placements.end(),
                     [](const VideoPlacement& a, const VideoPlacement& b) { return a.start < b.start; });
    const double audioEnd = lastAudioEnd(state.analysis.outputTracks);
    for (size_t k = 0; k < placements.size(); ++k) {
        const VideoPlacement& placement = placements[k];
        const double start = static_cast<double>(placement.start);
        // No clip record: the source runs on from the first placement, up to the next one or the audio's end.
        const double sourceStart = start - static_cast<double>(placements[0].start);
        const double length = k + 1 < placements.size() ? static_cast<double>(placements[k + 1].start) - start
                                                         : std::max(0.0, audioEnd * rate - start);
        text.open("ITEM");
        text.statement("POSITION").seconds(start / rate);
        text.statement("SNAPOFFS").num(0);
        text.statement("LENGTH").seconds(length / rate);
        text.statement("LOOP").num(0);
        text.statement("ALLTAKES").num(0);
        text.statement("FADEIN").num(1).num(0).num(0).num(1).num(0).num(0).num(0);
        text.statement("FADEOUT").num(1).num(0).num(0).num(1).num(0).num(0).num(0);
        text.statement("MUTE").num(0).num(0);
        if (placement.locked) text.statement("LOCK").num(1);
        text.statement("NAME").name(file);
        text.statement("VOLPAN").num(1).num(0).num(1).num(-1);
        text.statement("SOFFS").seconds(sourceStart / rate);
        // A video clip has no track display to take a tint from: only a colour of its own is written.
        const std::optional<uint32_t> colour =
            placement.colour == -2 ? std::nullopt : audioClipColour(state, OutputTrack(), placement.colour);
        if (colour && !state.options.noClipColors) {
            text.statement("COLOR").colour(*colour).word("R");
            ++state.counters.videoClipColours;
        }
        text.statement("PLAYRATE").num(1).num(1).num(0).num(-1).num(0).word("0.0025");
        text.statement("CHANMODE").num(0);
        text.open("SOURCE").word("VIDEO");
        text.statement("FILE").name(path);
        text.close();
        text.close();
        ++state.counters.videoItems;
    }
}

}  // namespace

void writeVideoTracks(ProjectWriter& writer) {
    RunState& state = writer.state;
    ProjectText& text = writer.text;
    const std::vector<std::string>& names = state.analysis.videoTrackNames;
    const std::vector<std::string>& files = state.model.videoFiles;
    for (size_t v = 0; v < names.size(); ++v) {
        const uint32_t seed = static_cast<uint32_t>(v);
        text.open("TRACK").guid(seed + 0x11170);
        text.statement("NAME").name(names[v]);
        text.statement("PEAKCOL").num(16576);
        text.statement("BEAT").num(-1);
        text.statement("AUTOMODE").num(0);
        text.statement("VOLPAN").word("1.000000").num(0).num(-1).num(-1).num(1);
        text.statement("MUTESOLO").num(0).num(0).num(0);
        text.statement("IPHASE").num(0);
        text.statement("ISBUS").num(0).num(0);
        text.statement("FREEMODE").num(0);
        text.statement("TRACKHEIGHT").num(0).num(0).num(0).num(0).num(0).num(0).num(0);
        text.statement("INQ").num(0).num(0).num(0).word("0.5").num(100).num(0).num(0).num(100);
        text.statement("NCHAN").num(2);
        text.statement("FX").num(1);
        text.statement("TRACKID").guid(seed + 0x11558);
        text.statement("PERF").num(0);
        text.statement("MIDIOUT").num(-1).num(-1);
        text.statement("MAINSEND").num(1).num(0);
        const VideoPlaylist* list = playlistOf(state.model.videoPlaylists, names[v], v);
        if (list && !list->placements.empty()) {
            if (files.empty()) {
                ++state.counters.videoTracksWithoutFile;
            } else {
                writeVideoItems(writer, list->placements, v < files.size() ? files[v] : files[0]);
            }
        }
        text.close();
        ++state.counters.videoTracksWritten;
    }
}
