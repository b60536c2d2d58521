// MIDI note chunks, clips, placements and streams, on built images and on
// the real session that holds MIDI.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <sstream>
#include <tuple>

#include "session/midi.h"
#include "session/ptx_file.h"
#include "session/real_sessions.h"
#include "session/tracks.h"
#include "support/image_builder.h"
#include "support/session_builder.h"

namespace {

// A value in the session's eight-byte form: seven bytes, then the unit mark
// (0x40 ticks, 0 samples).
void stored(ImageBuilder& b, uint64_t value, uint8_t mark = 0x40) { b.u64(value | uint64_t{mark} << 56); }

// An "MdNLB" list: notes of (position, pitch, length, velocity), absolute, in ticks.
void noteList(ImageBuilder& b, const std::vector<std::array<uint64_t, 4>>& notes) {
    b.text("MdNLB");
    b.zeros(6);
    b.u32(static_cast<uint32_t>(notes.size()));
    for (const auto& n : notes) {
        stored(b, n[0]);
        b.u8(static_cast<uint8_t>(n[1]));
        stored(b, n[2]);
        b.u8(static_cast<uint8_t>(n[3]));
        b.zeros(17);
    }
}

// A block body of `size` bytes (counted from +7, as the stored size) with the
// given bytes at their offsets from the block's "Z".
std::vector<uint8_t> bodyAt(uint32_t size, const std::vector<std::pair<size_t, uint8_t>>& bytes) {
    std::vector<uint8_t> body(size - 2, 0);
    for (const auto& [offset, value] : bytes) body.at(offset - 9) = value;
    return body;
}

// One line per clip or placement, to compare whole records at once.
std::string describe(const ClipDefinition& c) {
    std::ostringstream out;
    out << c.index << " " << c.name << " off " << c.sourceOffset << " len " << c.length << " chunk " << c.midiChunk
        << " notes " << c.midiEvents.size();
    return out.str();
}

std::string describe(const MidiClip& m) {
    std::ostringstream out;
    out << m.trackName << " " << m.trackIndex << " at " << m.clip.start.value << (m.clip.start.inTicks() ? " ticks" : "")
        << " muted " << int(m.clip.muted) << " clip " << m.clip.name;
    return out.str();
}

SessionTrack trackBlock(ImageBuilder& b, uint16_t kind, const std::string& name,
                        const std::vector<std::vector<uint8_t>>& controlBodies) {
    SessionTrack track;
    track.kind = kind;
    track.name = name;
    track.blockStart = b.position();
    b.openBlock(kind);
    b.zeros(4);
    for (const auto& body : controlBodies) b.block(0x2036, body);
    b.closeBlock();
    track.blockEnd = b.position();
    return track;
}

}  // namespace

TEST(MidiChunks, NotesStreamsAndTheirShapeTests) {
    ImageBuilder b;
    b.zeros(80);
    noteList(b, {{7}});  // outside every note block: no chunk, streams behind it ignored
    midiControllerStream(b, 2, 7, {{1, 100}});
    b.openBlock(0x2000);
    noteList(b, {{1000000000000ull + 960000, 60, 480000, 100}, {1000000000000ull + 1920000, 64, 960000, 90}});
    const uint64_t t = 1000000000000ull | 0x40ull << 56;  // tick 0, as stored
    midiControllerStream(b, 2, 7, {{t + 960000, 100}, {t + 1000000, 90}});
    midiControllerStream(b, 3, 0, {{t, 1}});  // no such kind
    midiControllerStream(b, 1, 0, {{t, 8192}});
    midiSysexStream(b, {{t + 480000, {0x43, 0x10, 0x4C}}});
    midiSysexStream(b, {{t + 480000, {0x43, 0x10}}}, 1);  // one byte short of its stated size: dropped whole
    noteList(b, {});                   // an empty chunk exists all the same
    b.zeros(40);
    b.closeBlock();
    const SessionImage image = imageOf(b);

    // Each chunk: its origin in ticks, its notes (position from the origin, pitch, length, velocity), its last end.
    std::ostringstream chunks;
    for (const MidiNoteChunk& chunk : readMidiNoteChunks(image)) {
        chunks << chunk.origin.value << (chunk.origin.inTicks() ? " ticks:" : ":");
        for (const MidiEvent& n : chunk.events)
            chunks << " " << n.position << "/" << int(n.note) << "/" << n.length << "/" << int(n.velocity);
        chunks << " end " << chunk.maxEnd << "; ";
    }
    // The empty chunk has no origin.
    EXPECT_EQ(chunks.str(), "960000 ticks: 0/60/480000/100 960000/64/960000/90 end 1920000; 0: end 0; ");

    // Each stream chunk: notes, then controllers as kind/controller/value, then SysEx sizes.
    std::ostringstream streams;
    for (const MidiStreamChunk& chunk : readMidiStreams(image)) {
        streams << chunk.noteCount << ":";
        for (const auto& c : chunk.controllers) streams << " " << int(c.kind) << "/" << int(c.controller) << "/" << c.value;
        for (const auto& x : chunk.sysexEvents) streams << " sysex " << x.bytes.size() << " " << int(x.bytes.back());
        streams << "; ";
    }
    EXPECT_EQ(streams.str(), "2: 2/7/100 2/7/90 1/0/8192 sysex 3 76; 0:; ");
}

TEST(MidiChunks, ClipsAndPlacementsLandOnTheirMidiTracks) {
    ImageBuilder b;
    addSessionHead(b, 48000);
    b.openBlock(0x2000);
    noteList(b, {{1000000000000ull + 960000, 60, 480000, 100}});
    noteList(b, {});
    b.zeros(20);  // a list is looked for only while 35 bytes remain
    b.closeBlock();
    // The clip list: a clip one quarter into chunk 0, one on the empty chunk 1,
    // and one naming chunk 2, which does not exist.
    b.openBlock(0x2002);
    b.openBlock(0x2001);
    for (uint32_t chunk : {0u, 1u, 2u}) {
        b.openBlock(0x1007);
        b.name(chunk == 1 ? "Empty" : "Riff");
        b.threePoint(1000000000000ull, 5, 0, 0, 3840000, 3, 0, 0);
        b.closeBlock();
        b.u32(chunk);
    }
    b.closeBlock();
    b.closeBlock();
    // A clip group: a clip on chunk 0, and one that holds a 0x2523 block and is no MIDI clip.
    b.openBlock(0x262C);
    b.openBlock(0x262B);
    for (bool audio : {false, true}) {
        b.openBlock(0x2628);
        b.zeros(4);
        if (audio) b.block(0x2523, {0, 0});
        b.closeBlock();
        b.u16(7);
        b.u16(0);  // the chunk number, two bytes behind the block
    }
    b.closeBlock();
    b.closeBlock();
    // Placements: one on the playlist named "Synth", one on the second playlist by number.
    b.openBlock(0x1058);
    for (const char* name : {"Synth", "Nameless"}) {
        b.openBlock(0x1057);
        b.name(name);
        b.openBlock(0x1056);
        b.zeros(9);
        b.u8(name[0] == 'N' ? 1 : 0);  // +18: muted
        b.openBlock(0x104F);
        b.zeros(2);
        b.u32(name[0] == 'N' ? 1 : 0);  // +11: the clip
        b.zeros(1);
        stored(b, 1000000000000ull + 1920000);
        b.zeros(5);
        b.closeBlock();
        b.closeBlock();
        b.closeBlock();
    }
    b.closeBlock();
    b.zeros(40);
    const SessionImage image = imageOf(b);

    ClipLists lists;
    MidiClip keys, synth;
    keys.trackName = "Keys";
    keys.trackIndex = 0;
    synth.trackName = "Synth";
    synth.trackIndex = 1;
    keys.clip.index = synth.clip.index = kNoClip;
    lists.midiPlacements = {keys, synth};
    readMidiClipsAndPlacements(image, readMidiNoteChunks(image), lists);

    std::vector<std::string> clips, placements;
    for (const ClipDefinition& clip : lists.midiClips) clips.push_back(describe(clip));
    for (const MidiClip& placement : lists.midiPlacements) placements.push_back(describe(placement));
    // An empty list has no origin: its clip starts where it does. Clip 2
    // names a chunk past the last one and is dropped. The group's clip
    // takes its chunk number as index, the last listed clip's name and the
    // chunk's last note end as length.
    EXPECT_EQ(clips, (std::vector<std::string>{"0 Riff off 960000 len 3840000 chunk 0 notes 1",
                                               "1 Empty off 0 len 3840000 chunk 1 notes 0",
                                               "0 Empty off 0 len 480000 chunk 0 notes 1"}));
    // The clipless track entries are gone; the second playlist finds its track
    // by number; clip 0 is the listed clip, found before the group's.
    EXPECT_EQ(placements, (std::vector<std::string>{"Synth 1 at 1920000 ticks muted 0 clip Riff",
                                                    "Synth 1 at 1920000 ticks muted 1 clip Empty"}));
}

TEST(MidiChunks, StackingRowsAndTrackTables) {
    ImageBuilder b;
    addSessionHead(b, 48000);
    // A MIDI playlist of three children; the middle one holds no placement.
    b.openBlock(0x1057);
    b.name("Keys");
    b.u32(3);
    for (int k = 0; k < 3; ++k) {
        b.openBlock(0x1056);
        if (k == 1) {
            b.zeros(40);
        } else {
            const bool first = k == 0;  // colour -5 and live by +39; then colour 7 and live by +10
            b.block(0x104F, bodyAt(33, {{10, uint8_t(k)}, {11, uint8_t(3 + k)}, {24, uint8_t(2 - k)},
                                        {25, uint8_t(first ? 0xFB : 7)}, {26, uint8_t(first ? 0xFF : 0)},
                                        {39, uint8_t(first ? 1 : 0)}}));
            // The position in ticks, over the bias at first and under it then.
            const uint64_t position = (k == 0 ? 1000000000000ull + 1920000 : 1000000000000ull - 480000) | 0x40ull << 56;
            for (int i = 0; i < 8; ++i) b.patchU8(b.position() - 40 + 16 + i, uint8_t(position >> (8 * i)));
        }
        b.closeBlock();
    }
    b.closeBlock();
    b.openBlock(0x1057);  // no entries: not kept
    b.name("Bare");
    b.u32(0);
    b.closeBlock();

    // Tracks: the first control block of each MIDI or instrument track counts.
    std::vector<SessionTrack> tracks;
    tracks.push_back(
        trackBlock(b, 0x2620, "Keys", {bodyAt(19, {{9, 100}, {17, 30}, {21, 2}, {25, 5}}), bodyAt(19, {{9, 1}})}));
    tracks.push_back(trackBlock(b, 0x261B, "Audio", {bodyAt(19, {{9, 100}})}));
    tracks.push_back(trackBlock(b, 0x2621, "Inst 1", {bodyAt(19, {{9, 100}, {17, 200}, {25, 9}})}));
    tracks.back().currentName = "Pad";
    tracks.push_back(trackBlock(b, 0x2620, "Late", {bodyAt(16, {{9, 64}, {17, 64}})}));

    // Real-time blocks: a short one, a plain one, one whose fields lie behind a
    // 0x103D block of size 100 (so at +41), and a last one nobody takes.
    b.block(0x2502, bodyAt(152, {}));
    b.block(0x2502, bodyAt(160, {{11, 1}, {54, 7}, {89, 1}, {133, 1}, {134, 1}, {136, 0x00}, {137, 0x53}, {138, 0x07},
                                 {148, 1}, {149, 80}, {156, 1}, {157, 4}, {158, 0xFF}, {159, 3}}));
    b.block(0x2502, bodyAt(194, {{13, 'Z'}, {14, 1}, {16, 100}, {20, 0x3D}, {21, 0x10}, {54, 9}, {52, 1},
                                 {41 + 89, 1}, {41 + 136, 0xE8}, {41 + 137, 0x03}, {41 + 149, 110}}));
    b.block(0x2502, bodyAt(160, {{89, 1}}));
    b.zeros(40);
    const SessionImage image = imageOf(b);

    const std::vector<MidiPlaylistRow> rows = readMidiPlaylistRows(image);
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows[0].name, "Keys");
    EXPECT_EQ(rows[0].clipIndex, (std::vector<uint32_t>{3, 5}));
    EXPECT_EQ(rows[0].colour, (std::vector<int16_t>{-5, 7}));
    EXPECT_EQ(rows[0].overlapState, (std::vector<uint8_t>{2, 0}));
    EXPECT_EQ(rows[0].live, (std::vector<bool>{true, true}));
    EXPECT_EQ(rows[0].position, (std::vector<TimelinePosition>{ticksAt(1920000), ticksAt(-480000)}));

    std::ostringstream controls;
    for (const auto& [name, c] : readMidiTrackControls(image, tracks))
        controls << name << " " << c.volume << " " << c.pan << " " << c.program << " " << c.outputIndex << "; ";
    // A pan of 200 drops volume and pan; a block of size 16 holds no program and no MIDI output.
    EXPECT_EQ(controls.str(), "Keys 100 30 5 2; Late 64 64 -1 0; Pad -1 -1 9 0; ");

    std::ostringstream realTime;
    for (const auto& [name, r] : readMidiRealTime(image, tracks)) {
        realTime << name << " " << r.firstSwitch << r.delayOn << r.velocityOn << r.transposeOn << r.furtherSwitch
                 << " " << r.secondValue << " " << r.delayTicks << " " << r.velocityScale << " " << r.velocityOffset
                 << " " << int(r.furtherValue) << " " << r.octaves << " " << r.semitones << "; ";
    }
    // "Late" would take the last block. Pad's +11 and +54 stay at the block's
    // own offsets.
    EXPECT_EQ(realTime.str(), "Keys 11111 7 -480 80 0 4 -1 3; Pad 01000 9 1 110 0 0 0 0; ");
}

TEST(MidiChunks, OutputRowsOfTheFirstList) {
    // A name block's body: two bytes, the name, then the channel less 1.
    auto nameBody = [](const std::string& name, uint8_t channel) {
        std::vector<uint8_t> body{0, 0, uint8_t(name.size()), 0, 0, 0};
        for (char c : name) body.push_back(uint8_t(c));
        body.push_back(channel);
        return body;
    };
    std::vector<uint8_t> node(29, 0);
    for (int k = 0; k < 16; ++k) node[13 + k] = uint8_t(0xA0 + k);
    ImageBuilder b;
    addSessionHead(b, 48000);
    for (int list = 0; list < 2; ++list) {
        b.openBlock(0x2004);
        b.zeros(3);
        b.openBlock(0x2005);
        b.openBlock(0x2086);  // stepped into
        b.block(0x2006, nameBody("Synth A", 2));
        b.closeBlock();
        b.block(0x2006, nameBody("Other", 5));  // a second name block is not read
        b.block(0x2097, node);
        b.block(0x2401, {0x42, 0, 0});
        b.closeBlock();
        b.openBlock(0x2005);
        b.openBlock(0x2099);  // jumped over with what it holds
        b.block(0x2006, nameBody("Hidden", 0));
        b.closeBlock();
        b.block(0x2006, nameBody("Bass", 0));
        b.closeBlock();
        b.closeBlock();
    }
    b.zeros(40);
    const std::vector<MidiOutputRow> rows = readMidiOutputs(imageOf(b));
    ASSERT_EQ(rows.size(), 2u);  // the second list is not read
    EXPECT_EQ(std::make_tuple(rows[0].name, rows[0].channel, rows[0].pluginNode, rows[0].deviceByte),
              std::make_tuple(std::string("Synth A"), 3, true, uint8_t(0x42)));
    EXPECT_EQ(rows[0].deviceBytes[0] + rows[0].deviceBytes[15], 0xA0 + 0xAF);
    EXPECT_EQ(std::make_tuple(rows[1].name, rows[1].channel, rows[1].pluginNode),
              std::make_tuple(std::string("Bass"), 1, false));
}
