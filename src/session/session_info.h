// The values that concern the session as a whole: who saved it, its rate and
// file format, pan depth, timecode, colour coding, click, grid and nudge, video.
// Each comes from one small reader; a reader that finds nothing leaves the
// "not found" value and never stops the conversion.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "session/blocks.h"

// A Bars|Beats|Ticks amount as the session shows it, e.g. "   1| 0| 000".
struct BarsBeatsTicks {
    int32_t bars = 0;
    int32_t beats = 0;
    int32_t ticks = 0;
};

struct SessionInfo {
    uint8_t versionByte = 0;
    int64_t sampleRate = 48000;

    std::string savedByProduct;  // e.g. "Pro Tools Ultimate"; empty when not stored
    std::string savedByVersion;  // e.g. "2023.6.0"; empty when not stored
    std::string savedByOs;       // "Windows" or "MacOS"; empty when not stored
    int32_t savedByMajor = -1;
    bool savedAt2020_11OrLater = true;

    uint8_t fileTypeCode = 0;  // 3 WAV, 4 AIFF
    int32_t panDepthCode = -1;
    bool floatSamples = false;  // counts only at a bit depth of 32
    int32_t bitDepth = -1;

    int32_t timecodeRateCode = -1;
    uint32_t sessionStartFrames = 0;
    bool timecodeWideFound = false;  // the layout behind the text was present
    int32_t timecodeRateCodeWide = -1;
    uint32_t sessionStartFramesWide = 0;

    int32_t trackColorCoding = -1;
    int32_t clipColorCoding = -1;
    int32_t clickState = -1;  // 1 on, 0 off, -1 unknown
    std::optional<BarsBeatsTicks> gridBarsBeatsTicks;
    std::optional<BarsBeatsTicks> nudgeBarsBeatsTicks;
    int32_t videoQuality = -1;
    double videoFrameRate = 0;
};

// Reads every value. sampleRate and versionByte are the session file's own;
// a rate not above 0 counts as 48000.
SessionInfo readSessionInfo(const SessionImage& image, int64_t sampleRate, uint8_t versionByte);

// One row of the timecode rates: the code stored behind the text, the narrow
// code, the multiple of the narrow rate, and the rate's names.
struct TimecodeRateRow {
    int32_t wideCode;
    int32_t baseCode;
    int32_t factor;
    const char* shortName;
    const char* longName;
    // For the drop-frame rates REAPER cannot show, the rate's number; else "".
    const char* dropNumber;
};
constexpr int kTimecodeRateRowCount = 19;
extern const TimecodeRateRow kTimecodeRateRows[kTimecodeRateRowCount];

// The session's timecode rate and Session Start, resolved against the rates.
struct SessionTimecode {
    const TimecodeRateRow* row = nullptr;  // null: the rate has no long name
    double baseRate = 30;
    int32_t baseIntegerRate = 30;
    int32_t factor = 1;        // the row's factor above 1, otherwise 1
    double rate = 30;          // baseRate x factor
    int32_t integerRate = 30;  // baseIntegerRate x factor
    const char* shortName = "30";
    double startSeconds = 0;
};
SessionTimecode sessionTimecode(const SessionInfo& info);

// The pan law in dB for a Pan Depth code; -3.0 for any code not known.
double panLawDb(int32_t panDepthCode);

// Says the pan law note: the law read from a code other than the default, or
// the warning for a code this build does not know. Says nothing otherwise.
void sayPanDepthNote(const SessionInfo& info);

// Says the closing note for a session saved by a version other than 12.5.
void saySavedByNote(const SessionInfo& info);

// Names of the colour coding schemes; "" for a code without a name.
const char* trackColorCodingName(int32_t code);
const char* clipColorCodingName(int32_t code);

// "" for full quality, "Draft", or "a reduced quality".
const char* videoQualityWord(int32_t videoQuality);

// The edit grid in quarter notes under the first meter n/d, or 0 when there is
// no grid or it is not above 0 and below 1000.
double gridQuarterNotes(const SessionInfo& info, int32_t numerator, int32_t denominator);
