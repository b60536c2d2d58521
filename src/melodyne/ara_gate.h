// Which edit sets can be carried: their three archives found beside the session,
// unpacked and parsed. The archives are kept by path for the merge.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "melodyne/archive.h"
#include "melodyne/ara_sets.h"

struct AraPaths {
    std::string document;
    std::string source;
    std::string modification;
};

struct AraTables {
    std::vector<bool> usable;          // by set: all three archives read
    std::vector<AraPaths> paths;       // by set
    std::vector<std::string> reasons;  // why sets are unusable, each text once
    std::map<std::string, Archive> archives;  // by path
    int setsOnNoClip = 0;              // sets that no clip took
};

// The folder of the session file, "." when the path names none.
std::string sessionFolderOf(const std::string& sessionPath);

// Tries the archives of every set, in order, each path once.
void gateAraSets(const std::vector<AraSet>& sets, const std::string& sessionFolder, AraTables& tables);
