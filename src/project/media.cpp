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
    if (fileName.empty()) return file;
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

MediaFile lookUp(const MediaSearch& search, const std::string& fileName) {
    MediaFile file = lookUpOnDisk(search, fileName);
    if (!fileName.empty()) file.path = pathFromProject(file.path, search.projectFolder);
    return file;
}

}  // namespace

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
    return MediaSearch{state.options.audioDir, state.sessionFolder, &state.model.fileFolders, state.projectFolder};
}

MediaFile& findMedia(MediaTable& table, const MediaSearch& search, const std::string& fileName) {
    auto known = table.indexOfName.find(fileName);
    if (known != table.indexOfName.end()) return table.files[known->second];
    table.indexOfName.emplace(fileName, table.files.size());
    table.files.push_back(lookUp(search, fileName));
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
        } else if (file.place == MediaPlace::missing && file.itemCount > 0) {
            summary.missingFiles.push_back(file.name);
        }
    }
    return summary;
}
