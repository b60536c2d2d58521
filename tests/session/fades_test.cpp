#include <gtest/gtest.h>

#include <cstdio>

#include "session/fades.h"
#include "session/playlists.h"
#include "session/ptx_file.h"
#include "session/real_sessions.h"
#include "support/image_builder.h"

namespace {

// A fade block: five unread bytes, the widths at +14, two unread, the values, then q on.
void fade(ImageBuilder& b, uint8_t widths, std::vector<uint8_t> values, std::vector<uint8_t> fromQ) {
    std::vector<uint8_t> body = {0, 0, 0, 0, 0, widths, 0, 0};
    for (uint8_t value : values) body.push_back(value);
    for (uint8_t value : fromQ) body.push_back(value);
    b.block(0x262F, body, 2);
}

std::vector<std::string> describe(const std::vector<FadeRecord>& fades) {
    std::vector<std::string> out;
    char text[80];
    for (const FadeRecord& r : fades) {
        std::snprintf(text, sizeof text, "%d %.0f %.0f %d %d", r.kind, r.lead, r.length, r.shape, r.isSCurve);
        out.push_back(text);
    }
    return out;
}

std::vector<std::string> readAll(const ImageBuilder& b) {
    return describe(readFades(imageOf(b)));
}

}  // namespace

TEST(FadeTable, KeepsTheNumbersOfRecordsNotUnderstoodAndReadsShapeOnlyInsideTheBlock) {
    ImageBuilder b;
    fade(b, 0x30, {0x10, 0x7A, 0x07}, {3, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0});  // fade-in, no lead
    fade(b, 0x15, {0, 0, 0, 0, 0, 1}, {3});                                // lead 5 bytes wide: no block
    fade(b, 0x44, {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}, {1});  // crossfade wholly before its anchor
    fade(b, 0x11, {7, 6}, {2});                                            // length below lead
    fade(b, 0x11, {0, 6}, {4});                                            // no such kind
    fade(b, 0x11, {2, 6}, {2, 5, 0, 0, 0, 0, 1, 0, 0, 1});     // S-curve marks, but the block ends at q + 10
    fade(b, 0x11, {2, 6}, {2, 5, 0, 0, 0, 0, 1, 0, 0, 1, 0});  // one byte more
    fade(b, 0x11, {2, 6}, {2, 5, 0, 0, 0, 0, 0, 0, 0, 1, 0});  // +9 alone is no S-curve
    b.zeros(40);
    EXPECT_EQ(readAll(b), (std::vector<std::string>{"3 0 490000 2 0", "1 4294967295 4294967295 0 0", "0 7 6 0 0",
                                                    "0 0 6 0 0", "2 2 6 0 0", "2 2 6 5 1", "2 2 6 5 0"}));
    std::vector<FadeRecord> table(2);
    table[1].kind = kFadeOut;
    EXPECT_EQ(understoodFade(table, 0), nullptr);
    EXPECT_EQ(understoodFade(table, 1), &table[1]);
    EXPECT_EQ(understoodFade(table, 2), nullptr);
}

TEST(FadeTable, ReadsNoBlockWithinTheLast37BytesOfTheImage) {
    ImageBuilder b;
    fade(b, 0x00, {}, std::vector<uint8_t>(20, 3));  // 37 bytes, ending the image
    EXPECT_TRUE(readAll(b).empty());
    b.u8(0);
    EXPECT_EQ(readAll(b), std::vector<std::string>{"3 0 0 3 0"});
}

TEST(FadeTable, RealSessionsOnlyRegionTestHasFadesAndItsFadePlacementsNameThem) {
    const std::string folder = realSessionFolder();
    if (folder.empty()) GTEST_SKIP() << "no real sessions";
    for (const std::string& path : filesEnding(folder, ".ptx")) {
        SessionFile file;
        ASSERT_TRUE(unxorSession(file, path)) << path;
        const SessionImage image = makeSessionImage(file.view());
        const std::vector<FadeRecord> fades = readFades(image);
        EXPECT_EQ(fades.empty(), path.find("/RegionTest.ptx") == std::string::npos) << path;
        if (fades.empty()) continue;
        EXPECT_EQ(describe(fades), (std::vector<std::string>{"2 290000 290000 2 0", "2 290000 290000 2 0",
                                                             "2 450000 450000 2 0", "3 0 490000 2 0",
                                                             "3 0 230000 2 0", "3 0 230000 2 0"}));
        int named = 0;
        for (const PlaylistRow& row : readPlaylistRows(image))
            for (size_t i = 0; i < row.isFade.size(); ++i)
                if (row.isFade[i]) named += understoodFade(fades, row.clipIndex[i]) != nullptr ? 1 : -100;
        EXPECT_GT(named, 0);
    }
}
