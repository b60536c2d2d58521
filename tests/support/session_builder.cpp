#include "support/session_builder.h"

namespace {

void put32(std::vector<uint8_t>& bytes, size_t at, int32_t value) {
    for (int k = 0; k < 4; ++k) bytes[at + k] = static_cast<uint8_t>(static_cast<uint32_t>(value) >> (8 * k));
}

// The track list: a compact table of the names, then one row block per track.
void trackList(ImageBuilder& b, const BuiltSession& session) {
    b.openBlock(0x2519);
    b.u32(1);
    b.zeros(6);
    b.u32(static_cast<uint32_t>(session.tracks.size()));
    for (size_t i = 0; i < session.tracks.size(); ++i) {
        const BuiltTrack& track = session.tracks[i];
        b.name(track.name);
        b.u8(static_cast<uint8_t>(track.channels - 1));
        b.zeros(5);
        b.u32(0x2A);
        b.u64(0x1000 + i);
        b.u32(static_cast<uint32_t>(i + 1));
    }
    for (size_t i = 0; i < session.tracks.size(); ++i) {
        const BuiltTrack& track = session.tracks[i];
        b.openBlock(0x251A);
        b.u16(0);
        b.name(track.name);
        b.u8(static_cast<uint8_t>(track.channels - 1));
        b.zeros(5);
        b.u32(0x2A);
        b.u64(0x1000 + i);
        b.u32(static_cast<uint32_t>(i + 1));
        b.zeros(22);
        b.block(0x4420, {0, 0}, 1);
        b.closeBlock();
    }
    b.closeBlock();
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
        b.zeros(4);
        b.closeBlock();
    }
    b.closeBlock();
}

void placement(ImageBuilder& b, const BuiltPlacement& p) {
    b.openBlock(0x1050, 2);
    b.openBlock(0x104F, 10);
    b.u8(p.muted ? 1 : 0);
    b.u8(0);
    b.u32(p.clip);
    b.u8(0);
    b.u32(static_cast<uint32_t>(p.position));
    b.u8(static_cast<uint8_t>(p.position >> 32));
    b.zeros(3);
    b.u8(p.fade ? 1 : p.overlap);
    b.u16(static_cast<uint16_t>(p.colour));
    b.zeros(16);
    b.closeBlock();
    b.u8(p.live && !p.fade ? 0 : 1);
    b.u8(0);
    b.closeBlock();
}

// One playlist per channel of every track, numbered in this order.
void playlists(ImageBuilder& b, const BuiltSession& session) {
    b.openBlock(0x1054);
    for (const BuiltTrack& track : session.tracks) {
        for (const BuiltPlaylist& list : track.playlists) {
            b.openBlock(0x1052, 3);
            b.name(list.name.empty() ? track.name : list.name);
            b.u32(static_cast<uint32_t>(list.placements.size()));
            for (const BuiltPlacement& p : list.placements) placement(b, p);
            b.u8(list.tickBased ? 2 : 1);
            b.u8(0);
            b.closeBlock();
        }
    }
    b.closeBlock();
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

void stripRow(ImageBuilder& b, int32_t faderTenths, bool muted, int32_t panLeft, int32_t panRight, bool postFader) {
    std::vector<uint8_t> row(279, 0);
    row[0] = postFader ? 1 : 0;
    put32(row, 1, faderTenths);
    row[5] = muted ? 1 : 0;
    put32(row, 13, panLeft);
    put32(row, 41, panRight);
    b.block(0x1029, row);
}

// A row holder: the row right behind its head, then its name and lanes.
void holder(ImageBuilder& b, const std::string& name, int32_t faderTenths, bool muted, int32_t panLeft,
            int32_t panRight, bool postFader, const std::vector<BuiltLane>& list) {
    b.openBlock(0x260D);
    stripRow(b, faderTenths, muted, panLeft, panRight, postFader);
    b.openBlock(0x260E);
    b.u16(0xFFFF);
    if (name != "-") b.name(name);
    b.zeros(4);
    b.closeBlock();
    lanes(b, list);
    b.closeBlock();
}

// A track block with its name and its fader row, in a row holder when it routes.
void trackBlock(ImageBuilder& b, const BuiltTrack& track) {
    b.openBlock(0x261B);
    b.openBlock(0x2619);
    b.name(track.name);
    b.closeBlock();
    b.zeros(24);
    if (track.output.empty()) {
        stripRow(b, track.faderTenths, track.muted, track.panLeft, track.panRight, true);
        lanes(b, track.lanes);
    } else {
        holder(b, track.output, track.faderTenths, track.muted, track.panLeft, track.panRight, true, track.lanes);
        for (const BuiltSend& send : track.sends) holder(b, send.bus, send.levelTenths, false, 0, 0, send.postFader, send.lanes);
    }
    for (const BuiltPlugin& plugin : track.plugins) {
        b.openBlock(0x1038);
        b.u8(plugin.channelSets);
        b.zeros(15);
        b.text(plugin.signature);
        b.text(plugin.name);
        b.zeros(8);
        b.closeBlock();
        b.u8(1);  // active
        b.block(0x2614, {0, 0, 0, 0});
        b.openBlock(0x260E);
        b.u16(plugin.keyInput < 0 ? 0xFFFF : static_cast<uint16_t>(plugin.keyInput));
        b.closeBlock();
    }
    b.zeros(64);
    if (track.inputId != 0) {
        b.name("input");
        b.zeros(4);
        b.u32(0x2A);
        b.u32(1);
        b.u32(track.inputId);
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

}  // namespace

ImageBuilder buildSession(const BuiltSession& session) {
    ImageBuilder b;
    addSessionHead(b, session.rate, session.files);
    trackList(b, session);
    clipList(b, session);
    playlists(b, session);
    playlistOwners(b, session);
    pathList(b, session);
    for (const BuiltTrack& track : session.tracks) trackBlock(b, track);
    fadeTable(b, session);
    // The block index that closes a real session; it also leaves the tree walk
    // room to find the children of the blocks before it.
    b.block(0x0002, std::vector<uint8_t>(512, 0));
    return b;
}
