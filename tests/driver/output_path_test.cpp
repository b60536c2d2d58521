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

TEST(OutputPath, NumbersAroundExistingFiles) {
    const std::string folder = makeTempFolder("outpath");
    ConvertOptions options = optionsFor(folder + "/x.ptx");

    OutputChoice choice = chooseOutputPath(options);
    EXPECT_EQ(choice.path, folder + "/x.rpp");
    EXPECT_FALSE(choice.renamed);

    writeFileText(folder + "/x.rpp", "old");
    writeFileText(folder + "/x (1).rpp", "old");
    choice = chooseOutputPath(options);
    EXPECT_EQ(choice.path, folder + "/x (2).rpp");
    EXPECT_EQ(choice.wanted, folder + "/x.rpp");
    EXPECT_TRUE(choice.renamed);

    options.overwrite = true;
    choice = chooseOutputPath(options);
    EXPECT_EQ(choice.path, folder + "/x.rpp");
    EXPECT_FALSE(choice.renamed);

    // --check goes to the null device, --overwrite or not, with no name search.
    options.checkOnly = true;
    EXPECT_EQ(chooseOutputPath(options).path, nullDevicePath());
    options.overwrite = false;
    EXPECT_TRUE(chooseOutputPath(options).nullDevice);
    EXPECT_FALSE(chooseOutputPath(options).renamed);

    // A folder with a dot and a name without extension: the number goes last.
    const std::string dotted = makeTempFolder("out.v2");
    ConvertOptions withO = optionsFor(folder + "/x.ptx");
    withO.outputPath = dotted + "/out";
    writeFileText(dotted + "/out", "old");
    EXPECT_EQ(chooseOutputPath(withO).path, dotted + "/out (1)");
}
