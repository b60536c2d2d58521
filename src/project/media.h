// Where each audio file of the project is found: the session's media folder,
// the folders the session lists for the file, or the usual sibling folders.
#pragma once

#include <map>
#include <string>
#include <vector>

struct MediaTable {
    std::map<std::string, std::string> pathOfFile;  // file name -> path written into the project
};
