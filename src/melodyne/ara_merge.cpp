#include "melodyne/ara_merge.h"

#include <algorithm>
#include <map>
#include <optional>
#include <unordered_map>

namespace {

// An object of one of the merged archives: the archive's slot and its old id.
using ObjectKey = std::pair<size_t, uint32_t>;

// The merge under way: the archives by slot, the merged schema and objects,
// and the map from old to new ids.
struct Merge {
    std::vector<const Archive*> archives;
    std::unordered_map<const Archive*, size_t> slotOf;
    std::vector<std::vector<uint32_t>> nameMap;   // by slot: old name index to merged
    std::vector<std::vector<uint32_t>> classMap;  // by slot: old class index to merged
    std::unordered_map<std::string, uint32_t> nameIndex;
    std::unordered_map<std::string, uint32_t> classIndex;
    Archive out;
    std::map<ObjectKey, uint32_t> newId;
    std::vector<ObjectKey> listing;  // in new-id order
    std::string error;

    bool fail(const std::string& text) {
        if (error.empty()) error = text;
        return false;
    }
};

// The slot of an archive; its names and classes join the merged schema the
// first time it is seen.
size_t addArchive(Merge& m, const Archive& archive) {
    auto found = m.slotOf.find(&archive);
    if (found != m.slotOf.end()) return found->second;
    const size_t slot = m.archives.size();
    m.archives.push_back(&archive);
    m.slotOf.emplace(&archive, slot);

    std::vector<uint32_t>& names = m.nameMap.emplace_back();
    for (const std::string& name : archive.names) {
        auto [at, added] = m.nameIndex.emplace(name, static_cast<uint32_t>(m.out.names.size()));
        if (added) m.out.names.push_back(name);
        names.push_back(at->second);
    }
    std::vector<uint32_t>& classes = m.classMap.emplace_back();
    for (const ArchiveClass& type : archive.classes) {
        ArchiveClass merged = type;
        for (ArchiveField& field : merged.fields) field.name = names[field.name];
        auto [at, added] = m.classIndex.emplace(type.name, static_cast<uint32_t>(m.out.classes.size()));
        classes.push_back(at->second);
        if (added) {
            m.out.classes.push_back(std::move(merged));
            continue;
        }
        ArchiveClass& have = m.out.classes[at->second];
        if (merged.fields.empty()) continue;
        if (have.fields.empty()) {
            have = std::move(merged);
            continue;
        }
        bool same = have.version == merged.version && have.fields.size() == merged.fields.size();
        for (size_t f = 0; same && f < have.fields.size(); ++f) {
            const ArchiveField& x = have.fields[f];
            const ArchiveField& y = merged.fields[f];
            same = x.name == y.name && x.count == y.count && x.type == y.type && x.size == y.size;
        }
        if (!same) m.fail("schema conflict: " + type.name);
    }
    return slot;
}

uint32_t listObject(Merge& m, size_t slot, uint32_t oldId) {
    auto [at, added] = m.newId.emplace(ObjectKey(slot, oldId), static_cast<uint32_t>(m.listing.size()));
    if (added) m.listing.emplace_back(slot, oldId);
    return at->second;
}

// The one member of the root's list named `field`, with everything it reaches listed.
std::optional<uint32_t> listOnlyMember(Merge& m, size_t slot, const char* field, const char* error) {
    const Archive& archive = *m.archives[slot];
    const std::optional<uint32_t> list = readReference(archive, 0, field);
    const std::vector<uint32_t> members = list ? readList(archive, *list) : std::vector<uint32_t>();
    if (members.size() != 1 || !archive.object(members[0])) {
        m.fail(error);
        return std::nullopt;
    }
    for (uint32_t id : closure(archive, members[0])) listObject(m, slot, id);
    return members[0];
}

// The element'th member of the list that `field` of objectId refers to.
std::optional<uint32_t> listMember(const Archive& archive, std::optional<uint32_t> objectId, const char* field,
                                   std::optional<int32_t> element) {
    const std::optional<uint32_t> list = objectId ? readReference(archive, *objectId, field) : std::nullopt;
    const std::vector<uint32_t> members = list ? readList(archive, *list) : std::vector<uint32_t>();
    if (!element || *element < 0 || static_cast<size_t>(*element) >= members.size()) return std::nullopt;
    return members[static_cast<size_t>(*element)];
}

// A modification's components point into its source by element and component
// index; the dangling reference beside them is mapped to that component.
bool mendLinks(Merge& m, size_t sourceSlot, uint32_t sourceId, size_t modSlot, uint32_t modId) {
    const Archive& source = *m.archives[sourceSlot];
    const Archive& mod = *m.archives[modSlot];
    for (uint32_t id : closure(mod, modId)) {
        if (mod.classOf(*mod.object(id)).name != "MUAudioComponent") continue;
        const std::optional<uint32_t> link = readReference(mod, id, "audioSourceComponent");
        if (!link || *link == kNullReference || mod.object(*link)) continue;

        std::optional<uint32_t> description = readReference(source, sourceId, "effectiveAudioSourceDescription");
        if (description) description = readReference(source, *description, "customAudioSource");
        const std::optional<uint32_t> element = listMember(source, description, "audioSourceElements",
                                                           readInteger(mod, id, "splitArchiveSourceElementIndex"));
        if (!element) return m.fail("an edit links to a missing source element");
        const std::optional<uint32_t> component = listMember(
            source, element, "audioSourceComponents", readInteger(mod, id, "splitArchiveSourceComponentIndex"));
        if (!component) return m.fail("an edit links to a missing source component");
        auto listed = m.newId.find(ObjectKey(sourceSlot, *component));
        if (listed == m.newId.end()) return m.fail("an edit links outside its source");
        m.newId.emplace(ObjectKey(modSlot, *link), listed->second);
    }
    return true;
}

// The new id of a reference met while rewriting; an object not listed yet joins the end.
bool renumber(Merge& m, size_t slot, std::vector<uint8_t>& bytes, uint64_t at) {
    const uint32_t old = u32At(bytes, at);
    auto found = m.newId.find(ObjectKey(slot, old));
    if (found != m.newId.end()) {
        putU32(bytes, at, found->second);
        return true;
    }
    if (!m.archives[slot]->object(old)) return m.fail("a reference to a missing object");
    putU32(bytes, at, listObject(m, slot, old));
    return true;
}

// One object in its merged form: references, inline name keys and list elements renumbered.
bool rewriteObject(Merge& m, size_t slot, const ArchiveObject& object) {
    const Archive& archive = *m.archives[slot];
    ArchiveObject merged = object;
    merged.id = static_cast<uint32_t>(m.out.objects.size());
    merged.classIndex = m.classMap[slot][object.classIndex];
    const ArchiveClass& type = m.out.classes[merged.classIndex];

    uint64_t offset = 0;
    for (const ArchiveField& field : type.fields) {
        for (uint64_t k = 0; field.type == kReferenceType && field.size >= 4 && k < field.count; ++k) {
            const uint64_t at = offset + k * field.size;
            if (at + 4 > merged.fixedData.size()) break;
            if (!isNullReference(merged.fixedData, at) && !renumber(m, slot, merged.fixedData, at)) return false;
        }
        offset += uint64_t(field.count) * field.size;
    }

    const bool list = type.name == "GNList";
    if (list || type.name == "GNString" || type.name == "GNData") {
        std::vector<uint8_t>& data = merged.listData;
        const uint32_t n = u32At(data, 0);
        if (n >= 2 && 4 + 13 * (uint64_t(n) - 2) + 4 > data.size()) return m.fail("a bad inline key");
        for (uint64_t k = 0; n >= 2 && k < n - 1; ++k) {
            const uint32_t name = u32At(data, 4 + 13 * k);
            if (name >= archive.names.size()) return m.fail("a bad inline key");
            putU32(data, 4 + 13 * k, m.nameMap[slot][name]);
        }
    }
    if (list) {
        if (const std::optional<ListLayout> layout = listLayoutOf(merged.listData)) {
            for (uint64_t k = 0; k < layout->count; ++k) {
                const uint64_t at = layout->countAt + 4 + 4 * k;
                if (u32At(merged.listData, at) != kNullReference && !renumber(m, slot, merged.listData, at)) {
                    return false;
                }
            }
        }
    }
    m.out.types.push_back(merged.classIndex);
    m.out.objects.push_back(std::move(merged));
    return true;
}

// The text of the GNString that `persistentID` of an object refers to.
std::optional<std::string> persistentText(const Archive& archive, uint32_t objectId) {
    const std::optional<uint32_t> id = readReference(archive, objectId, "persistentID");
    const ArchiveObject* text = id ? archive.object(*id) : nullptr;
    if (!text || archive.classOf(*text).name != "GNString") return std::nullopt;
    return stringText(text->listData);
}

// The merged copy of the list that the document's root field refers to, given new members.
bool replaceMembers(Merge& m, const Archive& document, const char* field, const std::vector<uint32_t>& members) {
    const std::optional<uint32_t> list = readReference(document, 0, field);
    auto listed = list ? m.newId.find(ObjectKey(0, *list)) : m.newId.end();
    if (listed == m.newId.end()) return m.fail("the document archive has no source/modification lists");
    ArchiveObject& merged = m.out.objects[listed->second];
    const std::optional<ListLayout> layout = listLayoutOf(merged.listData);
    if (!layout) return m.fail("the document archive has no source/modification lists");
    merged.listData = rebuildList(merged.listData, *layout, members);
    return true;
}

}  // namespace

MergeInput groupEdits(const std::vector<EditEntry>& entries, const AraTables& tables) {
    MergeInput input;
    std::map<std::string, size_t> groupOfSource;
    for (size_t e = 0; e < entries.size(); ++e) {
        const EditEntry& entry = entries[e];
        const AraPaths& paths = tables.paths[static_cast<size_t>(entry.set)];
        if (!input.document) input.document = &tables.archives.at(paths.document);
        auto [at, added] = groupOfSource.emplace(paths.source, input.groups.size());
        if (added) {
            SourceGroup group;
            group.source = &tables.archives.at(paths.source);
            group.fileName = entry.fileName;
            input.groups.push_back(group);
            input.sourceLines.emplace_back(entry.itemGuid, entry.fileName);
        }
        SourceGroup& group = input.groups[at->second];
        group.modifications.push_back(&tables.archives.at(paths.modification));
        group.itemGuids.push_back(entry.itemGuid);
        group.entries.push_back(e);
    }
    return input;
}

std::vector<uint8_t> mergeArchives(const Archive& document, const std::vector<SourceGroup>& groups,
                                   std::string& error) {
    Merge m;
    // 1. The schemas, in the order of the archives.
    addArchive(m, document);
    for (const SourceGroup& group : groups) {
        addArchive(m, *group.source);
        for (const Archive* mod : group.modifications) addArchive(m, *mod);
    }

    // 2. The document's objects, then what each group brings.
    for (const ArchiveObject& object : document.objects) listObject(m, 0, object.id);
    struct Placed {
        size_t slot = 0;
        uint32_t id = 0;
    };
    std::vector<Placed> sources;
    std::vector<std::vector<Placed>> mods;
    for (size_t g = 0; g < groups.size() && m.error.empty(); ++g) {
        const size_t slot = m.slotOf.at(groups[g].source);
        const std::optional<uint32_t> source =
            listOnlyMember(m, slot, "audioSources", "a source archive without exactly one source");
        sources.push_back({slot, source.value_or(0)});
        mods.emplace_back();
        for (const Archive* mod : groups[g].modifications) {
            const size_t modSlot = m.slotOf.at(mod);
            const std::optional<uint32_t> id = listOnlyMember(
                m, modSlot, "audioModifications", "a modification archive without exactly one modification");
            mods.back().push_back({modSlot, id.value_or(0)});
        }
    }

    // 3. Links from each modification into its source.
    for (size_t g = 0; g < mods.size() && m.error.empty(); ++g) {
        for (const Placed& mod : mods[g]) {
            if (!mendLinks(m, sources[g].slot, sources[g].id, mod.slot, mod.id)) break;
        }
    }

    // 4. Every object rewritten in new-id order; the list grows as references are met.
    for (size_t i = 0; i < m.listing.size() && m.error.empty(); ++i) {
        const auto [slot, old] = m.listing[i];
        rewriteObject(m, slot, *m.archives[slot]->object(old));
    }

    // 5. Persistent ids: a source's to its file name, a modification's to its item.
    std::map<std::string, std::string> persistent;
    std::vector<std::pair<size_t, uint32_t>> modsByEntry;
    std::vector<uint32_t> sourceIds;
    for (size_t g = 0; g < mods.size() && m.error.empty(); ++g) {
        const Archive& source = *m.archives[sources[g].slot];
        if (auto text = persistentText(source, sources[g].id)) persistent.emplace(*text, groups[g].fileName);
        sourceIds.push_back(m.newId.at(ObjectKey(sources[g].slot, sources[g].id)));
        for (size_t k = 0; k < mods[g].size(); ++k) {
            const Placed& mod = mods[g][k];
            if (auto text = persistentText(*m.archives[mod.slot], mod.id)) {
                persistent.emplace(*text, groups[g].itemGuids[k]);
            }
            modsByEntry.emplace_back(groups[g].entries[k], m.newId.at(ObjectKey(mod.slot, mod.id)));
        }
    }

    // 6. The document's lists take the new members; a modification met twice stands once.
    std::sort(modsByEntry.begin(), modsByEntry.end());
    std::vector<uint32_t> modIds;
    for (const auto& entry : modsByEntry) {
        if (std::find(modIds.begin(), modIds.end(), entry.second) == modIds.end()) modIds.push_back(entry.second);
    }
    if (m.error.empty() && replaceMembers(m, document, "audioSources", sourceIds)) {
        replaceMembers(m, document, "audioModifications", modIds);
    }

    // 7. The persistent ids rewritten wherever their text stands.
    for (ArchiveObject& object : m.out.objects) {
        if (!m.error.empty() || m.out.classes[object.classIndex].name != "GNString") continue;
        const std::optional<std::string> text = stringText(object.listData);
        auto replacement = text ? persistent.find(*text) : persistent.end();
        if (replacement != persistent.end()) object.listData = stringData(object.listData, replacement->second);
    }

    if (!m.error.empty()) {
        error = m.error;
        return {};
    }
    return serialiseArchive(m.out);
}
