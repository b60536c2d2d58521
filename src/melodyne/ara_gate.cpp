#include "melodyne/ara_gate.h"

#include <algorithm>
#include <cstdio>

#include "analysis/passes.h"

namespace {

constexpr size_t kReadPiece = 64 * 1024;

enum class Failure { none, missing, unreadable };

bool readWholeFile(const std::string& path, std::vector<uint8_t>& bytes) {
    std::FILE* file = std::fopen(path.c_str(), "rb");
    if (!file) return false;
    std::vector<uint8_t> piece(kReadPiece);
    size_t got = 0;
    while ((got = std::fread(piece.data(), 1, piece.size(), file)) > 0) {
        bytes.insert(bytes.end(), piece.begin(), piece.begin() + static_cast<ptrdiff_t>(got));
    }
    const bool whole = std::ferror(file) == 0;
    std::fclose(file);
    return whole;
}

void addReason(AraTables& tables, const std::string& reason) {
    if (std::find(tables.reasons.begin(), tables.reasons.end(), reason) == tables.reasons.end()) {
        tables.reasons.push_back(reason);
    }
}

}  // namespace

std::string sessionFolderOf(const std::string& sessionPath) {
    const size_t cut = sessionPath.find_last_of("/\\");
    if (cut == std::string::npos) return ".";
    return cut == 0 ? sessionPath.substr(0, 1) : sessionPath.substr(0, cut);
}

void gateAraSets(const std::vector<AraSet>& sets, const std::string& sessionFolder, AraTables& tables) {
    tables.usable.assign(sets.size(), false);
    tables.paths.assign(sets.size(), AraPaths());
    std::map<std::string, Failure> failed;  // paths already tried in vain

    for (size_t r = 0; r < sets.size(); ++r) {
        const AraSet& set = sets[r];
        if (set.factoryId != kMelodyneFactory) {
            addReason(tables, (set.plugInName.empty() ? set.factoryId : set.plugInName) + ": not Melodyne");
            continue;
        }
        const std::string folderName = set.plugInName.empty() ? std::string("Melodyne") : set.plugInName;
        const std::string folder = sessionFolder + "/ARA Data/" + folderName + "/";
        tables.paths[r] = {folder + set.documentFile, folder + set.sourceFile, folder + set.modificationFile};

        bool usable = true;
        for (const std::string* name : {&set.documentFile, &set.sourceFile, &set.modificationFile}) {
            const std::string path = folder + *name;
            if (tables.archives.count(path)) continue;
            Failure failure = failed.count(path) ? failed[path] : Failure::none;
            std::vector<uint8_t> bytes;
            Archive archive;
            // A name that leaves the folder is not beside the session.
            const bool plainName = !name->empty() && name->find_first_of(std::string("/\\\0", 3)) == std::string::npos;
            if (failure == Failure::none && !(plainName && readWholeFile(path, bytes))) failure = Failure::missing;
            if (failure == Failure::none && !parseArchiveFile(bytes, archive)) failure = Failure::unreadable;
            if (failure == Failure::none) {
                tables.archives.emplace(path, std::move(archive));
                continue;
            }
            failed[path] = failure;
            const std::string shown = name->empty() ? std::string("the document file") : *name;
            addReason(tables, failure == Failure::missing
                                  ? shown + ": not found beside the session (ARA Data/" + folderName + ")"
                                  : shown + ": not a Melodyne archive this converter reads");
            usable = false;
            break;
        }
        tables.usable[r] = usable;
    }
}

// Step 13: the archives of every set tried; every clip of an edited name takes its set.
void mergeAraSets(const SessionModel& model, const ConvertOptions& options, BindingWork& work,
                  AnalysisModel& analysis) {
    if (options.noAra || options.inMemory || model.araSets.empty()) return;
    AraTables& tables = analysis.ara;
    gateAraSets(model.araSets, sessionFolderOf(options.sessionPath), tables);

    std::vector<bool> taken(model.araSets.size(), false);
    for (BoundTrack& track : work.tracks) {
        for (std::vector<AudioClip>* clips : {&track.clips, &track.losers}) {
            for (AudioClip& clip : *clips) {
                auto found = model.araClipSets.find(clip.clip.name);
                if (found == model.araClipSets.end()) continue;
                clip.araSet = found->second;
                taken[static_cast<size_t>(found->second)] = true;
            }
        }
    }
    tables.setsOnNoClip = static_cast<int>(std::count(taken.begin(), taken.end(), false));
}
