// Each real session read through the readers and written in the form of the
// .facts an independent reader left beside it: rate and files, clips,
// placements, and MIDI clips with their notes and placements.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <sstream>

#include "cli/console.h"
#include "session/clips.h"
#include "session/playlists.h"
#include "session/ptx_file.h"
#include "session/real_sessions.h"

namespace {

// The facts' lines of the given kinds, in their order.
std::string factsOf(const std::string& path, const std::vector<std::string>& kinds) {
    std::ifstream in(path.substr(0, path.size() - 4) + ".facts");
    std::string text;
    for (std::string line; std::getline(in, line);) {
        for (const std::string& kind : kinds) {
            if (line.rfind(kind + " ", 0) == 0) text += line + "\n";
        }
    }
    return text;
}

// The facts print a placement's position through a 32-bit float; a tick
// position with its bias cut to 32 bits, at 2^31 and above (the facts test of
// the driver holds those against music.facts), is left out here.
std::string placementLines(const std::string& path) {
    std::istringstream in(factsOf(path, {"placement"}));
    std::string text;
    for (std::string line; std::getline(in, line);) {
        if (std::stod(line.substr(line.rfind(" at ") + 4)) < 2147483648.0) text += line + "\n";
    }
    return text;
}

}  // namespace

TEST(RealSessionFacts, ReadersGiveTheLinesOfTheFacts) {
    const std::string folder = realSessionFolder();
    if (folder.empty()) GTEST_SKIP() << "no real sessions";
    for (const std::string& path : filesEnding(folder, ".ptx")) {
        SCOPED_TRACE(path);
        // As the driver opens it: at 48000, then again at the session's own
        // rate (lengths scaled to another rate are held by the file-list test).
        SessionFile file;
        ASSERT_EQ(loadSession(file, path, 48000), 0);
        EXPECT_EQ(file.versionByte, 12);
        const int64_t rate = file.sessionRate;
        ASSERT_EQ(loadSession(file, path, rate), 0);
        std::string files = formatText("sample_rate %lld\n", static_cast<long long>(rate));
        for (const AudioFileEntry& f : file.audioFiles) {
            files += formatText("file %u \"%s\" length %llu\n", f.index, f.name.c_str(), f.length + 0ull);
        }
        EXPECT_EQ(files, factsOf(path, {"sample_rate", "file"}));

        const SessionImage image = makeSessionImage(file.view());
        const ClipLists lists = readClipsAndPlacements(image, audioFileRefs(file.audioFiles));
        std::string clips, placements, midi, midiPlacements;
        for (const ClipDefinition& c : lists.audioClips) {
            clips += formatText("clip %u \"%s\" file %u offset %lld length %lld\n", c.index, c.name.c_str(), c.fileIndex,
                                static_cast<long long>(c.sourceOffset), static_cast<long long>(c.length));
        }
        EXPECT_EQ(clips, factsOf(path, {"clip"}));
        // The facts leave out what the playlist rows keep for undo (RegionTest has three).
        const std::vector<PlaylistRow> rows = readPlaylistRows(image);
        for (const ClipPlacement& p : lists.audioPlacements) {
            bool keptForUndo = false;
            for (size_t e = 0; p.trackIndex < rows.size() && e < rows[p.trackIndex].live.size(); ++e) {
                const PlaylistRow& row = rows[p.trackIndex];
                keptForUndo |= !row.live[e] && row.clipIndex[e] == p.clipIndex && row.position[e] == p.start;
            }
            if (keptForUndo || p.start.inTicks()) continue;
            placements += formatText("placement track %u \"%s\" clip %u \"%s\" at %llu\n", p.trackIndex,
                                     p.trackName.c_str(), p.clipIndex, lists.audioClips[p.clipIndex].name.c_str(),
                                     static_cast<unsigned long long>(static_cast<float>(p.start.value)));
        }
        EXPECT_EQ(placements, placementLines(path));

        // The facts give a MIDI clip's length as the end of its last note; the
        // clip itself may run on past it (to the end of its bar).
        for (const ClipDefinition& clip : lists.midiClips) {
            int64_t noteEnd = 0;
            std::string notes;
            for (const MidiEvent& n : clip.midiEvents) {
                noteEnd = std::max(noteEnd, n.position + n.length);
                notes += formatText("  note %d vel %d at %lld len %lld\n", n.note, n.velocity,
                                    static_cast<long long>(n.position), static_cast<long long>(n.length));
            }
            EXPECT_GE(clip.length, noteEnd);
            midi += formatText("midiclip %u \"%s\" length %lld notes %zu\n", clip.index, clip.name.c_str(),
                               static_cast<long long>(noteEnd), clip.midiEvents.size()) + notes;
        }
        for (const MidiClip& p : lists.midiPlacements) {
            EXPECT_TRUE(p.clip.start.inTicks());
            midiPlacements += formatText("midiplacement track %u \"%s\" clip %u at %lld\n", p.trackIndex,
                                         p.trackName.c_str(), p.clip.index, static_cast<long long>(p.clip.start.value));
        }
        EXPECT_EQ(midi + midiPlacements, factsOf(path, {"midiclip", " ", "midiplacement"}));
    }
}
