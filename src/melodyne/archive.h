// Melodyne's document archive: the "GNBKVAi" file around a zlib stream, and
// the body inside it (shared names, classes with their fields, objects).
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

// One field of a class: `count` values of `size` bytes each, of a type character.
struct ArchiveField {
    uint32_t name = 0;  // index into the archive's names
    uint32_t count = 0;
    uint8_t type = 0;
    uint32_t size = 0;
};

struct ArchiveClass {
    std::string name;
    uint32_t version = 0;
    std::vector<ArchiveField> fields;
};

struct ArchiveObject {
    uint32_t id = 0;
    uint32_t classIndex = 0;
    std::vector<uint8_t> fixedData;  // the fields, one behind the other
    std::vector<uint8_t> listData;
};

struct Archive {
    std::vector<std::string> names;
    std::vector<ArchiveClass> classes;
    std::vector<uint32_t> types;          // the class index of each object id
    std::vector<ArchiveObject> objects;   // in listing order
    std::unordered_map<uint32_t, size_t> byId;  // the first object of each id

    const ArchiveObject* object(uint32_t id) const;
    const ArchiveClass& classOf(const ArchiveObject& object) const { return classes[object.classIndex]; }
};

constexpr uint32_t kNullReference = 0xFFFFFFFF;
constexpr uint8_t kReferenceType = '^';
constexpr uint8_t kIntegerType = 'i';

// The body as inflated; false when it is out of shape anywhere, or does not end
// exactly behind its last record.
bool parseArchiveBody(const std::vector<uint8_t>& body, Archive& archive);
// The whole file: head, zlib stream, body. False for anything that is no archive.
bool parseArchiveFile(const std::vector<uint8_t>& file, Archive& archive);
// The inverse of parseArchiveBody for an archive whose objects carry the ids
// 0 .. n-1 in listing order.
std::vector<uint8_t> serialiseArchive(const Archive& archive);
// The file form around a body: head, then the body as a zlib stream.
std::vector<uint8_t> packArchiveFile(const std::vector<uint8_t>& body);

// The u32 at `at` of a byte list, 0 where it does not fit.
uint32_t u32At(const std::vector<uint8_t>& bytes, uint64_t at);
void putU32(std::vector<uint8_t>& bytes, uint64_t at, uint32_t value);

// A value of a reference field is null when it is 0xFFFFFFFF and the word
// behind it is 0 (or there is none).
bool isNullReference(const std::vector<uint8_t>& fixedData, uint64_t at);

// The u32 of a '^' field of an object, and the value of an 'i' field; nothing
// when the object, the field or its type does not fit.
std::optional<uint32_t> readReference(const Archive& archive, uint32_t objectId, std::string_view field);
std::optional<int32_t> readInteger(const Archive& archive, uint32_t objectId, std::string_view field);

// The layout of a list object's listData: head, two sizes, a middle part, the
// count and the element ids. Nothing where any part lies outside.
struct ListLayout {
    uint64_t headEnd = 0;  // where the first size stands
    uint32_t a = 0;
    uint32_t b = 0;
    uint64_t countAt = 0;
    uint32_t count = 0;
};
std::optional<ListLayout> listLayoutOf(const std::vector<uint8_t>& listData);
// The elements of a list object; empty for anything that is no list.
std::vector<uint32_t> readList(const Archive& archive, uint32_t objectId);
// The listData of a list with the same head and middle part and new elements.
std::vector<uint8_t> rebuildList(const std::vector<uint8_t>& listData, const ListLayout& layout,
                                 const std::vector<uint32_t>& elements);

// Every object reachable from objectId by references and list elements, each
// once, depth first, the start first.
std::vector<uint32_t> closure(const Archive& archive, uint32_t objectId);

// The text of a GNString's listData, nothing for any other form.
std::optional<std::string> stringText(const std::vector<uint8_t>& listData);
// The same 12-byte head around a new text.
std::vector<uint8_t> stringData(const std::vector<uint8_t>& listData, const std::string& text);
