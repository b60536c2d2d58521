// One ARA document for the whole project: the session's document archive with
// every written edit's source and modification added, objects and names
// renumbered, and the persistent ids tied to the items that carry the edits.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "melodyne/ara_gate.h"

// One item written with a usable edit set, in the order of writing.
struct EditEntry {
    int32_t set = -1;
    std::string itemGuid;  // the take's GUID text
    std::string fileName;  // the item's source file, no folder
};

// The edits that share one source archive.
struct SourceGroup {
    const Archive* source = nullptr;
    std::string fileName;  // of its first entry
    std::vector<const Archive*> modifications;
    std::vector<std::string> itemGuids;
    std::vector<size_t> entries;  // the entry each modification came from
};

struct MergeInput {
    const Archive* document = nullptr;
    std::vector<SourceGroup> groups;  // in order of first use
    std::vector<std::pair<std::string, std::string>> sourceLines;  // (itemGuid, fileName), one per group
};

// Groups the entries by source archive; every entry's set must be usable.
MergeInput groupEdits(const std::vector<EditEntry>& entries, const AraTables& tables);

// The merged body, or an empty result with error set.
std::vector<uint8_t> mergeArchives(const Archive& document, const std::vector<SourceGroup>& groups,
                                   std::string& error);
