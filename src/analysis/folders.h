// The session's folder tree read as a parent for each track list row, and what
// the hidden/inactive rule asks of it.
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "session/session_model.h"

struct FolderParents {
    bool usable = false;           // the table was read and every id resolved
    std::vector<int> parent;       // by track list row: the folder row, -1 for none
    std::vector<bool> hadMembers;  // the table gave the row members
};
FolderParents folderParents(const SessionModel& model);

// Each member of a folder needs its folder: a hidden folder of a written
// member stays in the project.
void addFolderNeeds(const SessionModel& model, std::map<std::string, std::set<std::string>>& needs);
// Without a usable table nothing says what a folder holds: the names of the
// folder rows, whose tracks are never left out. Empty when the table is usable.
std::set<std::string> foldersKeptWithoutTable(const SessionModel& model);
