// The notes on colours, groups and VCAs, comments and folders.
#pragma once

struct RunState;

// --no-track-colors and --no-clip-colors.
void sayColourSwitchNotes(const RunState& state);
// Tracks that carried a colour, kept the default, or stored one off the palette.
void sayTrackColourNotes(const RunState& state);
// Marker colours: carried, or not mappable; after the marker counts.
void sayMarkerColourNotes(const RunState& state);
// "None carried a stored marker color", behind the notes on memory locations.
void sayNoMarkerColourNote(const RunState& state);
// The display schemes, the pan law, the clip colours and the theme they follow.
void sayColourSchemeNotes(const RunState& state);
// Mix and VCA groups written, and what could not be linked.
void sayGroupNotes(const RunState& state);
// Group membership not applied, Edit groups and groups of an unknown type.
void sayGroupsNotAppliedNotes(const RunState& state);
// Tracks that carry a comment, and where it went.
void sayCommentNotes(const RunState& state);
// Folders written, moved, flattened; groups linking controls not carried.
void sayFolderNotes(const RunState& state);
