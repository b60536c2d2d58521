// The project file: head, tempo, markers, master, tracks, closing line.
#pragma once

#include <cstdio>

struct RunState;

void writeProject(const RunState& state, std::FILE* file);
