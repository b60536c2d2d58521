#include "reporting/mix_notes.h"

#include <algorithm>
#include <string>
#include <vector>

#include "cli/console.h"
#include "driver/run_state.h"
#include "project/project_head.h"

namespace {

constexpr int kRowsAndChannels = 1;
constexpr int kRowsAndDevices = 2;
constexpr int kTrackColour = 5;

// A line each under the note, at most 8, then how many more.
void sayLines(const std::vector<std::string>& names) {
    const size_t shown = std::min<size_t>(names.size(), 8);
    for (size_t n = 0; n < shown; ++n) say("      %s\n", names[n].c_str());
    if (names.size() > shown) say("      ... and %d more\n", static_cast<int>(names.size() - shown));
}

// Names in one line, "" before the first and "," before the others, ended by ".\n".
void sayNamesInLine(const std::vector<std::string>& names) {
    for (size_t n = 0; n < names.size(); ++n) say("%s %s", n == 0 ? "" : ",", names[n].c_str());
    say(".\n");
}

// " \"a\", \"b\"", at most 12 names, then ", ...".
std::string quoted(const std::vector<std::string>& names) {
    std::string text;
    const size_t shown = std::min<size_t>(names.size(), 12);
    for (size_t n = 0; n < shown; ++n) text += formatText("%s\"%s\"", n == 0 ? " " : ", ", names[n].c_str());
    if (names.size() > shown) text += ", ...";
    return text;
}

int count(const std::vector<std::string>& names) { return static_cast<int>(names.size()); }

void sayThemeNotes(const RunState& state) {
    const ColourCounts& counts = state.counters.colours;
    const DarkCounts& dark = counts.dark;
    const SessionInfo& info = state.model.info;
    if (state.darkTheme && dark.measured + dark.derived > 0) {
        if (state.options.ptTheme == 2) {
            say("  Clip colors follow Pro Tools' Dark theme, as chosen (%d measured,\n      %d derived).%s\n",
                dark.measured, dark.derived,
                info.savedAt2020_11OrLater ? "" : " This session predates the Dark theme (2020.11).");
        } else {
            say("  Clip colors follow Pro Tools' Dark theme (%d measured, %d derived),\n"
                "      the default for sessions from Pro Tools 2020.11 on. The theme\n"
                "      is not saved in the session; --pt-theme classic gives the pastels.\n",
                dark.measured, dark.derived);
        }
    }
    // Classic chosen where Dark would be the default: said when a clip colour was written.
    if (!state.darkTheme && state.options.ptTheme == 1 && info.savedAt2020_11OrLater &&
        counts.clipsColoured + counts.clipsTinted + counts.midiLightBlue > 0) {
        say("  Clip colors follow Pro Tools' Classic theme, as chosen.\n");
    }
}

void sayClipTintNotes(const RunState& state) {
    const ColourCounts& counts = state.counters.colours;
    const int coding = state.model.info.clipColorCoding;
    if (counts.clipsTinted > 0) {
        const bool byRow = coding == kRowsAndChannels || coding == kRowsAndDevices;
        say("      %d clip(s) with no color of their own were given the tint Pro\n"
            "      Tools DISPLAYS for them under this coding: the tint of %s.\n",
            counts.clipsTinted, byRow ? "the color\n      of the row their track sits in" : "their track's color");
    }
    if (counts.tintsNotMeasured > 0) {
        say("      %d clip(s) sit in a row whose tint under this coding has not\n"
            "      been measured yet, and are left for REAPER to draw rather than\n"
            "      given a guessed shade.\n",
            counts.tintsNotMeasured);
    }
    // Under the codings not measured every such clip is left, not only MIDI clips and hand-colored tracks.
    const bool measured = coding == kRowsAndChannels || coding == kRowsAndDevices || coding == kTrackColour;
    if (counts.clipsLeftToReaper > 0 && measured) {
        say("      %d clip(s) with no color of their own are left for REAPER to\n"
            "      draw in the track color: MIDI clips (Pro Tools tints their notes,\n"
            "      not their body) and clips on hand-colored tracks, which are not\n"
            "      measured under this coding.\n",
            counts.clipsLeftToReaper);
    } else if (counts.clipsTinted == 0 && coding > 0) {
        say("      What Pro Tools displays for a clip with no color of its\n"
            "      own under this scheme is not measured, so those clips are\n"
            "      left for REAPER to draw rather than given a guess.\n");
    }
}

void saySchemeTrackNotes(const ColourTables& colours) {
    if (colours.feedingPluginInstrument > 0) {
        say("  %d track(s) feeding a plug-in instrument keep REAPER's default color.\n"
            "      Under \"Tracks and MIDI Devices\" Pro Tools colors them by output\n"
            "      DEVICE; for hardware MIDI ports that rule is measured and written,\n"
            "      for plug-in nodes it is not, so those keep the default rather\n"
            "      than a guess.\n",
            colours.feedingPluginInstrument);
    }
    if (colours.midiWithoutOutput > 0) {
        say("  %d MIDI/instrument track(s) have no MIDI output assigned. Pro Tools\n"
            "      draws no scheme color for those either, so they keep REAPER's\n"
            "      default.\n",
            colours.midiWithoutOutput);
    }
    if (colours.videoUnderRowScheme) {
        say("  Pro Tools shows the video track in palette 27 under this scheme, on\n"
            "      every session measured. That does not follow the position rule\n"
            "      the other tracks obey, and the rule behind it is unknown, so it\n"
            "      is not carried.\n");
    }
    if (colours.withoutDisplayRow > 0) {
        say("  %d track(s) had no stored display row, so their position in the\n"
            "      color sequence was taken from track order. That is right unless\n"
            "      a track above them shows its playlist lanes, which count as rows.\n",
            colours.withoutDisplayRow);
    }
    if (colours.pastRow26 > 0) {
        say("  %d track(s) sit past position 26. Their color follows the 16-row\n"
            "      cycle measured on clip colors that far down; the track colors\n"
            "      themselves are not yet checked there against Pro Tools.\n",
            colours.pastRow26);
    }
    if (colours.groupsWithoutSlot > 0) {
        say("  %d group(s) had no readable slot number, so their tracks\n"
            "      keep REAPER's default rather than take a color picked\n"
            "      from a guess at which slot the group occupies.\n",
            colours.groupsWithoutSlot);
    }
}

void sayOwnClipColourNotes(const ColourCounts& counts) {
    if (counts.midiLightBlue > 0) {
        say("  %d MIDI clip(s) drawn in Pro Tools' MIDI clip color under this\n      coding (light blue).\n",
            counts.midiLightBlue);
    }
    if (counts.clipsUnmeasured > 0) {
        say("  %d clip(s) carry a Pro Tools auto-assigned color (palette index", counts.clipsUnmeasured);
        for (int32_t index : counts.unmeasuredIndices) say(" %d", static_cast<int>(index));
        say(")\n      whose clip shade has not been measured from Pro Tools. They are\n"
            "      left in their track's color rather than given a guessed one.\n");
    }
    if (counts.clipsColoured > 0) {
        say("  %d clip(s) carried a color, %d distinct Pro Tools palette\n"
            "      index(es). Clips sharing an index share a REAPER color, so\n"
            "      the GROUPING is exact; the shade is as close as the palette\n"
            "      allows.\n",
            counts.clipsColoured, static_cast<int>(counts.clipIndices.size()));
    }
    if (counts.clipsHandPicked > 0) {
        say("      %d of them carry a hand-picked palette color from the lower rows,\n"
            "      written as the palette swatch; Pro Tools draws a clip body paler\n"
            "      than its swatch, so these read stronger in REAPER than there.\n",
            counts.clipsHandPicked);
    }
    if (counts.clipsInvented > 0) {
        say("      WARNING: %d clip(s) carry a palette index off the known\n"
            "      grid. They are given a distinct color so the grouping still\n"
            "      transfers, but the shade is invented. Please send the\n"
            "      session in.\n",
            counts.clipsInvented);
    }
}

}  // namespace

void sayColourSwitchNotes(const RunState& state) {
    if (state.options.noTrackColors) {
        say("  --no-track-colors: every track is in REAPER's default color; the\n"
            "      session's track colors were left out.\n");
    }
    if (state.options.noClipColors) {
        say("  --no-clip-colors: %d clip(s) that would carry a color are drawn\n"
            "      in their track's color instead.\n",
            state.counters.colours.clipsHeldBack);
    }
}

void sayTrackColourNotes(const RunState& state) {
    if (state.options.noTrackColors) return;
    const ColourCounts& counts = state.counters.colours;
    if (counts.tracksCarried > 0) say("  %d track(s) carried a color onto REAPER track colors\n", counts.tracksCarried);
    if (counts.tracksDefault > 0) {
        say("  %d track(s) have no color set. Pro Tools does not STORE a color\n"
            "      for those -- it draws them from a display setting, so the same\n"
            "      session shows different colors on a machine set up\n"
            "      differently. There is nothing to carry, so they keep REAPER's\n"
            "      own default rather than a color this tool guessed.\n",
            counts.tracksDefault);
    }
    if (!state.analysis.colours.offPalette.empty()) {
        say("  NOTE: %d track record(s) held a value where the color belongs\n"
            "      that is not on Pro Tools' track palette. Those tracks keep\n"
            "      REAPER's default rather than being given a color the\n"
            "      session may not contain. Please send the session in.\n",
            static_cast<int>(state.analysis.colours.offPalette.size()));
    }
}

void sayMarkerColourNotes(const RunState& state) {
    const ProjectHeadSummary& head = state.headSummary;
    if (head.markersColoured > 0) {
        say("      %d of them carried a marker color. A marker Pro Tools\n"
            "      left unset keeps REAPER's default -- the color it shows\n"
            "      for those is generated for display and not stored.\n",
            head.markersColoured);
    }
    if (!head.unmappedColours.empty()) {
        say("      %d marker(s) carry a Pro Tools color this build cannot\n"
            "      map yet, and arrive in REAPER's default color:",
            static_cast<int>(head.unmappedColours.size()));
        for (size_t n = 0; n < head.unmappedColours.size(); ++n) {
            say("%s %s", n == 0 ? "" : ",", head.unmappedColours[n].name.c_str());
        }
        say(".\n");
    }
}

void sayNoMarkerColourNote(const RunState& state) {
    const ProjectHeadSummary& head = state.headSummary;
    if (head.locationsWritten > 0 && head.markersColoured == 0) {
        say("      None carried a stored marker color, so REAPER shows them\n"
            "      in its default color. Pro Tools may still draw them in\n"
            "      colors it generates for display; those are not stored\n"
            "      in the session.\n");
    }
}

void sayColourSchemeNotes(const RunState& state) {
    const ColourCounts& counts = state.counters.colours;
    const SessionInfo& info = state.model.info;
    const bool trackNotes = !state.options.noTrackColors;
    const bool clipNotes = !state.options.noClipColors;
    if (trackNotes && counts.tracksFromScheme > 0) {
        say("  %d track(s) had NO color of their own and were given the one\n"
            "      Pro Tools DISPLAYS for them, under this session's\n"
            "      \"%s\" color coding.\n"
            "      That scheme is stored IN THE SESSION, so the color is the\n"
            "      same everywhere and is not this machine's preference.\n",
            counts.tracksFromScheme, trackColorCodingName(info.trackColorCoding));
    }
    const char* clipCoding = clipColorCodingName(info.clipColorCoding);
    if (clipNotes && clipCoding[0] != '\0' && state.counters.audioItems + state.counters.midiItems > 0) {
        say("  Clip color coding in this session: \"%s\".\n", clipCoding);
        say("      Clips that carry their OWN color are converted with it.\n");
        if (state.analysis.colours.laneClipsBorrowed > 0) {
            say("      %d clip(s) on alternate playlist lanes with no color of their own\n"
                "      were given the color Pro Tools shows on the other clips from the\n"
                "      same recording (or, failing that, on their lane).\n",
                state.analysis.colours.laneClipsBorrowed);
        }
        sayClipTintNotes(state);
    }
    if (trackNotes) saySchemeTrackNotes(state.analysis.colours);
    sayPanDepthNote(info);
    if (!clipNotes) return;
    sayOwnClipColourNotes(counts);
    sayThemeNotes(state);
}

void sayGroupNotes(const RunState& state) {
    const GroupTables& groups = state.analysis.groups;
    if (!groups.decoded.empty()) {
        say("  %d mix/VCA group(s) decoded from the session:\n", count(groups.decoded));
        sayLines(groups.decoded);
    }
    if (groups.written > 0) {
        say("      %d written as REAPER fader-link group(s).\n"
            "      Those carry VOLUME linking only. Pro Tools groups can also\n"
            "      link Mute, Solo and Automation Mode; this build does not\n"
            "      transfer those, so muting one member in REAPER will NOT\n"
            "      mute the others. Their faders will still move together.\n",
            groups.written);
    }
    if (!groups.linkless.empty()) {
        say("      %d group(s) NOT linked in REAPER: none of the controls they link\n"
            "      in Pro Tools is one this build carries, so each member's fader,\n"
            "      mute and solo move on their own:\n",
            count(groups.linkless));
        sayLines(groups.linkless);
    }
    if (!groups.vcaMasters.empty()) {
        say("      %d VCA group(s) written as REAPER VCA links. The master is\n"
            "      an empty track carrying its Pro Tools fader; members follow\n"
            "      it without their own faders moving, as in Pro Tools.\n"
            "        VCA master \"%s\" at %+.1f dB\n",
            static_cast<int>(groups.vcaMasters.size()), groups.vcaMasters[0].first.c_str(), groups.vcaMasters[0].second);
        for (size_t n = 1; n < groups.vcaMasters.size(); ++n) {
            say("        VCA master \"%s\" at %+.1f dB\n", groups.vcaMasters[n].first.c_str(), groups.vcaMasters[n].second);
        }
    }
    if (!groups.unresolvedVcas.empty()) {
        say("      WARNING: %d VCA group(s) name a master this decoder could\n"
            "      not resolve, so nothing was written for them:\n",
            count(groups.unresolvedVcas));
        sayLines(groups.unresolvedVcas);
        say("      Their members keep their own faders, which is what Pro Tools\n"
            "      shows, but the VCA's offset is NOT applied. Send this session\n"
            "      in -- the group points at a strip type not recognized here.\n");
    }
    if (groups.pastLimit > 0) {
        say("      WARNING: %d group(s) past the first 32 were not written (REAPER\n"
            "      takes 64; groups 33 and up are not written yet).\n",
            groups.pastLimit);
    }
    if (!groups.ignoredNames.empty()) {
        say("  WARNING: %d group record(s) ignored -- they appeared only once,\n"
            "      and a live group is listed in BOTH the Mix and the Edit list:\n",
            count(groups.ignoredNames));
        sayLines(groups.ignoredNames);
        say("      Named rather than dropped silently, in case the assumption is wrong.\n");
    }
    if (!groups.masterFaderGroups.empty()) {
        say("  WARNING: %d group(s) include the MASTER FADER as a member:\n", count(groups.masterFaderGroups));
        sayLines(groups.masterFaderGroups);
        say("      REAPER's master is not an ordinary track and cannot join a\n"
            "      track group, so the master is NOT linked. The other members\n"
            "      of those groups still are. If you move them in REAPER the\n"
            "      master will stay put, which Pro Tools would not do.\n");
    }
    if (groups.masterFaders > 1) {
        say("  WARNING: this session has %d MASTER FADERS. REAPER has exactly\n"
            "      one master, so only the first was carried. The others are\n"
            "      NOT in the .rpp -- neither their gain nor their inserts.\n"
            "      Pro Tools also allows them at any width (mono, stereo, LCR,\n"
            "      5.1); anything past stereo is untested here.\n"
            "      If a second master was doing real work, print through it\n"
            "      before converting.\n",
            groups.masterFaders);
    }
}

void sayGroupsNotAppliedNotes(const RunState& state) {
    const GroupTables& groups = state.analysis.groups;
    if (groups.stripsSaid >= 0) {
        say("  WARNING: group membership NOT written. Pro Tools says this session\n"
            "      has %d strips; this decoder found %d. Group members are stored\n"
            "      as POSITIONS in that list, so a mismatch means every member ID\n"
            "      past the missing strip points at the WRONG TRACK.\n"
            "      Groups are named above but not applied. Send this session in --\n"
            "      it contains a strip type the decoder does not yet recognize.\n",
            groups.stripsSaid, groups.stripsFound);
    }
    if (!groups.editGroups.empty()) {
        say("  %d group(s) are EDIT groups and were deliberately not linked:\n", count(groups.editGroups));
        sayLines(groups.editGroups);
        say("      A Pro Tools Edit group links EDITING, not faders. Linking\n"
            "      its faders in REAPER would make tracks move together that\n"
            "      Pro Tools keeps independent -- a wrong mix rather than a\n"
            "      missing feature. Mix groups on this session still transfer.\n");
    }
    if (!groups.unknownTypeGroups.empty()) {
        say("  WARNING: %d group(s) have a type this decoder has not seen and\n      were NOT linked:\n",
            count(groups.unknownTypeGroups));
        sayLines(groups.unknownTypeGroups);
        say("      Pro Tools groups are Mix, Edit, or both -- 01, 00 and 02.\n"
            "      This session holds another value, so whether it links\n"
            "      faders is unknown and it was left alone. Please send the\n"
            "      session in -- this is a gap in the tool.\n");
    }
}

void sayCommentNotes(const RunState& state) {
    const SessionModel& model = state.model;
    std::vector<std::string> names;
    for (size_t r = 0; r < model.tracks.rows.size() && r < model.attributes.size(); ++r) {
        if (!commentLines(model.attributes[r].comment).empty()) names.push_back(effectiveName(model.tracks.rows[r]));
    }
    if (names.empty()) return;
    say("  %d track(s) carry a COMMENT in Pro Tools:%s\n", count(names), quoted(names).c_str());
    if (state.options.commentsMode == 0) {
        say("      Each arrives as the notes of a small empty item at the start of\n"
            "      its track, named \"Pro Tools comment\". It plays nothing.\n");
    } else if (state.options.commentsMode == 2) {
        say("      NOT WRITTEN (--comments none).\n");
    } else {
        say("      Each is a \"Track: comment\" line in the project notes window\n"
            "      (View > Project Notes). --comments item puts them on the tracks.\n");
    }
}

void sayFolderNotes(const RunState& state) {
    const FolderTables& folders = state.analysis.folders;
    if (folders.folderRows > 0) {
        say("  %d folder track(s): %d Routing folder(s) written as REAPER folders whose\n"
            "      members sum through the folder's fader and inserts, as in Pro Tools;\n"
            "      %d Basic folder(s) as REAPER folders with nothing in the path.\n",
            folders.folderRows, folders.routing, folders.basic);
    }
    if (folders.empty > 0) say("      %d empty folder(s) arrive as plain tracks.\n", folders.empty);
    if (folders.plainRouting > 0) {
        say("      %d Routing folder(s) arrive as plain tracks: nothing is routed into\n"
            "      them (every member plays to the main output, listed below).\n",
            folders.plainRouting);
    }
    if (folders.nested > 0) {
        say("      %d folder(s) sit inside another folder, nested the same way in REAPER\n"
            "      (read from the session's folder table, v206).\n",
            folders.nested);
    }
    if (!folders.movedOut.empty()) {
        say("      %d Basic folder(s) sat inside a Routing folder in Pro Tools, where their\n"
            "      tracks skip that folder's fader and inserts. REAPER would send them\n"
            "      through it, so they follow it here instead of sitting inside it:",
            count(folders.movedOut));
        sayNamesInLine(folders.movedOut);
    }
    if (!folders.movedToMain.empty()) {
        say("      %d track(s) sat inside a Routing folder in Pro Tools but play to the\n"
            "      main output, not through the folder (their output is not the folder),\n"
            "      so they follow the folder here instead of sitting inside it:",
            count(folders.movedToMain));
        sayNamesInLine(folders.movedToMain);
    }
    if (!folders.couldNotMove.empty()) {
        say("      %d track(s) or Basic folder(s) inside a Routing folder could not be\n"
            "      moved out (tracks routed into that folder follow them), so in REAPER\n"
            "      they play through that folder's fader, which Pro Tools does not do.\n"
            "      Move them out by hand:",
            count(folders.couldNotMove));
        sayNamesInLine(folders.couldNotMove);
    }
    if (folders.tableState == 0) {
        say("      The session's folder table could not be read, so folder members are\n"
            "      inferred from track order: a track right after a folder's members may\n"
            "      land inside it. Check folder contents against Pro Tools.\n");
    }
    if (folders.notPlaced > 0) {
        say("      A folder inside a folder could not be placed: %d folder(s) that may\n"
            "      have been nested arrive beside the other folder, not inside it.\n",
            folders.notPlaced);
    }
    if (!folders.couldNotWrite.empty()) {
        say("      %d folder(s) could not be written as folders because their members\n"
            "      are not written next to them (a MIDI or instrument member, or an\n"
            "      unmatched track):",
            count(folders.couldNotWrite));
        sayNamesInLine(folders.couldNotWrite);
    }
    const std::vector<std::pair<std::string, std::string>>& uncarried = state.analysis.groups.uncarried;
    if (!uncarried.empty()) {
        say("  %d group(s) link controls beyond volume, mute and solo that are not\n"
            "      carried yet (Pro Tools attribute numbers shown):",
            static_cast<int>(uncarried.size()));
        for (size_t n = 0; n < uncarried.size(); ++n) {
            say("%s %s (%s)", n == 0 ? "" : ",", uncarried[n].first.c_str(), uncarried[n].second.c_str());
        }
        say(".\n");
    }
    const int oneSided = static_cast<int>(state.counters.trim.oneSidedWritten.size());
    if (oneSided > 0) {
        say("  %d track(s) have Avid Trim polarity on ONE channel only (an unlinked\n"
            "      multi-mono Trim): REAPER's track polarity flips both, so the track is\n"
            "      left upright and REAPER's stock \"Channel Polarity Control\" flips\n"
            "      just that side, first in the chain.\n",
            oneSided);
    }
    if (state.analysis.trim.mixedSurroundFlips > 0) {
        say("  %d surround Trim(s) flip polarity on some channels but not others:\n"
            "      only the first two channels are carried. Check those by hand.\n",
            state.analysis.trim.mixedSurroundFlips);
    }
}
