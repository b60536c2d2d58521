#include <gtest/gtest.h>

#include <cmath>

#include "session/strips.h"
#include "support/image_builder.h"

namespace {

void put32(std::vector<uint8_t>& bytes, size_t at, int32_t value) {
    for (int k = 0; k < 4; ++k) bytes[at + k] = static_cast<uint8_t>(static_cast<uint32_t>(value) >> (8 * k));
}

// A 0x1029 fader row whose fader value stands at `at` (0: here); gives that position.
uint64_t faderRow(ImageBuilder& b, int32_t fader, uint64_t at = 0, int32_t panLeft = 0, int32_t panRight = 0,
                  uint8_t muted = 0, uint32_t size = 157, uint8_t leadByte = 1) {
    if (at != 0) b.zeros(at - 10 - b.position());
    uint64_t z = b.position();
    std::vector<uint8_t> body(size - 2, 0);
    body[0] = leadByte;
    put32(body, 1, fader);
    body[5] = muted;
    put32(body, 13, panLeft);
    put32(body, 41, panRight);
    b.block(0x1029, body);
    return z + 10;
}

// A bus name, standing at `at`.
void busName(ImageBuilder& b, uint64_t at, const std::string& name) {
    b.zeros(at - b.position());
    b.name(name);
}

// Levels in tenths of a dB, so that the text needs no floating-point format.
std::string tenths(double db) { return std::to_string(std::lround(db * 10)); }

using Lines = std::vector<std::string>;

Lines described(const std::vector<StripRow>& strips) {
    Lines lines;
    for (const StripRow& s : strips) {
        lines.push_back(s.name + (s.present ? "" : " absent") + " " + tenths(s.faderDb) + " " +
                        std::to_string(s.panLeft) + "/" + std::to_string(s.panRight) + (s.muted ? " muted" : ""));
        for (const SendRecord& send : s.sends) lines.back() += " > " + send.busName + " " + tenths(send.levelDb);
    }
    return lines;
}

}  // namespace

TEST(StripRows, AlignedRowsBelongToTheTrackBlockAroundThem) {
    ImageBuilder b;
    b.openBlock(0x261B);
    b.block(0x2619, {3, 0, 0, 0, 'O', 'l', 'd'});  // renamed since: no name before the rows
    uint64_t own = faderRow(b, 125, 0, -30, 0, 1);  // +12.5 dB, the top of the range
    uint64_t aux = b.position() + 20;
    busName(b, aux, "Aux");
    uint64_t send1 = faderRow(b, -60, aux + 1500);  // "Aux" at the edge of reach
    busName(b, send1 + 1501, "Far");                // just out of reach of the first send
    faderRow(b, -100, send1 + 1600);
    uint64_t send3 = faderRow(b, -110, send1 + 3002);  // "Far" 1501 before it, "Tail" 1501 behind
    busName(b, send3 + 1501, "Tail");
    faderRow(b, -200, send3 + 2701);  // a second cluster of a filled strip: dropped
    b.closeBlock();

    b.openBlock(0x261B);
    b.block(0x2619, {3, 0, 0, 0, 'O', 'l', 'd'});
    faderRow(b, 126);                        // above +12.5 dB
    faderRow(b, -1451);                      // below -145 dB
    faderRow(b, 0, 0, 0, 0, 0, 156);         // too small
    faderRow(b, 0, 0, 0, 0, 0, 157, 2);      // lead byte above 1
    faderRow(b, -1450, 0, -100, 100);        // the bottom of the range
    b.closeBlock();
    for (const char* name : {"Lead", "Bass"}) {  // current names that fit the blocks
        b.openBlock(0x251A);
        b.u16(0);
        b.name(name);
        b.closeBlock();
    }

    std::vector<StripRow> strips = readStripRows(imageOf(b), {"Lead", "Bass"}, {"Aux", "Far", "Tail"});
    EXPECT_EQ(described(strips), (Lines{"Lead 125 -30/0 muted > Aux -60 > Far -100", "Bass -1450 -100/100"}));
    EXPECT_EQ(strips.at(0).position, own);
}

TEST(StripRows, UnalignedRowsClusterUnderTheNameBeforeThem) {
    ImageBuilder b;
    b.name("Kick");
    faderRow(b, -30, 0, -100, 100, 1);
    uint64_t verb = b.position() + 10;
    busName(b, verb, "Verb");
    uint64_t send = faderRow(b, -45, verb + 400);  // as far from "Verb" as from "Verb Long"
    busName(b, send + 400, "Verb Long");
    uint64_t last = faderRow(b, -50, send + 2700);  // still the same cluster
    busName(b, last + 1500, "Echo");                // at the edge of reach
    uint64_t spill = faderRow(b, -70, last + 2701, 25);  // a new cluster: Kick is filled, Snare takes it
    faderRow(b, -80, spill + 2701);                      // no unfilled strip behind Kick is left

    std::vector<StripRow> strips = readStripRows(imageOf(b), {"Kick", "Snare"}, {"Verb", "Verb Long", "Echo"});
    EXPECT_EQ(described(strips), (Lines{"Kick -30 -100/100 muted > Verb Long -45 > Echo -50", "Snare -70 25/0"}));
    EXPECT_EQ(strips.at(1).position, spill);
}

TEST(StripRows, BareHolderRowCountsOnlyForAnOwnerWithoutARow) {
    ImageBuilder b;
    b.name("Kick");
    faderRow(b, 0);
    for (int32_t fader : {-30, -60, -90}) {  // a named holder, a bare one of Kick, Hat's only row
        b.zeros(3000);
        if (fader == -90) b.name("Hat");
        b.openBlock(0x260D);
        faderRow(b, fader);
        if (fader == -30) b.block(0x260E, {0xFF, 0xFF, 3, 0, 0, 0, 'O', 'u', 't'});
        b.closeBlock();
    }
    // Kick is filled, so the bare holder's row goes to the next unfilled strip.
    EXPECT_EQ(described(readStripRows(imageOf(b), {"Kick", "Snare", "Hat", "Tom"}, {})),
              (Lines{"Kick 0 0/0", "Snare -30 0/0", "Hat -90 0/0", "Tom absent 0 0/0"}));
}

TEST(StripRows, PanFromTheKnobs) {
    StripRow strip;
    strip.panLeft = 50;
    strip.panRight = 100;
    EXPECT_EQ(std::make_pair(stripPan(strip, false), stripPan(strip, true)), std::make_pair(0.5, 0.75));
    strip.panLeft = strip.panRight = 2147483647;  // stored garbage stays in range
    EXPECT_EQ(std::make_pair(stripPan(strip, false), stripPan(strip, true)), std::make_pair(1.0, 1.0));
}
