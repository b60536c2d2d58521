// Melodyne edits on built sessions: three edited clips whose archives lie in
// "ARA Data" beside the session, merged into one document in the project; and
// damaged, missing or clashing archives, which leave the clips playing unedited.
#include <gtest/gtest.h>
#include <zlib.h>

#include <filesystem>
#include <functional>

#include "melodyne/archive.h"
#include "project/text.h"
#include "support/run_capture.h"
#include "support/session_builder.h"

namespace {

using Bytes = std::vector<uint8_t>;
constexpr uint32_t kNull = 0xFFFFFFFF;

void put(Bytes& out, uint32_t value) {
    for (int k = 0; k < 4; ++k) out.push_back(static_cast<uint8_t>(value >> (8 * k)));
}
void put(Bytes& out, const std::string& text) {
    put(out, static_cast<uint32_t>(text.size()));
    out.insert(out.end(), text.begin(), text.end());
}

// The schema of every test archive. Modification archives list the names in
// reverse, so their field records and inline keys must be renumbered.
const std::vector<std::string> kNames = {
    "audioSources", "audioModifications", "persistentID", "effectiveAudioSourceDescription", "customAudioSource",
    "audioSourceElements", "audioSourceComponents", "audioSourceComponent", "splitArchiveSourceElementIndex",
    "splitArchiveSourceComponentIndex", "value"};
enum Class : uint32_t { List, String, Root, Source, Description, Element, Component, Modification, AudioComponent };
const std::vector<std::pair<std::string, std::vector<std::pair<uint32_t, char>>>> kClasses = {
    {"GNList", {}}, {"GNString", {}}, {"Root", {{0, '^'}, {1, '^'}}}, {"Source", {{2, '^'}, {3, '^'}}},
    {"Description", {{4, '^'}, {5, '^'}}}, {"Element", {{6, '^'}}}, {"Component", {{10, 'i'}}},
    {"Modification", {{2, '^'}, {10, '^'}}}, {"MUAudioComponent", {{7, '^'}, {8, 'i'}, {9, 'i'}}}};

struct Obj {
    uint32_t type;
    std::vector<uint32_t> fixed;
    Bytes list = {};
};

// A list: head (with one inline name key when key >= 0), a 4-byte middle part, the elements.
Bytes listOf(const std::vector<uint32_t>& elements, int key = -1) {
    Bytes out;
    put(out, key < 0 ? 1u : 2u);
    if (key >= 0) {
        put(out, static_cast<uint32_t>(key));
        out.resize(out.size() + 9);
    }
    out.resize(out.size() + 8);
    const uint32_t a = static_cast<uint32_t>(4 + 4 * elements.size());
    for (uint32_t word : {a, a + 4, 0x4C44494Du, static_cast<uint32_t>(elements.size())}) put(out, word);
    for (uint32_t element : elements) put(out, element);
    return out;
}

Bytes stringOf(const std::string& text) {
    Bytes out;
    for (uint32_t word : {1u, 0u, 0u, uint32_t(text.size() + 1), uint32_t(text.size() + 1)}) put(out, word);
    out.insert(out.end(), text.begin(), text.end());
    out.push_back(0);
    return out;
}

// Objects of one source from id `b` on: two components, `value` 100 + k.
void addSource(std::vector<Obj>& objects, uint32_t b, const std::string& id) {
    objects.insert(objects.end(), {{Source, {b + 1, b + 2}}, {String, {}, stringOf(id)}, {Description, {b + 2, b + 3}},
                                   {List, {}, listOf({b + 4})}, {Element, {b + 5}}, {List, {}, listOf({b + 6, b + 7})},
                                   {Component, {101}}, {Component, {102}}});
}

// Objects of one modification from id `b` on; its component links to `target`.
void addModification(std::vector<Obj>& objects, uint32_t b, const std::string& id, uint32_t target,
                     uint32_t component, uint32_t valueKey) {
    objects.insert(objects.end(), {{Modification, {b + 1, b + 2}}, {String, {}, stringOf(id)},
                                   {List, {}, listOf({kNull, b + 3}, static_cast<int>(valueKey))},
                                   {AudioComponent, {target, 0, component}}});
}

Bytes bodyOf(const std::vector<Obj>& objects, bool reversed = false, uint32_t componentSize = 4) {
    Bytes out;
    auto name = [&](uint32_t k) { return reversed ? 10 - k : k; };
    put(out, 11u);
    for (uint32_t k = 0; k < 11; ++k) put(out, kNames[name(k)]);
    put(out, static_cast<uint32_t>(kClasses.size()));
    for (const auto& [className, fields] : kClasses) {
        put(out, className);
        put(out, 1u);
        put(out, static_cast<uint32_t>(fields.size()));
        for (const auto& [field, type] : fields) {
            put(out, name(field));
            put(out, 1u);
            out.push_back(static_cast<uint8_t>(type));
            put(out, className == "Component" ? componentSize : 4u);
        }
    }
    put(out, static_cast<uint32_t>(objects.size()));
    for (const Obj& object : objects) put(out, object.type);
    put(out, static_cast<uint32_t>(objects.size()));
    for (uint32_t id = 0; id < objects.size(); ++id) put(out, id);
    for (const Obj& object : objects) {
        put(out, static_cast<uint32_t>(4 + 4 * object.fixed.size() + object.list.size()));
        put(out, static_cast<uint32_t>(4 * object.fixed.size()));
        for (uint32_t word : object.fixed) put(out, word);
        out.insert(out.end(), object.list.begin(), object.list.end());
    }
    return out;
}

std::string fileOf(const Bytes& body) {
    uLongf size = compressBound(static_cast<uLong>(body.size()));
    Bytes stream(size);
    compress2(stream.data(), &size, body.data(), static_cast<uLong>(body.size()), 9);
    Bytes out = {'G', 'N', 'B', 'K', 'V', 'A', 'i', 0};
    for (uint32_t word : {6u, 1u, static_cast<uint32_t>(size)}) put(out, word);
    out.insert(out.end(), stream.begin(), stream.begin() + static_cast<ptrdiff_t>(size));
    return std::string(out.begin(), out.end());
}

// The archive files as the test lays them out: name to body.
std::map<std::string, Bytes> archiveBodies() {
    std::map<std::string, Bytes> files;
    files["ds_doc.ara"] = bodyOf({{Root, {1, 2}}, {List, {}, listOf({})}, {List, {}, listOf({})}});
    for (uint32_t k = 0; k < 2; ++k) {
        std::vector<Obj> source = {{Root, {1, kNull}}, {List, {}, listOf({2})}};
        addSource(source, 2, "source-" + std::to_string(k));
        files["src-" + std::to_string(k) + ".ara"] = bodyOf(source);
    }
    for (uint32_t k = 0; k < 3; ++k) {
        std::vector<Obj> mod = {{Root, {kNull, 1}}, {List, {}, listOf({2})}};
        addModification(mod, 2, "edit-" + std::to_string(k), 77, k == 1 ? 0 : 1, 0);
        files["mod-" + std::to_string(k) + ".ara"] = bodyOf(mod, true);
    }
    return files;
}

// Three clips on one track, A and B of a.wav sharing src-0, C of c.wav with src-1;
// the session's ARA block names the archives, each clip holds its edit's id.
std::string writeSession(const std::string& folder, const std::map<std::string, std::string>& files) {
    BuiltSession s;
    s.files = {{"a.wav", 480000}, {"c.wav", 480000}};
    s.clips = {{"A", 0, 0, 48000}, {"B", 0, 48000, 48000}, {"C", 1, 0, 48000}};
    for (uint8_t k = 0; k < 3; ++k) s.clips[k].araUid = Bytes(16, static_cast<uint8_t>(0xA0 + k));
    s.tracks = {{"Vox", 0, 0, 0, false, {{"", false, {{0, 0}, {1, 48000}, {2, 96000}}}}, 1}};
    ImageBuilder b = buildSession(s);
    b.openBlock(0x480C);
    b.name("com.celemony.ara.chunk.13");
    b.openBlock(0x4807);
    b.zeros(12);
    b.name("Melodyne");
    b.closeBlock();
    for (uint8_t k = 0; k < 2; ++k) {
        b.openBlock(0x480B);
        b.bytes(Bytes(16, static_cast<uint8_t>(0xB0 + k)));
        b.name("src-" + std::to_string(k) + ".ara");
        for (uint8_t m : k == 0 ? std::vector<uint8_t>{0, 1} : std::vector<uint8_t>{2}) {
            b.openBlock(0x480A);
            b.bytes(Bytes(16, static_cast<uint8_t>(0xA0 + m)));
            b.name("mod-" + std::to_string(m) + ".ara");
            b.closeBlock();
        }
        b.closeBlock();
    }
    b.name("ds_doc.ara");
    b.closeBlock();
    std::filesystem::create_directories(folder + "/ARA Data/Melodyne");
    for (const auto& [name, bytes] : files) writeFileText(folder + "/ARA Data/Melodyne/" + name, bytes);
    return b.writeFile(folder, "session.ptx");
}

CapturedRun convertWith(const std::map<std::string, std::string>& files, std::string& project, bool noAra = false) {
    const std::string folder = makeTempFolder("ara");
    ConvertOptions options = optionsFor(writeSession(folder, files));
    options.noAra = noAra;
    CapturedRun run = runConvert(options);
    project = readFileText(folder + "/session.rpp");
    EXPECT_EQ(checkProjectText(project), std::nullopt);
    return run;
}

std::string lineValue(const std::string& block, const std::string& head) {
    const size_t at = block.find(head);
    return at == std::string::npos ? std::string() : block.substr(at + head.size(), block.find('\n', at) - at - head.size());
}

}  // namespace

TEST(Melodyne, ThreeEditedClipsMergeIntoOneDocument) {
    std::map<std::string, std::string> files;
    for (const auto& [name, body] : archiveBodies()) files[name] = fileOf(body);
    std::string project;
    CapturedRun run = convertWith(files, project);
    ASSERT_EQ(run.code, 0) << run.console;
    EXPECT_NE(run.console.find("  3 clip(s) carry their Melodyne (ARA) edits into REAPER: Melodyne sits on\n"),
              std::string::npos);

    std::vector<std::string> guids;
    for (const char* clip : {"A", "B", "C"}) {
        const std::string item = itemNamed(project, clip);
        guids.push_back(lineValue(item, "      GUID "));
        EXPECT_NE(item.find("      ARAMOD {00000000-0000-0000-0000-000000000002}\n"), std::string::npos);
        EXPECT_NE(item.find("      <TAKEFX\n        SHOW 0\n        LASTSEL 0\n        DOCKED 0\n        BYPASS 0 0 0\n"
                            "        <VST \"VST3: Melodyne (Celemony)\" Melodyne.vst3 0 \"\" "
                            "214222609{5653544D6C70676D656C6F64796E6520} com.celemony.ara.chunk.13\n"
                            "          EcfEDO5e7f4CAAAAAQAAAAAAAAACAAAAAAAAAAIAAAABAAAAAAAAAAIAAAAAAAAAAAAAAAEAAAD//wAA\n"
                            "          AAAAAAAA\n        >\n"),
                  std::string::npos)
            << item;
    }
    ASSERT_EQ(guids[0].size(), 38u);
    EXPECT_NE(project.find("  <ARASRC com.celemony.ara.chunk.13 4\n    " + guids[0] + " \"a.wav\"\n    " + guids[2] +
                           " \"c.wav\"\n  >\n  ARA_POOLED_EDITS\n>\n"),
              std::string::npos);

    // The document decoded: every object renumbered behind the document's
    // three, sources in group order, modifications in item order, each
    // modification's component linked into its source, the ids rewritten.
    const size_t begin = project.find("  <ARA com.celemony.ara.chunk.13 4\n    <BIN\n");
    const size_t end = project.find("    >\n  >\n  <ARASRC");
    ASSERT_LT(begin, end);
    const Bytes file = base64Decode(project.substr(begin + 44, end - begin - 44));
    ASSERT_GT(file.size(), 20u);
    EXPECT_EQ(std::string(file.begin(), file.begin() + 16), std::string("GNBKVAi\0\6\0\0\0\1\0\0\0", 16));
    std::vector<Obj> merged = {{Root, {1, 2}}, {List, {}, listOf({3, 19})}, {List, {}, listOf({11, 15, 27})}};
    addSource(merged, 3, "a.wav");
    addModification(merged, 11, guids[0], 10, 1, 10);
    addModification(merged, 15, guids[1], 9, 0, 10);
    addSource(merged, 19, "c.wav");
    addModification(merged, 27, guids[2], 26, 1, 10);
    const Bytes expected = bodyOf(merged);
    Bytes body(expected.size() + 1);
    uLongf size = static_cast<uLongf>(body.size());
    ASSERT_EQ(uncompress(body.data(), &size, file.data() + 20, static_cast<uLong>(file.size() - 20)), Z_OK);
    body.resize(size);
    EXPECT_EQ(body, expected);

    // Under --no-ara the clips arrive as plain audio, and nothing speaks of Melodyne.
    run = convertWith(files, project, true);
    EXPECT_EQ(project.find("ARA"), std::string::npos);
    EXPECT_EQ(project.find("TAKEFX"), std::string::npos);
    EXPECT_EQ(run.console.find("Melodyne"), std::string::npos);
}

// A set whose archive cannot be read leaves its clip plain, named with the
// reason; a merge that fails keeps Melodyne on the items without the edits.
TEST(Melodyne, DamagedArchivesLeaveTheClipsPlaying) {
    const std::map<std::string, Bytes> bodies = archiveBodies();
    struct Case {
        const char* what;
        std::function<void(std::map<std::string, std::string>&)> damage;
        const char* console;
        bool bCarried;
        bool cCarried;
        bool documentWritten;
    };
    const Case cases[] = {
        {"bad zlib stream", [](auto& f) { f["mod-1.ara"][22] |= 0x06; },  // a reserved block type
         "      Melodyne: mod-1.ara: not a Melodyne archive this converter reads\n", false, true, true},
        {"counts past the end",
         [&](auto& f) {
             Bytes body = bodies.at("src-1.ara");
             body[2] = 0x7F;
             f["src-1.ara"] = fileOf(body);
         },
         "      Melodyne: src-1.ara: not a Melodyne archive this converter reads\n", true, false, true},
        {"source missing, its modification there", [](auto& f) { f.erase("src-1.ara"); },
         "  1 clip(s) have Melodyne (ARA) attached. What was edited there is NOT\n"
         "      carried: Pro Tools keeps it in the session's \"ARA Data\" folder\n"
         "      beside the .ptx, not in the session file, so these clips arrive in\n"
         "      REAPER as the unedited audio.\n"
         "      Melodyne: src-1.ara: not found beside the session (ARA Data/Melodyne)\n",
         true, false, true},
        {"a class changed in one archive",
         [&](auto& f) {
             std::vector<Obj> source = {{Root, {1, kNull}}, {List, {}, listOf({2})}};
             addSource(source, 2, "source-1");
             f["src-1.ara"] = fileOf(bodyOf(source, false, 8));
         },
         "  The Melodyne (ARA) data could not be merged (schema conflict: Component): those clips arrive\n"
         "      with Melodyne on them but without the edits.\n",
         true, true, false},
        {"a component index one beyond the list",
         [&](auto& f) {
             std::vector<Obj> mod = {{Root, {kNull, 1}}, {List, {}, listOf({2})}};
             addModification(mod, 2, "edit-2", 77, 2, 0);
             f["mod-2.ara"] = fileOf(bodyOf(mod, true));
         },
         "(an edit links to a missing source component)", true, true, false},
        {"a source archive with two sources",
         [&](auto& f) {
             std::vector<Obj> source = {{Root, {1, kNull}}, {List, {}, listOf({2, 2})}};
             addSource(source, 2, "source-0");
             f["src-0.ara"] = fileOf(bodyOf(source));
         },
         "(a source archive without exactly one source)", true, true, false},
    };
    for (const Case& c : cases) {
        std::map<std::string, std::string> files;
        for (const auto& [name, body] : bodies) files[name] = fileOf(body);
        c.damage(files);
        std::string project;
        CapturedRun run = convertWith(files, project);
        ASSERT_EQ(run.code, 0) << c.what;
        EXPECT_NE(run.console.find(c.console), std::string::npos) << c.what << "\n" << run.console;
        EXPECT_EQ(project.find("  <ARA com.celemony") != std::string::npos, c.documentWritten) << c.what;
        const bool carried[] = {true, c.bCarried, c.cCarried};
        for (int k = 0; k < 3; ++k) {
            const std::string item = itemNamed(project, std::string(1, char('A' + k)));
            EXPECT_NE(item.find("      <SOURCE WAVE\n        FILE "), std::string::npos) << c.what;
            EXPECT_EQ(item.find("ARAMOD") != std::string::npos, carried[k]) << c.what << " clip " << k;
            EXPECT_EQ(item.find("<TAKEFX") != std::string::npos, carried[k]) << c.what << " clip " << k;
        }
    }
}

TEST(Melodyne, ArchiveBodiesOutOfShapeAreRefused) {
    // Three records at the end: 16, 36 and 36 bytes; the ids stand before them.
    const Bytes good = bodyOf({{Root, {1, 2}}, {List, {}, listOf({})}, {List, {}, listOf({})}});
    Archive archive;
    ASSERT_TRUE(parseArchiveBody(good, archive));
    EXPECT_EQ(readList(archive, 0).size(), 0u);
    EXPECT_EQ(readReference(archive, 0, "audioModifications"), std::optional<uint32_t>(2));
    const std::vector<std::pair<size_t, uint8_t>> patches = {
        {good.size() - 32, 29},  // the last fixedSize above recordSize - 4
        {good.size() - 92, 3},   // the last id beyond the type list
        {good.size(), 0},        // one byte behind the last record
    };
    for (const auto& [at, value] : patches) {
        Bytes bad = good;
        bad.resize(std::max(bad.size(), at + 1));
        bad[at] = value;
        EXPECT_FALSE(parseArchiveBody(bad, archive)) << at;
    }
}
