#include "plugins/state_scan.h"

#include <algorithm>
#include <cstring>
#include <optional>

#include "session/plugin_records.h"

namespace {

constexpr size_t kNone = static_cast<size_t>(-1);

bool printable(uint8_t byte) { return byte == 9 || byte == 10 || byte == 13 || (byte >= 32 && byte <= 126); }

bool isZlibHeader(const RecordBytes& r, size_t at) {
    if (!r.holds(at, 2) || r.data[at] != 'x') return false;
    const uint8_t second = r.data[at + 1];
    return second == 0x01 || second == 0x5E || second == 0x9C || second == 0xDA;
}

double beDouble(const RecordBytes& r, size_t at) {
    uint64_t bits = 0;
    for (size_t k = 0; k < 8; ++k) bits = (bits << 8) | r.data[at + k];
    double value = 0;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

size_t findText(const RecordBytes& r, const char* pattern, size_t from, size_t to) {
    const size_t length = std::strlen(pattern);
    for (size_t at = from; at + length <= to; ++at) {
        if (std::memcmp(r.data + at, pattern, length) == 0) return at;
    }
    return kNone;
}

// The "}" that balances the "{" at open: braces inside double quotes do not
// count and a backslash hides the next byte. The steps of all searches in one
// record share a budget, so that a record of unbalanced braces costs linear time.
size_t balancingBrace(const RecordBytes& r, size_t open, size_t& budget) {
    int depth = 0;
    bool quoted = false;
    for (size_t at = open; at < r.size; ++at) {
        if (budget == 0) return kNone;
        --budget;
        const uint8_t byte = r.data[at];
        if (byte == '\\') {
            ++at;
        } else if (byte == '"') {
            quoted = !quoted;
        } else if (!quoted && byte == '{') {
            ++depth;
        } else if (!quoted && byte == '}' && --depth == 0) {
            return at;
        }
    }
    return kNone;
}

// The text between <name> and </name> inside [from, to).
std::optional<std::string> elementText(const RecordBytes& r, const std::string& name, size_t from, size_t to) {
    const std::string open = "<" + name + ">";
    const std::string close = "</" + name + ">";
    const size_t start = findText(r, open.c_str(), from, to);
    if (start == kNone) return std::nullopt;
    const size_t end = findText(r, close.c_str(), start + open.size(), to);
    if (end == kNone) return std::nullopt;
    return std::string(reinterpret_cast<const char*>(r.data) + start + open.size(), end - start - open.size());
}

struct FormFound {
    uint32_t form = 0;
    size_t offset = 0;
    size_t size = 0;
    bool damaged = false;  // a form's own length ran past the record: the scan ended
};

// The Waves shell's product, name and active setup, read from its XML text.
bool readWavesFields(const RecordBytes& r, size_t from, size_t to, PluginInstance& instance) {
    instance.subComponent = elementText(r, "PluginSubComp", from, to).value_or("");
    instance.wavesName = elementText(r, "PluginName", from, to).value_or("");
    const std::string setup = elementText(r, "ActiveSetup", from, to).value_or("");
    const bool lettered = setup.size() > 6 && setup.compare(0, 6, "SETUP_") == 0 && setup[6] >= 'A' && setup[6] <= 'Z';
    instance.setupName = lettered ? std::string("set") + setup[6] : std::string("setA");
    return instance.subComponent.size() == 4;
}

// The first position where one of the forms fits, the tests in their order at each position.
FormFound scanForms(const ImageView& view, uint64_t recordStart, const RecordBytes& r, PluginInstance& instance) {
    const size_t n = r.size;
    size_t lastFfex = kNone;
    for (size_t at = n; at >= 4 && lastFfex == kNone; --at) {
        if (r.has(at - 4, "FFEx")) lastFfex = at - 4;
    }
    size_t lastNonZero = kNone;
    for (size_t at = n; at > 0; --at) {
        if (r.data[at - 1] != 0) {
            lastNonZero = at - 1;
            break;
        }
    }
    size_t budget = 16 * n + 65536;
    for (size_t p = 0; p < n; ++p) {
        if (r.has(p, "FFBS")) {
            const bool tail = lastFfex != kNone && lastFfex >= p && lastFfex + 12 <= n;
            return {1, p, tail ? lastFfex + 12 - p : n - p};
        }
        if (r.has(p, "VC2!")) return {2, p, static_cast<size_t>(std::min<uint64_t>(uint64_t(r.le(p + 4)) + 9, n - p))};
        if (r.has(p, "/*@Meta")) return {6, p, n - p};
        if (r.has(p, "{\n\tindex = ")) {
            const size_t close = balancingBrace(r, p, budget);
            if (close != kNone) return {10, p, close - p + 1};
        }
        if (r.has(p, "\x8D\x98\x85")) {
            if (r.holds(p, 4) && r.data[p + 3] == 0) {
                const uint64_t size = uint64_t(r.le(p + 8)) + 12;
                if (!r.holds(p, 12) || size > n - p) return {0, 0, 0, true};
                return {7, p, static_cast<size_t>(size)};
            }
        }
        if (p >= 7 && isZlibHeader(r, p)) {
            uint32_t words[4];
            for (int k = 0; k < 4; ++k) words[k] = view.u32(recordStart + p - 16 + 4 * k);
            if (words[2] < 12 || words[3] < 64 || uint64_t(words[2]) - 4 > n - p) return {0, 0, 0, true};
            std::copy(words, words + 4, instance.stateWords);
            return {8, p, words[2] - 4};
        }
        if (p >= 12 && r.has(p, "hsin")) {
            const uint32_t first = r.le(p - 12);
            if (first > 75 && r.le(p - 8) == 0 && r.le(p - 4) == 1 && uint64_t(first) - 12 <= n - p) {
                return {12, p, first - 12};
            }
        }
        if (p >= 4 && r.has(p, "22 serialization::archive")) {
            const uint32_t length = r.le(p - 4);
            if (length >= 64 && uint64_t(length) + 4 + 25 <= n - p &&
                std::memcmp(r.data + p, r.data + p + length + 4, 25) == 0) {
                return {11, p, length};
            }
        }
        if (r.has(p, "HXMC")) return {4, p + 4, n - p - 4};
        if (r.has(p, "<?xml")) {
            const size_t size = lastNonZero - p + 1;
            return {3, p, p + size < n ? size + 1 : size};
        }
        if (p >= 20 && r.has(p, "XPst")) {
            const uint64_t end = uint64_t(p) - 16 + r.be(p - 20);
            if (r.be(p - 20) >= 24 && end <= n) {
                const size_t tree = findText(r, "<PresetChunkXMLTree", p, static_cast<size_t>(end));
                if (tree != kNone) {
                    if (!readWavesFields(r, tree, static_cast<size_t>(end), instance)) {
                        instance.subComponent = instance.wavesName = instance.setupName = std::string();
                        return {};
                    }
                    return {9, tree, static_cast<size_t>(end) - tree};
                }
            }
        }
    }
    return {};
}

// Form 5: "d_" items (a big-endian double) and "l_" items (a big-endian
// integer) in a chain; of the four gaps, the longest list wins.
std::vector<float> controlValuesOf(const RecordBytes& r) {
    size_t first = kNone;
    for (size_t at = 0; at + 2 <= r.size && at <= 81; ++at) {
        if ((r.data[at] == 'd' || r.data[at] == 'l') && r.data[at + 1] == '_') {
            first = at;
            break;
        }
    }
    std::vector<float> best;
    if (first == kNone) return best;
    for (size_t gap : {4, 8, 12, 16}) {
        std::vector<float> values;
        for (size_t at = first; r.holds(at, 2) && r.data[at + 1] == '_';) {
            if (r.data[at] == 'd' && r.holds(at + gap, 8)) {
                const double value = beDouble(r, at + gap);
                if (!(value > -1e30 && value < 1e30)) {
                    values.clear();
                    break;
                }
                values.push_back(static_cast<float>(value));
                at += gap + 8;
            } else if (r.data[at] == 'l' && r.holds(at + gap, 4)) {
                values.push_back(static_cast<float>(static_cast<int32_t>(r.be(at + gap))));
                at += gap + 4;
            } else {
                break;
            }
        }
        if (values.size() > best.size()) best = std::move(values);
    }
    return best;
}

// A chunk of printable bytes, or printable bytes and then only zeros, is text.
bool isPlainText(const RecordBytes& r, size_t from, size_t size) {
    size_t at = from;
    while (at < from + size && printable(r.data[at])) ++at;
    while (at < from + size && r.data[at] == 0) ++at;
    return at == from + size;
}

void readInnerChunks(const RecordBytes& r, uint64_t recordStart, PluginInstance& instance) {
    for (const AaxChunk& chunk : aaxChunkChain(r)) {
        if (chunk.name == "elck" || chunk.size < 32 || isPlainText(r, chunk.data, chunk.size)) continue;
        if (instance.innerCount++ == 0) {
            instance.innerOffset = recordStart + chunk.data;
            instance.innerSize = chunk.size;
            instance.innerLabel = "AAX chunk after elck";
        }
    }
}

struct Finding {
    size_t offset = 0;
    size_t size = 0;
    int score = -1;
    std::string label;
    int copies = 1;
};

// A later finding wins with a higher score, or the same score at an earlier position.
void offer(Finding& best, const Finding& finding) {
    if (finding.score > best.score || (finding.score == best.score && finding.offset < best.offset)) best = finding;
}

const char* const kTags[] = {"VC2!", "FFBS", "XPst", "hsin", "FabF", "HXMC", "CMXH", "<?xml",
                             "<AllData", "#AMS", "22 serialization::archive", "RIFF"};

// The chunks a length word in front of position p closes, each a finding.
void offerClosedChunks(const RecordBytes& r, size_t p, const std::string& label, Finding& best) {
    const size_t n = r.size;
    const bool text = label == "text";
    for (int k = 0; k < 6; ++k) {
        const size_t back = 4 * (k + 1);
        if (p < back) continue;
        const uint32_t word = r.le(p - back);
        if (word < 32 || word > n) continue;
        for (uint32_t adjustment = 0; adjustment <= 24; adjustment += 4) {
            if (word < adjustment + 32 || word - adjustment > n - p) continue;
            const size_t size = word - adjustment;
            const size_t end = p + size;
            const int closing = end == n ? 6 : n - end < 65 ? 3 : 0;
            const int score = closing + 6 - k + (text ? 0 : 8);
            // The copy adds 6: look for it only when that could change the best.
            bool copy = false;
            if (score + 6 > best.score || (score + 6 == best.score && p < best.offset)) {
                const size_t length = std::min<size_t>(size, 4096);
                for (size_t gap : {size_t(0), size_t(4)}) {
                    copy = copy || (r.holds(end + gap, length) && std::memcmp(r.data + p, r.data + end + gap, length) == 0);
                }
            }
            if (text && closing == 0 && !copy) continue;
            offer(best, {p, size, score + (copy ? 6 : 0), label, copy ? 2 : 1});
        }
    }
}

// The record scored by what its bytes look like: texts, braces, the AAX chunk
// layouts, length words that close on the record's end, and known tags.
Finding classify(const RecordBytes& r, const PluginInstance& instance, uint64_t recordStart) {
    const size_t n = r.size;
    std::vector<size_t> printableBefore(n + 1, 0);
    for (size_t at = 0; at < n; ++at) printableBefore[at + 1] = printableBefore[at] + (printable(r.data[at]) ? 1 : 0);
    auto printableIn = [&](size_t from, size_t to) { return printableBefore[to] - printableBefore[from]; };
    std::vector<size_t> runFrom(n + 1, 0);  // printable bytes from each position on
    for (size_t at = n; at > 0; --at) runFrom[at - 1] = printable(r.data[at - 1]) ? runFrom[at] + 1 : 0;

    Finding best;
    if (n > 97 && n - 33 > 255 && printableIn(33, n) * 100 >= 96 * (n - 33)) offer(best, {33, n - 33, 3, "text (no tag)"});
    size_t budget = 16 * n + 65536;
    for (size_t p = 33; p + 65 <= n; ++p) {
        if (r.data[p] != '{') continue;
        const size_t close = balancingBrace(r, p, budget);
        if (close == kNone) continue;
        const size_t span = close - p + 1;
        if (span > 63 && printableIn(p, close + 1) * 100 >= 90 * span) {
            offer(best, {p, span, 6, "braces balance"});
            break;
        }
    }
    if (n >= 105 && !r.has(37, "elck") && printable(r.data[41])) {
        size_t at = 41;
        while (at < 73 && printable(r.data[at])) ++at;
        while (at < 73 && r.data[at] == 0) ++at;
        if (at == 73 && best.score < 6) best = {73, n - 73, 6, "AAX chunk data"};
    }
    if (instance.innerCount == 1 && best.score < 6) {
        best = {static_cast<size_t>(instance.innerOffset - recordStart), static_cast<size_t>(instance.innerSize), 6,
                "AAX chunk after elck"};
    }
    if (n > 65) {
        for (size_t p = 33; p + 33 <= n; ++p) {
            for (int k = 0; k < 6; ++k) {
                const size_t back = 4 * (k + 1);
                const int score = k == 0 ? 5 : 1 + (6 - k) / 2;
                if (p < back || score <= best.score) continue;
                const uint64_t word = r.le(p - back);
                for (uint32_t adjustment = 0; adjustment <= 24; adjustment += 4) {
                    if (word >= uint64_t(adjustment) + 64 && word - adjustment == n - p) {
                        best = {p, n - p, score, "length closes"};
                        break;
                    }
                }
            }
        }
    }
    if (n > 40) {
        for (size_t p = 24; p + 17 < n; ++p) {
            if (p == 25) continue;
            std::string label;
            for (const char* tag : kTags) {
                if (r.has(p, tag)) {
                    label = tag;
                    break;
                }
            }
            if (!label.empty()) {
                offer(best, {p, n - p, 7, label});
            } else if (isZlibHeader(r, p)) {
                label = "zlib";
                offer(best, {p, n - p, 5, label});
            } else if (runFrom[p] >= 120) {
                label = "text";
            } else {
                continue;
            }
            offerClosedChunks(r, p, label, best);
        }
    }
    return best;
}

}  // namespace

bool RecordBytes::has(size_t at, const char* pattern) const {
    const size_t length = std::strlen(pattern);
    return holds(at, length) && std::memcmp(data + at, pattern, length) == 0;
}

uint32_t RecordBytes::le(size_t at) const {
    if (!holds(at, 4)) return 0;
    return uint32_t(data[at]) | uint32_t(data[at + 1]) << 8 | uint32_t(data[at + 2]) << 16 | uint32_t(data[at + 3]) << 24;
}

uint32_t RecordBytes::be(size_t at) const {
    if (!holds(at, 4)) return 0;
    return uint32_t(data[at]) << 24 | uint32_t(data[at + 1]) << 16 | uint32_t(data[at + 2]) << 8 | uint32_t(data[at + 3]);
}

RecordBytes recordBytesOf(const ImageView& view, const PluginInstance& instance) {
    RecordBytes record;
    if (instance.recordStart >= view.length || instance.payloadEnd <= instance.recordStart) return record;
    record.data = view.bytes + instance.recordStart;
    record.size = static_cast<size_t>(std::min(instance.payloadEnd, view.length) - instance.recordStart);
    return record;
}

std::vector<AaxChunk> aaxChunkChain(const RecordBytes& r) {
    std::vector<AaxChunk> chain;
    if (!r.has(37, "elck") || !r.holds(25, 4)) return chain;
    size_t at = 17;
    for (;;) {
        const uint32_t size = r.be(at);
        if (size < 56 || !r.holds(at, size) || std::memcmp(r.data + at + 8, r.data + 25, 4) != 0) break;
        chain.push_back({std::string(reinterpret_cast<const char*>(r.data) + at + 20, 4), at + 56, size - 56u});
        at += size;
    }
    if (r.size - std::min(at, r.size) > 8) chain.clear();
    return chain;
}

void scanPluginState(const ImageView& view, PluginInstance& instance) {
    const RecordBytes r = recordBytesOf(view, instance);
    if (r.size == 0) return;
    const FormFound found = scanForms(view, instance.recordStart, r, instance);
    instance.stateDamaged = found.damaged;
    if (found.form != 0) {
        instance.stateForm = found.form;
        instance.stateOffset = instance.recordStart + found.offset;
        instance.stateSize = found.size;
        return;
    }
    instance.controlValues = controlValuesOf(r);
    readInnerChunks(r, instance.recordStart, instance);
    if (!instance.controlValues.empty()) {
        instance.stateForm = 5;
        return;
    }
    const Finding best = classify(r, instance, instance.recordStart);
    if (best.score < 3 || best.size < 32) return;
    instance.stateForm = 13;
    instance.stateOffset = instance.recordStart + best.offset;
    instance.stateSize = best.size;
    instance.chunkLabel = best.label;
    instance.chunkCopies = best.copies;
}
