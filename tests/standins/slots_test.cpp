#include <gtest/gtest.h>

#include "standins/control_values.h"
#include "standins/reaper_slots.h"
#include "standins/slot_reading.h"

namespace {

void pushWord(std::vector<uint8_t>& out, uint32_t value) {
    for (int k = 0; k < 4; ++k) out.push_back(uint8_t(value >> (8 * k)));
}

void pushDouble(std::vector<uint8_t>& out, double value) {
    uint64_t bits;
    std::memcpy(&bits, &value, 8);
    for (int k = 0; k < 8; ++k) out.push_back(uint8_t(bits >> (8 * k)));
}

}  // namespace

TEST(ReaperSlots, ReaEqSlotHoldsTheHeaderStateAndLinesByteForByte) {
    const std::string text = writeReaEqSlot({{8, true, 2500.0, 6.0, 1.5}, {1, false, 9000.0, -20.0, 0.75}}, -6.0,
                                            {3, 0x53540007, false, "EQ3 7-Band (ReaEQ)", "EQ3 7-Band"});
    // 6.0 dB is a factor of 1.9952623149688795, -20 dB 0.1, -6 dB 0.5011872336272722.
    std::vector<uint8_t> state;
    pushWord(state, 33), pushWord(state, 2);
    pushWord(state, 8), pushWord(state, 1), pushDouble(state, 2500.0), pushDouble(state, 1.9952623149688795),
        pushDouble(state, 1.5), state.push_back(1);
    pushWord(state, 1), pushWord(state, 0), pushDouble(state, 9000.0), pushDouble(state, 0.1), pushDouble(state, 0.75),
        state.push_back(1);
    pushWord(state, 1), pushWord(state, 1), pushDouble(state, 0.5011872336272722);
    state.insert(state.end(), {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 2, 0, 1, 0});
    std::vector<uint8_t> header;
    for (uint32_t word : {0x72656571u, 0xFEED5EEEu, 2u, 1u, 0u, 2u, 0u, 2u, 1u, 0u, 2u, 0u, 106u, 1u, 0x100000u})
        pushWord(header, word);
    const std::string expected =
        "      BYPASS 0 0 0\n"
        "      <VST \"VST: ReaEQ (Cockos)\" reaeq.dll 0 \"EQ3 7-Band (ReaEQ)\" "
        "1919247729<56535472656571726561657100000000> \"\"\n"
        "        " + base64(header) + "\n" +
        "        " + base64(state).substr(0, 128) + "\n" +  // 128 characters to a line
        "        " + base64(state).substr(128) + "\n" +
        "        AAAQAAAA\n"
        "      >\n"
        "      PRESETNAME \"EQ3 7-Band\"\n"
        "      FLOATPOS 0 0 0 0\n"
        "      FXID " + makeGuid(0x53540007) + "\n"
        "      WAK 0 0\n";
    ASSERT_EQ(state.size(), 106u);
    EXPECT_EQ(text, expected);
    ASSERT_FALSE(checkProjectText(text, 3).has_value());

    // No band still writes the record size, a zero count and the closing fields; at
    // depth 4 (a take's chain) every line moves two blanks in.
    const std::vector<ReadSlot> empty = readSlots(writeReaEqSlot({}, 0.0, {4, 1, true, "t", ""}));
    ASSERT_EQ(empty.size(), 1u);
    EXPECT_EQ(empty[0].state.size(), 40u);
    EXPECT_TRUE(wordAt(empty[0].state, 0) == 33 && wordAt(empty[0].state, 4) == 0);
    EXPECT_EQ(doubleAt(empty[0].state, 16), 1.0);
    EXPECT_TRUE(empty[0].bypass == "BYPASS 1 0 0" && empty[0].preset.empty());
}

TEST(ReaperSlots, DetectorHeadersPutTheKeyPinsOnTheKeyPair) {
    DetectorState detector;
    detector.values[0] = 0.5f;
    detector.values[20] = 0.25f;
    struct Case {
        bool gate;
        uint32_t keyPair, id, keyMaskLow;
        const char* open;
    };
    for (const Case& c : {Case{false, 0, 0x7265636D, 4, "<VST \"VST: ReaComp (Cockos)\" reacomp.dll 0"},
                          Case{true, 1, 0x72656774, 16, "<VST \"VST: ReaGate (Cockos)\" reagate.dll 0"}}) {
        const std::vector<ReadSlot> slots = readSlots(writeDetectorSlot(c.gate, detector, c.keyPair, {3, 9, false, "x", "p"}));
        ASSERT_EQ(slots.size(), 1u);
        EXPECT_EQ(slots[0].open.rfind(c.open, 0), 0u) << slots[0].open;
        const std::vector<uint8_t>& h = slots[0].header;
        ASSERT_EQ(h.size(), 76u);
        // id, magic, 4 inputs (masks 1, 2, key, key << 1), 2 outputs, size, 0, tail word.
        const uint32_t expected[] = {c.id, 0xFEED5EEF, 4, 1, 0, 2, 0, c.keyMaskLow, 0, c.keyMaskLow * 2, 0,
                                     2, 1, 0, 2, 0, 92, 0, 0x100000};
        for (size_t k = 0; k < 19; ++k) EXPECT_EQ(wordAt(h, 4 * k), expected[k]) << k;
        ASSERT_EQ(slots[0].state.size(), 92u);
        EXPECT_TRUE(wordAt(slots[0].state, 0) == 0xDEADBEEF && wordAt(slots[0].state, 4) == 0xDEADF00D);
        EXPECT_EQ(floatAt(slots[0].state, 8), 0.5f);
        EXPECT_EQ(floatAt(slots[0].state, 88), 0.25f);
    }
}

TEST(ControlValues, ReadTheLongestChainOfItems) {
    // "d_" items with a gap of 8 before each big-endian double, an "l_" integer.
    const auto record = [](size_t lead, double second) {
        std::vector<uint8_t> bytes(lead, 'x');
        const auto item = [&](char kind, uint64_t bits, int size) {
            bytes.push_back(uint8_t(kind));
            bytes.push_back('_');
            bytes.insert(bytes.end(), 6, 0);
            for (int k = size - 1; k >= 0; --k) bytes.push_back(uint8_t(bits >> (8 * k)));
        };
        double first = 2.5;
        uint64_t bits;
        std::memcpy(&bits, &first, 8);
        item('d', bits, 8);
        item('l', uint32_t(-3), 4);
        std::memcpy(&bits, &second, 8);
        item('d', bits, 8);
        bytes.insert(bytes.end(), 4, 0);
        return bytes;
    };
    struct Case {
        size_t lead;
        double third;
        std::vector<float> expected;
    };
    for (const Case& c : {Case{10, 1000.0, {2.5f, -3.0f, 1000.0f}},  // read
                          Case{81, 0.25, {2.5f, -3.0f, 0.25f}},      // the last place a chain may start
                          Case{82, 0.25, {}},                        // too far in
                          // A double out of range empties the chain of gap 8; the one of gap 4
                          // then reads a single tiny double.
                          Case{10, 1e31, {0.0f}}}) {
        const std::vector<uint8_t> bytes = record(c.lead, c.third);
        const ImageView view{bytes.data(), bytes.size()};
        EXPECT_EQ(readControlValues(view, 0, bytes.size()), c.expected) << c.lead;
    }
}
