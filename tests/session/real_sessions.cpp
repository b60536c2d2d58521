#include "session/real_sessions.h"

#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>

std::string realSessionFolder() {
    const char* chosen = std::getenv("TRELLUM_SESSIONS");
    const std::string folder = chosen && *chosen ? chosen : TRELLUM_SHARED_DIR "/sessions";
    struct stat info {};
    return stat(folder.c_str(), &info) == 0 && S_ISDIR(info.st_mode) ? folder : std::string();
}

std::vector<std::string> filesEnding(const std::string& folder, const std::string& extension) {
    std::vector<std::string> paths;
    DIR* dir = opendir(folder.c_str());
    if (dir == nullptr) return paths;
    while (const dirent* entry = readdir(dir)) {
        const std::string name = entry->d_name;
        if (name.size() > extension.size() &&
            name.compare(name.size() - extension.size(), extension.size(), extension) == 0)
            paths.push_back(folder + "/" + name);
    }
    closedir(dir);
    std::sort(paths.begin(), paths.end());
    return paths;
}

std::vector<uint8_t> readBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void writeBytes(const std::string& path, const std::vector<uint8_t>& bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}
