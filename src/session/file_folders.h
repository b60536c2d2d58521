// Which folder the session lists each audio file under.
#pragma once

#include <map>
#include <string>

#include "session/blocks.h"

// Audio file name to the name of the folder it is listed under.
using FileFolderMap = std::map<std::string, std::string>;

// Reads every file and folder list (0x103A). A file keeps the first folder it
// was seen under; a file listed before any folder of its list has none.
FileFolderMap readFileFolders(const SessionImage& image);
