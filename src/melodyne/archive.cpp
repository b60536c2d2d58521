#include "melodyne/archive.h"

#include <zlib.h>

#include <climits>
#include <cstring>
#include <unordered_set>

namespace {

constexpr char kMagic[8] = {'G', 'N', 'B', 'K', 'V', 'A', 'i', 0};
constexpr uint64_t kHeadSize = 20;
constexpr size_t kInflateStep = 64 * 1024;
// An inflated body above this is taken for a damaged stream, not an archive.
constexpr size_t kMaxBody = 256u * 1024 * 1024;

// Bounds-checked reads through a body; the first read that does not fit fails them all.
struct Cursor {
    const std::vector<uint8_t>& bytes;
    uint64_t at = 0;
    bool ok = true;

    uint64_t left() const { return ok ? bytes.size() - at : 0; }
    bool need(uint64_t count) {
        if (count > left()) ok = false;
        return ok;
    }
    uint32_t u32() {
        if (!need(4)) return 0;
        at += 4;
        return u32At(bytes, at - 4);
    }
    uint8_t u8() { return need(1) ? bytes[at++] : 0; }
    std::vector<uint8_t> take(uint64_t count) {
        if (!need(count)) return {};
        std::vector<uint8_t> out(bytes.begin() + static_cast<ptrdiff_t>(at),
                                 bytes.begin() + static_cast<ptrdiff_t>(at + count));
        at += count;
        return out;
    }
    std::string text(uint64_t count) {
        std::vector<uint8_t> raw = take(count);
        return std::string(raw.begin(), raw.end());
    }
    // A count of records of at least `least` bytes each that can still fit.
    uint32_t count(uint64_t least) {
        const uint32_t n = u32();
        if (uint64_t(n) * least > left()) ok = false;
        return ok ? n : 0;
    }
};

void appendU32(std::vector<uint8_t>& out, uint32_t value) {
    for (int k = 0; k < 4; ++k) out.push_back(static_cast<uint8_t>(value >> (8 * k)));
}

void appendBytes(std::vector<uint8_t>& out, const void* data, size_t size) {
    const uint8_t* bytes = static_cast<const uint8_t*>(data);
    out.insert(out.end(), bytes, bytes + size);
}

// A raw deflate stream inflated whole; the trailing Adler-32 is not looked at.
bool inflateRaw(const uint8_t* data, uint64_t size, std::vector<uint8_t>& out) {
    if (size > UINT_MAX) return false;
    z_stream stream{};
    if (inflateInit2(&stream, -15) != Z_OK) return false;
    stream.next_in = const_cast<Bytef*>(data);
    stream.avail_in = static_cast<uInt>(size);
    int code = Z_OK;
    while (code == Z_OK && out.size() < kMaxBody) {
        const size_t old = out.size();
        out.resize(old + kInflateStep);
        stream.next_out = out.data() + old;
        stream.avail_out = static_cast<uInt>(kInflateStep);
        code = inflate(&stream, Z_NO_FLUSH);
        out.resize(old + kInflateStep - stream.avail_out);
    }
    inflateEnd(&stream);
    return code == Z_STREAM_END;
}

// The field of an object's class with this name and type: where its first value
// stands in fixedData; nothing when it is missing or does not fit.
std::optional<uint64_t> fieldAt(const Archive& archive, uint32_t objectId, std::string_view name, uint8_t type) {
    const ArchiveObject* object = archive.object(objectId);
    if (!object) return std::nullopt;
    uint64_t offset = 0;
    for (const ArchiveField& field : archive.classOf(*object).fields) {
        if (archive.names[field.name] == name) {
            if (field.type != type || field.count == 0 || field.size < 4 || offset + 4 > object->fixedData.size()) {
                return std::nullopt;
            }
            return offset;
        }
        offset += uint64_t(field.count) * field.size;
    }
    return std::nullopt;
}

// The objects an object refers to, in field order, then its list elements.
std::vector<uint32_t> childrenOf(const Archive& archive, const ArchiveObject& object) {
    std::vector<uint32_t> children;
    const ArchiveClass& type = archive.classOf(object);
    uint64_t offset = 0;
    for (const ArchiveField& field : type.fields) {
        for (uint64_t k = 0; field.type == kReferenceType && field.size >= 4 && k < field.count; ++k) {
            const uint64_t at = offset + k * field.size;
            if (at + 4 > object.fixedData.size()) break;
            if (!isNullReference(object.fixedData, at)) children.push_back(u32At(object.fixedData, at));
        }
        offset += uint64_t(field.count) * field.size;
    }
    if (type.name == "GNList") {
        for (uint32_t element : readList(archive, object.id)) children.push_back(element);
    }
    return children;
}

}  // namespace

const ArchiveObject* Archive::object(uint32_t id) const {
    auto found = byId.find(id);
    return found == byId.end() ? nullptr : &objects[found->second];
}

uint32_t u32At(const std::vector<uint8_t>& bytes, uint64_t at) {
    if (at > bytes.size() || bytes.size() - at < 4) return 0;
    return uint32_t(bytes[at]) | uint32_t(bytes[at + 1]) << 8 | uint32_t(bytes[at + 2]) << 16 |
           uint32_t(bytes[at + 3]) << 24;
}

void putU32(std::vector<uint8_t>& bytes, uint64_t at, uint32_t value) {
    for (int k = 0; k < 4; ++k) bytes[at + k] = static_cast<uint8_t>(value >> (8 * k));
}

bool isNullReference(const std::vector<uint8_t>& fixedData, uint64_t at) {
    return u32At(fixedData, at) == kNullReference && (at + 8 > fixedData.size() || u32At(fixedData, at + 4) == 0);
}

bool parseArchiveBody(const std::vector<uint8_t>& body, Archive& archive) {
    archive = Archive();
    Cursor in{body};
    const uint32_t nameCount = in.count(4);
    for (uint32_t n = 0; n < nameCount && in.ok; ++n) archive.names.push_back(in.text(in.u32()));

    const uint32_t classCount = in.count(12);
    for (uint32_t c = 0; c < classCount && in.ok; ++c) {
        ArchiveClass type;
        type.name = in.text(in.u32());
        type.version = in.u32();
        const uint32_t fieldCount = in.count(13);
        for (uint32_t f = 0; f < fieldCount && in.ok; ++f) {
            ArchiveField field;
            field.name = in.u32();
            field.count = in.u32();
            field.type = in.u8();
            field.size = in.u32();
            if (field.name >= nameCount) return false;
            type.fields.push_back(field);
        }
        archive.classes.push_back(std::move(type));
    }

    const uint32_t typeCount = in.count(4);
    for (uint32_t t = 0; t < typeCount && in.ok; ++t) archive.types.push_back(in.u32());
    const uint32_t objectCount = in.count(4);
    for (uint32_t o = 0; o < objectCount && in.ok; ++o) {
        ArchiveObject object;
        object.id = in.u32();
        if (object.id >= archive.types.size() || archive.types[object.id] >= archive.classes.size()) return false;
        object.classIndex = archive.types[object.id];
        archive.objects.push_back(std::move(object));
    }
    for (size_t o = 0; o < archive.objects.size() && in.ok; ++o) {
        ArchiveObject& object = archive.objects[o];
        const uint32_t recordSize = in.u32();
        const uint32_t fixedSize = in.u32();
        if (uint64_t(recordSize) < uint64_t(fixedSize) + 4) return false;
        object.fixedData = in.take(fixedSize);
        object.listData = in.take(uint64_t(recordSize) - 4 - fixedSize);
        archive.byId.emplace(object.id, o);
    }
    return in.ok && in.at == body.size();
}

bool parseArchiveFile(const std::vector<uint8_t>& file, Archive& archive) {
    if (file.size() < 22 || std::memcmp(file.data(), kMagic, sizeof kMagic) != 0) return false;
    const uint64_t streamSize = u32At(file, 16);
    if (streamSize + kHeadSize > file.size() || streamSize < 2) return false;
    const uint8_t* stream = file.data() + kHeadSize;
    const unsigned cmf = stream[0];
    const unsigned flg = stream[1];
    // Deflate, a valid check value, and no preset dictionary.
    if ((cmf & 15) != 8 || (cmf * 256 + flg) % 31 != 0 || (flg & 0x20) != 0) return false;
    std::vector<uint8_t> body;
    return inflateRaw(stream + 2, streamSize - 2, body) && parseArchiveBody(body, archive);
}

std::vector<uint8_t> serialiseArchive(const Archive& archive) {
    std::vector<uint8_t> out;
    appendU32(out, static_cast<uint32_t>(archive.names.size()));
    for (const std::string& name : archive.names) {
        appendU32(out, static_cast<uint32_t>(name.size()));
        appendBytes(out, name.data(), name.size());
    }
    appendU32(out, static_cast<uint32_t>(archive.classes.size()));
    for (const ArchiveClass& type : archive.classes) {
        appendU32(out, static_cast<uint32_t>(type.name.size()));
        appendBytes(out, type.name.data(), type.name.size());
        appendU32(out, type.version);
        appendU32(out, static_cast<uint32_t>(type.fields.size()));
        for (const ArchiveField& field : type.fields) {
            appendU32(out, field.name);
            appendU32(out, field.count);
            out.push_back(field.type);
            appendU32(out, field.size);
        }
    }
    appendU32(out, static_cast<uint32_t>(archive.types.size()));
    for (uint32_t type : archive.types) appendU32(out, type);
    appendU32(out, static_cast<uint32_t>(archive.objects.size()));
    for (const ArchiveObject& object : archive.objects) appendU32(out, object.id);
    for (const ArchiveObject& object : archive.objects) {
        appendU32(out, static_cast<uint32_t>(4 + object.fixedData.size() + object.listData.size()));
        appendU32(out, static_cast<uint32_t>(object.fixedData.size()));
        appendBytes(out, object.fixedData.data(), object.fixedData.size());
        appendBytes(out, object.listData.data(), object.listData.size());
    }
    return out;
}

std::vector<uint8_t> packArchiveFile(const std::vector<uint8_t>& body) {
    uLongf streamSize = compressBound(static_cast<uLong>(body.size()));
    std::vector<uint8_t> stream(streamSize);
    if (compress2(stream.data(), &streamSize, body.data(), static_cast<uLong>(body.size()), Z_DEFAULT_COMPRESSION) !=
        Z_OK) {
        return {};
    }
    std::vector<uint8_t> file;
    appendBytes(file, kMagic, sizeof kMagic);
    appendU32(file, 6);
    appendU32(file, 1);
    appendU32(file, static_cast<uint32_t>(streamSize));
    appendBytes(file, stream.data(), streamSize);
    return file;
}

std::optional<uint32_t> readReference(const Archive& archive, uint32_t objectId, std::string_view field) {
    const std::optional<uint64_t> at = fieldAt(archive, objectId, field, kReferenceType);
    if (!at) return std::nullopt;
    return u32At(archive.object(objectId)->fixedData, *at);
}

std::optional<int32_t> readInteger(const Archive& archive, uint32_t objectId, std::string_view field) {
    const std::optional<uint64_t> at = fieldAt(archive, objectId, field, kIntegerType);
    if (!at) return std::nullopt;
    return static_cast<int32_t>(u32At(archive.object(objectId)->fixedData, *at));
}

std::optional<ListLayout> listLayoutOf(const std::vector<uint8_t>& listData) {
    const uint64_t size = listData.size();
    const uint32_t n = u32At(listData, 0);
    if (n == 0) return std::nullopt;
    ListLayout layout;
    layout.headEnd = (uint64_t(n) - 1) * 13 + 12;
    if (layout.headEnd + 8 > size) return std::nullopt;
    layout.a = u32At(listData, layout.headEnd);
    layout.b = u32At(listData, layout.headEnd + 4);
    if (layout.b < layout.a) return std::nullopt;
    layout.countAt = layout.headEnd + 8 + (layout.b - layout.a);
    if (layout.countAt + 4 > size) return std::nullopt;
    layout.count = u32At(listData, layout.countAt);
    if (uint64_t(layout.count) * 4 > size - layout.countAt - 4) return std::nullopt;
    return layout;
}

std::vector<uint32_t> readList(const Archive& archive, uint32_t objectId) {
    const ArchiveObject* object = archive.object(objectId);
    if (!object) return {};
    const std::optional<ListLayout> layout = listLayoutOf(object->listData);
    if (!layout) return {};
    std::vector<uint32_t> elements;
    for (uint32_t k = 0; k < layout->count; ++k) {
        elements.push_back(u32At(object->listData, layout->countAt + 4 + 4 * uint64_t(k)));
    }
    return elements;
}

std::vector<uint8_t> rebuildList(const std::vector<uint8_t>& listData, const ListLayout& layout,
                                 const std::vector<uint32_t>& elements) {
    const uint32_t a = static_cast<uint32_t>(4 + 4 * elements.size());
    std::vector<uint8_t> out(listData.begin(), listData.begin() + static_cast<ptrdiff_t>(layout.headEnd));
    appendU32(out, a);
    appendU32(out, a + (layout.b - layout.a));
    out.insert(out.end(), listData.begin() + static_cast<ptrdiff_t>(layout.headEnd + 8),
               listData.begin() + static_cast<ptrdiff_t>(layout.countAt));
    appendU32(out, static_cast<uint32_t>(elements.size()));
    for (uint32_t element : elements) appendU32(out, element);
    return out;
}

std::vector<uint32_t> closure(const Archive& archive, uint32_t objectId) {
    std::vector<uint32_t> order;
    std::unordered_set<uint32_t> seen;
    std::vector<uint32_t> stack{objectId};
    while (!stack.empty()) {
        const uint32_t id = stack.back();
        stack.pop_back();
        const ArchiveObject* object = archive.object(id);
        if (!object || !seen.insert(id).second) continue;
        order.push_back(id);
        const std::vector<uint32_t> children = childrenOf(archive, *object);
        for (auto child = children.rbegin(); child != children.rend(); ++child) {
            if (!seen.count(*child)) stack.push_back(*child);
        }
    }
    return order;
}

std::optional<std::string> stringText(const std::vector<uint8_t>& listData) {
    if (listData.size() < 20) return std::nullopt;
    const uint32_t size = u32At(listData, 12);
    if (size == 0 || u32At(listData, 16) != size || uint64_t(size) + 20 != listData.size() || listData.back() != 0) {
        return std::nullopt;
    }
    return std::string(listData.begin() + 20, listData.end() - 1);
}

std::vector<uint8_t> stringData(const std::vector<uint8_t>& listData, const std::string& text) {
    std::vector<uint8_t> out(listData.begin(), listData.begin() + 12);
    appendU32(out, static_cast<uint32_t>(text.size() + 1));
    appendU32(out, static_cast<uint32_t>(text.size() + 1));
    appendBytes(out, text.data(), text.size());
    out.push_back(0);
    return out;
}
