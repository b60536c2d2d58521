// Where each audio file of the project is found: the session's media folder,
// the folders the session lists for the file, the usual sibling folders, or
// anywhere under the session's folder and the --audio-dir folders, by name.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <unordered_map>
#include <vector>

#include "session/file_folders.h"

struct RunState;

enum class MediaPlace {
    mediaFolder,    // in the media folder (audioDir)
    siblingFolder,  // in another folder of the session folder
    relinked,       // found by name elsewhere in the session's tree or an --audio-dir folder
    missing,        // nowhere: the path points into the media folder all the same
};

struct MediaFile {
    std::string name;  // file name, no folder
    std::string path;  // the path written into FILE lines, as it resolves from the project's folder
    std::string diskPath;  // the same file as the working folder sees it
    MediaPlace place = MediaPlace::missing;
    int itemCount = 0;  // items written whose source is this file
};

// Every file under some folders, by file name: where a name is met more than
// once, the path that sorts first, so that the choice does not hang on the
// order the system lists folders in.
using FileNameIndex = std::unordered_map<std::string, std::string>;
FileNameIndex indexFolders(const std::vector<std::string>& roots);

// Each file is looked up once per run; files stay in the order of their first lookup.
struct MediaTable {
    std::vector<MediaFile> files;
    std::map<std::string, std::size_t> indexOfName;
    // Built on the first file the fixed folders do not hold, then kept.
    bool treeIndexed = false;
    FileNameIndex tree;
};

// Where to look: the media folder, the session folder that holds the sibling
// folders, and the folder the session lists for each file.
struct MediaSearch {
    std::string audioDir;
    std::string sessionFolder;
    const FileFolderMap* listedFolders = nullptr;
    std::string projectFolder;  // absolute; "" writes paths as they were looked up
    std::vector<std::string> treeRoots;  // searched by file name last; empty: no search
    bool onDisk = true;                  // false: nothing is looked up, every file is missing
};
MediaSearch mediaSearchOf(const RunState& state);

// The table's entry for fileName, looked up on first use.
MediaFile& findMedia(MediaTable& table, const MediaSearch& search, const std::string& fileName);

// A path as the project's FILE lines hold it: relative to projectFolder when it
// lies under it, absolute otherwise; unchanged when projectFolder is "".
std::string pathFromProject(const std::string& path, const std::string& projectFolder);

// The path that goes into the project for fileName.
const std::string& mediaPath(RunState& state, const std::string& fileName);

// The media check after writing: every audio file the session lists is looked
// up too, so that sibling folders are told even for files no item uses.
void checkMedia(RunState& state);

// What the console notes say about the media, from the table.
struct MediaSummary {
    std::vector<std::string> siblingFiles;  // found outside the media folder
    int siblingItems = 0;                   // items whose FILE line points there
    std::vector<std::string> missingFiles;  // used by an item and found nowhere
    std::vector<const MediaFile*> relinkedFiles;  // found by name elsewhere
    int relinkedItems = 0;
};
MediaSummary summarizeMedia(const MediaTable& table);
