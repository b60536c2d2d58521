// The receives of a track: outputs routed into it and the sends it takes,
// as AUXRECV lines with their send envelopes.
#pragma once

#include <cstddef>
#include <string>

struct ProjectWriter;

// The outputs of other tracks routed into track i.
void writeReceives(ProjectWriter& writer, std::size_t i);
// The sends into the receiver of that name; a track's own sends are left out.
void writeSendsInto(ProjectWriter& writer, const std::string& receiver, int selfIndex);
