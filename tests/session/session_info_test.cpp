#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "cli/console.h"
#include "session/ptx_file.h"
#include "session/session_info.h"
#include "support/image_builder.h"

namespace {

using Bytes = std::vector<std::pair<size_t, uint8_t>>;

// Reads the built image, with spare bytes behind it so the last block is scanned too.
SessionInfo infoOf(ImageBuilder& builder) {
    builder.zeros(16);
    return readSessionInfo(imageOf(builder), 44100, 12);
}

// A block of the given block size, zero but for the bytes at the given offsets
// from its "Z"; offsets past its end are left out.
void block(ImageBuilder& builder, uint16_t type, uint32_t size, const Bytes& values) {
    builder.openBlock(type);
    for (size_t offset = 9; offset < 7 + size; ++offset) {
        uint8_t value = 0;
        for (const auto& [at, byte] : values) value = at == offset ? byte : value;
        builder.u8(value);
    }
    builder.closeBlock();
}

// A saved-by block as Pro Tools writes it near the image's end: product, the
// version's numbers, version, build kind, file kind, system (none when empty).
SessionInfo savedBy(const std::string& product, const std::string& version, const std::string& os = "Windows",
                    uint32_t numbers = 3) {
    ImageBuilder builder;
    builder.block(0x2067, std::vector<uint8_t>(40, 0));
    builder.openBlock(0x0003, 4);
    builder.u8(0);
    builder.name(product);
    builder.u32(numbers);
    builder.zeros(4 * size_t{numbers});
    builder.name(version);
    for (const auto& [lead, text] : std::vector<std::pair<std::vector<uint8_t>, std::string>>{
             {{1}, "Release"}, {{0}, "Pro Tools Session File"}, {{6, 1}, os}}) {
        if (os.empty()) break;
        builder.bytes(lead);
        builder.name(text);
    }
    builder.zeros(4);
    builder.closeBlock();
    return infoOf(builder);
}

std::string said(void (*note)(const SessionInfo&), const SessionInfo& info) {
    std::string text;
    NullSink sink;
    setConsoleSink(&sink);
    setConsoleCapture(&text);
    note(info);
    setConsoleCapture(nullptr);
    setConsoleSink(nullptr);
    return text;
}

}  // namespace

TEST(SessionInfo, SavedByVersionAndTheDarkThemeGate) {
    struct Case { const char* version; int32_t major; bool gate; };
    for (const Case& c : {Case{"2020.11.0", 2020, true}, Case{"2020.9", 2020, false}, Case{"2021", 2021, true},
                          Case{"2020", 2020, false}, Case{"2020.10.3", 2020, false}, Case{"12.5.0.395", 12, false}}) {
        SessionInfo info = savedBy("Pro Tools Ultimate", c.version);
        EXPECT_EQ(info.savedByProduct + " " + info.savedByVersion + ", " + info.savedByOs,
                  std::string("Pro Tools Ultimate ") + c.version + ", Windows");
        EXPECT_EQ(info.savedByMajor, c.major) << c.version;
        EXPECT_EQ(info.savedAt2020_11OrLater, c.gate) << c.version;
    }
    // Plain "Pro Tools" is a product (Pro Tools 2019 writes it so); the system may be
    // missing; eight numbers may stand before the version, nine may not (below).
    SessionInfo plain = savedBy("Pro Tools", "2019.6.0", "", 8);
    EXPECT_EQ(plain.savedByProduct + " " + plain.savedByVersion + "|" + plain.savedByOs, "Pro Tools 2019.6.0|");
    // A word where the version stands, another product, too many version numbers: nothing.
    for (SessionInfo info : {savedBy("Pro Tools Ultimate", "Ultimate"), savedBy("Pro ToolsX", "2023.6.0"),
                             savedBy("Pro Tools", "2023.6.0", "Windows", 9)}) {
        EXPECT_EQ(info.savedByProduct + info.savedByVersion + info.savedByOs, "");
        EXPECT_EQ(info.savedByMajor, -1);
        EXPECT_TRUE(info.savedAt2020_11OrLater);
    }
}

// Each fixed-offset value, in a block just long enough and one byte shorter.
TEST(SessionInfo, FixedOffsetValuesAndTheirBlockBounds) {
    struct Case { uint16_t type; uint32_t size; size_t offset; uint8_t byte; int32_t SessionInfo::*field; int32_t expected; };
    const Case cases[] = {
        {0x1028, 112, 118, 3, &SessionInfo::panDepthCode, 3},  {0x1028, 111, 118, 3, &SessionInfo::panDepthCode, -1},
        {0x1028, 115, 121, 32, &SessionInfo::bitDepth, 32},     {0x1028, 114, 121, 32, &SessionInfo::bitDepth, -1},
        {0x2055, 31, 29, 1, &SessionInfo::clickState, 1},       {0x2055, 31, 29, 0, &SessionInfo::clickState, 0},
        {0x2055, 31, 29, 2, &SessionInfo::clickState, -1},      {0x2055, 30, 29, 1, &SessionInfo::clickState, -1},
        {0x2055, 32, 29, 1, &SessionInfo::clickState, -1},      {0x20A2, 30, 36, 2, &SessionInfo::trackColorCoding, 2},
        {0x20A2, 29, 36, 2, &SessionInfo::trackColorCoding, -1}, {0x20A2, 32, 38, 7, &SessionInfo::clipColorCoding, 7},
        {0x20A2, 31, 38, 7, &SessionInfo::clipColorCoding, -1}, {0x270A, 7, 13, 3, &SessionInfo::videoQuality, 3},
        {0x270A, 6, 13, 3, &SessionInfo::videoQuality, -1},     {0x204D, 22, 9, 2, &SessionInfo::timecodeRateCode, 2},
        {0x204D, 21, 9, 2, &SessionInfo::timecodeRateCode, -1},
    };
    for (const Case& c : cases) {
        ImageBuilder builder;
        block(builder, c.type, c.size, {{c.offset, c.byte}});
        builder.u8(c.byte);  // the byte a block one short of the offset misses
        EXPECT_EQ(infoOf(builder).*c.field, c.expected) << std::hex << c.type << std::dec << " size " << c.size;
    }
    // Each header value comes from the first block long enough for it: the file
    // type needs block size 4, the sample format more than 121 bytes.
    ImageBuilder builder;
    block(builder, 0x1028, 3, {{9, 4}});
    block(builder, 0x1028, 112, {{9, 3}, {118, 1}});
    block(builder, 0x1028, 114, {{119, 1}});
    block(builder, 0x1028, 115, {{118, 4}, {121, 16}});
    SessionInfo info = infoOf(builder);
    EXPECT_EQ(info.fileTypeCode * 1000 + info.panDepthCode * 100 + info.floatSamples * 10 + info.bitDepth, 3116);
    // A saved session names its folder path at +21 (here one part of 5 bytes):
    // the format bytes follow it, wherever that puts them.
    ImageBuilder pathed;
    block(pathed, 0x1028, 40, {{9, 3}, {21, 1}, {25, 5}, {40, 1}, {41, 1}, {43, 32}});
    info = infoOf(pathed);
    EXPECT_EQ(info.fileTypeCode * 1000 + info.panDepthCode * 100 + info.floatSamples * 10 + info.bitDepth, 3142);
    EXPECT_EQ(readSessionInfo(makeSessionImage(ImageView{}), 0, 12).sampleRate, 48000);
}

TEST(SessionInfo, TimecodeWideLayoutAndRates) {
    // The wide pair stands behind a text of at most 64 bytes and must fit the block.
    struct Layout { uint32_t textLength; size_t wideBytes; bool found; };
    for (const Layout& c : {Layout{11, 8, true}, Layout{11, 7, false}, Layout{64, 8, true}, Layout{65, 8, false}}) {
        ImageBuilder builder;
        size_t wide = 38 + c.textLength;
        block(builder, 0x204D, static_cast<uint32_t>(wide - 7 + c.wideBytes),
              {{9, 8}, {18, 100}, {34, static_cast<uint8_t>(c.textLength)}, {wide, 14}, {wide + 4, 200}});
        SessionInfo info = infoOf(builder);
        EXPECT_EQ(info.timecodeRateCode, 8);
        EXPECT_EQ(info.timecodeWideFound, c.found) << c.textLength << " " << c.wideBytes;
        EXPECT_EQ(info.timecodeRateCodeWide, c.found ? 14 : -1);
        EXPECT_EQ(info.sessionStartFramesWide, c.found ? 200u : 0u);
    }

    // 30 drop stored wide as 60 drop, with twice the frames (integer division); frames that
    // disagree find no row. Without the wide layout only the rows of factor 1 count; code 4
    // has no row and runs at 30; REAPER has 29.97 drop frame, so its row has no drop number.
    struct Rate { int32_t code; uint32_t frames; int32_t wideCode; uint32_t wideFrames; const char* expected; };
    for (const Rate& c : {Rate{8, 108000, 14, 216001, "60 fps drop frame (60) 60 drop 60 3600.016666667"},
                          Rate{8, 108000, 14, 216002, "no row 30 drop 30 3600.000000000"},
                          Rate{9, 86400, -1, 0, "23.976 fps () 23.976 24 3603.600000000"},
                          Rate{5, 0, -1, 0, "29.97 fps drop frame () 29.97 drop 30 0.000000000"},
                          Rate{4, 60, -1, 0, "no row 30 30 2.000000000"}}) {
        SessionInfo info;
        info.timecodeRateCode = c.code;
        info.sessionStartFrames = c.frames;
        info.timecodeWideFound = c.wideCode >= 0;
        info.timecodeRateCodeWide = c.wideCode;
        info.sessionStartFramesWide = c.wideFrames;
        const SessionTimecode tc = sessionTimecode(info);
        char seconds[32];
        std::snprintf(seconds, sizeof seconds, "%.9f", tc.startSeconds);
        const std::string row = tc.row ? std::string(tc.row->longName) + " (" + tc.row->dropNumber + ")" : "no row";
        EXPECT_EQ(row + " " + tc.shortName + " " + std::to_string(tc.integerRate) + " " + seconds, c.expected);
    }
}

TEST(SessionInfo, ColorCodingBehindAChildBlock) {
    // A child at +9 moves the two bytes right behind it; a clip byte past the end
    // stays unknown; a child that fills the block leaves the fixed place (+36).
    struct Case { std::vector<uint8_t> behind; int32_t track, clip; };
    for (const Case& c : {Case{{4, 0, 6, 0}, 4, 6}, Case{{3, 0}, 3, -1}, Case{{}, 0, -1}}) {
        ImageBuilder builder;
        builder.openBlock(0x20A2);
        block(builder, 0x2011, 21, {});
        builder.bytes(c.behind);
        builder.closeBlock();
        SessionInfo info = infoOf(builder);
        EXPECT_EQ(info.trackColorCoding, c.track) << c.behind.size();
        EXPECT_EQ(info.clipColorCoding, c.clip) << c.behind.size();
    }
    EXPECT_STREQ(clipColorCodingName(7), "Clip List Color");
}

TEST(SessionInfo, GridAndNudgeTokens) {
    auto gridOf = [](const std::string& text, uint32_t size = 64) {
        ImageBuilder builder;
        builder.openBlock(0x2066);
        builder.text(text);
        builder.zeros(7 + size - 9 - text.size());
        builder.closeBlock();
        return infoOf(builder);
    };
    const char stored[] = "\x0c\0\0\0   0| 0| 240\x0b\0\0\0   1| 0| 000;";
    SessionInfo info = gridOf(std::string(stored, sizeof stored - 1));
    ASSERT_TRUE(info.nudgeBarsBeatsTicks && info.gridBarsBeatsTicks);
    EXPECT_EQ(info.nudgeBarsBeatsTicks->ticks, 240);
    EXPECT_DOUBLE_EQ(gridQuarterNotes(info, 4, 4), 4);
    EXPECT_DOUBLE_EQ(gridQuarterNotes(info, 6, 8), 3);
    info = gridOf("x1234567|1234567|999 x0| 1| 480;");
    EXPECT_EQ(info.nudgeBarsBeatsTicks->beats, 1234567);
    EXPECT_DOUBLE_EQ(gridQuarterNotes(info, 4, 4), 1.5);

    // Not tokens: 4 tick digits, 8 bar digits, a digit or a space before; one
    // token is not enough. Block sizes outside 24 to 4000 are passed over.
    for (const char* text : {"   1| 0| 0000 x2| 3| 240;", "x12345678|0|000 x0|1|000;", "x5   1| 2| 003 x 0|0|240;"}) {
        info = gridOf(text);
        EXPECT_FALSE(info.gridBarsBeatsTicks || info.nudgeBarsBeatsTicks) << text;
    }
    for (uint32_t size : {23u, 24u, 4000u, 4001u}) {
        info = gridOf("x0|0|001 x0|0|002", size);
        EXPECT_EQ(info.gridBarsBeatsTicks.has_value(), size == 24 || size == 4000) << size;
    }

    // Only a grid above 0 and below 1000 quarter notes is used.
    for (auto [grid, quarters] : {std::pair{BarsBeatsTicks{0, 0, 0}, 0.0}, std::pair{BarsBeatsTicks{249, 3, 480}, 999.5},
                                  std::pair{BarsBeatsTicks{250, 0, 0}, 0.0}}) {
        info.gridBarsBeatsTicks = grid;
        EXPECT_EQ(gridQuarterNotes(info, 4, 4), quarters) << grid.bars;
    }
}

TEST(SessionInfo, VideoFrameRate) {
    ImageBuilder builder;
    block(builder, 0x2519, 11, {{17, 0x38}});  // 24.0 would need one byte more
    builder.u8(0x40);
    for (double value : {0.0, 30000.0, 26.0, 25.12, 29.97}) {  // 26 is 4 % off 25; 25.12 within 0.5 %
        builder.openBlock(0x2519);
        builder.u16(0);
        builder.f64(value);
        builder.closeBlock();
    }
    EXPECT_DOUBLE_EQ(infoOf(builder).videoFrameRate, 25.12);
}

TEST(SessionInfo, ConsoleNotes) {
    SessionInfo info;
    for (int32_t silent : {-1, 2}) {
        info.panDepthCode = silent;
        EXPECT_EQ(said(sayPanDepthNote, info), "");
    }
    info.panDepthCode = 3;
    EXPECT_EQ(said(sayPanDepthNote, info),
              "  Pan law: -4.5 dB, read from the session's Pan Depth\n"
              "      setting (Pro Tools' own default is -3.0 dB).\n");
    info.panDepthCode = 0;
    EXPECT_EQ(said(sayPanDepthNote, info),
              "  *** Pan Depth enum 0 is not one this build knows.\n"
              "      PANLAW was written as -3.0 dB, Pro Tools' default.\n"
              "      Check Setup > Pan Depth against REAPER's pan law.\n");
    EXPECT_EQ(panLawDb(0) + panLawDb(1) + panLawDb(4) + panLawDb(5), -3.0 - 2.5 - 6.0 - 3.0);

    EXPECT_EQ(said(saySavedByNote, savedBy("Pro Tools Ultimate", "2023.6.0")),
              "  NOTE: the sessions this tool is tested against were all saved\n"
              "      by Pro Tools 12.5. 2023.6.0 is outside that.\n");
    EXPECT_EQ(said(saySavedByNote, savedBy("Pro Tools Ultimate", "12.5.0.395")), "");
    EXPECT_EQ(said(saySavedByNote, SessionInfo{}), "");
}
