#include "plugins/state_rules.h"

#include <zlib.h>

#include <algorithm>
#include <cstring>

#include "plugins/antares.h"
#include "plugins/identity.h"
#include "plugins/state_scan.h"
#include "plugins/table.h"
#include "session/plugin_records.h"

namespace {

using Bytes = std::vector<uint8_t>;

// The most a deflated state may grow to before it counts as unreadable.
constexpr size_t kMostInflated = size_t(64) << 20;

void putLe(Bytes& out, uint32_t word) {
    for (int k = 0; k < 4; ++k) out.push_back(static_cast<uint8_t>(word >> (8 * k)));
}
void putBe(Bytes& out, uint32_t word) {
    for (int k = 3; k >= 0; --k) out.push_back(static_cast<uint8_t>(word >> (8 * k)));
}
void putText(Bytes& out, const std::string& text) { out.insert(out.end(), text.begin(), text.end()); }
void putBytes(Bytes& out, const Bytes& bytes) { out.insert(out.end(), bytes.begin(), bytes.end()); }
void putFloat(Bytes& out, float value) {
    uint32_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    putLe(out, bits);
}
void putZeros(Bytes& out, size_t count) { out.insert(out.end(), count, 0); }
uint32_t sizeWord(size_t size) { return static_cast<uint32_t>(size); }

size_t findIn(const Bytes& bytes, const std::string& pattern, size_t from = 0) {
    if (pattern.size() > bytes.size()) return std::string::npos;
    for (size_t at = from; at + pattern.size() <= bytes.size(); ++at) {
        if (std::memcmp(bytes.data() + at, pattern.data(), pattern.size()) == 0) return at;
    }
    return std::string::npos;
}

bool startsWith(const std::string& text, const char* start) { return text.compare(0, std::strlen(start), start) == 0; }

// A VST3 build holds a component state and a controller state one after the other.
Bytes vst3Frame(const Bytes& component, const Bytes& controller) {
    Bytes out;
    putLe(out, sizeWord(component.size()));
    putLe(out, 1);
    putBytes(out, component);
    putLe(out, sizeWord(controller.size()));
    putLe(out, 0);
    putBytes(out, controller);
    return out;
}

// A VST3 build made with JUCE: its private data with the bypass parameter.
Bytes juceFrame(const Bytes& state) {
    static const uint8_t kJuceTail[52] = {
        'J', 'U', 'C', 'E', 'P', 'r', 'i', 'v', 'a', 't', 'e', 'D', 'a', 't', 'a', 0, 1, 1,
        'B', 'y', 'p', 'a', 's', 's', 0, 1, 1, 3, 0, 0x1D, 0, 0, 0, 0, 0, 0, 0,
        'J', 'U', 'C', 'E', 'P', 'r', 'i', 'v', 'a', 't', 'e', 'D', 'a', 't', 'a'};
    Bytes component = state;
    component.insert(component.end(), kJuceTail, kJuceTail + sizeof kJuceTail);
    return vst3Frame(component, {});
}

// The 32 digits between "{" and "}" of an identity; empty for none.
std::string classIdOf(const std::string& identity) {
    const size_t open = identity.find('{');
    if (open == std::string::npos) return std::string();
    const size_t close = identity.find('}', open);
    return identity.substr(open + 1, close == std::string::npos ? std::string::npos : close - open - 1);
}

std::string uppercased(std::string text) {
    for (char& c : text) {
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    }
    return text;
}

// The VST2 id a VstW frame names.
std::string vst2IdOf(const PluginInstance& instance, const PluginRow& row) {
    if (instance.signature == "JptrATLv") return "ATxL";
    const std::string classId = classIdOf(row.identity);
    if (classId.size() >= 32) {
        const Bytes decoded = hexToBytes(classId);
        if (decoded.size() >= 7 && std::memcmp(decoded.data(), "VST", 3) == 0) return std::string(decoded.begin() + 3, decoded.begin() + 7);
    }
    return instance.signature.size() >= 8 ? instance.signature.substr(4, 4) : std::string("????");
}

bool readNumber(const Bytes& data, size_t& at, size_t end, uint32_t& value) {
    const size_t start = at;
    uint64_t number = 0;
    while (at < end && data[at] >= '0' && data[at] <= '9') number = std::min<uint64_t>(number * 10 + (data[at++] - '0'), 0xFFFFFFFFu);
    value = static_cast<uint32_t>(number);
    return at > start;
}

// ChunkVersion="a.b.c" in the first 512 bytes: a * 65536 + (b * 256 mod 65536) + c.
uint32_t chunkVersionOf(const Bytes& data) {
    if (data.size() < 16) return 0;
    const Bytes head(data.begin(), data.begin() + std::min<size_t>(data.size(), 512));
    const size_t found = findIn(head, "ChunkVersion=\"");
    if (found == std::string::npos) return 0;
    size_t at = found + 14;
    uint32_t a = 0, b = 0, c = 0;
    if (!readNumber(head, at, head.size(), a) || at >= head.size() || head[at++] != '.' ||
        !readNumber(head, at, head.size(), b) || at >= head.size() || head[at++] != '.' ||
        !readNumber(head, at, head.size(), c)) {
        return 0;
    }
    return a * 65536u + (b * 256u) % 65536u + c;
}

// A VST3 build made with JUCE that wraps a VST2 program chunk.
Bytes vstwFrame(const Bytes& data, const Bytes& aaxHead, const std::string& vst2Id) {
    const uint32_t n = sizeWord(data.size());
    Bytes out;
    putLe(out, n + 215);
    putLe(out, 1);
    putText(out, "VstW");
    putBe(out, 8);
    putBe(out, 1);
    putBe(out, 0);
    putText(out, "CcnK");
    putBe(out, n + 191);
    putText(out, "FBCh");
    putBe(out, 2);
    putText(out, vst2Id);
    putBe(out, chunkVersionOf(data));
    putBe(out, 0);
    putZeros(out, 128);
    putBe(out, n + 39);
    putBytes(out, aaxHead);
    putLe(out, n - 1);
    putBytes(out, data);
    putZeros(out, 16);
    putText(out, "JUCEPrivateData");
    putZeros(out, 8);
    return out;
}

bool inflatesWhole(const uint8_t* data, size_t size) {
    z_stream stream{};
    if (inflateInit(&stream) != Z_OK) return false;
    stream.next_in = const_cast<Bytef*>(data);
    stream.avail_in = static_cast<uInt>(std::min<size_t>(size, 0xFFFFFFFFu));
    uint8_t out[16384];
    size_t total = 0;
    int code = Z_OK;
    while (code == Z_OK && total <= kMostInflated) {
        stream.next_out = out;
        stream.avail_out = sizeof out;
        code = inflate(&stream, Z_NO_FLUSH);
        total += sizeof out - stream.avail_out;
    }
    inflateEnd(&stream);
    return code == Z_STREAM_END;
}

struct Rules {
    const PluginInstance& instance;
    const PluginRow& row;
    const StateRequest& request;
    RecordBytes record;
    bool vst3;
    PluginState& out;

    bool hasPrefixRule() const { return !row.prefix.empty() && row.rebuiltBody != 0; }

    // The state's bytes when they lie inside the record; none otherwise.
    bool stateInside() const {
        return instance.stateOffset >= instance.recordStart && instance.stateSize <= record.size &&
               instance.stateOffset - instance.recordStart <= record.size - instance.stateSize;
    }
    Bytes stateBytes() const {
        const uint8_t* at = record.data + (instance.stateOffset - instance.recordStart);
        return Bytes(at, at + instance.stateSize);
    }
    Bytes unreadable() {
        out.unreadable = true;
        return {};
    }
    // Four bytes of the image relative to the state; a read outside it gives zeros.
    uint32_t wordBefore(uint64_t back) const {
        return instance.stateOffset >= back ? request.view->u32(instance.stateOffset - back) : 0;
    }
};

Bytes build(const PluginInstance& instance, Rules& rules);

// Bytes copied as they stand, with the repairs two kinds of text need.
Bytes plainCopy(Rules& r) {
    if (r.hasPrefixRule()) return {};
    if (!r.stateInside()) return r.unreadable();
    Bytes bytes = r.stateBytes();
    if (r.row.stateSize != 0) {
        if (bytes.size() < r.row.stateSize) return r.unreadable();
        bytes.resize(r.row.stateSize);
    }
    if (r.instance.stateForm == 2 && r.instance.signature == "AntrAPan" && bytes.size() > 7) {
        const uint64_t length = uint64_t(r.record.le(r.instance.stateOffset - r.instance.recordStart + 4)) + 1;
        if (length + 8 <= bytes.size()) {
            const std::string text = renameAutoPanIds(std::string(bytes.begin() + 8, bytes.begin() + 8 + length));
            Bytes repaired(bytes.begin(), bytes.begin() + 4);
            putLe(repaired, sizeWord(text.size() - 1));
            putText(repaired, text);
            repaired.insert(repaired.end(), bytes.begin() + 8 + length, bytes.end());
            bytes = std::move(repaired);
        }
    }
    // A single program is given as a bank of 100, the first one holding it.
    const std::string text(bytes.begin(), bytes.end());
    const size_t program = text.find("<Program ");
    if (bytes.size() > 44 && startsWith(text, "<?xml") && program != std::string::npos &&
        text.find("<Bank>") == std::string::npos) {
        const size_t close = text.find("</Program>", program);
        if (close != std::string::npos) {
            std::string bank = text.substr(0, program) + "<Bank>" + text.substr(program, close + 10 - program);
            for (int k = 0; k < 99; ++k) bank += "<Program />";
            bank += "</Bank>";
            bytes.assign(bank.begin(), bank.end());
            bytes.push_back(0);
        }
    }
    return bytes;
}

// Form 1 for a VST3 build: the head and values as component, the rest as controller.
Bytes fabFilterBlock(Rules& r) {
    if (r.instance.stateSize < 12 || !r.stateInside()) return r.unreadable();
    const Bytes state = r.stateBytes();
    const uint64_t head = 12 + 4 * uint64_t(r.record.le(r.instance.stateOffset - r.instance.recordStart + 8));
    if (head > state.size()) return r.unreadable();
    Bytes component(state.begin(), state.begin() + head);
    putText(component, "FFpr");
    putLe(component, 1);
    putLe(component, 0);
    Bytes controller(state.begin() + head, state.end());
    size_t last = std::string::npos;
    for (size_t at = findIn(controller, "FFEx"); at != std::string::npos; at = findIn(controller, "FFEx", at + 1)) last = at;
    if (last != std::string::npos) controller.resize(last);
    putText(controller, "FFed");
    putLe(controller, 0);
    putLe(controller, 0);
    return vst3Frame(component, controller);
}

Bytes metaText(Rules& r) {
    if (!r.stateInside()) return r.unreadable();
    Bytes text;
    putText(text, "#pgm=From Pro Tools\n");
    putBytes(text, r.stateBytes());
    if (!r.vst3) return text;
    Bytes half;
    putLe(half, sizeWord(text.size()));
    putBytes(half, text);
    return vst3Frame(half, half);
}

Bytes countedBinary(Rules& r) {
    if (!r.stateInside()) return r.unreadable();
    Bytes out;
    putLe(out, sizeWord(r.instance.stateSize));
    putBytes(out, r.stateBytes());
    putLe(out, 7);
    putText(out, "Default");
    return out;
}

Bytes deflatedBlock(Rules& r) {
    if (r.instance.stateSize == 0) return {};
    if (!r.stateInside()) return r.unreadable();
    const Bytes state = r.stateBytes();
    if (!inflatesWhole(state.data(), state.size())) return r.unreadable();
    const uint32_t n = sizeWord(state.size());
    Bytes out;
    for (uint32_t flag : {1u, 0u}) {
        putLe(out, n + 16);
        if (r.vst3) putLe(out, flag);
        for (uint32_t word : r.instance.stateWords) putLe(out, word);
        putBytes(out, state);
        if (!r.vst3) break;
    }
    if (!r.vst3) {
        putLe(out, 7);
        putText(out, "Default");
    }
    return out;
}

Bytes waves(Rules& r) {
    if (r.instance.stateSize == 0 || r.instance.subComponent.size() != 4) return {};
    if (!r.stateInside()) return r.unreadable();
    const uint32_t n = sizeWord(r.instance.stateSize);
    Bytes out;
    putLe(out, n + 62);
    putLe(out, 1);
    putBe(out, n + 28);
    putBe(out, 3);
    putBe(out, 1);
    putText(out, r.instance.subComponent);
    putText(out, r.instance.setupName.size() == 4 ? r.instance.setupName : std::string("setA"));
    putBe(out, n);
    putText(out, "XPst");
    putBytes(out, r.stateBytes());
    putText(out, "<Bypass Version=\"1\" Bypass=\"0\" />\n");
    putZeros(out, 8);
    return out;
}

Bytes bracedText(Rules& r) {
    if (r.instance.stateSize == 0) return {};
    if (!r.stateInside()) return r.unreadable();
    if (!r.vst3) return r.stateBytes();
    Bytes out;
    putLe(out, sizeWord(r.instance.stateSize));
    putLe(out, 1);
    putBytes(out, r.stateBytes());
    putZeros(out, 8);
    return out;
}

Bytes archive(Rules& r) {
    if (r.instance.stateSize == 0) return {};
    if (!r.stateInside()) return r.unreadable();
    const Bytes state = r.stateBytes();
    return vst3Frame(state, state);
}

Bytes kontakt(Rules& r) {
    if (!r.request.kontaktState || r.instance.stateSize == 0 || r.row.identity.empty()) return {};
    if (!r.stateInside()) return r.unreadable();
    Bytes data;
    putLe(data, sizeWord(r.instance.stateSize) + 12);
    putLe(data, 0);
    putLe(data, 1);
    putBytes(data, r.stateBytes());
    if (!r.vst3) return data;
    return vst3Frame(data, {});
}

bool isTagByte(uint8_t byte) { return (byte >= 'A' && byte <= 'Z') || (byte >= '0' && byte <= '9'); }

// Helix Native ("Lin66SAX"): the chain of sections from "DHSH" on, in Line 6's frame.
Bytes lineSix(Rules& r) {
    const RecordBytes& rec = r.record;
    size_t hit = std::string::npos;
    for (size_t at = 0; at + 4 <= rec.size && hit == std::string::npos; ++at) {
        if (rec.has(at, "6SMC")) hit = at;
    }
    if (hit == std::string::npos || rec.size - hit < 60 || !rec.has(hit + 36, "DHSH")) return {};
    const size_t start = hit + 36;
    size_t at = start;
    size_t presetData = std::string::npos;
    bool parameters = false;
    for (int section = 0; section < 32 && rec.size - at >= 24; ++section) {
        if (!std::all_of(rec.data + at, rec.data + at + 4, isTagByte)) break;
        const uint64_t size = uint64_t(rec.le(at + 8)) | uint64_t(rec.le(at + 12)) << 32;
        if (size > rec.size || at + 24 + size + 24 > rec.size) return r.unreadable();
        if (rec.has(at, "LGSH") && size != 0) presetData = at + 24;
        if (rec.has(at, "APSH")) parameters = true;
        at += 24 + static_cast<size_t>(size);
    }
    if (presetData == std::string::npos || !parameters) return {};
    const uint32_t n = sizeWord(at - start);
    Bytes out;
    putLe(out, n + 8);
    putLe(out, 1);
    putText(out, "CMS6");
    putLe(out, n);
    out.insert(out.end(), rec.data + start, rec.data + at);
    putZeros(out, 8);
    out[16 + (presetData - start)] = 0;
    return out;
}

// A state rebuilt from its "RHCP" form around the row's fixed prefix and suffix.
Bytes rhcp(Rules& r) {
    if (r.instance.stateForm != 4) return {};
    const RecordBytes& rec = r.record;
    const size_t base = static_cast<size_t>(r.instance.stateOffset - r.instance.recordStart);
    if (!rec.has(base + 32, "RHCP")) return {};
    size_t at = base + 32;
    size_t vgcp = std::string::npos;
    bool found = false;
    for (int link = 0; link < 16 && rec.holds(at, 12) && rec.has(at + 2, "CP"); ++link) {
        if (rec.has(at, "DPCP")) found = true;
        if (rec.has(at, "VGCP") && vgcp == std::string::npos) vgcp = at;
        at += 16 + rec.le(at + 8);
    }
    if (!found) return {};
    if (rec.has(base + 116, "DPCP")) {
        if (base + 208 >= rec.size) return {};
        const Bytes body(rec.data + base + 208, rec.data + rec.size);
        Bytes prefix = r.row.prefix;
        const uint32_t length = sizeWord(body.size()) + 184;
        for (size_t word : {size_t(0), size_t(12)}) {
            if (word + 4 > prefix.size() || (word == 12 && prefix.size() <= 15)) continue;
            for (int k = 0; k < 4; ++k) prefix[word + k] = static_cast<uint8_t>(length >> (8 * k));
        }
        Bytes out = prefix;
        putBytes(out, body);
        putBytes(out, r.row.suffix);
        return out;
    }
    if (base + 32 > rec.size) return {};
    const uint32_t n = sizeWord(rec.size - base - 32);
    Bytes out;
    putLe(out, n + 8);
    putLe(out, 1);
    putText(out, "CMXH");
    putLe(out, n);
    out.insert(out.end(), rec.data + base + 32, rec.data + rec.size);
    putZeros(out, 8);
    if (vgcp != std::string::npos) {
        const uint32_t s = rec.le(vgcp + 8);
        if (s > 3 && uint64_t(vgcp) + s + 16 <= rec.size) out[16 + (vgcp - base - 32) + s + 12] = 0;
    }
    return out;
}

bool isJuceClass(const std::string& classId) {
    return classId.size() >= 32 && uppercased(classId.substr(0, 16)) == "ABCDEF019182FAEB";
}

// Form 2 for a VST3 build: the text behind "VC2!" and its length word.
Bytes vc2(Rules& r) {
    const RecordBytes& rec = r.record;
    const size_t at = static_cast<size_t>(r.instance.stateOffset - r.instance.recordStart);
    const uint32_t word = rec.le(at + 4);
    const uint64_t length = uint64_t(word) + 1;
    if (word == 0xFFFFFFFFu || !rec.holds(at + 8, length)) return r.unreadable();
    const Bytes head(rec.data + at, rec.data + at + 4);
    std::string text(reinterpret_cast<const char*>(rec.data) + at + 8, static_cast<size_t>(length));
    const std::string vst2Id = vst2IdOf(r.instance, r.row);
    if (r.instance.signature == "AntrAPan") {
        const std::string renamed = renameAutoPanIds(text);
        return vstwFrame(Bytes(renamed.begin(), renamed.end()), head, vst2Id);
    }
    if (hasAntaresTable(r.instance.signature)) text = rebuildAntaresParameters(r.instance.signature, text);
    const std::string classId = uppercased(classIdOf(r.row.identity));
    const bool juce = r.instance.signature != "JptrATLv" &&
                      (isJuceClass(classId) || classId == "565354564D723241564F58205448524F" ||
                       classId == "565354415438314175746F2D54756E65");
    if (!juce) return vstwFrame(Bytes(text.begin(), text.end()), head, vst2Id);
    Bytes data = head;
    putLe(data, sizeWord(text.size() - 1));
    putText(data, text);
    if (r.instance.signature == "AntrSlce") putZeros(data, 8);
    return juceFrame(data);
}

std::string hexOfSignature(const std::string& signature) {
    std::string hex;
    static const char kDigits[] = "0123456789ABCDEF";
    for (char c : signature.substr(0, 8)) {
        hex += kDigits[static_cast<uint8_t>(c) >> 4];
        hex += kDigits[static_cast<uint8_t>(c) & 15];
    }
    return hex;
}

// Form 13: a chunk the classifier found.
Bytes classifierChunk(Rules& r) {
    if (!r.stateInside()) return r.unreadable();
    const Bytes chunk = r.stateBytes();
    if (!r.vst3) return chunk;
    const std::string classId = uppercased(classIdOf(r.row.identity));
    const uint32_t juce = 'j' | 'u' << 8 | 'c' << 16 | uint32_t('e') << 24;
    if (isJuceClass(classId) && classId.substr(classId.size() - 16) == hexOfSignature(r.instance.signature) &&
        r.wordBefore(36) == juce) {
        return juceFrame(chunk);
    }
    if (r.instance.chunkLabel == "AAX chunk after elck") return {};
    if (r.wordBefore(12) == 0x0610D6DBu && r.wordBefore(4) == r.instance.stateSize) {
        const uint64_t from = r.instance.stateOffset - 12;
        if (!r.request.view->holds(from, r.instance.stateSize + 12)) return r.unreadable();
        const Bytes half(r.request.view->bytes + from, r.request.view->bytes + from + r.instance.stateSize + 12);
        return vst3Frame(half, half);
    }
    if (r.row.identity.find("{F2AEE70D00DE4F4E") != std::string::npos) {
        Bytes half;
        putLe(half, sizeWord(chunk.size()));
        putBytes(half, chunk);
        putLe(half, 0);
        return vst3Frame(half, half);
    }
    if (r.instance.chunkCopies < 1) return {};
    return vst3Frame(chunk, r.instance.chunkCopies >= 2 ? chunk : Bytes());
}

// The instance taken again with its first usable AAX chunk as a form 13 state.
Bytes innerChunk(Rules& r) {
    if (r.instance.innerSize == 0) return {};
    PluginInstance inner = r.instance;
    inner.stateForm = 13;
    inner.stateOffset = inner.innerOffset;
    inner.stateSize = inner.innerSize;
    inner.chunkLabel = inner.innerLabel;
    inner.chunkCopies = inner.innerCopies;
    return build(inner, r);
}

bool readChunkName(const RecordBytes& rec, const AaxChunk& chunk, uint32_t& length, std::string& name) {
    length = rec.be(chunk.data + 4);
    if (length < 2 || length > 128 || length % 2 != 0 || chunk.size < length + 8) return false;
    for (uint32_t k = 0; k < length; k += 2) {
        const uint8_t high = rec.data[chunk.data + 8 + k];
        const uint8_t low = rec.data[chunk.data + 9 + k];
        if (high != 0 || low < 32 || low > 126) return false;
        name += static_cast<char>(low);
    }
    return true;
}

// An AAX chunk chain of control values and named chunks, as one state.
Bytes multiChunk(Rules& r) {
    const RecordBytes& rec = r.record;
    const std::vector<AaxChunk> chain = aaxChunkChain(rec);
    if (chain.size() < 3 || chain[0].name != "elck") return {};
    const AaxChunk& values = chain[0];
    if (values.size < 4 || (values.size - 4) % 12 != 0 || values.size < 16 || chain[1].size < 16 || chain[2].size < 16) {
        return {};
    }
    uint32_t length1 = 0, length2 = 0;
    std::string name1, name2;
    if (rec.le(chain[1].data) != rec.le(chain[2].data) || !readChunkName(rec, chain[1], length1, name1) ||
        !readChunkName(rec, chain[2], length2, name2) || length1 != length2 || name1 != name2) {
        return {};
    }
    const size_t count = (values.size - 4) / 12;
    Bytes state(16, 0);
    putLe(state, sizeWord(count));
    for (size_t k = 0; k < count; ++k) {
        const size_t item = values.data + 4 + 12 * k;
        if (!rec.has(item, "d_")) return {};
        const uint64_t bits = uint64_t(rec.be(item + 4)) << 32 | rec.be(item + 8);
        double value = 0;
        std::memcpy(&value, &bits, sizeof value);
        putFloat(state, static_cast<float>(value));
    }
    for (size_t c = 1; c < chain.size(); ++c) {
        if (chain[c].name == "mdfy" || chain[c].name == "elck") continue;
        putLe(state, sizeWord(chain[c].size));
        state.insert(state.end(), rec.data + chain[c].data, rec.data + chain[c].data + chain[c].size);
    }
    const uint32_t rest = sizeWord(state.size() - 16);
    for (int k = 0; k < 4; ++k) state[k] = static_cast<uint8_t>(rest >> (8 * k));
    if (!r.vst3) return state;
    Bytes out;
    putLe(out, sizeWord(state.size()));
    putLe(out, 1);
    putBytes(out, state);
    putZeros(out, 8);
    return out;
}

uint32_t stepsOf(const std::string& signature, size_t index) {
    for (const SteppedControl& control : steppedControls()) {
        if (control.signature == signature && control.index == index) return control.steps;
    }
    return 0;
}

Bytes flatArray(Rules& r) {
    const uint32_t count = r.row.flatCount == 0 ? 20 : r.row.flatCount;
    Bytes out;
    putLe(out, r.row.flatZeros + 4 * count);
    putLe(out, 1);
    putZeros(out, r.row.flatZeros);
    for (uint32_t k = 0; k < count; ++k) {
        float value = k < r.instance.controlValues.size() ? r.instance.controlValues[k] : 0.0f;
        const uint32_t steps = stepsOf(r.instance.signature, k);
        if (steps > 2) value /= static_cast<float>(steps - 1);
        putFloat(out, value);
    }
    putLe(out, 0);
    putLe(out, 0);
    return out;
}

size_t midiTriggerIndex(const std::string& signature) {
    if (signature == "FabFFC2p") return 42;
    if (signature == "FabFFS2a") return 699;
    return std::string::npos;
}

Bytes fabFilterValues(Rules& r) {
    std::vector<float> values = r.instance.controlValues;
    const size_t trigger = midiTriggerIndex(r.instance.signature);
    if (trigger < values.size() && r.request.trackHasMidi && !r.request.keepPluginMidi && values[trigger] == 0.0f) {
        values[trigger] = 1.0f;
        ++r.out.midiCorrections;
    }
    const std::string& name = r.row.program;
    const uint32_t count = sizeWord(values.size());
    if (startsWith(r.row.display, "CLAP")) {
        if (r.instance.signature.size() < 8) return {};
        Bytes out;
        putText(out, "FFBS");
        putLe(out, 1);
        putLe(out, count);
        for (float value : values) putFloat(out, value);
        putText(out, r.instance.signature.substr(4, 4));
        putLe(out, 3);
        putLe(out, sizeWord(name.size()));
        putText(out, name);
        for (uint32_t word : {0xFFFFFFFFu, 1u, 0u, 0u}) putLe(out, word);
        putText(out, "CuSV");
        putLe(out, 1);
        putLe(out, 0);
        return out;
    }
    Bytes data;
    putText(data, "FabF");
    putLe(data, 2);
    putLe(data, sizeWord(name.size()));
    putText(data, name);
    putLe(data, 0);
    putLe(data, count);
    for (float value : values) putFloat(data, value);
    Bytes out;
    if (r.vst3) {
        putLe(out, sizeWord(data.size()) + 8);
        putLe(out, 1);
    }
    putBytes(out, data);
    for (uint32_t word : {1u, 1u, 12u, 0u}) putLe(out, word);
    putText(out, "FFed");
    putLe(out, 0);
    putFloat(out, 1.0f);
    return out;
}

// Form 5: the control values, or the AAX chunks behind "elck".
Bytes controlValues(Rules& r) {
    const PluginInstance& i = r.instance;
    const bool values = !i.controlValues.empty();
    const bool inner = i.innerSize != 0;
    if (i.signature == "xlnAxaAK") {
        if (inner && i.innerCount == 1) {
            if (r.vst3) {
                const uint64_t from = i.innerOffset - i.recordStart;
                if (i.innerOffset < i.recordStart || !r.record.holds(static_cast<size_t>(from), i.innerSize)) return {};
                return juceFrame(Bytes(r.record.data + from, r.record.data + from + i.innerSize));
            }
            if (!values) return innerChunk(r);
        }
        if (i.innerCount != 1 && !values) return i.innerCount <= 1 ? innerChunk(r) : multiChunk(r);
        if (!inner && !values) return {};
    } else if (!values) {
        if (!inner) return {};
        return i.innerCount < 2 ? innerChunk(r) : multiChunk(r);
    }
    if (r.row.stateRule == 1) return flatArray(r);
    if (r.row.program.empty()) {
        if (!inner) return {};
        return i.innerCount > 1 ? multiChunk(r) : innerChunk(r);
    }
    return fabFilterValues(r);
}

Bytes byForm(Rules& r) {
    switch (r.instance.stateForm) {
        case 1: return r.vst3 ? fabFilterBlock(r) : plainCopy(r);
        case 5: return controlValues(r);
        case 6: return metaText(r);
        case 7: return countedBinary(r);
        case 8: return deflatedBlock(r);
        case 9: return waves(r);
        case 10: return bracedText(r);
        case 11: return archive(r);
        case 12: return kontakt(r);
        case 13: return classifierChunk(r);
        default: return plainCopy(r);
    }
}

// The tests in their order; the first rule reached decides.
Bytes build(const PluginInstance& instance, Rules& outer) {
    Rules r{instance, outer.row, outer.request, outer.record, outer.vst3, outer.out};
    const uint32_t form = instance.stateForm;
    if (r.request.movedToVst2 && form != 1 && form != 10) return {};
    if (instance.signature == "Lin66SAX") return lineSix(r);
    if (startsWith(r.row.display, "CLAP") && form != 1 && form != 2 && form != 13) {
        const bool fabFilter = !r.row.program.empty() && r.row.stateRule == 0 && !instance.controlValues.empty() &&
                               startsWith(instance.signature, "FabF");
        const bool chunk = instance.innerSize != 0 && instance.innerCount == 1 &&
                           (instance.controlValues.empty() || (r.row.program.empty() && r.row.stateRule != 1));
        if (form != 5 || !(fabFilter || chunk) || r.hasPrefixRule()) return {};
        return controlValues(r);
    }
    if (form == 2 && r.vst3) return vc2(r);
    if (r.hasPrefixRule()) return rhcp(r);
    return byForm(r);
}

}  // namespace

bool isVst3Row(const PluginRow& row) { return row.identity.find('{') != std::string::npos; }

PluginState buildPluginState(const PluginInstance& instance, const PluginRow& row, const StateRequest& request) {
    PluginState state;
    if (!request.view || instance.stateForm == 0) return state;
    Rules rules{instance, row, request, recordBytesOf(*request.view, instance), isVst3Row(row), state};
    state.bytes = build(instance, rules);
    if (!state.bytes.empty()) state.unreadable = false;
    return state;
}

bool switchOffMidiTrigger(std::vector<uint8_t>& state, const std::string& signature) {
    const size_t index = midiTriggerIndex(signature);
    const size_t block = findIn(state, "FFBS");
    if (index == std::string::npos || block == std::string::npos || state.size() - block < 12) return false;
    uint32_t count = 0;
    for (int k = 0; k < 4; ++k) count |= uint32_t(state[block + 8 + k]) << (8 * k);
    const size_t at = block + 12 + 4 * index;
    if (index >= count || at + 4 > state.size()) return false;
    float value = 0;
    std::memcpy(&value, state.data() + at, sizeof value);
    if (value != 0.0f) return false;
    const float one = 1.0f;
    std::memcpy(state.data() + at, &one, sizeof one);
    return true;
}

// Public fact names no plug-in for the measured table of stepped controls, so
// it holds no row: every control value is written as it stands.
const std::vector<SteppedControl>& steppedControls() {
    static const std::vector<SteppedControl> rows;
    return rows;
}
