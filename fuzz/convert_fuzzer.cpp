// libFuzzer target: the bytes of a session file through the whole road of a
// conversion (reading, analysis, project text in memory). A crash, a sanitizer
// report, a hang, or project text that REAPER could not read is a finding.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "cli/console.h"
#include "driver/convert.h"
#include "project/text.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static NullSink silence;
    setConsoleSink(&silence);
    ConvertOptions options;
    options.sessionPath = "fuzz.ptx";
    const std::vector<uint8_t> bytes(data, data + size);
    std::string project;
    ConvertResult result;
    if (convertInMemory(options, bytes, project, &result) != 0) return 0;
    if (const auto problem = checkProjectText(project)) {
        std::fprintf(stderr, "project text REAPER cannot read: %s\n", problem->c_str());
        std::abort();
    }
    return 0;
}
