#include <gtest/gtest.h>

#include "session/tempo.h"
#include "support/image_builder.h"

namespace {

ImageView viewOf(const std::vector<uint8_t>& bytes) { return ImageView{bytes.data(), bytes.size()}; }

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
        EXPECT_DOUBLE_EQ(readSessionTempo(viewOf(b.image())), c.expected) << c.bpm << " " << c.noteValue;
    }

    // The whole pattern wins over an earlier short one; the short one stands alone.
    ImageBuilder both;
    tempoPattern(both, 100, 960000, true);
    tempoPattern(both, 140, 960000);
    EXPECT_DOUBLE_EQ(readSessionTempo(viewOf(both.image())), 140);
    ImageBuilder shortOnly;
    tempoPattern(shortOnly, 100, 960000, true);
    EXPECT_DOUBLE_EQ(readSessionTempo(viewOf(shortOnly.image())), 100);

    // A pattern whose note value would lie past the end still counts, as a quarter.
    ImageBuilder cut;
    tempoPattern(cut, 77, 0);
    std::vector<uint8_t> bytes = cut.image();
    bytes.resize(bytes.size() - 8);
    EXPECT_DOUBLE_EQ(readSessionTempo(viewOf(bytes)), 77);
}

TEST(SessionTempo, SecondsOfTicksThroughTheMap) {
    const double quarter = 960000;
    EXPECT_DOUBLE_EQ(secondsOfTicks(4 * quarter, {}, 120), 2.0);
    const std::vector<TempoEvent> map = {{quarter, 60}, {3 * quarter, 120}};
    EXPECT_DOUBLE_EQ(secondsOfTicks(0.5 * quarter, map, 100), 0.5);   // before the first: its tempo
    EXPECT_DOUBLE_EQ(secondsOfTicks(3 * quarter, map, 100), 2.0);     // one span of two quarters at 60
    EXPECT_DOUBLE_EQ(secondsOfTicks(5 * quarter, map, 100), 3.0);     // then two at 120
}
