// libFuzzer target: the bytes of a session through the whole road of a
// conversion (reading, analysis, project text in memory). A crash, a sanitizer
// report, a hang, or project text that REAPER could not read is a finding.
//
// An input is the deciphered image (as scripts/fuzz seeds the corpus): the
// target enciphers it into file bytes first. The cipher is its own inverse and
// keeps the 20 head bytes, so every file is still reached, while a mutation
// changes the blocks the readers see instead of scrambling the key stream
// behind an inserted or removed byte.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "cli/console.h"
#include "driver/convert.h"
#include "project/text.h"
#include "session/ptx_file.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    static NullSink silence;
    setConsoleSink(&silence);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    ConvertOptions options;
    options.sessionPath = "fuzz.ptx";
    // A fresh buffer of the exact size, so that a read past the image is a finding.
    std::vector<uint8_t> bytes(data, data + size);
    applySessionCipher(bytes);  // leaves bytes of an unknown cipher kind as they are
    std::string project;
    if (convertInMemory(options, bytes, project, nullptr) != 0) return 0;
    if (const auto problem = checkProjectText(project)) {
        std::fprintf(stderr, "project text REAPER cannot read: %s\n", problem->c_str());
        std::abort();
    }
    return 0;
}
