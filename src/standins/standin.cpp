#include "standins/standin.h"

#include <algorithm>

void addNote(StandinResult& result, const std::string& note) {
    if (std::find(result.notes.begin(), result.notes.end(), note) == result.notes.end()) result.notes.push_back(note);
}
