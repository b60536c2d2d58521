// The fade table: one small record per fade block (0x262F) giving the fade's
// kind, extent and shape. A playlist placement flagged as a fade names a record
// by its number in this table; the placement's position is the fade's anchor.
#pragma once

#include <cstdint>
#include <vector>

#include "session/blocks.h"

constexpr int32_t kFadeNotUnderstood = 0;
constexpr int32_t kCrossfade = 1;
constexpr int32_t kFadeOut = 2;
constexpr int32_t kFadeIn = 3;

// `lead` and `length` count samples on a sample-based track and ticks on a
// tick-based one; they are distances and carry no bias.
struct FadeRecord {
    int32_t kind = kFadeNotUnderstood;  // kCrossfade, kFadeOut, kFadeIn or kFadeNotUnderstood
    double lead = 0;                    // the part of the fade before its anchor
    double length = 0;                  // the whole fade: length - lead lies behind the anchor
    int32_t shape = 0;                  // the stored shape byte: 1 names one base curve, any other the other
    uint8_t isSCurve = 0;               // 1 for an S-curve
};

// Every fade block of the image in file order, those not understood included as
// place-holders, so that a record's number is its index. Not called under
// --no-fades; the table then stays empty.
std::vector<FadeRecord> readFades(const SessionImage& image);

// The record a fade placement names, or nullptr when its number lies past the
// table or the record is not understood (both counted by the fade binding).
const FadeRecord* understoodFade(const std::vector<FadeRecord>& fades, uint32_t number);
