// MIDI note chunks, clips, placements and streams, on built images and on
// the real session that holds MIDI.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <sstream>

#include "session/midi.h"
#include "session/ptx_file.h"
#include "session/real_sessions.h"
#include "support/image_builder.h"

namespace {

void fiveBytes(ImageBuilder& b, uint64_t value) {
    for (int k = 0; k < 5; ++k) b.u8(static_cast<uint8_t>(value >> (8 * k)));
}

// An "MdNLB" list: notes of (position, pitch, length, velocity), absolute.
void noteList(ImageBuilder& b, const std::vector<std::array<uint64_t, 4>>& notes) {
    b.text("MdNLB");
    b.zeros(6);
    b.u32(static_cast<uint32_t>(notes.size()));
    for (const auto& n : notes) {
        fiveBytes(b, n[0]);
        b.zeros(3);
        b.u8(static_cast<uint8_t>(n[1]));
        fiveBytes(b, n[2]);
        b.zeros(3);
        b.u8(static_cast<uint8_t>(n[3]));
        b.zeros(17);
    }
}

// A controller stream of one kind with (position, value) records.
void controllerStream(ImageBuilder& b, uint8_t kind, uint8_t controller,
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
    for (const auto& r : records) {
        fiveBytes(b, r.first);
        b.zeros(3);
        b.u32(r.second);
    }
}

// A SysEx stream; `shortBy` makes the stated size larger than what follows.
void sysexStream(ImageBuilder& b, const std::vector<uint8_t>& data, uint32_t shortBy = 0) {
    b.text("MdES");
    b.zeros(6);
    b.text("MdTEL");
    b.zeros(2);
    b.u32(static_cast<uint32_t>(4 + 19 + data.size() + shortBy));
    b.u32(1);
    fiveBytes(b, 1000000000000ull + 480000);
    b.zeros(3);
    b.u8(1);
    b.zeros(1);
    b.u32(static_cast<uint32_t>(data.size() + 5));
    b.u8(0);
    b.u32(static_cast<uint32_t>(data.size()));
    b.bytes(data);
}

SessionImage imageOf(const ImageBuilder& b) { return makeSessionImage(ImageView{b.image().data(), b.image().size()}); }

}  // namespace

TEST(MidiChunks, NotesStreamsAndTheirShapeTests) {
    ImageBuilder b;
    b.zeros(80);
    noteList(b, {{7}});  // outside every note block: no chunk, streams behind it ignored
    controllerStream(b, 2, 7, {{1, 100}});
    b.openBlock(0x2000);
    noteList(b, {{1000000000000ull + 960000, 60, 480000, 100}, {1000000000000ull + 1920000, 64, 960000, 90}});
    controllerStream(b, 2, 7, {{1000000000000ull + 960000, 100}, {1000000000000ull + 1000000, 90}});
    controllerStream(b, 3, 0, {{1000000000000ull, 1}});  // no such kind
    controllerStream(b, 1, 0, {{1000000000000ull, 8192}});
    sysexStream(b, {0x43, 0x10, 0x4C});
    sysexStream(b, {0x43, 0x10}, 1);  // one byte short of its stated size: dropped whole
    noteList(b, {});                   // an empty chunk exists all the same
    b.zeros(40);
    b.closeBlock();
    const SessionImage image = imageOf(b);

    const std::vector<MidiNoteChunk> chunks = readMidiNoteChunks(image);
    ASSERT_EQ(chunks.size(), 2u);
    EXPECT_EQ(chunks[0].origin, 1000000000000ull + 960000);
    ASSERT_EQ(chunks[0].events.size(), 2u);
    EXPECT_EQ(chunks[0].events[1].position, 960000u);
    EXPECT_EQ(chunks[0].events[1].note, 64);
    EXPECT_EQ(chunks[0].events[1].velocity, 90);
    EXPECT_EQ(chunks[0].maxEnd, 1920000u);
    EXPECT_TRUE(chunks[1].events.empty());
    EXPECT_EQ(chunks[1].maxEnd, 0u);

    const std::vector<MidiStreamChunk> streams = readMidiStreams(image);
    ASSERT_EQ(streams.size(), 2u);
    EXPECT_EQ(streams[0].noteCount, 2u);
    ASSERT_EQ(streams[0].controllers.size(), 3u);
    EXPECT_EQ(streams[0].controllers[1].value, 90u);
    EXPECT_EQ(streams[0].controllers[1].controller, 7);
    EXPECT_EQ(streams[0].controllers[2].kind, kPitchBend);
    ASSERT_EQ(streams[0].sysexEvents.size(), 1u);
    EXPECT_EQ(streams[0].sysexEvents[0].bytes, (std::vector<uint8_t>{0x43, 0x10, 0x4C}));
}

TEST(MidiChunks, ClipsAndPlacementsLandOnTheirMidiTracks) {
    ImageBuilder b;
    addSessionHead(b, 48000);
    for (uint16_t kind : {0x261B, 0x2620, 0x2621}) b.block(kind, {0, 0});
    b.openBlock(0x2519);
    b.u32(3);
    for (const char* name : {"Audio", "Keys", "Synth"}) {
        b.openBlock(0x251A);
        b.u16(0);
        b.name(name);
        b.closeBlock();
    }
    b.closeBlock();
    b.openBlock(0x2000);
    noteList(b, {{1000000000000ull + 960000, 60, 480000, 100}});
    b.closeBlock();
    // The clip list: a clip one quarter into its chunk, and one naming chunk 4, which does not exist.
    b.openBlock(0x2002);
    b.openBlock(0x2001);
    for (uint32_t chunk : {0u, 4u}) {
        b.openBlock(0x1007);
        b.name("Riff");
        b.threePoint(1000000000000ull, 5, 0, 0, 3840000, 3, 0, 0);
        b.closeBlock();
        b.u32(chunk);
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
        b.u32(0);  // +11: clip 0
        b.zeros(1);
        fiveBytes(b, 1000000000000ull + 1920000);
        b.zeros(8);
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

    ASSERT_EQ(lists.midiClips.size(), 1u);
    EXPECT_EQ(lists.midiClips[0].name, "Riff");
    EXPECT_EQ(lists.midiClips[0].sourceOffset, 960000);
    EXPECT_EQ(lists.midiClips[0].length, 3840000);
    ASSERT_EQ(lists.midiPlacements.size(), 2u);  // the clipless track entries are gone
    EXPECT_EQ(lists.midiPlacements[0].trackName, "Synth");
    EXPECT_EQ(lists.midiPlacements[0].clip.start, 1920000);
    EXPECT_EQ(lists.midiPlacements[0].clip.muted, 0);
    EXPECT_EQ(lists.midiPlacements[1].trackName, "Synth");  // playlist 1 by number
    EXPECT_EQ(lists.midiPlacements[1].clip.muted, 1);
    EXPECT_EQ(lists.midiPlacements[1].clip.midiEvents.size(), 1u);

    const std::vector<MidiPlaylistRow> rows = readMidiPlaylistRows(image);
    ASSERT_EQ(rows.size(), 0u);  // these playlists state no count of entries
}

TEST(MidiChunks, RealSessionClipsHoldExactlyTheirNotes) {
    const std::string folder = realSessionFolder();
    if (folder.empty()) GTEST_SKIP() << "no real sessions beside the repository";
    const std::string path = folder + "/TestPTX.ptx";
    SessionFile file;
    ASSERT_EQ(loadSession(file, path, 48000), 0);
    const SessionImage image = makeSessionImage(file.view());
    const ClipLists lists = readClipsAndPlacements(image, audioFileRefs(file.audioFiles));

    // The facts give a clip's length as the end of its last note; the clip
    // itself may run on past it (to the end of its bar).
    std::ostringstream ours;
    for (const ClipDefinition& clip : lists.midiClips) {
        uint64_t noteEnd = 0;
        for (const MidiEvent& n : clip.midiEvents) noteEnd = std::max(noteEnd, n.position + n.length);
        EXPECT_GE(static_cast<uint64_t>(clip.length), noteEnd);
        ours << "midiclip " << clip.index << " \"" << clip.name << "\" length " << noteEnd << " notes "
             << clip.midiEvents.size() << "\n";
        for (const MidiEvent& n : clip.midiEvents) {
            ours << "  note " << int(n.note) << " vel " << int(n.velocity) << " at " << n.position << " len "
                 << n.length << "\n";
        }
    }
    for (const MidiClip& placement : lists.midiPlacements) {
        ours << "midiplacement track " << placement.trackIndex << " \"" << placement.trackName << "\" clip "
             << placement.clip.index << " at " << placement.clip.start << "\n";
    }
    std::ifstream in(folder + "/TestPTX.facts");
    std::string facts;
    for (std::string line; std::getline(in, line);) {
        if (line.rfind("midi", 0) == 0 || line.rfind("  note", 0) == 0) facts += line + "\n";
    }
    EXPECT_EQ(ours.str(), facts);
}
