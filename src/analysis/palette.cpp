#include "analysis/palette.h"

#include <cmath>
#include <cstdlib>

namespace {

// The lower rows of the palette, 0xBBGGRR: index v reads row v / 24 - 1, position v mod 24 - 1.
constexpr uint32_t kSwatches[3][23] = {
    {0xFC002C, 0xFC0056, 0xFC0088, 0xFC00BF, 0xC000BE, 0x8800BD, 0x5400BD, 0x0D00BC, 0x0D1EBD, 0x0E52BD, 0x1189BE, 0x14C5C0,
     0x11C589, 0x10C657, 0x0FC62E, 0x0EC61C, 0x54C61E, 0x88C420, 0xC1C323, 0xFDC127, 0xFC8421, 0xFC4A1C, 0xFC0019},
    {0xA3001E, 0xA30037, 0xA30055, 0xA40074, 0x89007C, 0x66007B, 0x46007A, 0x0B007A, 0x0B127A, 0x0C317A, 0x0D517B, 0x108089,
     0x0E8066, 0x0D8048, 0x0C802D, 0x0C8018, 0x338015, 0x517F16, 0x7E8C1A, 0xA48D1D, 0xA46919, 0xA34616, 0xA32314},
    {0x5F0014, 0x5F0021, 0x5F0031, 0x5F0041, 0x57004B, 0x420047, 0x310047, 0x0B0047, 0x0B0C47, 0x0B1C47, 0x0C2C47, 0x0F4D57,
     0x0C4A42, 0x0C4A32, 0x0C4A23, 0x0B4B15, 0x1D4A0F, 0x2C4A0F, 0x4C5914, 0x5F5916, 0x5F4714, 0x5F3513, 0x5F2211},
};

// The measured clip bodies of the first palette row; 0 where none is measured.
constexpr uint32_t kClipFirstRows[24] = {
    0xECB4BE, 0, 0xECB4D2, 0, 0xDBB1DA, 0, 0xC3B0DA, 0, 0xABB1E4, 0, 0xADD3E4, 0,
    0xADE7D3, 0, 0xACE6B5, 0, 0xC3E7B1, 0, 0xE5E6B3, 0, 0xFAD3B3, 0, 0xF9A8B1, 0,
};

constexpr int32_t kRowCycle[16] = {93, 87, 75, 57, 90, 84, 73, 78, 94, 81, 51, 65, 54, 69, 60, 66};

// Clip tints of palette indices 51 to 94, by index - 51; 0 where none is measured.
constexpr struct {
    int32_t index;
    uint32_t tint;
} kClipTints[] = {
    {51, 0xE3A0C4}, {54, 0xCCA2D5}, {57, 0xA2A5D8}, {60, 0xA2D9DE}, {65, 0xB4DAA6}, {66, 0xC3DAA6},
    {69, 0xE9CCA5}, {73, 0xD48B9B}, {75, 0xD48BB0}, {78, 0xC290C7}, {81, 0x9191C9}, {84, 0x90C9D3},
    {87, 0x90CBA7}, {90, 0xAECA93}, {93, 0xD7C090}, {94, 0xD8AF90},
};

// Measured Classic tint to Dark tint, red in the high byte (0xRRGGBB).
constexpr struct {
    uint32_t classic;
    uint32_t dark;
} kDarkTints[] = {
    {0x90C0D7, 0x243A44}, {0xA5CCE9, 0x233C4D}, {0xC99191, 0x412525}, {0xD3C990, 0x433D24}, {0x93CAAE, 0x244133},
    {0x9B8BD4, 0x2C2445}, {0xA6DAB4, 0x25492F}, {0xB08BD4, 0x342443}, {0xA7CB90, 0x2E4123}, {0xD8A5A2, 0x482623},
};

uint32_t channel(uint32_t colour, int shift) { return (colour >> shift) & 0xFF; }

uint32_t swapRedBlue(uint32_t colour) {
    return (channel(colour, 0) << 16) | (channel(colour, 8) << 8) | channel(colour, 16);
}

uint32_t clampRound(double value) {
    const double rounded = std::floor(value + 0.5);
    return rounded < 0 ? 0 : rounded > 255 ? 255 : static_cast<uint32_t>(rounded);
}

// Applies one formula to each channel.
template <typename Step>
uint32_t eachChannel(uint32_t colour, Step step) {
    return (step(channel(colour, 16)) << 16) | (step(channel(colour, 8)) << 8) | step(channel(colour, 0));
}

}  // namespace

bool onTrackPalette(int64_t index) { return index >= 25 && index <= 95 && index % 24 != 0; }

PaletteColour paletteColour(int32_t index) {
    if (onTrackPalette(index)) return {kColourFlag | kSwatches[index / 24 - 1][index % 24 - 1], ColourClass::measured};
    if (index >= 1 && index <= 23) {
        if (index == 1) return {kColourFlag | 0xECB4BE, ColourClass::measured};
        if (index == 3) return {kColourFlag | 0xECB4D2, ColourClass::measured};
        const uint32_t lighter =
            eachChannel(kSwatches[0][index - 1], [](uint32_t c) { return (255 - c) * 2 / 5 + c; });
        return {kColourFlag | lighter, ColourClass::derived};
    }
    const int64_t a = std::llabs(static_cast<int64_t>(index));
    const uint32_t red = static_cast<uint32_t>(a * 73 % 200 + 40);
    const uint32_t green = static_cast<uint32_t>(a * 149 % 200 + 40);
    const uint32_t blue = static_cast<uint32_t>(a * 211 % 200 + 40);
    return {kColourFlag | (blue << 16) | (green << 8) | red, ColourClass::invented};
}

PaletteColour clipColour(int32_t index) {
    if (index >= 1 && index <= 47) {
        const uint32_t body = kClipFirstRows[(index - 1) % 24];
        if (body != 0) return {kColourFlag | body, ColourClass::measured};
        if (index <= 23) return {0, ColourClass::unknown};
    }
    return paletteColour(index);
}

uint32_t darkClipColour(int32_t index, DarkCounts& counts) {
    if (index < 1 || (index - 1) % 24 == 23) return 0;
    const int32_t position = index - ((index - 1) / 24) * 24;
    const uint32_t measured = position == 1    ? 0x5A242F
                              : position == 3  ? 0x592541
                              : position == 7  ? 0x382651
                              : position == 11 ? 0x254551
                                               : 0;
    if (measured != 0) {
        ++counts.measured;
        return measured;
    }
    ++counts.derived;
    return eachChannel(kSwatches[0][(index - 1) % 24], [](uint32_t c) { return clampRound(c * 0.22 + 36); });
}

uint32_t darkTint(uint32_t tint, DarkCounts& counts) {
    const uint32_t asStored = swapRedBlue(tint & 0xFFFFFF);
    for (const auto& pair : kDarkTints) {
        if (pair.classic == asStored) {
            ++counts.measured;
            return swapRedBlue(pair.dark);
        }
    }
    ++counts.derived;
    return eachChannel(tint, [](uint32_t c) { return clampRound(c * 0.487 - 35); });
}

uint32_t displayStep(uint32_t colour) {
    return eachChannel(colour, [](uint32_t c) { return clampRound((c - 18.9) / 0.275); });
}

int32_t rowCycleIndex(int64_t step) { return kRowCycle[((step % 16) + 16) % 16]; }

uint32_t clipTint(int32_t index) {
    for (const auto& entry : kClipTints) {
        if (entry.index == index) return entry.tint;
    }
    return 0;
}
