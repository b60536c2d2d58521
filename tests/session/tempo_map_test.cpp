#include <gtest/gtest.h>

#include <array>

#include "session/meters.h"
#include "session/tempo.h"
#include "support/image_builder.h"

namespace {

constexpr uint64_t kQuarter = 960000;

struct StoredTempo {
    uint64_t ticks;
    double bpm;
    uint64_t noteValue = kQuarter;
    uint8_t mark = 0;  // the unit mark of the position: 0, as Pro Tools writes it
};

// "Tempo" at +9, records of 61 bytes from +58: 8-byte biased position, BPM at
// r + 10, note value at r + 18. cut ends the block that many bytes into the
// last note value.
void tempoBlock(ImageBuilder& b, const std::vector<StoredTempo>& records, size_t cut = 8) {
    b.openBlock(0x2028);
    b.text("Tempo");
    b.zeros(44);
    for (const StoredTempo& t : records) {
        b.u64((kPositionBias + t.ticks) | uint64_t{t.mark} << 56);
        b.zeros(2);
        b.f64(t.bpm);
        const bool last = &t == &records.back();
        for (size_t byte = 0; byte < (last ? cut : 8); ++byte) b.u8(static_cast<uint8_t>(t.noteValue >> (8 * byte)));
        if (!last || cut == 8) b.zeros(35);
    }
    b.closeBlock();
}

// "Meter" at +9, the count at +20, records of 36 bytes from +23 (the count's
// top byte is the first record's lead byte) with a 6-byte position at r + 1.
void meterBlock(ImageBuilder& b, const std::vector<std::array<uint64_t, 4>>& records, uint32_t count) {
    b.openBlock(0x2029);
    b.text("Meter");
    b.zeros(6);
    b.bytes({static_cast<uint8_t>(count), static_cast<uint8_t>(count >> 8), 0});
    for (const auto& [stored, bar, numerator, denominator] : records) {
        b.u8(0);
        b.u32(static_cast<uint32_t>(stored));
        b.u16(static_cast<uint16_t>(stored >> 32));
        b.zeros(2);
        for (uint64_t value : {bar, numerator, denominator}) b.u32(static_cast<uint32_t>(value));
        b.zeros(15);
    }
    b.zeros(1);
    b.closeBlock();
}

template <typename Read>
auto readBuilt(ImageBuilder& b, Read read) {
    b.zeros(100);
    return read(imageOf(b));
}

std::vector<TempoEvent> tempoMapOf(const std::vector<std::vector<StoredTempo>>& blocks,
                                   PositionFaults* faults = nullptr) {
    ImageBuilder b;
    for (const auto& records : blocks) tempoBlock(b, records);
    return readBuilt(b, [faults](const SessionImage& image) { return readTempoMap(image, faults); });
}

// The stored tempo pattern, its BPM at +24 and the note value it counts at +32.
void tempoPattern(ImageBuilder& b, double bpm, uint64_t noteValue, bool shortForm = false) {
    b.bytes({0x14, 0x00, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x10, 0xA5,
             0xD4, 0xE8, 0x00});
    b.bytes(shortForm ? std::vector<uint8_t>{9, 9, 9, 9} : std::vector<uint8_t>{0x00, 0x00, 0x00, 0x01});
    b.f64(bpm);
    b.u64(noteValue);
}

}  // namespace

TEST(SessionTempo, PatternBoundsAndNoteValue) {
    struct Case {
        double bpm;
        uint64_t noteValue;
        double expected;
    };
    const Case cases[] = {
        {200, 240000, 50},   // sixteenths
        {999, 360000, 374.625},  // dotted eighths at the highest stored tempo
        {500, 960000, 500},
        {5, 960000, 5},
        {4.99, 960000, 120},     // below the bounds: not a tempo
        {1000, 960000, 120},
        {90, 29999, 90},         // a note value out of range counts as a quarter
        {90, 5760001, 90},
    };
    for (const Case& c : cases) {
        ImageBuilder b;
        b.zeros(10);
        tempoPattern(b, c.bpm, c.noteValue);
        EXPECT_DOUBLE_EQ(readSessionTempo(imageOf(b).view), c.expected) << c.bpm << " " << c.noteValue;
    }

    // The whole pattern wins over an earlier short one; the short one stands alone.
    ImageBuilder both;
    tempoPattern(both, 100, 960000, true);
    tempoPattern(both, 140, 960000);
    EXPECT_DOUBLE_EQ(readSessionTempo(imageOf(both).view), 140);
    ImageBuilder shortOnly;
    tempoPattern(shortOnly, 100, 960000, true);
    EXPECT_DOUBLE_EQ(readSessionTempo(imageOf(shortOnly).view), 100);

    // A pattern whose note value would lie past the end still counts, as a quarter.
    ImageBuilder cut;
    tempoPattern(cut, 77, 0);
    std::vector<uint8_t> bytes = cut.image();
    bytes.resize(bytes.size() - 8);
    EXPECT_DOUBLE_EQ(readSessionTempo(ImageView{bytes.data(), bytes.size()}), 77);
}

TEST(SessionTempo, SecondsOfTicksThroughTheMap) {
    const double quarter = 960000;
    EXPECT_DOUBLE_EQ(secondsOfTicks(4 * quarter, {}, 120), 2.0);
    const std::vector<TempoEvent> map = {{quarter, 60}, {3 * quarter, 120}};
    EXPECT_DOUBLE_EQ(secondsOfTicks(0.5 * quarter, map, 100), 0.5);   // before the first: its tempo
    EXPECT_DOUBLE_EQ(secondsOfTicks(3 * quarter, map, 100), 2.0);     // one span of two quarters at 60
    EXPECT_DOUBLE_EQ(secondsOfTicks(5 * quarter, map, 100), 3.0);     // then two at 120
}

TEST(TempoMap, BoundsNoteValuesAndTheLongestBlock) {
    // Out of the stored bounds ends the list at one event, and one is no map.
    for (auto [bpm, events] : {std::pair<double, size_t>{4.99, 0}, {5, 3}, {999, 3}, {999.1, 0}})
        EXPECT_EQ(tempoMapOf({{{0, 100}, {kQuarter, bpm}, {2 * kQuarter, 110}}}).size(), events) << bpm;

    // Quarter-note BPM from the note value; equal positions stand, a falling one ends the list.
    std::vector<TempoEvent> map = tempoMapOf({{{0, 200, 240000},
                                               {240000, 90, 360000},
                                               {480000, 100, 29999},
                                               {480000, 80, 5760000},
                                               {240000, 100}}});
    ASSERT_EQ(map.size(), 4u);
    EXPECT_EQ(std::vector<double>({map[0].bpm, map[1].bpm, map[2].bpm, map[3].bpm}),
              std::vector<double>({50, 33.75, 100, 480}));
    EXPECT_DOUBLE_EQ(map[1].position, 240000);

    // A note value reaching past the block counts as a quarter, whatever stands behind.
    ImageBuilder cut;
    tempoBlock(cut, {{0, 100}, {kQuarter, 200, 240000}}, 2);
    cut.bytes({0x03, 0, 0, 0, 0, 0});  // 240000 read across the block's end
    map = readBuilt(cut, [](const SessionImage& image) { return readTempoMap(image); });
    ASSERT_EQ(map.size(), 2u);
    EXPECT_DOUBLE_EQ(map[1].bpm, 200);

    // The longest block wins; of equal ones the first.
    auto steps = [](size_t count, double bpm) {
        std::vector<StoredTempo> records;
        for (size_t k = 0; k < count; ++k) records.push_back({k * kQuarter, bpm + k});
        return records;
    };
    EXPECT_EQ(tempoMapOf({steps(3, 100), steps(7, 60)}).size(), 7u);
    EXPECT_DOUBLE_EQ(tempoMapOf({steps(3, 100), steps(3, 60)}).at(0).bpm, 100);

    // Positions take all seven bytes: 200000 quarters in needs six. Only the
    // block read counts its faults: here a mark that is neither 0 nor 0x40.
    PositionFaults faults;
    map = tempoMapOf({steps(3, 100), {{0, 100}, {200000 * kQuarter, 120}, {200001 * kQuarter, 60, kQuarter, 0x41},
                                      {200002 * kQuarter, 90, kQuarter, 0x40}}},
                     &faults);
    ASSERT_EQ(map.size(), 4u);
    EXPECT_DOUBLE_EQ(map[1].position, 192000000000.0);
    EXPECT_DOUBLE_EQ(map[2].position, 192000960000.0);
    EXPECT_EQ(faults.unknownUnit, 1);
}

TEST(MeterMap, OneBadRecordEmptiesAndOnlyTheFirstBlockCounts) {
    for (auto [numerator, denominator] : {std::pair<uint64_t, uint64_t>{100, 4}, {4, 65}}) {
        ImageBuilder b;
        meterBlock(b, {{kPositionBias, 1, 4, 4}, {kPositionBias + kQuarter, 2, numerator, denominator}}, 2);
        EXPECT_TRUE(readBuilt(b, readMeterMap).empty()) << numerator << "/" << denominator;
    }
    ImageBuilder b;
    meterBlock(b, {{kPositionBias, 1, 5, 4}}, 2);  // too short for its count: passed over
    meterBlock(b, {{kPositionBias, 1, 6, 8}, {12345, 9, 3, 4}}, 2);
    meterBlock(b, {{kPositionBias, 1, 7, 8}}, 1);  // never read
    std::vector<MeterEvent> meters = readBuilt(b, readMeterMap);
    ASSERT_EQ(meters.size(), 2u);
    EXPECT_EQ(meters[0].numerator * 100 + meters[0].denominator, 608u);
    EXPECT_DOUBLE_EQ(meters[1].position, 0);  // not biased
    EXPECT_EQ(meters[1].bar, 9u);
}
