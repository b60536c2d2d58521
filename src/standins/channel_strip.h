// Avid's Channel Strip, and Clip Effects (the same processor on a clip), as a
// chain of REAPER's own plug-ins: polarity, input trim, EQ, filters,
// expander or gate, compressor and fader, in that order.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "standins/standin.h"

struct StripBand {
    bool in = true;
    bool shelf = false;  // "EQ Low" and "EQ High" only
    double gainDb = 0.0;
    double frequency = 1000.0;
    double q = 1.0;
};

struct StripFilter {
    bool in = false;
    int type = 0;  // 0 high-pass, 1 low-pass, 2 band-pass, 3 and above notch
    double frequency = 1000.0;
    double q = 1.0;
    bool slope24 = false;
};

struct ChannelStripSettings {
    std::string name = "Channel Strip";  // also "Clip Effects"; first part of slot names
    bool phaseOn = false;
    double inputTrimDb = 0.0;
    bool eqOn = true;
    bool hasEq = true;
    bool filtersOn = true;
    bool hasFilters = true;
    bool dynamicsOn = true;
    StripBand bands[4];  // Low, Low-Mid, High-Mid, High
    StripFilter filters[2];
    bool expIn = true;
    double expRatio = 1.0;  // 1:x
    double expThresholdDb = -80.0;
    double expAttackMs = 0.0;
    double expReleaseMs = 200.0;
    double expHoldMs = 1.0;
    double expKneeDb = 0.0;
    double expDepthDb = -36.0;
    double expHysteresisDb = 0.0;
    bool expRatioBeyond = false;  // the ratio lies past what was sampled
    bool expHoldSet = false;      // a hold the expander can't carry
    bool expHysteresisLost = false;
    bool expHysteresisKnown = true;
    bool cmpIn = true;
    double cmpRatio = 1.0;  // x:1
    double cmpThresholdDb = -24.0;
    double cmpAttackMs = 0.0;
    double cmpReleaseMs = 200.0;
    double cmpKneeDb = 0.0;
    double cmpMakeupDb = 0.0;
    bool cmpRatioBeyond = false;
    bool cmpDepthSet = false;
    bool scFilterIn = true;
    int scFilterType = 0;  // 0 high-pass, 1 low-pass, others band-pass or notch
    double scFilterHz = 20.0;
    int scSource = 0;  // 1 key, 2 all linked
    bool scDetector = true;
    double faderDb = 0.0;
    bool faderActive = false;
    bool clipFaderSet = false;
    bool orderChanged = false;
    bool rangeChanged = false;
    bool held = false;  // a value outside any setting the processor offers was held to its range
};

using StripControls = std::map<std::string, double>;
using ClipEffectsList = std::vector<std::pair<std::string, double>>;

// The named controls of an "elck" chunk's data: "d_" items (big-endian
// doubles) and "l_" items (big-endian integers). Empty when it holds none.
StripControls parseElckControls(const uint8_t* data, size_t size);
// True when the controls are a Channel Strip's state: "Cmp Ratio", "EQ Low
// Gain", "Filter 2 Type" and "Sc Source" all stand.
bool isChannelStripState(const StripControls& controls);

// Channel Strip's controls, in real units.
ChannelStripSettings readChannelStrip(const StripControls& controls);
// A clip's Clip Effects, normalised from 0 to 1.
ChannelStripSettings readClipEffects(const ClipEffectsList& list);

// The default of a Clip Effects control; false for a name outside the table.
bool clipEffectsDefault(const std::string& name, double& value);

// What a clip's stored list asks for: effects (a control other than the
// polarity switch moved from its default, or a processing order), and the
// polarity switch on.
struct ClipEffectsUse {
    bool effects = false;
    bool polarity = false;
};
ClipEffectsUse clipEffectsUse(const ClipEffectsList& list);

// All slots of the strip. splitPair: a clip on one side of a split stereo
// pair; place.keyWired: a key input reaches the slot. The sections written
// ("EQ", "compressor", ...) are added to sections, in chain order.
StandinResult writeChannelStrip(const ChannelStripSettings& strip, bool splitPair, const StandinPlace& place,
                                std::vector<std::string>& sections);

// What the Clip Effects blocks of a run add up to.
struct ClipEffectsTally {
    int clips = 0;  // clips given a block
    std::map<std::string, int> notes;     // clips by note
    std::map<std::string, int> sections;  // clips by section
};

// The slots of a clip's effects at eight blanks' depth, for its <TAKEFX
// block; the empty text when no section is written. seedBase: the clip's
// running number * 16 + 0x43460000. A clip given slots is counted in tally.
std::string clipEffectsSlots(const ClipEffectsList& list, bool splitPair, uint32_t seedBase, double sampleRate,
                             ClipEffectsTally& tally);
