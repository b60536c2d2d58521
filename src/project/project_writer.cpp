#include "project/project_writer.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>

#include "cli/console.h"
#include "driver/run_state.h"
#include "melodyne/ara_project.h"
#include "project/project_head.h"
#include "project/text.h"
#include "project/track_block.h"
#include "project/track_tables.h"
#include "project/video_tracks.h"

void writeProjectText(RunState& state, ProjectText& text) {
    ProjectWriter writer{state, text, 0, {}, false, {}, {}};
    writer.dumpClipColours = std::getenv("PTX_DUMP_CLIPCOL") != nullptr;

    text.open("REAPER_PROJECT").word("0.1").name("7.0").num(0);
    state.headSummary = writeProjectHead(state, text);
    writeMasterChain(writer);

    const std::vector<OutputTrack>& tracks = state.analysis.outputTracks;
    for (size_t i = 0; i < tracks.size(); ++i) {
        stepProgress(3, formatText("%.24s %lu/%lu", "writing", static_cast<unsigned long>(i),
                                   static_cast<unsigned long>(tracks.size())));
        writeTrack(writer, i);
        ++state.counters.outputTracks;
    }

    writeVideoTracks(writer);

    size_t returnIndex = 0;
    for (const std::string& bus : busesReceivingSends(state)) {
        if (writer.namesWithTrack.count(bus)) continue;
        writeReturnTrack(writer, returnIndex++, bus);
    }
    // Every soloed track was muted: without a soloed track the mix would play.
    if (state.counters.soloedAndMuted > 0 && state.counters.soloKept == 0) {
        text.open("TRACK").guid(0x1116F);
        text.statement("NAME").name("Pro Tools solo (the soloed tracks were muted)");
        text.statement("VOLPAN").num(1).num(0).num(-1).num(-1).num(1);
        text.statement("MUTESOLO").num(0).num(2).num(0);
        text.statement("IPHASE").num(0);
        text.statement("ISBUS").num(0).num(0);
        text.statement("NCHAN").num(2);
        text.statement("MAINSEND").num(1).num(0);
        text.close();
        state.counters.soloTrackWritten = true;
    }
    writeAraDocument(writer);

    text.close();
    state.counters.charactersReplaced = static_cast<int>(std::min<size_t>(text.replacedCharacters(), INT32_MAX));
}

void writeProject(RunState& state, std::FILE* file) {
    ProjectText text(file);
    writeProjectText(state, text);
}
