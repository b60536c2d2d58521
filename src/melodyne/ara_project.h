// The Melodyne side of the project: each edited take's GUID, ARAMOD line and
// Melodyne slot, the merged ARA document at the end, and the console notes.
#pragma once

#include <cstdint>
#include <set>
#include <string>

class ProjectText;
struct AudioClip;
struct ProjectWriter;
struct RunState;

// What the writer carried, for the notes.
struct AraCounts {
    int carried = 0;               // items written with a usable edit set
    int uncarried = 0;             // items whose edit set could not be read
    std::set<int32_t> uncarriedSets;
    std::string mergeError;        // the merge failed: no ARA document was written
};

// True when the clip's edit set was read whole.
bool araCarried(const RunState& state, const AudioClip& clip);
// GUID and ARAMOD of an edited take, and its entry for the merge.
void writeAraTakeMarks(ProjectWriter& writer, const AudioClip& clip);
// The Melodyne plug-in slot of a take, inside its <TAKEFX block.
void writeMelodyneSlot(ProjectText& text, uint32_t takeIndex);
// The merged ARA document and its source lines, behind all tracks.
void writeAraDocument(ProjectWriter& writer);
void sayMelodyneNotes(const RunState& state);
