#include "standins/reaper_slots.h"

#include <cmath>
#include <cstring>

#include "project/text.h"

namespace {

struct Identity {
    const char* display;
    const char* file;
    const char* identity;
    uint32_t id;
};

const Identity kReaEq{"VST: ReaEQ (Cockos)", "reaeq.dll", "1919247729<56535472656571726561657100000000>", 0x72656571};
const Identity kReaGate{"VST: ReaGate (Cockos)", "reagate.dll", "1919248244<56535472656774726561676174650000>",
                        0x72656774};
const Identity kReaComp{"VST: ReaComp (Cockos)", "reacomp.dll", "1919247213<5653547265636D726561636F6D700000>",
                        0x7265636D};

constexpr uint32_t kPlainMagic = 0xFEED5EEE;
constexpr uint32_t kDetectorMagic = 0xFEED5EEF;
constexpr uint32_t kTailWord = 0x100000;
// The tail of a stock slot: 00 00 10 00 00 00.
constexpr const char* kStockTail = "AAAQAAAA";
constexpr int kJsParameters = 64;

void putMask(std::vector<uint8_t>& out, uint64_t mask) {
    putWord(out, uint32_t(mask));
    putWord(out, uint32_t(mask >> 32));
}

// The lines after a slot's block: its preset, window, FXID and wake state.
void writeSlotEnd(ProjectText& text, const SlotPlace& place) {
    if (!place.preset.empty()) text.statement("PRESETNAME").name(place.preset);
    text.statement("FLOATPOS").num(0).num(0).num(0).num(0);
    text.statement("FXID").guid(place.seed);
    text.statement("WAK").num(0).num(0);
}

}  // namespace

void putWord(std::vector<uint8_t>& out, uint32_t value) {
    for (int k = 0; k < 4; ++k) out.push_back(uint8_t(value >> (8 * k)));
}

void putDouble(std::vector<uint8_t>& out, double value) {
    uint64_t bits;
    std::memcpy(&bits, &value, 8);
    for (int k = 0; k < 8; ++k) out.push_back(uint8_t(bits >> (8 * k)));
}

std::string writeReaperVstSlot(const ReaperVst& plugin, const std::vector<uint8_t>& header,
                               const std::vector<uint8_t>& state, const SlotPlace& place) {
    std::string out;
    {
        ProjectText text(out, place.depth);
        text.statement("BYPASS").num(place.bypassed ? 1 : 0).num(0).num(0);
        text.open("VST").name(plugin.display).word(plugin.file).num(0).name(place.title).word(plugin.identity).word(
            "\"\"");
        text.writeBase64Lines(base64(header));
        text.writeBase64Lines(base64(state));
        text.rawLine(kStockTail);
        text.close();
        writeSlotEnd(text, place);
    }
    return out;
}

namespace {

std::string vstSlot(const Identity& plugin, const std::vector<uint8_t>& header, const std::vector<uint8_t>& state,
                    const SlotPlace& place) {
    return writeReaperVstSlot({plugin.display, plugin.file, plugin.identity}, header, state, place);
}

}  // namespace

std::string slotTitle(const std::string& name, const std::string& product) { return name + " (" + product + ")"; }

float floatFromBits(uint32_t bits) {
    float value;
    std::memcpy(&value, &bits, 4);
    return value;
}

std::vector<uint8_t> reaEqState(const std::vector<ReaEqBand>& bands, double outputGainDb) {
    std::vector<uint8_t> state;
    state.reserve(40 + 33 * bands.size());
    putWord(state, 33);  // the size of one band record
    putWord(state, uint32_t(bands.size()));
    for (const ReaEqBand& band : bands) {
        putWord(state, band.type);
        putWord(state, band.enabled ? 1 : 0);
        putDouble(state, band.frequency);
        putDouble(state, std::pow(10.0, band.gainDb / 20.0));
        putDouble(state, band.width);
        state.push_back(1);
    }
    putWord(state, 1);
    putWord(state, 1);
    putDouble(state, std::pow(10.0, outputGainDb / 20.0));
    state.insert(state.end(), 12, 0);
    for (uint8_t byte : {2, 0, 1, 0}) state.push_back(byte);
    return state;
}

std::vector<uint8_t> reaEqHeader(uint32_t stateSize) {
    std::vector<uint8_t> header;
    putWord(header, kReaEq.id);
    putWord(header, kPlainMagic);
    putWord(header, 2);
    putMask(header, 1);
    putMask(header, 2);
    putWord(header, 2);
    putMask(header, 1);
    putMask(header, 2);
    putWord(header, stateSize);
    putWord(header, 1);
    putWord(header, kTailWord);
    return header;
}

std::vector<uint8_t> detectorState(const DetectorState& detector) {
    std::vector<uint8_t> state;
    putWord(state, 0xDEADBEEF);
    putWord(state, 0xDEADF00D);
    for (float value : detector.values) {
        uint32_t bits;
        std::memcpy(&bits, &value, 4);
        putWord(state, bits);
    }
    return state;
}

std::vector<uint8_t> detectorHeader(bool gate, uint32_t keyPair, uint32_t stateSize) {
    std::vector<uint8_t> header;
    putWord(header, gate ? kReaGate.id : kReaComp.id);
    putWord(header, kDetectorMagic);
    putWord(header, 4);
    putMask(header, 1);
    putMask(header, 2);
    // The key pins take the track's channels 3/4, or 5/6 and up for a later pair.
    const uint32_t shift = keyPair < 30 ? 2 * keyPair : 60;
    putMask(header, uint64_t(4) << shift);
    putMask(header, uint64_t(8) << shift);
    putWord(header, 2);
    putMask(header, 1);
    putMask(header, 2);
    putWord(header, stateSize);
    putWord(header, 0);
    putWord(header, kTailWord);
    return header;
}

std::string writeReaEqSlot(const std::vector<ReaEqBand>& bands, double outputGainDb, const SlotPlace& place) {
    const std::vector<uint8_t> state = reaEqState(bands, outputGainDb);
    return vstSlot(kReaEq, reaEqHeader(uint32_t(state.size())), state, place);
}

std::string writeDetectorSlot(bool gate, const DetectorState& detector, uint32_t keyPair, const SlotPlace& place) {
    const std::vector<uint8_t> state = detectorState(detector);
    return vstSlot(gate ? kReaGate : kReaComp, detectorHeader(gate, keyPair, uint32_t(state.size())), state, place);
}

std::string writeJsSlot(const std::string& file, const std::string& parameters, int parameterCount,
                        const SlotPlace& place) {
    std::string line = parameters;
    for (int k = parameterCount; k < kJsParameters; ++k) line += " -";
    std::string out;
    {
        ProjectText text(out, place.depth);
        text.statement("BYPASS").num(place.bypassed ? 1 : 0).num(0).num(0);
        text.open("JS").word(file).name(place.title);
        text.rawLine(line);
        text.close();
        writeSlotEnd(text, place);
    }
    return out;
}

std::string writeVolumeSlot(double gainDb, const SlotPlace& place) {
    return writeJsSlot("utility/volume", fixedText(gainDb * 6.0 / 6.020599913279624, 6) + " 150", 2, place);
}
