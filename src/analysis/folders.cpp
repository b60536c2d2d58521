// Pro Tools' Routing and Basic folders as REAPER folder depths. A REAPER
// folder always plays its children through itself, so what plays past a
// Routing folder in Pro Tools moves out of it; a tree that does not fit the
// track order falls back to the order of the rows.
#include "analysis/folders.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "analysis/passes.h"

namespace {

constexpr uint16_t kBasicFolder = 11;
constexpr int kMostSteps = 31;
constexpr size_t kDeepestChain = 16;

struct RowState {
    int parent = -1;
    int sessionParent = -1;  // the parent the table gave
    int movedFrom = -1;      // the folder it was moved out of
    bool movedToMain = false;
    bool hadMembers = false;
    bool hasMembers = false;
    bool opened = false;
    long opener = -1;        // the track that opened it
};

struct Drawing {
    const std::vector<TrackListRow>& rows;
    const std::vector<OutputTrack>& tracks;
    std::vector<int> rowOfTrack;
    std::vector<RowState> state;
    std::vector<std::vector<int>> chains;  // ancestors of each row, root first
};

bool isBasic(const TrackListRow& row) { return row.rowType == kBasicFolder; }

// The row each track answers to; a track with no matchKey stays with the one before it.
std::vector<int> rowsOfTracks(const std::vector<TrackListRow>& rows, const std::vector<OutputTrack>& tracks) {
    std::map<std::string, int> rowOfName;
    for (size_t r = 0; r < rows.size(); ++r) rowOfName.emplace(rows[r].name, static_cast<int>(r));
    std::vector<int> result(tracks.size(), -1);
    for (size_t i = 0; i < tracks.size(); ++i) {
        if (tracks[i].matchKey.empty()) {
            result[i] = i > 0 ? result[i - 1] : -1;
            continue;
        }
        auto found = rowOfName.find(tracks[i].matchKey);
        if (found != rowOfName.end()) result[i] = found->second;
    }
    return result;
}

// The topmost Routing folder above a row, within 31 steps; -1 for none.
int topmostRouting(const Drawing& d, size_t r) {
    int top = -1;
    int p = d.state[r].parent;
    for (int step = 0; p >= 0 && step < kMostSteps; ++step) {
        if (!isBasic(d.rows[static_cast<size_t>(p)])) top = p;
        p = d.state[static_cast<size_t>(p)].parent;
    }
    return top;
}

// Basic folders leave the Routing folders above them; tracks that play to the
// main output leave their Routing folder. True when anything moved.
bool makeMoves(Drawing& d, const std::set<std::string>& noMainSend) {
    bool moved = false;
    for (int pass = 0; pass < 2; ++pass) {
        for (size_t r = 0; r < d.rows.size(); ++r) {
            RowState& row = d.state[r];
            if (pass == 0 && !isBasic(d.rows[r])) continue;
            if (pass == 1 && (row.parent < 0 || isBasic(d.rows[r]) || noMainSend.count(d.rows[r].name))) continue;
            const int top = topmostRouting(d, r);
            if (top < 0) continue;
            row.parent = d.state[static_cast<size_t>(top)].parent;
            row.movedFrom = top;
            row.movedToMain = pass == 1;
            moved = true;
        }
    }
    return moved;
}

bool buildChains(Drawing& d) {
    d.chains.assign(d.rows.size(), {});
    for (size_t r = 0; r < d.rows.size(); ++r) {
        std::vector<int>& chain = d.chains[r];
        for (int p = d.state[r].parent; p >= 0; p = d.state[static_cast<size_t>(p)].parent) {
            if (chain.size() >= kDeepestChain) return false;
            chain.push_back(p);
            d.state[static_cast<size_t>(p)].hasMembers = true;
        }
        std::reverse(chain.begin(), chain.end());
    }
    return true;
}

// One attempt at the depths: every folder opened by its own track, its members
// right behind it, in the track order as it stands.
bool drawAttempt(Drawing& d, std::vector<FolderWord>& words) {
    for (RowState& row : d.state) {
        row.hasMembers = false;
        row.opened = false;
        row.opener = -1;
    }
    if (!buildChains(d)) return false;
    static const std::vector<int> kNoChain;
    std::vector<int> stack;
    std::vector<size_t> depth(d.tracks.size());
    for (size_t i = 0; i < d.tracks.size(); ++i) {
        const int r = d.rowOfTrack[i];
        const std::vector<int>& chain = r >= 0 ? d.chains[static_cast<size_t>(r)] : kNoChain;
        while (stack.size() > chain.size() || !std::equal(stack.begin(), stack.end(), chain.begin())) stack.pop_back();
        if (stack.size() < chain.size()) return false;
        depth[i] = stack.size();
        if (r < 0) continue;
        RowState& row = d.state[static_cast<size_t>(r)];
        const TrackListRow& listRow = d.rows[static_cast<size_t>(r)];
        if (listRow.rowFlag && row.hasMembers && !row.opened && d.tracks[i].matchKey == listRow.name) {
            stack.push_back(r);
            row.opened = true;
            row.opener = static_cast<long>(i);
        }
    }
    for (size_t i = 0; i < d.tracks.size(); ++i) {
        const long next = i + 1 < d.tracks.size() ? static_cast<long>(depth[i + 1]) : 0;
        const long delta = next - static_cast<long>(depth[i]);
        if (delta > 1) return false;
        words[i] = delta == 1 ? FolderWord{1, 1} : delta < 0 ? FolderWord{2, static_cast<int>(delta)} : FolderWord{};
    }
    return true;
}

std::string outOf(const Drawing& d, size_t r, int folder) {
    return d.rows[r].name + " out of " + d.rows[static_cast<size_t>(folder)].name;
}

void countDrawn(const Drawing& d, FolderTables& folders) {
    for (size_t r = 0; r < d.rows.size(); ++r) {
        const RowState& row = d.state[r];
        if (row.movedToMain) folders.movedToMain.push_back(outOf(d, r, row.movedFrom));
        if (!d.rows[r].rowFlag) continue;
        if (row.opened && folders.words[static_cast<size_t>(row.opener)].first == 1) {
            ++(isBasic(d.rows[r]) ? folders.basic : folders.routing);
            if (!d.chains[r].empty()) ++folders.nested;
            if (row.movedFrom >= 0 && !row.movedToMain) folders.movedOut.push_back(outOf(d, r, row.movedFrom));
        } else if (!row.opened && row.hasMembers) {
            folders.couldNotWrite.push_back(d.rows[r].name);
        } else if (!row.opened && row.hadMembers && !isBasic(d.rows[r])) {
            ++folders.plainRouting;
        } else {
            ++folders.empty;
        }
    }
}

// The session's tree, with the moves; failing that, the tree as it stands.
bool drawTree(Drawing& d, const FolderParents& parents, const std::set<std::string>& noMainSend,
              FolderTables& folders) {
    d.state.assign(d.rows.size(), RowState());
    for (size_t r = 0; r < d.rows.size(); ++r) {
        d.state[r].parent = d.state[r].sessionParent = parents.parent[r];
        d.state[r].hadMembers = parents.hadMembers[r];
    }
    const bool moved = makeMoves(d, noMainSend);
    if (!drawAttempt(d, folders.words)) {
        if (!moved) return false;
        for (size_t r = 0; r < d.rows.size(); ++r) {
            RowState& row = d.state[r];
            if (row.movedFrom >= 0) {
                folders.couldNotMove.push_back(d.rows[r].name + " (in " +
                                               d.rows[static_cast<size_t>(row.sessionParent)].name + ")");
            }
            row.parent = row.sessionParent;
            row.movedFrom = -1;
            row.movedToMain = false;
        }
        if (!drawAttempt(d, folders.words)) {
            folders.couldNotMove.clear();
            return false;
        }
    }
    countDrawn(d, folders);
    return true;
}

// With no usable tree, a folder holds the rows up to the next folder row.
void inferFromOrder(const Drawing& d, FolderTables& folders) {
    std::vector<size_t> folderRows;
    for (size_t r = 0; r < d.rows.size(); ++r) {
        if (d.rows[r].rowFlag) folderRows.push_back(r);
    }
    for (size_t k = 0; k < folderRows.size(); ++k) {
        const size_t b = folderRows[k];
        const size_t c = k + 1 < folderRows.size() ? folderRows[k + 1] : d.rows.size();
        if (c == b + 1) {
            ++folders.empty;
            continue;
        }
        long first = -1;
        long last = -1;
        for (size_t i = 0; i < d.tracks.size(); ++i) {
            const int r = d.rowOfTrack[i];
            if (r == static_cast<int>(b) && first < 0) first = static_cast<long>(i);
            if (r > static_cast<int>(b) && r < static_cast<int>(c)) last = static_cast<long>(i);
        }
        bool fits = first >= 0 && last >= 0 && first < last;
        for (long i = first + 1; fits && i < last; ++i) {
            const int r = d.rowOfTrack[static_cast<size_t>(i)];
            fits = r >= static_cast<int>(b) && r < static_cast<int>(c);
        }
        if (fits) {
            folders.words[static_cast<size_t>(first)] = {1, 1};
            folders.words[static_cast<size_t>(last)] = {2, -1};
            ++(isBasic(d.rows[b]) ? folders.basic : folders.routing);
        } else {
            folders.couldNotWrite.push_back(d.rows[b].name);
        }
        if (b > 0 && !d.rows[b - 1].rowFlag && k > 0) ++folders.notPlaced;
    }
}

void debugFolders(const std::vector<TrackListRow>& rows, const std::vector<OutputTrack>& tracks) {
    if (std::getenv("PTX_DEBUG_FOLD") == nullptr) return;
    for (size_t r = 0; r < rows.size(); ++r) {
        std::fprintf(stderr, "FOLD row %d type %02x w%d '%s'\n", static_cast<int>(r), rows[r].rowType, rows[r].width,
                     rows[r].name.c_str());
    }
    for (size_t i = 0; i < tracks.size(); ++i) {
        std::fprintf(stderr, "FOLD outt %d name '%s' pt '%s'\n", static_cast<int>(i), tracks[i].name.c_str(),
                     tracks[i].matchKey.c_str());
    }
}

}  // namespace

FolderParents folderParents(const SessionModel& model) {
    const std::vector<TrackListRow>& rows = model.trackListRows;
    FolderParents result;
    result.parent.assign(rows.size(), -1);
    result.hadMembers.assign(rows.size(), false);
    if (!model.folderTree.readable) return result;
    std::map<uint64_t, size_t> rowOfId;
    for (size_t r = 0; r < rows.size(); ++r) {
        if (rows[r].rowId == 0 || !rowOfId.emplace(rows[r].rowId, r).second) return result;
    }
    for (const FolderLink& link : model.folderTree.links) {
        auto folder = rowOfId.find(link.folderId);
        if (folder == rowOfId.end() || !rows[folder->second].rowFlag) return FolderParents{false, {}, {}};
        for (uint64_t id : link.memberIds) {
            auto member = rowOfId.find(id);
            if (member == rowOfId.end() || member->second == folder->second || result.parent[member->second] >= 0) {
                return FolderParents{false, {}, {}};
            }
            result.parent[member->second] = static_cast<int>(folder->second);
            result.hadMembers[folder->second] = true;
        }
    }
    result.usable = true;
    return result;
}

void addFolderNeeds(const SessionModel& model, std::map<std::string, std::set<std::string>>& needs) {
    const FolderParents parents = folderParents(model);
    if (!parents.usable) return;
    const std::vector<TrackListRow>& rows = model.trackListRows;
    for (size_t r = 0; r < rows.size(); ++r) {
        if (parents.parent[r] >= 0) needs[rows[r].name].insert(rows[static_cast<size_t>(parents.parent[r])].name);
    }
}

std::set<std::string> foldersKeptWithoutTable(const SessionModel& model) {
    std::set<std::string> names;
    if (folderParents(model).usable) return names;
    for (const TrackListRow& row : model.trackListRows) {
        if (row.rowFlag) names.insert(row.name);
    }
    return names;
}

void drawFolders(const SessionModel& model, const ConvertOptions&, BindingWork&, AnalysisModel& analysis) {
    FolderTables& folders = analysis.folders;
    const std::vector<TrackListRow>& rows = model.trackListRows;
    const std::vector<OutputTrack>& tracks = analysis.outputTracks;
    folders.words.assign(tracks.size(), FolderWord());
    debugFolders(rows, tracks);
    folders.folderRows = static_cast<int>(std::count_if(rows.begin(), rows.end(), [](const TrackListRow& row) {
        return row.rowFlag;
    }));
    if (folders.folderRows == 0) return;

    Drawing d{rows, tracks, rowsOfTracks(rows, tracks), {}, {}};
    for (size_t i = 0; i < tracks.size(); ++i) {
        const int r = d.rowOfTrack[i];
        if (r >= 0 && rows[static_cast<size_t>(r)].rowFlag && !isBasic(rows[static_cast<size_t>(r)]) &&
            tracks[i].matchKey == rows[static_cast<size_t>(r)].name) {
            folders.routingFolders.insert(i);
        }
    }
    std::set<std::string> noMainSend;
    for (int i : analysis.routing.noMainSend) {
        if (i >= 0 && static_cast<size_t>(i) < tracks.size()) noMainSend.insert(trackKey(tracks[static_cast<size_t>(i)]));
    }
    const FolderParents parents = folderParents(model);
    if (parents.usable && drawTree(d, parents, noMainSend, folders)) {
        folders.tableState = 1;
        return;
    }
    folders.tableState = 0;
    folders.words.assign(tracks.size(), FolderWord());
    folders.movedToMain.clear();
    folders.movedOut.clear();
    folders.couldNotWrite.clear();
    inferFromOrder(d, folders);
}
