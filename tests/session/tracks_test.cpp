#include <gtest/gtest.h>

#include <fstream>
#include <set>

#include "session/ptx_file.h"
#include "session/real_sessions.h"
#include "session/strips.h"
#include "session/tracks.h"
#include "support/image_builder.h"

namespace {

using Names = std::vector<std::string>;

// A block whose body starts with a name, e.g. a 0x2619 track name.
void named(ImageBuilder& b, uint16_t type, const std::string& name) {
    b.openBlock(type);
    b.name(name);
    b.closeBlock();
}

// A 0x251A track list row of the stored form: block size = name length + 72.
void listRow(ImageBuilder& b, const std::string& name, uint16_t rowType = 0, uint64_t rowId = 0,
             uint8_t flag = 0, uint8_t liveByte = 1, int sizeChange = 0) {
    b.openBlock(0x251A);
    b.u16(rowType);
    b.name(name);
    std::vector<uint8_t> rest(static_cast<size_t>(64 + sizeChange), 0);
    rest[0] = 2;  // width
    if (rowId != 0) rest[6] = 0x2A;
    for (int i = 0; i < 8; ++i) rest[10 + i] = static_cast<uint8_t>(rowId >> (8 * i));
    if (rest.size() > 58) {  // shorter rows stop before the flag and the live byte
        rest[53] = flag;
        rest[58] = liveByte;
    }
    b.bytes(rest);
    b.closeBlock();
}

Names described(const std::vector<SessionTrack>& rows) {
    Names lines;
    for (const SessionTrack& t : rows)
        lines.push_back(std::to_string(t.kind) + " " + t.name + "/" + t.currentName + (t.active ? "" : " inactive"));
    return lines;
}

Names effectiveNames(const std::vector<SessionTrack>& rows) {
    Names names;
    for (const SessionTrack& row : rows) names.push_back(effectiveName(row));
    return names;
}

// The track names of the placement lines of the .facts beside a session.
Names placementTrackNames(const std::string& sessionPath) {
    std::ifstream in(sessionPath.substr(0, sessionPath.rfind('.')) + ".facts");
    std::set<std::string> names;
    for (std::string line; std::getline(in, line);) {
        size_t open = line.find('"'), close = line.find("\" clip ");
        if (line.rfind("placement track ", 0) == 0 && close != std::string::npos)
            names.insert(line.substr(open + 1, close - open - 1));
    }
    return Names(names.begin(), names.end());
}

SessionImage loadImage(SessionFile& file, const std::string& path) {
    EXPECT_EQ(loadSession(file, path, 48000), 0) << path;
    if (file.sessionRate != 48000 && file.sessionRate > 0) {
        int64_t rate = file.sessionRate;
        file = SessionFile{};
        EXPECT_EQ(loadSession(file, path, rate), 0) << path;
    }
    return makeSessionImage(file.view());
}

}  // namespace

TEST(TrackBlocks, RowsNamesActivityAndCurrentNames) {
    for (int listed : {3, 4, 6}) {
        ImageBuilder b;
        b.openBlock(0x261B);
        named(b, 0x2619, std::string(80, 'a'));  // the longest name
        b.u8(7);
        b.block(0x2627, {0, 0});  // no zero before the marker: active
        b.closeBlock();
        const uint64_t firstEnd = b.position();
        b.openBlock(0x261D);  // a master fader; the audio block inside it is no track
        named(b, 0x2619, "Master 1");
        b.openBlock(0x261B);
        named(b, 0x2619, "Inner");
        b.closeBlock();
        b.closeBlock();
        b.openBlock(0x2620);
        named(b, 0x2619, std::string(81, 'b'));  // too long: no name
        b.u8(0);
        b.block(0x2627, {0, 0});  // a zero before the marker: inactive
        b.closeBlock();
        for (int i = 0; i < listed; ++i) listRow(b, "now " + std::to_string(i % 3));

        SessionTrackRows tracks = readSessionTracks(imageOf(b));
        ASSERT_EQ(tracks.rows.size(), 3u);
        EXPECT_EQ(tracks.rows[0].blockStart, 20u);
        EXPECT_EQ(tracks.rows[0].blockEnd, firstEnd);
        // Names fit at once or twice the row count, not otherwise.
        const bool fits = listed != 4;
        EXPECT_EQ(tracks.currentNamesFitted, fits);
        const std::string a(80, 'a');
        const Names expected = fits ? Names{"9755 " + a + "/now 0", "9757 Master 1/now 1", "9760 /now 2 inactive"}
                                    : Names{"9755 " + a + "/", "9757 Master 1/", "9760 / inactive"};
        EXPECT_EQ(described(tracks.rows), expected) << listed;
    }
}

TEST(TrackList, RowsUntilTheRepeatAndInactiveNames) {
    ImageBuilder b;
    b.openBlock(0x2519);
    listRow(b, "Vox", 0, 0x1122334455667788ULL, 1);
    listRow(b, "Gtr", 11);                                  // type 11 sets the flag
    listRow(b, "Keys", 0, 0, 0, 0);                         // inactive
    listRow(b, std::string(80, 'k'), 0, 0, 0, 0);           // block size 152: inactive
    listRow(b, std::string(200, 'x'), 0, 0, 0, 0);          // longest row name, too long to tell
    listRow(b, "Vox");                                      // the repeat ends the list
    listRow(b, "After");
    b.closeBlock();
    SessionImage image = imageOf(b);

    Names rows;
    for (const TrackListRow& r : readTrackListRows(image))
        rows.push_back(r.name + " " + std::to_string(r.rowType) + " " + std::to_string(r.width) +
                       (r.rowFlag ? " flag " : " ") + std::to_string(r.rowId));
    EXPECT_EQ(rows, (Names{"Vox 0 2 flag " + std::to_string(0x1122334455667788ULL), "Gtr 11 2 flag 0", "Keys 0 2 0",
                           std::string(80, 'k') + " 0 2 0", std::string(200, 'x') + " 0 2 0"}));
    EXPECT_EQ(readInactiveNames(image), (Names{"Keys", std::string(80, 'k')}));

    // Rows of L + 61 to L + 72 bytes are read; one row outside that empties the list.
    // The short forms real sessions write (L + 61, L + 62) end before the live
    // byte: the zero six bytes before their end names no track inactive.
    for (int sizeChange : {-11, -10, -12, 1, 0}) {
        ImageBuilder c;
        c.openBlock(0x2519);
        listRow(c, "Vox", 0, 0, 0, 1, sizeChange < 0 ? sizeChange : 0);
        listRow(c, sizeChange == 0 ? std::string(201, 'y') : "Gtr", 0, 0, 0, 1, sizeChange);
        c.closeBlock();
        EXPECT_EQ(readTrackListRows(imageOf(c)).size(), sizeChange == -11 || sizeChange == -10 ? 2u : 0u) << sizeChange;
        EXPECT_TRUE(readInactiveNames(imageOf(c)).empty()) << sizeChange;
    }
}

TEST(TrackNameScan, WalksTheTableFromTheFirstKnownName) {
    ImageBuilder b;
    for (auto [gap, name] : std::vector<std::pair<size_t, std::string>>{
             {0, "Earlier"},        // before the first known name
             {50, "Drums"},         // the anchor
             {4, "Audio Files"},    // a folder: never a name
             {4, "Bass"},           // 23 bytes behind the anchor's end
             {10, "Loop.WAV"},      // an audio file
             {18, "Drums"},         // 40 behind: a repeat, but its end counts
             {40, "Keys"},
             {4, "Q"},              // too short
             {4, std::string(64, 'y')},  // the longest name
             {41, "Late"}}) {       // 41 behind the last name taken
        b.zeros(gap);
        b.name(name);
    }
    SessionImage image = imageOf(b);
    EXPECT_EQ(readTrackNameScan(image, {"Keys", "Drums"}), (Names{"Drums", "Bass", "Keys", std::string(64, 'y')}));
    EXPECT_TRUE(readTrackNameScan(image, {"Nothing"}).empty());
    ImageBuilder c;
    c.name("Anchor");
    c.zeros(4);
    c.name(std::string(65, 'z'));  // too long
    EXPECT_EQ(readTrackNameScan(imageOf(c), {"Anchor"}), Names{"Anchor"});
}

TEST(TrackListChoice, RowsReplaceTheScanOnlyWhenCompleteAndDifferent) {
    auto rows = [](const Names& names) {
        std::vector<SessionTrack> tracks;
        for (const std::string& n : names) tracks.push_back(SessionTrack{0, 0, 0, "stored", n, 1});
        return tracks;
    };
    const Names scan = {"A", "B"};
    EXPECT_FALSE(chooseTrackList(scan, rows({"A", "B"})).fromStripRows);
    TrackListChoice longer = chooseTrackList(scan, rows({"A", "B", "C"}));
    EXPECT_TRUE(longer.fromStripRows);
    EXPECT_EQ(longer.names, (Names{"A", "B", "C"}));
    EXPECT_EQ(std::make_pair(longer.scanCount, longer.rowCount), std::make_pair(2, 3));
    // The count says how many of the rows' names the scan found, not how many it found.
    TrackListChoice fewer = chooseTrackList({"X", "A", "Y", "Z"}, rows({"A"}));
    EXPECT_EQ(std::make_pair(fewer.scanCount, fewer.rowCount), std::make_pair(1, 1));
    EXPECT_TRUE(chooseTrackList(scan, rows({"B", "A"})).fromStripRows);
    EXPECT_EQ(chooseTrackList(scan, rows({"A", "C", "A"})).names, scan);  // a repeat
    EXPECT_EQ(chooseTrackList(scan, rows({"", "C"})).names, (Names{"stored", "C"}));
    std::vector<SessionTrack> blank = rows({"A", "B", "C"});
    blank[1] = SessionTrack{};  // a row with no name at all
    EXPECT_EQ(chooseTrackList(scan, blank).names, scan);
    EXPECT_EQ(chooseTrackList(scan, {}).names, scan);
}

TEST(TrackAttributes, RecordsFoundThroughTheTrackListNames) {
    ImageBuilder b;
    // Three tracks whose leading 0x102D stores the automation mode behind the name.
    const std::vector<uint8_t> modes[] = {{0, 5, 1}, {0, 2, 0}, {0, 6, 2}};
    const Names names = {"One", "Two", "Three"};
    for (size_t i = 0; i < names.size(); ++i) {
        b.openBlock(0x261B);
        b.openBlock(0x102D);
        named(b, 0x2619, names[i]);
        b.bytes(modes[i]);
        b.closeBlock();
        b.closeBlock();
    }
    // Two display records for three tracks: they go by the track list's names.
    for (int shown : {0, 1}) {
        b.openBlock(0x2015);
        b.block(0x2038, {0, 0, 0, 0});
        b.bytes({9, static_cast<uint8_t>(shown), 9, 9, 9, 9});
        b.u16(shown ? 92 : 300);
        b.name(shown ? "hello" : "");
        if (!shown) b.block(0x2434, {0, 0});
        b.u32(7);   // behind the 0x2434, where there is one
        b.u32(99);  // the record's last u32
        b.closeBlock();
    }
    b.openBlock(0x2519);
    listRow(b, "Three");
    listRow(b, "One");
    b.closeBlock();
    SessionImage image = imageOf(b);

    std::vector<TrackAttributes> got = readTrackAttributes(image, readSessionTracks(image).rows);
    ASSERT_EQ(got.size(), 3u);
    auto describeAttributes = [](const TrackAttributes& a) {
        return std::to_string(a.shown) + " " + std::to_string(a.height) + " " + std::to_string(a.displayRow) +
               " " + std::to_string(a.automationMode) + " " + std::to_string(a.trimOn) + " " + a.comment;
    };
    EXPECT_EQ(describeAttributes(got[0]), "1 92 99 5 1 hello");
    EXPECT_EQ(describeAttributes(got[1]), "1 0 0 -1 -1 ");  // no record: defaults throughout
    EXPECT_EQ(describeAttributes(got[2]), "0 300 7 -1 -1 ");  // mode 6 and trim 2 are out of range
}

TEST(TrackNames, VoiceOffAndMaster) {
    ImageBuilder b;
    for (uint8_t lead : {1, 0}) {
        b.openBlock(0x261B);
        named(b, 0x2619, lead ? "Voiced" : "Muted voice");
        b.openBlock(0x261C);
        b.bytes({lead, 0});
        b.block(0x200B, {0, 0});
        b.closeBlock();
        b.closeBlock();
    }
    for (const std::string& name : {std::string(65, 'm'), std::string("Main")}) {
        b.openBlock(0x261D);
        named(b, 0x2619, name);  // 65 bytes is too long for a master's name
        b.closeBlock();
    }
    SessionImage image = imageOf(b);
    EXPECT_EQ(readVoiceOffNames(image, readSessionTracks(image).rows), Names{"Muted voice"});
    EXPECT_EQ(readMasterName(image), "Main");
}

TEST(TrackRealSessions, LargestBenchSessionReadsTracksAndStrips) {
    const std::string path = TRELLUM_SHARED_DIR "/bench/max-418.ptx";
    if (!std::ifstream(path).good()) GTEST_SKIP() << "no bench session";
    SessionFile file;
    SessionImage image = loadImage(file, path);
    Names placed = placementTrackNames(path);

    SessionTrackRows tracks = readSessionTracks(image);
    readTrackAttributes(image, tracks.rows);
    Names scan = readTrackNameScan(image, placed);
    readInactiveNames(image);
    readVoiceOffNames(image, tracks.rows);
    readMasterName(image);
    std::vector<StripRow> strips = readStripRows(image, scan, {"Bus 1-2", "Reverb", "Out 1-2"});

    ASSERT_EQ(tracks.rows.size(), 418u);
    Names names = effectiveNames(tracks.rows);
    EXPECT_EQ(std::set<std::string>(names.begin(), names.end()), std::set<std::string>(placed.begin(), placed.end()));
    EXPECT_EQ(scan, names);
    ASSERT_EQ(strips.size(), 418u);
    for (const StripRow& strip : strips) EXPECT_EQ(strip.present, 1) << strip.name;
}
