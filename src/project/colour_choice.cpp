#include "project/colour_choice.h"

#include "driver/run_state.h"

namespace {

constexpr int kRowsAndChannels = 1;
constexpr int kRowsAndDevices = 2;
constexpr int kTrackColour = 5;
constexpr uint32_t kMidiLightBlue = 0xD7C090;
constexpr uint32_t kMidiLightBlueDark = 0x433C30;

template <typename Map>
auto findByBoth(const Map& map, const std::string& name, const std::string& matchKey) -> decltype(&map.begin()->second) {
    auto found = map.find(name);
    if (found == map.end() && !matchKey.empty()) found = map.find(matchKey);
    return found == map.end() ? nullptr : &found->second;
}

// A clip's own index: the clip body Pro Tools draws, in the Dark theme its dark shade.
PaletteColour ownClipColour(RunState& state, int32_t index) {
    PaletteColour colour = clipColour(index);
    if (state.darkTheme && index >= 1 && index <= 95) {
        const uint32_t dark = darkClipColour(index, state.counters.colours.dark);
        if (dark != 0) colour = {kColourFlag | displayStep(dark), ColourClass::measured};
    }
    return colour;
}

std::optional<uint32_t> countOwnColour(RunState& state, int32_t index, const PaletteColour& colour) {
    ColourCounts& counts = state.counters.colours;
    if (colour.colourClass == ColourClass::unknown) {
        ++counts.clipsUnmeasured;
        counts.unmeasuredIndices.insert(index);
        return std::nullopt;
    }
    if (state.options.noClipColors) ++counts.clipsHeldBack;
    ++counts.clipsColoured;
    counts.clipIndices.insert(index);
    if (colour.colourClass == ColourClass::derived) ++counts.clipsHandPicked;
    if (colour.colourClass == ColourClass::invented) ++counts.clipsInvented;
    return colour.colour;
}

// The index whose tint Pro Tools displays on a clip with no colour of its own, or 0.
int32_t displayedIndex(const RunState& state, const OutputTrack& track) {
    const ColourTables& colours = state.analysis.colours;
    const int coding = state.model.info.clipColorCoding;
    if (coding == kTrackColour) {
        if (track.isMidi) return 0;
        const int32_t* index = findByBoth(colours.explicitTrackColour, track.name, track.matchKey);
        if (index == nullptr) index = findByBoth(colours.schemeTrackColour, track.name, track.matchKey);
        return index != nullptr && *index > 0 ? *index : 0;
    }
    if (coding == kRowsAndChannels || coding == kRowsAndDevices) {
        if (track.isMidi || findByBoth(colours.explicitTrackColour, track.name, track.matchKey)) return 0;
        const uint32_t* row = findByBoth(colours.displayRows, track.name, track.matchKey);
        return row != nullptr ? rowCycleIndex((static_cast<int64_t>(*row) - 1) % 16) : 0;
    }
    return 0;
}

}  // namespace

TrackColourChoice trackColourChoice(const RunState& state, const std::string& name, const std::string& matchKey) {
    TrackColourChoice choice;
    if (state.options.noTrackColors) return choice;
    const ColourTables& colours = state.analysis.colours;
    if (const int32_t* index = findByBoth(colours.explicitTrackColour, name, matchKey)) {
        choice.colour = paletteColour(*index).colour;
        choice.source = TrackColourSource::carried;
    } else if (colours.offPalette.count(name) || colours.offPalette.count(matchKey)) {
        choice.source = TrackColourSource::offPalette;  // told by its own note
    } else if (const int32_t* scheme = findByBoth(colours.schemeTrackColour, name, matchKey)) {
        choice.colour = paletteColour(*scheme).colour;
        choice.source = TrackColourSource::scheme;
    } else {
        choice.source = TrackColourSource::fallback;
    }
    return choice;
}

void countTrackColour(ColourCounts& counts, const TrackColourChoice& choice) {
    if (choice.source == TrackColourSource::carried) ++counts.tracksCarried;
    if (choice.source == TrackColourSource::scheme) ++counts.tracksFromScheme;
    if (choice.source == TrackColourSource::fallback) ++counts.tracksDefault;
}

std::optional<uint32_t> audioClipColour(RunState& state, const OutputTrack& track, int32_t index) {
    if (index != -2) return countOwnColour(state, index, ownClipColour(state, index));
    ColourCounts& counts = state.counters.colours;
    const int32_t displayed = displayedIndex(state, track);
    if (displayed == 0) {
        ++counts.clipsLeftToReaper;
        return std::nullopt;
    }
    const uint32_t tint = displayed >= 51 && displayed <= 94 ? clipTint(displayed) : 0;
    if (tint == 0) {
        ++counts.tintsNotMeasured;
        return std::nullopt;
    }
    ++counts.clipsTinted;
    return kColourFlag | (state.darkTheme ? displayStep(darkTint(tint, counts.dark)) : tint);
}

std::optional<uint32_t> midiClipColour(RunState& state, int32_t index) {
    if (index != -2) return countOwnColour(state, index, ownClipColour(state, index));
    ColourCounts& counts = state.counters.colours;
    if (state.model.info.clipColorCoding != kRowsAndChannels) {
        ++counts.clipsLeftToReaper;
        return std::nullopt;
    }
    ++counts.midiLightBlue;
    if (!state.darkTheme) return kColourFlag | kMidiLightBlue;
    ++counts.dark.measured;
    return kColourFlag | displayStep(kMidiLightBlueDark);
}
