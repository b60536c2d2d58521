#include "project/media.h"

#include <cstdio>
#include <filesystem>
#include <system_error>

#include "driver/run_state.h"

namespace {

// A folder opens with fopen on some systems; only a file counts.
bool opensForReading(const std::string& path) {
    std::FILE* file = std::fopen(path.c_str(), "rb");
    if (!file) return false;
    std::fclose(file);
    std::error_code error;
    return !std::filesystem::is_directory(path, error);
}

// Where the file is on disk, as seen from the working folder.
MediaFile lookUpOnDisk(const MediaSearch& search, const std::string& fileName) {
    MediaFile file;
    file.name = fileName;
    file.path = search.audioDir + "/" + fileName;
    if (fileName.empty() || !search.onDisk) return file;
    if (opensForReading(file.path)) {
        file.place = MediaPlace::mediaFolder;
        return file;
    }
    if (search.sessionFolder.empty()) return file;

    std::vector<std::string> folders;
    if (search.listedFolders) {
        auto listed = search.listedFolders->find(fileName);
        if (listed != search.listedFolders->end()) folders.push_back(listed->second);
    }
    folders.insert(folders.end(), {"Rendered Files", "Bounced Files", "Audio Files"});
    for (const std::string& folder : folders) {
        const std::string candidate = search.sessionFolder + "/" + folder + "/" + fileName;
        if (opensForReading(candidate)) {
            file.path = candidate;
            file.place = MediaPlace::siblingFolder;
            return file;
        }
    }
    return file;
}

// A tree with more entries than this is searched only that far.
constexpr std::size_t kMostIndexedEntries = 4000000;

bool liesUnder(const std::filesystem::path& inner, const std::filesystem::path& outer) {
    const std::filesystem::path relative = inner.lexically_relative(outer);
    return !relative.empty() && *relative.begin() != "..";
}

// Adds every file under root to the index, keeping the first path by sort order for a name.
void indexFolder(const std::string& root, FileNameIndex& index, std::size_t& entries) {
    namespace fs = std::filesystem;
    std::error_code error;
    fs::recursive_directory_iterator walk(root, fs::directory_options::skip_permission_denied, error);
    for (; !error && walk != fs::recursive_directory_iterator(); walk.increment(error)) {
        if (++entries > kMostIndexedEntries) return;
        std::error_code kindError;
        if (!walk->is_regular_file(kindError)) continue;
        std::string path = walk->path().generic_string();
        auto [place, added] = index.try_emplace(walk->path().filename().string(), path);
        if (!added && path < place->second) place->second = std::move(path);
    }
}

MediaFile lookUp(MediaTable& table, const MediaSearch& search, const std::string& fileName) {
    MediaFile file = lookUpOnDisk(search, fileName);
    if (file.place == MediaPlace::missing && !fileName.empty() && !search.treeRoots.empty()) {
        if (!table.treeIndexed) {
            table.tree = indexFolders(search.treeRoots);
            table.treeIndexed = true;
        }
        auto found = table.tree.find(fileName);
        if (found != table.tree.end()) {
            file.path = found->second;
            file.place = MediaPlace::relinked;
        }
    }
    file.diskPath = file.path;
    if (!fileName.empty()) file.path = pathFromProject(file.path, search.projectFolder);
    return file;
}

}  // namespace

FileNameIndex indexFolders(const std::vector<std::string>& roots) {
    namespace fs = std::filesystem;
    FileNameIndex index;
    std::size_t entries = 0;
    std::vector<fs::path> walked;
    for (const std::string& root : roots) {
        std::error_code error;
        const fs::path absolute = fs::weakly_canonical(fs::absolute(root, error), error);
        if (error || !fs::is_directory(absolute, error)) continue;
        // A folder inside one already walked adds nothing.
        bool inside = false;
        for (const fs::path& done : walked) inside = inside || absolute == done || liesUnder(absolute, done);
        if (inside) continue;
        walked.push_back(absolute);
        indexFolder(root, index, entries);
    }
    return index;
}

std::string pathFromProject(const std::string& path, const std::string& projectFolder) {
    namespace fs = std::filesystem;
    if (projectFolder.empty()) return path;
    std::error_code error;
    const fs::path absolute = fs::weakly_canonical(fs::absolute(path, error), error);
    if (error) return path;
    const fs::path relative = absolute.lexically_relative(projectFolder);
    if (!relative.empty() && *relative.begin() != "..") return relative.generic_string();
    return absolute.generic_string();
}

MediaSearch mediaSearchOf(const RunState& state) {
    MediaSearch search{state.options.audioDir, state.sessionFolder, &state.model.fileFolders, state.projectFolder, {}};
    if (state.options.inMemory) {
        search.onDisk = false;
        return search;
    }
    const std::string& session = state.options.sessionPath;
    if (!session.empty()) {
        const size_t cut = session.find_last_of("/\\");
        search.treeRoots.push_back(cut == std::string::npos ? std::string(".") : session.substr(0, cut));
    }
    search.treeRoots.insert(search.treeRoots.end(), state.options.audioDirs.begin(), state.options.audioDirs.end());
    return search;
}

MediaFile& findMedia(MediaTable& table, const MediaSearch& search, const std::string& fileName) {
    auto known = table.indexOfName.find(fileName);
    if (known != table.indexOfName.end()) return table.files[known->second];
    table.indexOfName.emplace(fileName, table.files.size());
    MediaFile file = lookUp(table, search, fileName);
    table.files.push_back(std::move(file));
    return table.files.back();
}

const std::string& mediaPath(RunState& state, const std::string& fileName) {
    return findMedia(state.media, mediaSearchOf(state), fileName).path;
}

void checkMedia(RunState& state) {
    const MediaSearch search = mediaSearchOf(state);
    for (const AudioFileRef& file : state.model.audioFiles) {
        if (!file.name.empty()) findMedia(state.media, search, file.name);
    }
}

MediaSummary summarizeMedia(const MediaTable& table) {
    MediaSummary summary;
    for (const MediaFile& file : table.files) {
        if (file.place == MediaPlace::siblingFolder) {
            summary.siblingFiles.push_back(file.name);
            summary.siblingItems += file.itemCount;
        } else if (file.place == MediaPlace::relinked) {
            summary.relinkedFiles.push_back(&file);
            summary.relinkedItems += file.itemCount;
        } else if (file.place == MediaPlace::missing && file.itemCount > 0) {
            summary.missingFiles.push_back(file.name);
        }
    }
    return summary;
}
