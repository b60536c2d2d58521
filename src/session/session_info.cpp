#include "session/session_info.h"

#include <cmath>
#include <cstring>

#include "cli/console.h"

const TimecodeRateRow kTimecodeRateRows[kTimecodeRateRowCount] = {
    {9, 9, 1, "23.976", "23.976 fps", ""},
    {1, 1, 1, "24", "24 fps", ""},
    {2, 2, 1, "25", "25 fps", ""},
    {3, 3, 1, "29.97", "29.97 fps", ""},
    {5, 5, 1, "29.97 drop", "29.97 fps drop frame", ""},
    {7, 7, 1, "30", "30 fps", ""},
    {8, 8, 1, "30 drop", "30 fps drop frame", "30"},
    {15, 9, 2, "47.952", "47.952 fps", ""},
    {16, 1, 2, "48", "48 fps", ""},
    {10, 2, 2, "50", "50 fps", ""},
    {11, 3, 2, "59.94", "59.94 fps", ""},
    {12, 5, 2, "59.94 drop", "59.94 fps drop frame", "59.94"},
    {13, 7, 2, "60", "60 fps", ""},
    {14, 8, 2, "60 drop", "60 fps drop frame", "60"},
    {17, 2, 4, "100", "100 fps", ""},
    {18, 3, 4, "119.88", "119.88 fps", ""},
    {19, 5, 4, "119.88 drop", "119.88 fps drop frame", "119.88"},
    {20, 7, 4, "120", "120 fps", ""},
    {21, 8, 4, "120 drop", "120 fps drop frame", "120"},
};

namespace {

constexpr uint16_t kSessionHeader = 0x1028;
constexpr uint16_t kTimecode = 0x204D;
constexpr uint16_t kClick = 0x2055;
constexpr uint16_t kGridAndNudge = 0x2066;
constexpr uint16_t kColorCoding = 0x20A2;
constexpr uint16_t kVideoQuality = 0x270A;
constexpr uint16_t kTrackList = 0x2519;
constexpr uint16_t kSavedBy = 0x0003;
constexpr uint32_t kMaxSavedByNumbers = 8;

uint32_t blockSizeAt(const ImageView& view, uint64_t z) { return view.u32(z + 3); }
// Just behind the block headed at z.
uint64_t blockEnd(const ImageView& view, uint64_t z) { return z + 7 + blockSizeAt(view, z); }

bool isDigit(uint8_t byte) { return byte >= '0' && byte <= '9'; }

// Decimal digits from the start of text, clamped to the i32 range.
int32_t leadingNumber(const std::string& text, size_t from) {
    int64_t value = 0;
    for (size_t i = from; i < text.size() && isDigit(static_cast<uint8_t>(text[i])); ++i) {
        value = value * 10 + (text[i] - '0');
        if (value > INT32_MAX) return INT32_MAX;
    }
    return static_cast<int32_t>(value);
}

bool isVersionText(const std::string& text) {
    if (text.empty() || !isDigit(static_cast<uint8_t>(text[0]))) return false;
    for (char c : text) {
        if (!isDigit(static_cast<uint8_t>(c)) && c != '.') return false;
    }
    return true;
}

bool isProductText(const std::string& text) { return text == "Pro Tools" || text.compare(0, 10, "Pro Tools ") == 0; }

// The saved-by block (0x0003): a top-level block near the image's end (at its
// start in Pro Tools 10 sessions). From +10: the product text ("Pro Tools",
// "Pro Tools Ultimate"), a u32 count and that many u32 version numbers, the
// version text; then one byte and the build kind ("Release"), one byte and the
// file kind, two bytes and the operating system. Texts are a u32 length and
// the bytes. The first block that holds a product and a version counts.
void readSavedBy(const SessionImage& image, SessionInfo& info) {
    const ImageView& view = image.view;
    for (uint64_t z : image.scan(kSavedBy)) {
        ImageView block{view.bytes, blockEnd(view, z)};  // texts must end inside the block
        std::optional<std::string> product = readName(block, z + 10, 2, 64);
        if (!product || !isProductText(*product)) continue;
        uint64_t q = z + 14 + product->size();
        const uint32_t numbers = block.u32(q);
        if (numbers > kMaxSavedByNumbers) continue;
        q += 4 + 4 * uint64_t{numbers};
        std::optional<std::string> version = readName(block, q, 1, 64);
        if (!version || !isVersionText(*version)) continue;
        info.savedByProduct = *product;
        info.savedByVersion = *version;
        q += 4 + version->size();
        // The three texts behind, each after its lead bytes; the last is the system.
        for (uint64_t lead : {1, 1, 2}) {
            std::optional<std::string> text = readName(block, q + lead, 1, 64);
            if (!text) break;
            if (lead == 2) info.savedByOs = *text;
            q += lead + 4 + text->size();
        }
        break;
    }
    if (info.savedByVersion.empty()) return;

    const std::string& version = info.savedByVersion;
    info.savedByMajor = leadingNumber(version, 0);
    size_t dot = version.find('.');
    int32_t minor = dot == std::string::npos ? 0 : leadingNumber(version, dot + 1);
    info.savedAt2020_11OrLater = info.savedByMajor > 2020 || (info.savedByMajor == 2020 && minor > 10);
}

// File type, pan depth and sample format. Each value takes the first header
// block long enough to hold it.
// Where the pan depth, float flag and bit depth stand: they follow the folder
// path the header holds (a count at +21, then length-prefixed names from +25),
// so their place moves with the path. Without a readable path they stand at
// +118, +119 and +121, where a path of the usual length leaves them.
uint64_t headerFormatBase(const ImageView& view, uint64_t z, uint64_t end) {
    const uint64_t fixedBase = z + 112;
    uint32_t count = view.u32(z + 21);
    if (!view.holds(z + 25, 0) || count == 0 || count > 64) return fixedBase;
    uint64_t at = z + 25;
    for (uint32_t k = 0; k < count; ++k) {
        uint32_t length = view.u32(at);
        if (length > 1024 || at + 4 + length > end) return fixedBase;
        at += 4 + uint64_t{length};
    }
    return at;
}

void readSessionHeader(const SessionImage& image, SessionInfo& info) {
    const ImageView& view = image.view;
    bool fileType = false, panDepth = false, format = false;
    for (uint64_t z : image.scan(kSessionHeader)) {
        const uint64_t end = z + 7 + uint64_t{blockSizeAt(view, z)};
        if (!fileType && blockSizeAt(view, z) >= 4) {
            info.fileTypeCode = view.u8(z + 9);
            fileType = true;
        }
        const uint64_t base = headerFormatBase(view, z, end);
        if (!panDepth && base + 6 < end) {
            info.panDepthCode = view.u8(base + 6);
            panDepth = true;
        }
        if (!format && base + 9 < end) {
            info.floatSamples = view.u8(base + 7) != 0;
            info.bitDepth = view.u8(base + 9);
            format = true;
        }
        if (fileType && panDepth && format) break;
    }
}

// The timecode rate and Session Start in frames; rates above 30 are stored
// again behind a text, with the start counted at the full rate.
void readTimecode(const SessionImage& image, SessionInfo& info) {
    const ImageView& view = image.view;
    for (uint64_t z : image.scan(kTimecode)) {
        if (blockSizeAt(view, z) < 22) continue;
        info.timecodeRateCode = view.i32(z + 9);
        info.sessionStartFrames = view.u32(z + 18);
        uint64_t end = blockEnd(view, z);
        if (z + 38 <= end) {
            uint32_t textLength = view.u32(z + 34);
            uint64_t wide = z + 38 + textLength;
            if (textLength <= 64 && wide + 8 <= end) {
                info.timecodeWideFound = true;
                info.timecodeRateCodeWide = view.i32(wide);
                info.sessionStartFramesWide = view.u32(wide + 4);
            }
        }
        return;
    }
}

// One colour coding byte: behind the child block at +9 when there is one,
// otherwise at the fixed offset. -1 when the byte lies outside the block.
int32_t colorCodingByte(const ImageView& view, uint64_t z, uint64_t behindChild, uint64_t fixedOffset) {
    uint64_t end = blockEnd(view, z);
    uint32_t childSize = view.u32(z + 12);
    if (z + 18 <= end && view.u8(z + 9) == 'Z' && view.u8(z + 11) == 0 && childSize != 0 &&
        z + 16 + childSize < end) {
        uint64_t at = z + 16 + childSize + behindChild;
        return at < end ? view.u8(at) : -1;
    }
    return view.u8(z + fixedOffset);
}

void readColorCoding(const SessionImage& image, SessionInfo& info) {
    const ImageView& view = image.view;
    bool track = false, clip = false;
    for (uint64_t z : image.scan(kColorCoding)) {
        uint32_t size = blockSizeAt(view, z);
        if (!track && size >= 30) {
            info.trackColorCoding = colorCodingByte(view, z, 0, 36);
            track = true;
        }
        if (!clip && size >= 32) {
            info.clipColorCoding = colorCodingByte(view, z, 2, 38);
            clip = true;
        }
        if (track && clip) break;
    }
}

void readClick(const SessionImage& image, SessionInfo& info) {
    const ImageView& view = image.view;
    for (uint64_t z : image.scan(kClick)) {
        if (blockSizeAt(view, z) != 31) continue;
        uint8_t state = view.u8(z + 29);
        info.clickState = state == 1 ? 1 : state == 0 ? 0 : -1;
        return;
    }
}

// Spaces, then 1 to 7 digits; the number, or -1 when the form does not hold.
int32_t readSpacedNumber(const ImageView& view, uint64_t& at, uint64_t end, int maxDigits) {
    while (at < end && view.u8(at) == ' ') ++at;
    int digits = 0;
    int32_t value = 0;
    while (at < end && isDigit(view.u8(at))) {
        if (++digits > maxDigits) return -1;
        value = value * 10 + (view.u8(at) - '0');
        ++at;
    }
    return digits == 0 ? -1 : value;
}

// A token "bars|beats|ticks" starting at `at` (leading spaces allowed, ticks
// exactly 3 digits); its end goes to `at` on success.
bool readBarsBeatsTicks(const ImageView& view, uint64_t& at, uint64_t end, BarsBeatsTicks& token) {
    uint64_t p = at;
    int32_t bars = readSpacedNumber(view, p, end, 7);
    if (bars < 0 || p >= end || view.u8(p) != '|') return false;
    ++p;
    int32_t beats = readSpacedNumber(view, p, end, 7);
    if (beats < 0 || p >= end || view.u8(p) != '|') return false;
    ++p;
    while (p < end && view.u8(p) == ' ') ++p;
    for (int i = 0; i < 3; ++i) {
        if (p + static_cast<uint64_t>(i) >= end || !isDigit(view.u8(p + i))) return false;
    }
    if (p + 3 < end && isDigit(view.u8(p + 3))) return false;
    token.bars = bars;
    token.beats = beats;
    token.ticks = (view.u8(p) - '0') * 100 + (view.u8(p + 1) - '0') * 10 + (view.u8(p + 2) - '0');
    at = p + 3;
    return true;
}

// The first two Bars|Beats|Ticks texts of the block: the nudge, then the grid.
void readGridAndNudge(const SessionImage& image, SessionInfo& info) {
    const ImageView& view = image.view;
    for (uint64_t z : image.scan(kGridAndNudge)) {
        uint32_t size = blockSizeAt(view, z);
        if (size < 24 || size > 4000) continue;
        uint64_t body = z + 9;
        uint64_t end = blockEnd(view, z);
        BarsBeatsTicks found[2];
        int count = 0;
        for (uint64_t at = body; at < end && count < 2;) {
            if (at > body && (isDigit(view.u8(at - 1)) || view.u8(at - 1) == ' ')) {
                ++at;
                continue;
            }
            if (!readBarsBeatsTicks(view, at, end, found[count])) {
                ++at;
                continue;
            }
            ++count;
        }
        if (count == 2) {
            info.nudgeBarsBeatsTicks = found[0];
            info.gridBarsBeatsTicks = found[1];
        }
        return;
    }
}

void readVideoQuality(const SessionImage& image, SessionInfo& info) {
    const ImageView& view = image.view;
    for (uint64_t z : image.scan(kVideoQuality)) {
        if (z + 13 >= blockEnd(view, z)) continue;
        info.videoQuality = view.u8(z + 13);
        return;
    }
}

// The video frame rate stored with the track list: the first plausible double
// near one of the known picture rates.
void readVideoFrameRate(const SessionImage& image, SessionInfo& info) {
    static const double kRates[] = {23.976, 24, 25, 29.97, 30, 47.952, 48, 50, 59.94};
    const ImageView& view = image.view;
    for (uint64_t z : image.scan(kTrackList)) {
        if (blockSizeAt(view, z) < 12) continue;
        uint64_t exponent = (view.u64(z + 11) >> 52) & 0x7FF;
        if (exponent == 0 || exponent == 0x7FF) continue;
        double v = view.f64(z + 11);
        if (!(v > 1 && v < 1000)) continue;
        for (double r : kRates) {
            if (std::fabs(v - r) < 0.005 * r) {
                info.videoFrameRate = v;
                return;
            }
        }
    }
}

}  // namespace

SessionInfo readSessionInfo(const SessionImage& image, int64_t sampleRate, uint8_t versionByte) {
    SessionInfo info;
    info.versionByte = versionByte;
    info.sampleRate = sampleRate > 0 ? sampleRate : 48000;
    readSavedBy(image, info);
    readSessionHeader(image, info);
    readTimecode(image, info);
    readColorCoding(image, info);
    readClick(image, info);
    readGridAndNudge(image, info);
    readVideoQuality(image, info);
    readVideoFrameRate(image, info);
    return info;
}

SessionTimecode sessionTimecode(const SessionInfo& info) {
    SessionTimecode timecode;
    switch (info.timecodeRateCode) {
        case 1: timecode.baseRate = 24; timecode.baseIntegerRate = 24; timecode.shortName = "24"; break;
        case 2: timecode.baseRate = 25; timecode.baseIntegerRate = 25; timecode.shortName = "25"; break;
        case 3: timecode.baseRate = 30000.0 / 1001; timecode.shortName = "29.97"; break;
        case 5: timecode.baseRate = 30000.0 / 1001; timecode.shortName = "29.97 drop"; break;
        case 8: timecode.shortName = "30 drop"; break;
        case 9:
            timecode.baseRate = 24000.0 / 1001;
            timecode.baseIntegerRate = 24;
            timecode.shortName = "23.976";
            break;
        default: break;  // 30 fps
    }
    for (const TimecodeRateRow& row : kTimecodeRateRows) {
        if (row.baseCode != info.timecodeRateCode) continue;
        if (info.timecodeWideFound) {
            if (row.wideCode != info.timecodeRateCodeWide) continue;
            if (info.sessionStartFramesWide / static_cast<uint32_t>(row.factor) != info.sessionStartFrames) continue;
        } else if (row.factor != 1) {
            continue;
        }
        timecode.row = &row;
        timecode.shortName = row.shortName;
        break;
    }
    timecode.rate = timecode.baseRate;
    timecode.integerRate = timecode.baseIntegerRate;
    timecode.startSeconds = info.sessionStartFrames / timecode.baseRate;
    if (timecode.row && timecode.row->factor > 1) {
        timecode.factor = timecode.row->factor;
        timecode.rate = timecode.baseRate * timecode.factor;
        timecode.integerRate = timecode.baseIntegerRate * timecode.factor;
        timecode.startSeconds = info.sessionStartFramesWide / timecode.rate;
    }
    return timecode;
}

double panLawDb(int32_t panDepthCode) {
    switch (panDepthCode) {
        case 1: return -2.5;
        case 3: return -4.5;
        case 4: return -6.0;
        default: return -3.0;
    }
}

void sayPanDepthNote(const SessionInfo& info) {
    int32_t code = info.panDepthCode;
    if (code < 0 || code == 2) return;  // not stored, or Pro Tools' default
    if (code > 4 || code == 0) {
        say("  *** Pan Depth enum %d is not one this build knows.\n"
            "      PANLAW was written as -3.0 dB, Pro Tools' default.\n"
            "      Check Setup > Pan Depth against REAPER's pan law.\n",
            code);
        return;
    }
    say("  Pan law: %.1f dB, read from the session's Pan Depth\n"
        "      setting (Pro Tools' own default is -3.0 dB).\n",
        panLawDb(code));
}

void saySavedByNote(const SessionInfo& info) {
    if (info.savedByMajor <= 0 || info.savedByVersion.compare(0, 4, "12.5") == 0) return;
    say("  NOTE: the sessions this tool is tested against were all saved\n"
        "      by Pro Tools 12.5. %s is outside that.\n",
        info.savedByVersion.c_str());
}

const char* trackColorCodingName(int32_t code) {
    static const char* const kNames[] = {"None", "Tracks and MIDI Channels", "Tracks and MIDI Devices", "Groups",
                                         "Track Type"};
    return code >= 0 && code <= 4 ? kNames[code] : "";
}

const char* clipColorCodingName(int32_t code) {
    static const char* const kNames[] = {"None",       "Tracks and MIDI Channels", "Tracks and MIDI Devices",
                                         "Groups",     "Track Type",               "Track Color",
                                         "Marker Locations", "Clip List Color"};
    return code >= 0 && code <= 7 ? kNames[code] : "";
}

const char* videoQualityWord(int32_t videoQuality) {
    if (videoQuality <= 1) return "";
    return videoQuality == 3 ? "Draft" : "a reduced quality";
}

double gridQuarterNotes(const SessionInfo& info, int32_t numerator, int32_t denominator) {
    if (!info.gridBarsBeatsTicks || denominator <= 0) return 0;
    const BarsBeatsTicks& grid = *info.gridBarsBeatsTicks;
    double quarters = static_cast<double>(grid.bars) * numerator * 4.0 / denominator +
                      grid.beats * 4.0 / denominator + grid.ticks / 960.0;
    return quarters > 0 && quarters < 1000 ? quarters : 0;
}
