// Antares plug-ins whose VST3 builds read their parameters under other ids
// than the AAX builds wrote: the texts rewritten to what those builds read.
#pragma once

#include <string>

// The signature has a table of parameter rows.
bool hasAntaresTable(const std::string& signature);
// Auto-Key ("AntrAPan"): each old id, the first time it stands, gets its new id.
std::string renameAutoPanIds(std::string text);
// The <Parameters> element rebuilt from the signature's rows: each row's id
// with the value of its source id where the text has one, else its default.
// The text stays as it is when the element cannot be found.
std::string rebuildAntaresParameters(const std::string& signature, const std::string& text);
