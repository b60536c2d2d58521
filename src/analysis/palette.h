// Pro Tools' colour palette as project colours (0x01BBGGRR: red in the low
// byte, the flag 0x1000000 set), and the shades the Dark theme draws instead.
#pragma once

#include <cstdint>

constexpr uint32_t kColourFlag = 0x1000000;

// What a palette lookup knows about the colour it gives.
enum class ColourClass {
    none = 0,
    measured = 1,  // measured from Pro Tools, or a swatch of the known grid
    derived = 2,   // lighter than a palette swatch
    invented = 3,  // off the known grid: a stable made-up shade
    unknown = 9,   // auto-assigned, shade not measured: no colour
};

struct PaletteColour {
    uint32_t colour = 0;  // with the flag; 0 when there is none
    ColourClass colourClass = ColourClass::none;
};

// The track palette: a swatch, a lightened first-row swatch, or an invented shade.
PaletteColour paletteColour(int32_t index);
// A clip's stored index: the measured clip bodies of the first rows, else the palette.
PaletteColour clipColour(int32_t index);

// How many Dark colours came from a measurement and how many were worked out.
struct DarkCounts {
    int measured = 0;
    int derived = 0;
};
// The Dark body colour of a palette index (no flag), or 0 where it has none.
uint32_t darkClipColour(int32_t index, DarkCounts& counts);
// The Dark tint of a Classic clip tint (both without the flag).
uint32_t darkTint(uint32_t tint, DarkCounts& counts);
// Undoes the display's gamma on a measured Dark value: the last step of every Dark colour.
uint32_t displayStep(uint32_t colour);

// The 16-row cycle of palette indices the display schemes step through.
int32_t rowCycleIndex(int64_t step);
// The measured clip tint of a palette index from 51 to 94 (no flag), or 0.
uint32_t clipTint(int32_t index);

// True for an index on the track palette's grid: 25 to 95, not a multiple of 24.
bool onTrackPalette(int64_t index);
