#include "project/text.h"

#include <algorithm>
#include <charconv>

namespace {

const char kBase64Alphabet[] =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// Buffered file output is handed over once this much has gathered: a large
// project goes out in a few dozen writes.
constexpr std::size_t kFlushSize = 1 << 20;

constexpr std::size_t kBase64LineLength = 128;

// Room for %.Nf of the largest double (309 digits) with a generous precision.
constexpr int kMaxPrecision = 300;
constexpr std::size_t kNumberRoom = 320 + kMaxPrecision;

int clampPrecision(int precision) {
    return std::clamp(precision, 0, kMaxPrecision);
}

void appendFloat(std::string& out, double value, std::chars_format form, int precision) {
    char buffer[kNumberRoom];
    // std::to_chars never consults the locale and, with a precision, gives
    // exactly what printf gives in the C locale.
    auto result = std::to_chars(buffer, buffer + sizeof buffer, value, form,
                                clampPrecision(precision));
    out.append(buffer, result.ptr);
}

void appendUnsigned(std::string& out, std::uint64_t value) {
    char buffer[24];
    auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    out.append(buffer, result.ptr);
}

void appendSigned(std::string& out, std::int64_t value) {
    char buffer[24];
    auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    out.append(buffer, result.ptr);
}

void appendHex(std::string& out, std::uint32_t value, int digits, const char* hexDigits) {
    for (int shift = (digits - 1) * 4; shift >= 0; shift -= 4)
        out.push_back(hexDigits[(value >> shift) & 0xF]);
}

int base64Value(unsigned char c) {
    if (c >= 'A' && c <= 'Z') return c - 'A';
    if (c >= 'a' && c <= 'z') return c - 'a' + 26;
    if (c >= '0' && c <= '9') return c - '0' + 52;
    if (c == '+') return 62;
    if (c == '/') return 63;
    return -1;
}

// The length of the valid UTF-8 character at text[at] that is no control
// character (C0, DEL or C1), or 0.
std::size_t writableCharacterAt(std::string_view text, std::size_t at) {
    const auto byte = [&](std::size_t k) { return static_cast<unsigned char>(text[at + k]); };
    const auto inRange = [&](std::size_t k, unsigned low, unsigned high) {
        return at + k < text.size() && byte(k) >= low && byte(k) <= high;
    };
    const unsigned lead = byte(0);
    if (lead < 0x80) return lead >= 0x20 && lead != 0x7F ? 1 : 0;
    if (lead == 0xC2) return inRange(1, 0xA0, 0xBF) ? 2 : 0;  // C2 80 to C2 9F are the C1 controls
    if (lead >= 0xC3 && lead <= 0xDF) return inRange(1, 0x80, 0xBF) ? 2 : 0;
    if (lead >= 0xE0 && lead <= 0xEF) {
        const unsigned low = lead == 0xE0 ? 0xA0 : 0x80;   // no overlong forms
        const unsigned high = lead == 0xED ? 0x9F : 0xBF;  // no surrogates
        return inRange(1, low, high) && inRange(2, 0x80, 0xBF) ? 3 : 0;
    }
    if (lead >= 0xF0 && lead <= 0xF4) {
        const unsigned low = lead == 0xF0 ? 0x90 : 0x80;
        const unsigned high = lead == 0xF4 ? 0x8F : 0xBF;  // nothing above U+10FFFF
        return inRange(1, low, high) && inRange(2, 0x80, 0xBF) && inRange(3, 0x80, 0xBF) ? 4 : 0;
    }
    return 0;
}

// C2 80 to C2 9F: a C1 control character, replaced whole.
bool isC1ControlAt(std::string_view text, std::size_t at) {
    return at + 1 < text.size() && static_cast<unsigned char>(text[at]) == 0xC2 &&
           static_cast<unsigned char>(text[at + 1]) >= 0x80 && static_cast<unsigned char>(text[at + 1]) <= 0x9F;
}

const char kReplacement[] = "\xEF\xBF\xBD";  // U+FFFD

// Appends text as valid UTF-8 without control characters: a tab, line feed or
// carriage return becomes a blank (a line feed stays with keepLineFeeds), a
// quote character `quote` becomes "_", and every other control character and
// every byte that is not part of a valid character becomes U+FFFD. Gives the
// number of U+FFFD written.
std::size_t appendWritable(std::string& out, std::string_view text, bool keepLineFeeds, char quote = 0) {
    std::size_t replaced = 0;
    std::size_t at = 0;
    while (at < text.size()) {
        // Printable ASCII other than the quote goes out in one piece.
        std::size_t plain = at;
        while (plain < text.size() && text[plain] >= 0x20 && text[plain] < 0x7F && text[plain] != quote) ++plain;
        out.append(text.substr(at, plain - at));
        if (plain == text.size()) break;
        at = plain;
        const char c = text[at];
        if (quote != 0 && c == quote) {
            out.push_back('_');
            ++at;
            continue;
        }
        if (c == '\t' || c == '\r' || (c == '\n' && !keepLineFeeds)) {
            out.push_back(' ');
            ++at;
            continue;
        }
        if (c == '\n') {
            out.push_back(c);
            ++at;
            continue;
        }
        const std::size_t length = writableCharacterAt(text, at);
        if (length == 0) {
            out.append(kReplacement);
            ++replaced;
            at += isC1ControlAt(text, at) ? 2 : 1;
        } else {
            out.append(text.substr(at, length));
            at += length;
        }
    }
    return replaced;
}

// The quoting of quoteName into out; gives the number of characters replaced.
std::size_t appendQuoted(std::string& out, std::string_view text) {
    char quote = '"';
    if (text.find('"') != std::string_view::npos) {
        if (text.find('\'') == std::string_view::npos)
            quote = '\'';
        else if (text.find('`') == std::string_view::npos)
            quote = '`';
    }
    out.push_back(quote);
    // The quote character can stand in the text only when all three occur.
    const std::size_t replaced = appendWritable(out, text, false, quote);
    out.push_back(quote);
    return replaced;
}

}  // namespace

std::string quoteName(std::string_view text) {
    std::string quoted;
    quoted.reserve(text.size() + 2);
    appendQuoted(quoted, text);
    return quoted;
}

std::string writableText(std::string_view text) {
    std::string clean;
    clean.reserve(text.size());
    appendWritable(clean, text, false);
    return clean;
}

std::string makeGuid(std::uint32_t seed) {
    const std::uint32_t h = seed * 0x9E3779B1u + 0x9E3779B9u;
    const std::uint32_t a = h * 0x85EBCA77u;
    const std::uint32_t b = h * 0x218A205Bu;
    const std::uint32_t c = h * 0x9C6B79B5u;
    const char* digits = "0123456789ABCDEF";
    std::string guid;
    guid.reserve(38);
    guid.push_back('{');
    appendHex(guid, h, 8, digits);
    guid.push_back('-');
    appendHex(guid, a >> 16, 4, digits);
    guid.push_back('-');
    appendHex(guid, a & 0xFFFF, 4, digits);
    guid.push_back('-');
    appendHex(guid, b >> 16, 4, digits);
    guid.push_back('-');
    appendHex(guid, b & 0xFFFF, 4, digits);
    appendHex(guid, c, 8, digits);
    guid.push_back('}');
    return guid;
}

std::string base64(const std::uint8_t* data, std::size_t size) {
    std::string encoded;
    encoded.reserve((size + 2) / 3 * 4);
    std::size_t i = 0;
    for (; i + 3 <= size; i += 3) {
        const std::uint32_t group = (std::uint32_t(data[i]) << 16) |
                                    (std::uint32_t(data[i + 1]) << 8) | data[i + 2];
        encoded.push_back(kBase64Alphabet[(group >> 18) & 63]);
        encoded.push_back(kBase64Alphabet[(group >> 12) & 63]);
        encoded.push_back(kBase64Alphabet[(group >> 6) & 63]);
        encoded.push_back(kBase64Alphabet[group & 63]);
    }
    const std::size_t rest = size - i;
    if (rest > 0) {
        std::uint32_t group = std::uint32_t(data[i]) << 16;
        if (rest == 2) group |= std::uint32_t(data[i + 1]) << 8;
        encoded.push_back(kBase64Alphabet[(group >> 18) & 63]);
        encoded.push_back(kBase64Alphabet[(group >> 12) & 63]);
        encoded.push_back(rest == 2 ? kBase64Alphabet[(group >> 6) & 63] : '=');
        encoded.push_back('=');
    }
    return encoded;
}

std::string base64(const std::vector<std::uint8_t>& bytes) {
    return base64(bytes.data(), bytes.size());
}

std::string base64(std::string_view bytes) {
    return base64(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
}

std::vector<std::uint8_t> base64Decode(std::string_view text) {
    std::vector<std::uint8_t> bytes;
    bytes.reserve(text.size() / 4 * 3 + 2);
    std::uint32_t group = 0;
    int count = 0;
    for (char c : text) {
        const int value = base64Value(static_cast<unsigned char>(c));
        if (value < 0) continue;
        group = (group << 6) | std::uint32_t(value);
        if (++count == 4) {
            bytes.push_back(std::uint8_t(group >> 16));
            bytes.push_back(std::uint8_t(group >> 8));
            bytes.push_back(std::uint8_t(group));
            group = 0;
            count = 0;
        }
    }
    if (count == 2) {
        bytes.push_back(std::uint8_t(group >> 4));
    } else if (count == 3) {
        bytes.push_back(std::uint8_t(group >> 10));
        bytes.push_back(std::uint8_t(group >> 2));
    }
    return bytes;
}

void appendFixed(std::string& out, double value, int precision) {
    appendFloat(out, value, std::chars_format::fixed, precision);
}

void appendGeneral(std::string& out, double value, int precision) {
    appendFloat(out, value, std::chars_format::general, precision);
}

std::string fixedText(double value, int precision) {
    std::string text;
    appendFixed(text, value, precision);
    return text;
}

std::string generalText(double value, int precision) {
    std::string text;
    appendGeneral(text, value, precision);
    return text;
}

void appendNumber(std::string& out, double value, NumberFormat format) {
    switch (format) {
    case NumberFormat::Seconds: appendFixed(out, value, 10); return;
    case NumberFormat::SnapOffset: appendGeneral(out, value, 10); return;
    case NumberFormat::GridSize: appendGeneral(out, value, 14); return;
    case NumberFormat::Fine: appendFixed(out, value, 9); return;
    case NumberFormat::Coarse: appendFixed(out, value, 6); return;
    case NumberFormat::Compact: appendGeneral(out, value, 6); return;
    }
}

std::string formatNumber(double value, NumberFormat format) {
    std::string text;
    appendNumber(text, value, format);
    return text;
}

std::string colourText(std::uint32_t colour) {
    std::string text;
    appendUnsigned(text, colour);
    return text;
}

std::string midiByteText(unsigned value) {
    // %02x: at least two lower-case digits, more if the value needs them.
    char buffer[16];
    auto result = std::to_chars(buffer, buffer + sizeof buffer, value, 16);
    std::string text(buffer, result.ptr);
    if (text.size() < 2) text.insert(text.begin(), '0');
    return text;
}

// ---- ProjectText ----

ProjectText::ProjectText(std::string& target, int startDepth)
    : out_(&target), depth_(startDepth), startDepth_(startDepth) {}

ProjectText::ProjectText(std::FILE* file, int startDepth)
    : out_(&buffer_), file_(file), depth_(startDepth), startDepth_(startDepth) {
    buffer_.reserve(kFlushSize + 4096);
}

ProjectText::~ProjectText() {
    flush();
}

void ProjectText::flush() {
    if (file_ && !buffer_.empty()) {
        std::fwrite(buffer_.data(), 1, buffer_.size(), file_);
        buffer_.clear();
    }
}

void ProjectText::indent() {
    out_->append(std::size_t(2) * std::size_t(std::max(depth_, 0)), ' ');
}

void ProjectText::beginLine() {
    if (lineOpen_) misused_ = true;
    lineOpen_ = true;
}

void ProjectText::endLine() {
    out_->push_back('\n');
    lineOpen_ = false;
    if (file_ && buffer_.size() >= kFlushSize) flush();
}

ProjectText::Line ProjectText::statement(std::string_view keyword) {
    beginLine();
    indent();
    replaced_ += appendWritable(*out_, keyword, false);
    return Line(*this);
}

ProjectText::Line ProjectText::open(std::string_view keyword) {
    beginLine();
    indent();
    out_->push_back('<');
    replaced_ += appendWritable(*out_, keyword, false);
    ++depth_;
    return Line(*this);
}

void ProjectText::close() {
    if (depth_ <= startDepth_) {
        misused_ = true;  // nothing of ours is open: writing ">" would break the file
        return;
    }
    beginLine();
    --depth_;
    indent();
    out_->push_back('>');
    endLine();
}

void ProjectText::rawLine(std::string_view text) {
    beginLine();
    indent();
    replaced_ += appendWritable(*out_, text, false);
    endLine();
}

void ProjectText::writeBase64Lines(std::string_view encoded) {
    for (std::size_t at = 0; at < encoded.size(); at += kBase64LineLength)
        rawLine(encoded.substr(at, kBase64LineLength));
}

void ProjectText::copyLines(std::string_view text) {
    if (lineOpen_) misused_ = true;
    replaced_ += appendWritable(*out_, text, true);
    if (file_ && buffer_.size() >= kFlushSize) flush();
}

ProjectText::Line::~Line() noexcept(false) {
    owner_.endLine();
}

ProjectText::Line& ProjectText::Line::signedNumber(std::int64_t value) {
    owner_.out_->push_back(' ');
    appendSigned(*owner_.out_, value);
    return *this;
}

ProjectText::Line& ProjectText::Line::unsignedNumber(std::uint64_t value) {
    owner_.out_->push_back(' ');
    appendUnsigned(*owner_.out_, value);
    return *this;
}

ProjectText::Line& ProjectText::Line::number(double value, NumberFormat format) {
    owner_.out_->push_back(' ');
    appendNumber(*owner_.out_, value, format);
    return *this;
}

ProjectText::Line& ProjectText::Line::colour(std::uint32_t value) {
    return unsignedNumber(value);
}

ProjectText::Line& ProjectText::Line::midiByte(unsigned value) {
    owner_.out_->push_back(' ');
    owner_.out_->append(midiByteText(value));
    return *this;
}

ProjectText::Line& ProjectText::Line::name(std::string_view text) {
    owner_.out_->push_back(' ');
    owner_.replaced_ += appendQuoted(*owner_.out_, text);
    return *this;
}

ProjectText::Line& ProjectText::Line::word(std::string_view text) {
    owner_.out_->push_back(' ');
    owner_.replaced_ += appendWritable(*owner_.out_, text, false);
    return *this;
}

ProjectText::Line& ProjectText::Line::guid(std::uint32_t seed) {
    owner_.out_->push_back(' ');
    owner_.out_->append(makeGuid(seed));
    return *this;
}

// ---- checker ----

namespace {

std::string atLine(std::size_t number, const std::string& problem) {
    return "line " + std::to_string(number) + ": " + problem;
}

bool isQuote(char c) {
    return c == '"' || c == '\'' || c == '`';
}

// A byte that starts no valid character, or a control character, with its column.
std::optional<std::string> characterProblem(std::string_view line) {
    for (std::size_t at = 0; at < line.size();) {
        const std::size_t length = writableCharacterAt(line, at);
        if (length > 0) {
            at += length;
            continue;
        }
        const unsigned char lead = static_cast<unsigned char>(line[at]);
        const bool control = lead < 0x20 || lead == 0x7F || isC1ControlAt(line, at);
        return std::string(control ? "control character" : "invalid UTF-8") + " at column " + std::to_string(at + 1);
    }
    return std::nullopt;
}

// The arguments of a line, quoted ones without their quotes; a quoted argument
// runs from its quote to the next of the same character. None when a quote is
// not closed.
std::optional<std::vector<std::string_view>> argumentsOf(std::string_view line) {
    std::vector<std::string_view> arguments;
    std::size_t i = 0;
    while (i < line.size()) {
        if (line[i] == ' ') {
            ++i;
        } else if (isQuote(line[i])) {
            const std::size_t end = line.find(line[i], i + 1);
            if (end == std::string_view::npos) return std::nullopt;
            arguments.push_back(line.substr(i + 1, end - i - 1));
            i = end + 1;
        } else {
            const std::size_t start = i;
            while (i < line.size() && line[i] != ' ') ++i;
            arguments.push_back(line.substr(start, i - start));
        }
    }
    return arguments;
}

// A line of base64 that decodes by itself: whole groups, "=" only at its end.
bool isBase64Line(std::string_view line) {
    if (line.size() % 4 != 0) return false;
    const std::size_t padding = line.size() - std::min(line.find_last_not_of('='), line.size() - 1) - 1;
    if (padding > 2) return false;
    for (std::size_t k = 0; k < line.size() - padding; ++k) {
        if (base64Value(static_cast<unsigned char>(line[k])) < 0) return false;
    }
    return true;
}

std::uint32_t wordAt(const std::vector<std::uint8_t>& bytes, std::size_t at) {
    return std::uint32_t(bytes[at]) | std::uint32_t(bytes[at + 1]) << 8 | std::uint32_t(bytes[at + 2]) << 16 |
           std::uint32_t(bytes[at + 3]) << 24;
}

// A VST3 state: the component and the controller, each behind its size and flag, filling it.
bool isVst3Frame(const std::vector<std::uint8_t>& bytes, std::size_t from, std::size_t size) {
    std::size_t at = from;
    for (int half = 0; half < 2; ++half) {
        if (from + size - at < 8) return false;
        const std::size_t length = wordAt(bytes, at);
        at += 8;
        if (from + size - at < length) return false;
        at += length;
    }
    return at == from + size;
}

// The data of a <VST block as REAPER reads it: the header with its magic word
// and pins, the state of the size the header gives, the tail with the program
// name; for a VST3 build the state's two halves fill it.
std::optional<std::string> vstStateProblem(const std::vector<std::uint8_t>& bytes, bool vst3) {
    // REAPER's compressor and gate write 0xFEED5EEF; every other plug-in 0xFEED5EEE.
    if (bytes.size() < 12 || (wordAt(bytes, 4) != 0xFEED5EEE && wordAt(bytes, 4) != 0xFEED5EEF)) {
        return std::string("no state header");
    }
    std::size_t at = 8;
    for (int side = 0; side < 2; ++side) {
        if (bytes.size() - at < 4) return std::string("state header cut short");
        const std::uint64_t pins = wordAt(bytes, at);
        if (pins > (bytes.size() - at - 4) / 8) return std::string("state header cut short");
        at += 4 + 8 * static_cast<std::size_t>(pins);
    }
    if (bytes.size() - at < 12) return std::string("state header cut short");
    const std::size_t size = wordAt(bytes, at);
    at += 12;
    if (bytes.size() - at < size) return "state size " + std::to_string(size) + " runs past the data";
    if (vst3 && size > 0 && !isVst3Frame(bytes, at, size)) return std::string("VST3 state halves do not fill the state");
    at += size;
    const std::size_t rest = bytes.size() - at;
    // REAPER's own plug-ins are written with the tail 00 00 10 00 00 00.
    static const std::uint8_t kReaperTail[] = {0, 0, 0x10, 0, 0, 0};
    if (rest == 6 && std::equal(bytes.begin() + at, bytes.end(), kReaperTail)) return std::nullopt;
    if (rest < 6 || bytes[at] != 0 || wordAt(bytes, bytes.size() - 4) != 0 || bytes[bytes.size() - 5] != 0 ||
        std::find(bytes.begin() + at + 1, bytes.end() - 5, 0) != bytes.end() - 5) {
        return std::string("state tail is not a program name between zeros");
    }
    return std::nullopt;
}

// The base64 of a block whose lines are data: a <VST slot's, a CLAP <STATE.
struct DataBlock {
    bool isVst = false;
    bool vst3 = false;
    std::vector<std::uint8_t> bytes;
};

}  // namespace

std::optional<std::string> checkProjectText(std::string_view text, int startDepth) {
    std::vector<std::size_t> openedOn;  // line numbers of the open blocks
    std::vector<std::optional<DataBlock>> data;  // per open block: its data, when its lines are base64
    int depth = startDepth;
    bool topSeen = false;
    std::size_t number = 0;
    std::size_t at = 0;
    while (at < text.size()) {
        ++number;
        const std::size_t end = text.find('\n', at);
        if (end == std::string_view::npos) return atLine(number, "no line feed at the end");
        const std::string_view line = text.substr(at, end - at);
        at = end + 1;

        if (line.find('\r') != std::string_view::npos) return atLine(number, "carriage return");
        if (std::optional<std::string> problem = characterProblem(line)) return atLine(number, *problem);
        const std::size_t blanks = std::min(line.find_first_not_of(' '), line.size());
        const std::string_view rest = line.substr(blanks);
        if (rest.empty()) return atLine(number, "empty line");

        if (rest[0] == '>') {
            if (rest.size() > 1) return atLine(number, "text after \">\"");
            if (depth <= startDepth) return atLine(number, "\">\" closes no open block");
            --depth;
            openedOn.pop_back();
            if (blanks != std::size_t(2 * depth))
                return atLine(number, "\">\" indented by " + std::to_string(blanks) +
                                          " blanks, expected " + std::to_string(2 * depth));
            if (!data.empty() && data.back() && data.back()->isVst) {
                if (std::optional<std::string> problem = vstStateProblem(data.back()->bytes, data.back()->vst3))
                    return atLine(number, *problem);
            }
            if (!data.empty()) data.pop_back();
            continue;
        }
        if (blanks != std::size_t(2 * depth))
            return atLine(number, "indented by " + std::to_string(blanks) + " blanks, expected " +
                                      std::to_string(2 * depth));
        if (depth == 0) {
            if (rest[0] != '<') return atLine(number, "statement outside the project block");
            if (topSeen) return atLine(number, "a second top-level block");
            topSeen = true;
        }
        // Notes lines ("|...") are free text; everything else is read in arguments.
        if (rest[0] != '|' && !argumentsOf(rest)) return atLine(number, "quote not closed");
        if (rest[0] == '<') {
            if (rest.size() == 1 || rest[1] == ' ') return atLine(number, "block without a keyword");
            openedOn.push_back(number);
            ++depth;
            const std::vector<std::string_view> arguments = *argumentsOf(rest.substr(1));
            std::optional<DataBlock> block;
            if (arguments[0] == "VST" || arguments[0] == "STATE") {
                block = DataBlock{arguments[0] == "VST", false, {}};
                block->vst3 = arguments.size() > 5 && arguments[5].find('{') != std::string_view::npos;
            }
            data.push_back(std::move(block));
        } else if (!data.empty() && data.back()) {
            if (!isBase64Line(rest)) return atLine(number, "not a line of base64");
            const std::vector<std::uint8_t> bytes = base64Decode(rest);
            data.back()->bytes.insert(data.back()->bytes.end(), bytes.begin(), bytes.end());
        }
    }
    if (!openedOn.empty())
        return "block opened on line " + std::to_string(openedOn.back()) + " is not closed";
    if (startDepth == 0 && !topSeen) return std::string("no project block");
    return std::nullopt;
}
