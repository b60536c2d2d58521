// The console notes a run printed, as their numbers in the note catalogue
// (tests/reporting/note_catalogue.txt, the notes in their numbered order).
#pragma once

#include <string>
#include <vector>

#include "driver/convert.h"

// The catalogue number of each line of the console that opens a note, in order.
std::vector<int> noteNumbers(const std::string& console);
// "" when the numbers never go down; else the two lines out of order.
std::string noteOrderFault(const std::string& console);
// A check with every switch on that adds notes of its own.
ConvertOptions withNoteSwitches(ConvertOptions options);
