#include <gtest/gtest.h>

#include "driver/output_path.h"
#include "support/image_builder.h"
#include "support/run_capture.h"

TEST(OutputPath, ExtensionRules) {
    EXPECT_EQ(cutExtension("x.ptx"), "x");
    EXPECT_EQ(cutExtension("/a/b.c/song"), "/a/b.c/song");
    EXPECT_EQ(cutExtension("C:\\a.b\\song.ptx"), "C:\\a.b\\song");
    EXPECT_EQ(cutExtension("song"), "song");
    EXPECT_EQ(cutExtension("my.song.ptx"), "my.song");
    EXPECT_EQ(extensionOf("a.b/out"), "");
    EXPECT_EQ(extensionOf("out.rpp"), ".rpp");
    EXPECT_EQ(secondPassPath("out.rpp"), "out-2nd.rpp");
    EXPECT_EQ(secondPassPath("out"), "out-2nd.rpp");
    EXPECT_EQ(secondPassPath("dir.v2/out"), "dir.v2/out-2nd.rpp");
}

namespace {

// The chosen path, with the name wanted when another was taken, and "null" for the null device.
std::string chosen(const ConvertOptions& options) {
    const OutputChoice choice = chooseOutputPath(options);
    return choice.path + (choice.renamed ? " for " + choice.wanted : "") + (choice.nullDevice ? " null" : "");
}

}  // namespace

TEST(OutputPath, NumbersAroundExistingFiles) {
    const std::string folder = makeTempFolder("outpath");
    ConvertOptions options = optionsFor(folder + "/x.ptx");
    EXPECT_EQ(chosen(options), folder + "/x.rpp");
    writeFileText(folder + "/x.rpp", "old");
    writeFileText(folder + "/x (1).rpp", "old");
    EXPECT_EQ(chosen(options), folder + "/x (2).rpp for " + folder + "/x.rpp");
    options.overwrite = true;
    EXPECT_EQ(chosen(options), folder + "/x.rpp");

    // --check goes to the null device, --overwrite or not, with no name search.
    options.checkOnly = true;
    EXPECT_EQ(chosen(options), nullDevicePath() + std::string(" null"));
    options.overwrite = false;
    EXPECT_EQ(chosen(options), nullDevicePath() + std::string(" null"));

    // A folder with a dot and a name without extension: the number goes last.
    const std::string dotted = makeTempFolder("out.v2");
    options = optionsFor(folder + "/x.ptx");
    options.outputPath = dotted + "/out";
    writeFileText(dotted + "/out", "old");
    EXPECT_EQ(chosen(options), dotted + "/out (1) for " + dotted + "/out");
}
