// Damaged and crafted sessions: every cut and mutation of the real sessions
// converts without a fault into text REAPER can read, and a deep chain of
// nested blocks costs time and memory in proportion to its size.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <chrono>
#include <random>

#include "cli/console.h"
#include "driver/convert.h"
#include "project/text.h"
#include "session/ptx_file.h"
#include "session/real_sessions.h"
#include "support/image_builder.h"
#include "support/run_capture.h"

extern char** environ;

namespace {

// Converts the file bytes in memory; a run that ends in a project must have
// written text REAPER can read, valid UTF-8 without control characters.
void expectReadableProject(const std::vector<uint8_t>& bytes, const std::string& what) {
    NullSink silence;
    PtxSink* previous = consoleSink();
    setConsoleSink(&silence);
    ConvertOptions options;
    options.sessionPath = "damaged.ptx";
    std::string project;
    const int code = convertInMemory(options, bytes, project, nullptr);
    setConsoleSink(previous);
    if (code == 0) {
        EXPECT_EQ(checkProjectText(project), std::nullopt) << what;
    }
}

// One to four changes to the deciphered image: bits, bytes, block sizes and
// types, ranges cut out or doubled.
void mutate(std::vector<uint8_t>& image, std::mt19937& random) {
    const auto at = [&](size_t size) { return std::uniform_int_distribution<size_t>(0, size - 1)(random); };
    const int changes = 1 + static_cast<int>(random() % 4);
    for (int c = 0; c < changes && image.size() > 64; ++c) {
        const size_t p = 20 + at(image.size() - 20);
        switch (random() % 6) {
            case 0: image[p] ^= static_cast<uint8_t>(1u << (random() % 8)); break;
            case 1: image[p] = static_cast<uint8_t>(random()); break;
            case 2:
            case 3: {  // a block head's size or content type
                const auto head = std::find(image.begin() + static_cast<long>(p), image.end(), uint8_t('Z'));
                const size_t z = static_cast<size_t>(head - image.begin());
                if (z + 9 > image.size()) break;
                const size_t field = random() % 2 ? z + 3 + random() % 4 : z + 7 + random() % 2;
                image[field] = static_cast<uint8_t>(random());
                break;
            }
            case 4: {
                const size_t length = std::min<size_t>(1 + random() % 512, image.size() - p);
                image.erase(image.begin() + static_cast<long>(p), image.begin() + static_cast<long>(p + length));
                break;
            }
            default: {
                const size_t length = std::min<size_t>(1 + random() % 512, image.size() - p);
                const std::vector<uint8_t> copy(image.begin() + static_cast<long>(p),
                                                image.begin() + static_cast<long>(p + length));
                image.insert(image.begin() + static_cast<long>(at(image.size())), copy.begin(), copy.end());
                break;
            }
        }
    }
}

}  // namespace

TEST(Robustness, EveryCutAndMutationOfTheRealSessionsConvertsToReadableText) {
    const std::string sessions = realSessionFolder();
    if (sessions.empty()) GTEST_SKIP() << "no real sessions beside the repository";
    constexpr int kCuts = 200;
    constexpr int kMutations = 2000;
    for (const std::string& path : filesEnding(sessions, ".ptx")) {
        const std::vector<uint8_t> whole = readBytes(path);
        for (int k = 0; k < kCuts; ++k) {
            const std::vector<uint8_t> cut(whole.begin(), whole.begin() + static_cast<long>(whole.size() * k / kCuts));
            expectReadableProject(cut, path + " cut at " + std::to_string(cut.size()));
        }
        SessionFile loaded;
        ASSERT_EQ(loadSession(loaded, path, 48000), 0) << path;
        std::mt19937 random(static_cast<uint32_t>(whole.size()));
        for (int m = 0; m < kMutations; ++m) {
            std::vector<uint8_t> image = loaded.image;
            mutate(image, random);
            applySessionCipher(image);
            expectReadableProject(image, path + " mutation " + std::to_string(m));
        }
    }
}

// The crafted chain: an audio track holding a row holder (with its mix row),
// which holds a row name, which holds the next audio track, 2000 times over.
// Each track reads only its own rows, so the project has 2000 tracks and no
// send, in time and memory that grow with the file and no faster.
TEST(Robustness, ADeepChainOfNestedTracksConvertsInASecondAndLittleMemory) {
    constexpr int kDepth = 2000;
    ImageBuilder b;
    addSessionHead(b, 48000);
    for (int d = 0; d < kDepth; ++d) {
        b.openBlock(0x261B);
        b.openBlock(0x2619);
        b.name("Gtr");
        b.closeBlock();
        b.openBlock(0x260D);
        b.openBlock(0x1029);  // post-fader, 0.0 dB, as long as a mix row
        b.u8(1);
        b.u32(0);
        b.zeros(160);
        b.closeBlock();
        b.openBlock(0x260E);
        b.u16(0);
        b.name("Bus 1");
    }
    for (int d = 0; d < 3 * kDepth; ++d) b.closeBlock();
    b.zeros(16);
    const std::string folder = makeTempFolder("chain");
    const std::string path = b.writeFile(folder, "chain.ptx");

    // A process of its own, so that its peak memory is the conversion's.
    const std::string program = TRELLUM_BINARY;
    std::vector<std::string> args = {program, "--check", "--no-pause", path};
    std::vector<char*> argv;
    for (std::string& arg : args) argv.push_back(arg.data());
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, (folder + "/out").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    const auto start = std::chrono::steady_clock::now();
    pid_t child = 0;
    ASSERT_EQ(posix_spawn(&child, program.c_str(), &actions, nullptr, argv.data(), environ), 0);
    int status = 0;
    rusage usage{};
    ASSERT_EQ(wait4(child, &status, 0, &usage), child);
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    posix_spawn_file_actions_destroy(&actions);

    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
    const std::string console = readFileText(folder + "/out");
    EXPECT_NE(console.find("  2000 tracks, 0 clips, 0 MIDI notes\n"), std::string::npos) << console.substr(0, 2000);
    EXPECT_LT(seconds, 1.0);
    EXPECT_LT(usage.ru_maxrss, 100 * 1024) << "kilobytes at the peak";
}
