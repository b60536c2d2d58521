#include "support/session_builder.h"

#include <algorithm>
#include <cmath>

#include "session/image.h"

namespace {

// A position in the session's eight-byte form: seven bytes of value, biased by
// 10^12 when it is a tick position, then the unit mark, 0x40 for ticks.
uint64_t storedValue(int64_t value, bool ticks, bool biased = true) {
    const uint64_t raw = static_cast<uint64_t>(value) + (ticks && biased ? kPositionBias : 0);
    return raw | (ticks ? uint64_t{0x40} << 56 : 0);
}

void stored(ImageBuilder& b, int64_t value, bool ticks, bool biased = true) { b.u64(storedValue(value, ticks, biased)); }

void put32(std::vector<uint8_t>& bytes, size_t at, int32_t value) {
    for (int k = 0; k < 4; ++k) bytes[at + k] = static_cast<uint8_t>(static_cast<uint32_t>(value) >> (8 * k));
}

// The track list: a compact table of the names, then one row block per track;
// both give each track its name, width and row id.
void trackList(ImageBuilder& b, const BuiltSession& session) {
    const auto entry = [&b](const BuiltTrack& track, size_t i) {
        b.name(track.name);
        b.u8(static_cast<uint8_t>(track.channels - 1));
        b.zeros(5);
        b.u32(0x2A);
        b.u64(0x1000 + i);
        b.u32(static_cast<uint32_t>(i + 1));
    };
    b.openBlock(0x2519);
    b.u32(1);
    b.zeros(6);
    b.u32(static_cast<uint32_t>(session.tracks.size()));
    for (size_t i = 0; i < session.tracks.size(); ++i) entry(session.tracks[i], i);
    for (size_t i = 0; i < session.tracks.size(); ++i) {
        const BuiltTrack& track = session.tracks[i];
        b.openBlock(0x251A);
        b.u16(track.rowType);
        entry(track, i);
        b.zeros(22);
        // A folder row is L + 72 long, its flag at 68 + L.
        b.block(0x4420, {static_cast<uint8_t>(track.folder ? 1 : 0), 0}, 1);
        if (track.folder) b.bytes(std::vector<uint8_t>(9, 1));
        b.closeBlock();
    }
    b.closeBlock();
}

// The folder tree: each folder row's id and the ids of its members.
void folderTree(ImageBuilder& b, const BuiltSession& session) {
    std::vector<size_t> folders;
    for (size_t i = 0; i < session.tracks.size(); ++i) {
        if (session.tracks[i].folder) folders.push_back(i);
    }
    if (folders.empty()) return;
    b.openBlock(0x210C);
    b.u32(static_cast<uint32_t>(folders.size()));
    for (size_t f : folders) {
        b.u32(42);
        b.u64(0x1000 + f);
        b.u32(static_cast<uint32_t>(session.tracks[f].members.size()));
        for (size_t m : session.tracks[f].members) {
            b.u32(42);
            b.u64(0x1000 + m);
            b.zeros(5);
        }
    }
    b.closeBlock();
}

void groupRecords(ImageBuilder& b, const BuiltSession& session) {
    for (const BuiltGroup& group : session.groups) {
        for (int copy = 0; copy < group.copies; ++copy) {
            b.openBlock(0x202A);
            b.name(group.name);
            b.bytes({group.type, group.slot, 0, 0, 0, 1, 0});
            b.u32(static_cast<uint32_t>(group.members.size()));
            for (uint16_t member : group.members) b.u16(member);
            b.bytes({0xFE, 0xFF});
            b.zeros(8);
            b.u16(group.vcaPosition < 0 ? 0xFFFF : static_cast<uint16_t>(group.vcaPosition));
            if (!group.attributes.empty()) b.block(0x258E, group.attributes, 3);
            b.closeBlock();
        }
    }
}

// The colour coding block, its two codes at +36 and +38; one display record
// per track: its first child, then shown, height, comment, colour, display row.
void displayRecords(ImageBuilder& b, const BuiltSession& session) {
    if (session.trackCoding >= 0 || session.clipCoding >= 0) {
        std::vector<uint8_t> coding(32, 0);
        coding[27] = static_cast<uint8_t>(session.trackCoding);
        coding[29] = static_cast<uint8_t>(session.clipCoding);
        b.block(0x20A2, coding);
    }
    if (!session.displayRecords) return;
    for (const BuiltTrack& track : session.tracks) {
        b.openBlock(0x2015);
        b.block(0x2038, std::vector<uint8_t>(10, 0));
        b.bytes({0, uint8_t(track.hidden ? 0 : 1), 0, 0, 0, 0, 0, 0});
        b.name(track.comment);
        b.zeros(11);
        b.u16(track.colour);
        b.zeros(8);
        b.u32(track.displayRow);
        b.closeBlock();
    }
}

void clipList(ImageBuilder& b, const BuiltSession& session) {
    b.openBlock(0x262A);
    b.u32(static_cast<uint32_t>(session.clips.size()));
    for (const BuiltClip& clip : session.clips) {
        b.openBlock(0x2629);
        b.openBlock(0x2628);
        b.name(clip.name);
        b.threePoint(clip.sourceOffset, 5, clip.syncPoint, clip.syncPoint ? 5 : 0, clip.length, 5, 0, 5);
        b.closeBlock();
        b.u16(clip.file);
        b.u16(0);
        b.u32(clip.channel);
        b.bytes(clip.araUid);
        b.closeBlock();
    }
    b.closeBlock();
}

// The clip group list: each group's name block holds its name and extent.
void clipGroups(ImageBuilder& b, const BuiltSession& session) {
    b.openBlock(0x262C);
    b.u32(static_cast<uint32_t>(session.clipGroups.size()));
    for (const auto& [name, length] : session.clipGroups) {
        b.openBlock(0x262B);
        b.openBlock(0x2628);
        b.name(name);
        b.threePoint(kPositionBias, 5, 0, 0, length, 5, 0, 0);
        b.closeBlock();
        b.closeBlock();
    }
    b.closeBlock();
}

void placement(ImageBuilder& b, const BuiltPlacement& p, bool ticks, uint16_t holder = 0x1050,
               uint16_t holderBlockType = 2) {
    b.openBlock(holder, holderBlockType);
    b.openBlock(0x104F, 10);
    b.u8(p.muted ? 1 : 0);
    b.u8(0);
    b.u32(p.clip);
    b.u8(0);
    stored(b, static_cast<int64_t>(p.position), ticks);
    b.u8(p.fade ? 1 : p.overlap);
    b.u16(static_cast<uint16_t>(p.colour));
    b.u8(p.group ? 1 : 0);
    b.zeros(15);
    b.closeBlock();
    b.u8(p.live && !p.fade ? 0 : 1);
    b.u8(0);
    b.closeBlock();
}

void playlist(ImageBuilder& b, const BuiltPlaylist& list, const std::string& trackName) {
    b.openBlock(0x1052, 3);
    b.name(list.unnamed ? "" : list.name.empty() ? trackName : list.name);
    b.u32(static_cast<uint32_t>(list.placements.size()));
    for (const BuiltPlacement& p : list.placements) placement(b, p, list.tickBased);
    b.u8(list.tickBased ? 2 : 1);
    b.u8(0);
    b.closeBlock();
}

// One playlist per channel of every track, numbered in this order.
void playlists(ImageBuilder& b, const BuiltSession& session) {
    if (!session.strays.empty()) {
        b.openBlock(0x2428);
        b.openBlock(0x1054);
        for (const BuiltPlaylist& list : session.strays) playlist(b, list, "?");
        b.closeBlock();
        b.closeBlock();
    }
    b.openBlock(0x1054);
    for (const BuiltTrack& track : session.tracks) {
        for (const BuiltPlaylist& list : track.playlists) playlist(b, list, track.name);
    }
    b.closeBlock();
}

void video(ImageBuilder& b, const BuiltSession& session) {
    if (!session.videoFiles.empty()) {
        b.openBlock(0x103A, 1);
        b.u32(static_cast<uint32_t>(session.videoFiles.size() + 1));
        b.u8(1);
        b.u32(static_cast<uint32_t>(session.videoFiles.size()));
        b.name("Video Files");
        b.zeros(4);
        b.bytes({2, 2, 0, 0, 0});
        for (const std::string& file : session.videoFiles) {
            b.name(file);
            b.text("MooV");
            b.bytes({1, 10, 0, 0, 0});
        }
        b.closeBlock();
    }
    for (const auto& [name, placements] : session.videoPlaylists) {
        b.openBlock(0x1053, 1);
        b.name(name);
        for (const BuiltPlacement& p : placements) placement(b, p, false, 0x1051);
        b.closeBlock();
    }
}

// The older track table, which names the playlist numbers of each track.
void playlistOwners(ImageBuilder& b, const BuiltSession& session) {
    b.openBlock(0x1015);
    uint16_t number = 0;
    for (const BuiltTrack& track : session.tracks) {
        b.openBlock(0x1014);
        b.name(track.name);
        b.u8(static_cast<uint8_t>(track.channels - 1));
        b.u32(static_cast<uint32_t>(track.playlists.size()));
        for (size_t k = 0; k < track.playlists.size(); ++k) b.u16(number++);
        b.zeros(20);
        b.closeBlock();
    }
    b.closeBlock();
}

void lanes(ImageBuilder& b, const std::vector<BuiltLane>& list) {
    for (const BuiltLane& lane : list) {
        b.openBlock(0x260A);
        b.zeros(16);
        b.u16(static_cast<uint16_t>(lane.points.size()));
        b.zeros(8);
        b.u16(static_cast<uint16_t>(lane.initial));
        for (const auto& point : lane.points) {
            b.u32(point.first);
            b.u16(static_cast<uint16_t>(point.second));
        }
        b.zeros(2);
        b.closeBlock();
    }
}

void stripRow(ImageBuilder& b, int32_t faderTenths, bool muted, int32_t panLeft, int32_t panRight, bool postFader,
              const std::vector<int32_t>& panner = {}) {
    std::vector<uint8_t> row(279, 0);
    row[0] = postFader ? 1 : 0;
    put32(row, 1, faderTenths);
    row[5] = muted ? 1 : 0;
    put32(row, 13, panLeft);
    put32(row, 41, panRight);
    for (size_t k = 0; k < panner.size(); ++k) put32(row, 13 + 4 * k, panner[k]);
    b.block(0x1029, row);
}

// The panner lane groups of a track, each in a block of its own.
void laneGroups(ImageBuilder& b, const std::vector<std::vector<BuiltLane>>& groups) {
    for (const std::vector<BuiltLane>& group : groups) {
        b.openBlock(0x260C);
        lanes(b, group);
        b.closeBlock();
    }
}

// A row holder: the row right behind its head, then its name and lanes.
void holder(ImageBuilder& b, const std::string& name, int32_t faderTenths, bool muted, int32_t panLeft,
            int32_t panRight, bool postFader, const std::vector<BuiltLane>& list, const BuiltTrack* own = nullptr) {
    b.openBlock(0x260D);
    stripRow(b, faderTenths, muted, panLeft, panRight, postFader, own ? own->panner : std::vector<int32_t>());
    b.openBlock(0x260E);
    b.u16(0xFFFF);
    if (name != "-") b.name(name);
    b.zeros(4);
    b.closeBlock();
    lanes(b, list);
    if (own) laneGroups(b, own->laneGroups);
    b.closeBlock();
}

// A track block with its name and its fader row, in a row holder when it routes.
// A plug-in lane: its points, then its name, number and id text. A value v is
// stored as (v - 0.5) x 2^31.
void pluginLane(ImageBuilder& b, const BuiltPluginLane& lane) {
    auto raw = [](double v) { return static_cast<uint32_t>(static_cast<int32_t>(std::lround((v - 0.5) * 2147483648.0))); };
    b.openBlock(0x260F);
    b.openBlock(0x260B);
    b.zeros(16);
    b.u16(static_cast<uint16_t>(lane.points.size()));
    b.u8(lane.ticks ? 1 : 0);
    b.zeros(7);
    b.u32(raw(lane.start));
    for (const auto& [time, value] : lane.points) {
        b.u32(static_cast<uint32_t>(time));
        b.u32(raw(value));
    }
    b.zeros(2);
    b.closeBlock();
    b.name(lane.name);
    b.u32(static_cast<uint32_t>(lane.number));
    b.zeros(8);
    b.name(lane.idText);
    b.closeBlock();
}

void trackBlock(ImageBuilder& b, const BuiltTrack& track) {
    b.openBlock(track.midi ? 0x2620 : static_cast<uint16_t>(track.kind));
    b.openBlock(0x2619);
    b.name(track.name);
    b.closeBlock();
    if (track.kind == 0x261F) {
        std::vector<uint8_t> level(12, 0);
        level[0] = static_cast<uint8_t>(track.vcaLevelTenths);
        level[1] = static_cast<uint8_t>(static_cast<uint16_t>(track.vcaLevelTenths) >> 8);
        b.block(0x2514, level);
    }
    b.zeros(24);
    if (track.output.empty()) {
        stripRow(b, track.faderTenths, track.muted, track.panLeft, track.panRight, true, track.panner);
        lanes(b, track.lanes);
        laneGroups(b, track.laneGroups);
    } else {
        holder(b, track.output, track.faderTenths, track.muted, track.panLeft, track.panRight, true, track.lanes,
               &track);
        for (const BuiltSend& send : track.sends) holder(b, send.bus, send.levelTenths, false, 0, 0, send.postFader, send.lanes);
    }
    for (const BuiltPlugin& plugin : track.plugins) {
        b.openBlock(0x1038);
        b.u8(plugin.channelSets);
        b.zeros(15);
        b.text(plugin.signature);
        b.text(plugin.name);
        b.zeros(8);
        b.bytes(plugin.state);
        b.closeBlock();
        b.u8(plugin.inactive ? 0 : 1);
        b.u8(plugin.bypassed ? 1 : 0);  // the byte in front of the owner block
        b.block(0x2614, {0, 0, 0, 0});
        b.openBlock(0x260E);
        b.u16(plugin.keyInput < 0 ? 0xFFFF : static_cast<uint16_t>(plugin.keyInput));
        b.closeBlock();
        for (const BuiltPluginLane& lane : plugin.lanes) pluginLane(b, lane);
    }
    b.zeros(64);
    if (track.inputId != 0) {
        b.name("input");
        b.zeros(4);
        b.u32(0x2A);
        b.u32(1);
        b.u32(track.inputId);
    }
    for (const BuiltSend& send : track.sends) {
        if (send.pathId == 0) continue;
        b.zeros(4);
        b.u32(0x2A);
        b.u32(1);
        b.u32(send.pathId);
    }
    b.closeBlock();
}

// The I/O paths: kind, name, channels, and the id behind 2A 00 00 00; then
// the names of the key inputs.
void pathList(ImageBuilder& b, const BuiltSession& session) {
    for (const auto& [number, name] : session.keyNames) {
        b.openBlock(0x260E);
        b.u16(number);
        b.name(name);
        b.closeBlock();
    }
    for (const BuiltPath& path : session.paths) {
        b.openBlock(0x1021);
        b.u8(path.kind);
        b.u8(0);
        b.name(path.name);
        b.u32(static_cast<uint32_t>(path.channels.size()));
        for (uint16_t channel : path.channels) b.u16(channel);
        b.u32(0x2A);
        b.u32(1);
        b.u32(path.id);
        b.closeBlock();
    }
}

// The fade table: lead and length four bytes wide each.
void fadeTable(ImageBuilder& b, const BuiltSession& session) {
    for (const BuiltFade& fade : session.fades) {
        b.openBlock(0x262F, 2);
        b.zeros(5);
        b.u8(0x44);
        b.zeros(2);
        b.u32(fade.lead);
        b.u32(fade.length);
        b.bytes({fade.kind, fade.shape, 0, 0, 0, 0, uint8_t(fade.sCurve ? 1 : 0), 0, 0, uint8_t(fade.sCurve ? 1 : 0)});
        b.zeros(4);
        b.closeBlock();
    }
}

// The tempo block: "Tempo", then records of 61 bytes from +58, each a biased
// tick position (no unit mark, as Pro Tools writes it), the BPM at +10 and the
// note value it counts at +18. The lead bytes before the first record and its
// +9 are what the session tempo is found by.
void tempoMap(ImageBuilder& b, const BuiltSession& session) {
    if (session.tempos.empty()) return;
    b.openBlock(0x2028);
    b.text("Tempo");
    b.zeros(30);
    b.bytes({0x14, 0, 0, 0, 0, 1});
    b.zeros(8);
    for (size_t k = 0; k < session.tempos.size(); ++k) {
        stored(b, session.tempos[k].first + static_cast<int64_t>(kPositionBias), false);
        b.bytes({0, uint8_t(k == 0 ? 1 : 0)});
        b.f64(session.tempos[k].second);
        b.u64(kTicksPerQuarter);
        b.zeros(35);
    }
    b.closeBlock();
}

// The MIDI clips of every MIDI track in track order: note chunks, clip list
// and placements all number them so, chunk k for clip k.
void midi(ImageBuilder& b, const BuiltSession& session) {
    if (std::none_of(session.tracks.begin(), session.tracks.end(), [](const BuiltTrack& t) { return t.midi; })) return;
    b.openBlock(0x2000);
    for (const BuiltTrack& track : session.tracks) {
        for (const BuiltMidiClip& clip : track.midiClips) {
            b.text("MdNLB");
            b.zeros(6);
            b.u32(static_cast<uint32_t>(clip.notes.size()));
            for (const BuiltNote& note : clip.notes) {
                stored(b, clip.position + note.start, track.midiInTicks);
                b.u8(note.pitch);
                stored(b, note.length, track.midiInTicks, false);
                b.u8(note.velocity);
                b.zeros(17);
            }
            const auto at = [&](int64_t offset) { return storedValue(clip.position + offset, track.midiInTicks); };
            for (const BuiltController& c : clip.controllers) midiControllerStream(b, c.kind, c.controller, {{at(c.at), c.value}});
            std::vector<std::pair<uint64_t, std::vector<uint8_t>>> sysex;
            for (const auto& [offset, bytes] : clip.sysex) sysex.push_back({at(offset), bytes});
            if (!sysex.empty()) midiSysexStream(b, sysex);
        }
    }
    b.zeros(40);
    b.closeBlock();

    b.openBlock(0x2634);
    b.openBlock(0x2633);
    uint32_t chunk = 0;
    for (const BuiltTrack& track : session.tracks) {
        for (const BuiltMidiClip& clip : track.midiClips) {
            // The clip's start in its chunk, stored as the chunk's positions are.
            const uint64_t first = static_cast<uint64_t>(clip.position) + (track.midiInTicks ? kPositionBias : 0);
            b.openBlock(0x2628);
            b.name(clip.name);
            b.threePoint(first, 8, 0, 0, static_cast<uint64_t>(clip.length), 8, 0, 0);
            b.closeBlock();
            b.u32(chunk++);
        }
    }
    b.closeBlock();
    b.closeBlock();

    b.openBlock(0x1058);
    uint32_t clipIndex = 0;
    for (const BuiltTrack& track : session.tracks) {
        if (!track.midi) continue;
        b.openBlock(0x1057, 3);
        b.name(track.name);
        b.u32(static_cast<uint32_t>(track.midiClips.size()));
        for (const BuiltMidiClip& clip : track.midiClips) {
            placement(b, {clipIndex++, static_cast<uint64_t>(clip.position)}, track.midiInTicks, 0x1056, 1);
        }
        b.zeros(2);
        b.closeBlock();
    }
    b.closeBlock();
}

}  // namespace

void midiControllerStream(ImageBuilder& b, uint8_t kind, uint8_t controller,
                          const std::vector<std::pair<uint64_t, uint32_t>>& records) {
    b.text("MdCDS");
    b.zeros(6);
    b.text("Mdss");
    b.zeros(2);
    b.u32(6);  // inner span: kind, controller and four bytes
    b.u8(kind);
    b.u8(controller);
    b.zeros(4);
    b.text("MdCD");
    b.zeros(2);
    b.u32(static_cast<uint32_t>(records.size() * 12 + 4));
    b.u32(static_cast<uint32_t>(records.size()));
    for (const auto& [position, value] : records) {
        b.u64(position);
        b.u32(value);
    }
}

void midiSysexStream(ImageBuilder& b, const std::vector<std::pair<uint64_t, std::vector<uint8_t>>>& records,
                     uint32_t shortBy) {
    uint32_t size = 4 + shortBy;
    for (const auto& record : records) size += 19 + static_cast<uint32_t>(record.second.size());
    b.text("MdES");
    b.zeros(6);
    b.text("MdTEL");
    b.zeros(2);
    b.u32(size);
    b.u32(static_cast<uint32_t>(records.size()));
    for (const auto& [position, bytes] : records) {
        b.u64(position);
        b.u8(1);
        b.zeros(1);
        b.u32(static_cast<uint32_t>(bytes.size() + 5));
        b.u8(0);
        b.u32(static_cast<uint32_t>(bytes.size()));
        b.bytes(bytes);
    }
}

BuiltPlugin builtTrim(const std::vector<std::pair<int32_t, bool>>& copies, bool bypassed) {
    BuiltPlugin plugin{"Trim", -1, "DigiTrim"};
    plugin.bypassed = bypassed;
    plugin.state.assign(28, 0);  // the name (4 bytes) and 8 zeros stand in front
    for (size_t k = 0; k < copies.size(); ++k) {
        if (k > 0) {
            plugin.state.insert(plugin.state.end(), {'D', 'i', 'g', 'i', 'T', 'r', 'i', 'm'});
            plugin.state.resize(plugin.state.size() + 40, 0);
        }
        for (uint32_t word : {uint32_t(copies[k].first), copies[k].second ? 0x7FFFFFFFu : 0u}) {
            for (int shift = 24; shift >= 0; shift -= 8) plugin.state.push_back(uint8_t(word >> shift));
        }
    }
    return plugin;
}

ImageBuilder buildSession(const BuiltSession& session) {
    ImageBuilder b;
    addSessionHead(b, session.rate, session.files);
    trackList(b, session);
    folderTree(b, session);
    groupRecords(b, session);
    displayRecords(b, session);
    clipList(b, session);
    clipGroups(b, session);
    playlists(b, session);
    playlistOwners(b, session);
    video(b, session);
    midi(b, session);
    tempoMap(b, session);
    pathList(b, session);
    for (const BuiltTrack& track : session.tracks) trackBlock(b, track);
    fadeTable(b, session);
    // The block index that closes a real session; it also leaves the tree walk
    // room to find the children of the blocks before it.
    b.block(0x0002, std::vector<uint8_t>(512, 0));
    return b;
}
