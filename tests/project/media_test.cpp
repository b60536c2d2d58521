// The index of files by name that finds media moved away from where the session keeps it.
#include <gtest/gtest.h>

#include <filesystem>

#include "project/media.h"
#include "support/image_builder.h"
#include "support/run_capture.h"

TEST(MediaIndex, EveryFileByNameTheFirstPathInSortOrder) {
    const std::string root = makeTempFolder("media-index");
    for (const char* file : {"session/Takes/b/kick.wav", "session/Takes/a/kick.wav", "session/snare.wav",
                             "drive/deep/er/pad.wav"}) {
        std::filesystem::create_directories(std::filesystem::path(root + "/" + file).parent_path());
        writeFileText(root + "/" + file, "RIFF");
    }
    // A folder inside another one given, and one that does not exist, add nothing.
    const FileNameIndex index = indexFolders(
        {root + "/session", root + "/session/Takes", root + "/nowhere", root + "/drive"});
    EXPECT_EQ(index, (FileNameIndex{{"kick.wav", root + "/session/Takes/a/kick.wav"},
                                    {"snare.wav", root + "/session/snare.wav"},
                                    {"pad.wav", root + "/drive/deep/er/pad.wav"}}));
}
