#include "melodyne/ara_project.h"

#include "cli/console.h"
#include "driver/run_state.h"
#include "melodyne/ara_merge.h"
#include "project/project_writer.h"
#include "project/text.h"

namespace {

constexpr uint32_t kTakeGuidSeed = 0x41520000;
constexpr uint32_t kMelodyneFxSeed = 0x41530000;
constexpr const char* kModificationMark = "{00000000-0000-0000-0000-000000000002}";

// REAPER's head of a plug-in state: two pins in, two pins out, no state of its own.
std::vector<uint8_t> melodyneStateHead() {
    const uint32_t words[] = {0x0CC4C711, 0xFEED5EEE, 2, 1, 0, 2, 0, 2, 1, 0, 2, 0, 0, 1, 0xFFFF};
    std::vector<uint8_t> bytes;
    for (uint32_t word : words) {
        for (int k = 0; k < 4; ++k) bytes.push_back(static_cast<uint8_t>(word >> (8 * k)));
    }
    return bytes;
}

// The plug-in's name for the note: the one name all unread sets share, else none.
std::string plugInNameOf(const RunState& state, const std::set<int32_t>& sets) {
    std::set<std::string> names;
    for (int32_t set : sets) {
        const AraSet& row = state.model.araSets[static_cast<size_t>(set)];
        names.insert(row.plugInName.empty() && row.factoryId == kMelodyneFactory ? std::string("Melodyne")
                                                                                 : row.plugInName);
    }
    return names.size() == 1 && !names.begin()->empty() ? *names.begin() : std::string("an ARA plug-in");
}

}  // namespace

bool araCarried(const RunState& state, const AudioClip& clip) {
    const std::vector<bool>& usable = state.analysis.ara.usable;
    return clip.araSet >= 0 && static_cast<size_t>(clip.araSet) < usable.size() && usable[clip.araSet];
}

void writeAraTakeMarks(ProjectWriter& writer, const AudioClip& clip) {
    AraCounts& counts = writer.state.counters.ara;
    if (!araCarried(writer.state, clip)) {
        if (clip.araSet >= 0 && static_cast<size_t>(clip.araSet) < writer.state.model.araSets.size()) {
            ++counts.uncarried;
            counts.uncarriedSets.insert(clip.araSet);
        }
        return;
    }
    const std::string guid = makeGuid(writer.takeIndex + kTakeGuidSeed);
    writer.text.statement("GUID").word(guid);
    writer.text.statement("ARAMOD").word(kModificationMark);
    writer.araEdits.push_back({clip.araSet, guid, clip.clip.fileName});
    ++counts.carried;
}

void writeMelodyneSlot(ProjectText& text, uint32_t takeIndex) {
    text.statement("BYPASS").num(0).num(0).num(0);
    text.open("VST").name("VST3: Melodyne (Celemony)").word("Melodyne.vst3").num(0).name("")
        .word("214222609{5653544D6C70676D656C6F64796E6520}").word(kMelodyneFactory);
    text.writeBase64Lines(base64(melodyneStateHead()));
    text.writeBase64Lines("AAAAAAAA");
    text.close();
    text.statement("FLOATPOS").num(0).num(0).num(0).num(0);
    text.statement("FXID").guid(takeIndex + kMelodyneFxSeed);
    text.statement("WAK").num(0).num(0);
}

void writeAraDocument(ProjectWriter& writer) {
    if (writer.araEdits.empty()) return;
    RunState& state = writer.state;
    const MergeInput input = groupEdits(writer.araEdits, state.analysis.ara);
    std::string error;
    const std::vector<uint8_t> body = mergeArchives(*input.document, input.groups, error);
    const std::vector<uint8_t> file = body.empty() ? body : packArchiveFile(body);
    if (file.empty()) {
        state.counters.ara.mergeError = error.empty() ? std::string("the document could not be compressed") : error;
        return;
    }

    ProjectText& text = writer.text;
    text.open("ARA").word(kMelodyneFactory).num(4);
    text.open("BIN");
    text.writeBase64Lines(base64(file));
    text.close();
    text.close();
    text.open("ARASRC").word(kMelodyneFactory).num(4);
    for (const auto& [guid, fileName] : input.sourceLines) text.statement(guid).name(fileName);
    text.close();
    text.statement("ARA_POOLED_EDITS");
}

void sayMelodyneNotes(const RunState& state) {
    const AraCounts& counts = state.counters.ara;
    if (counts.carried > 0 && counts.mergeError.empty()) {
        say("  %d clip(s) carry their Melodyne (ARA) edits into REAPER: Melodyne sits on\n"
            "      each item as take FX, and Pro Tools' Melodyne data (the session's\n"
            "      \"ARA Data\" folder) is written into the project, so REAPER's Melodyne\n"
            "      opens with the same notes. Melodyne must be installed and authorized\n"
            "      for REAPER.\n",
            counts.carried);
    } else if (counts.carried > 0) {
        say("  The Melodyne (ARA) data could not be merged (%s): those clips arrive\n"
            "      with Melodyne on them but without the edits.\n",
            counts.mergeError.c_str());
    }
    if (counts.uncarried > 0) {
        say("  %d clip(s) have %s (ARA) attached. What was edited there is NOT\n"
            "      carried: Pro Tools keeps it in the session's \"ARA Data\" folder\n"
            "      beside the .ptx, not in the session file, so these clips arrive in\n"
            "      REAPER as the unedited audio.\n",
            counts.uncarried, plugInNameOf(state, counts.uncarriedSets).c_str());
        for (const std::string& reason : state.analysis.ara.reasons) say("      Melodyne: %s\n", reason.c_str());
    }
    if (state.analysis.ara.setsOnNoClip > 0) {
        say("      (%d edit set(s) the session declares were not found on a clip.)\n",
            state.analysis.ara.setsOnNoClip);
    }
}
