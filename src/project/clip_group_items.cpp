#include "project/clip_group_items.h"

#include "driver/run_state.h"
#include "project/colour_choice.h"
#include "project/project_head.h"
#include "project/project_writer.h"
#include "project/text.h"

void writeClipGroupItem(ProjectWriter& writer, const OutputTrack& track, const AudioClip& item, int laneIndex,
                        int laneCount) {
    ProjectText& text = writer.text;
    text.open("ITEM");
    text.statement("POSITION").seconds(item.position);
    text.statement("SNAPOFFS").num(0);
    text.statement("LENGTH").seconds(item.length);
    text.statement("LOOP").num(0);
    text.statement("ALLTAKES").num(0);
    text.statement("FADEIN").num(1).num(0).num(0).num(1).num(0).num(0).num(0);
    text.statement("FADEOUT").num(1).num(0).num(0).num(1).num(0).num(0).num(0);
    text.statement("MUTE").num(item.muted ? 1 : 0).num(0);
    if (item.locked) text.statement("LOCK").num(1);
    const std::optional<uint32_t> colour = audioClipColour(writer.state, track, item.colour);
    if (colour && !writer.state.options.noClipColors) text.statement("COLOR").colour(*colour).word("R");
    if (laneCount > 1) {
        text.statement("YPOS").coarse(double(laneIndex) / laneCount).coarse(1.0 / laneCount).num(2);
    }
    text.open("NOTES");
    for (const std::string& line : commentLines(item.groupName)) text.rawLine("|" + line);
    text.close();
    text.close();
}
