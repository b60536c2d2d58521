#include <gtest/gtest.h>

#include <fstream>
#include <unistd.h>

#include "cli/options.h"
#include "support/image_builder.h"

namespace {

CommandLine scan(std::vector<std::string> args) {
    args.insert(args.begin(), "/opt/trellum/trellum");
    return parseArguments(args);
}

void touch(const std::string& path) { std::ofstream(path) << "x"; }

}  // namespace

TEST(OptionScan, DefaultsAndValues) {
    CommandLine line = scan({"song.ptx"});
    EXPECT_EQ(line.job, EntryJob::convert);
    EXPECT_EQ(line.options.programPath, "/opt/trellum/trellum");
    EXPECT_EQ(line.options.audioDir, "Audio Files");
    EXPECT_TRUE(line.options.keepAltTakes);
    EXPECT_TRUE(line.options.preferVst3);
    EXPECT_TRUE(line.options.placeholders);
    EXPECT_EQ(line.options.commentsMode, 1);
    EXPECT_EQ(line.pauseAtEnd, 0);
    ASSERT_EQ(line.positional, std::vector<std::string>{"song.ptx"});

    line = scan({"--tempo", "97.5", "-o", "-weird.rpp", "--audio-dir", "media", "--params", "a.tsv", "x.ptx",
                 "--params", "b.tsv", "--pt-theme", "light", "--comments", "item", "--usage-json", "u.json",
                 "--dump-corpus", "corpus", "--vstini", "v.ini", "--want-params", "w.txt"});
    EXPECT_EQ(line.job, EntryJob::convert);
    EXPECT_DOUBLE_EQ(line.options.tempoOverride, 97.5);
    EXPECT_EQ(line.options.outputPath, "-weird.rpp");  // a value is taken whatever it looks like
    EXPECT_EQ(line.options.audioDir, "media");
    EXPECT_TRUE(line.options.audioDirGiven);
    EXPECT_EQ(line.options.paramFiles, (std::vector<std::string>{"a.tsv", "b.tsv"}));
    EXPECT_EQ(line.options.ptTheme, 1);
    EXPECT_EQ(line.options.commentsMode, 0);
    EXPECT_EQ(line.options.usageJsonPath, "u.json");
    EXPECT_EQ(line.options.corpusDir, "corpus");
    EXPECT_EQ(line.options.vstIniPath, "v.ini");
    EXPECT_EQ(line.options.wantParamsPath, "w.txt");
    EXPECT_EQ(line.positional, std::vector<std::string>{"x.ptx"});

    EXPECT_EQ(scan({"--pt-theme", "auto"}).options.ptTheme, 0);
    EXPECT_EQ(scan({"--pt-theme", "blue"}).options.ptTheme, 0);
    EXPECT_EQ(scan({"--pt-theme", "dark"}).options.ptTheme, 2);
    EXPECT_EQ(scan({"--comments", "none"}).options.commentsMode, 2);
    EXPECT_EQ(scan({"--comments", "anything"}).options.commentsMode, 1);
    EXPECT_EQ(scan({"--tempo", "fast"}).options.tempoOverride, 0);
}

TEST(OptionScan, RepeatsAliasesAndLastWins) {
    EXPECT_EQ(scan({"--skip-bypassed-fx", "--offline-bypassed-fx"}).options.bypassedFxMode, 1);
    EXPECT_EQ(scan({"--offline-bypassed-fx", "--skip-muted-fx"}).options.bypassedFxMode, 2);
    EXPECT_FALSE(scan({"--no-alt-takes"}).options.keepAltTakes);
    EXPECT_TRUE(scan({"--drop-alt-takes", "--keep-alt-takes"}).options.keepAltTakes);
    EXPECT_TRUE(scan({"--ghost-clips"}).options.recoverDeleted);
    EXPECT_FALSE(scan({"--prefer-vst2"}).options.preferVst3);
    EXPECT_TRUE(scan({"--prefer-vst2", "--prefer-vst3"}).options.preferVst3);
    EXPECT_FALSE(scan({"--no-kontakt-state"}).options.kontaktState);
    EXPECT_TRUE(scan({"--no-kontakt-state", "--kontakt-state"}).options.kontaktState);
    EXPECT_EQ(scan({"-o", "a.rpp", "-o", "b.rpp"}).options.outputPath, "b.rpp");
    EXPECT_EQ(scan({"--pause", "--no-pause"}).pauseAtEnd, 0);
    EXPECT_EQ(scan({"--no-pause", "--pause"}).pauseAtEnd, 1);

    // --check turns the report off; a later --report turns it back on.
    CommandLine checked = scan({"--report", "--check"});
    EXPECT_TRUE(checked.options.checkOnly);
    EXPECT_FALSE(checked.options.writeReport);
    EXPECT_TRUE(scan({"--check", "--report"}).options.writeReport);

    CommandLine flags = scan({"--list", "--no-stretch", "--keep-fade-clips", "--no-fades", "--dump-cache", "--dump-cc",
                              "--no-placeholders", "--no-aax-slots", "--skip-missing-fx", "--no-click",
                              "--skip-hidden-tracks", "--skip-inactive-tracks", "--no-sidechain", "--prefer-clap",
                              "--usage-shared", "--keep-frozen", "--keep-inaudible-midi", "--truncate-midi-to-clip",
                              "--no-track-colors", "--no-clip-colors", "--no-stand-ins", "--no-ara", "--progress",
                              "--predict", "--keep-plugin-midi", "--overwrite", "--convert-twice"});
    const ConvertOptions& o = flags.options;
    EXPECT_EQ(flags.job, EntryJob::convert);
    EXPECT_TRUE(o.listOnly && o.noStretch && o.keepFadeClips && o.noFades && o.dumpCache && o.dumpCc);
    EXPECT_TRUE(!o.placeholders && !o.aaxSlots && o.skipMissingFx && o.noClick && o.skipHiddenTracks);
    EXPECT_TRUE(o.skipInactiveTracks && o.noSidechain && o.preferClap && o.usageShared && o.keepFrozen);
    EXPECT_TRUE(o.keepInaudibleMidi && o.truncateMidiToClip && o.noTrackColors && o.noClipColors);
    EXPECT_TRUE(o.noStandIns && o.noAra && o.keepPluginMidi && o.overwrite);
    EXPECT_TRUE(flags.progressWanted && flags.convertTwice);
    EXPECT_TRUE(flags.positional.empty());
}

TEST(OptionScan, TempoRampsTakesAnOptionalWord) {
    CommandLine line = scan({"--tempo-ramps", "x.ptx"});
    EXPECT_TRUE(line.options.tempoRamps);
    EXPECT_EQ(line.positional, std::vector<std::string>{"x.ptx"});
    line = scan({"--tempo-ramps", "steps", "x.ptx"});
    EXPECT_FALSE(line.options.tempoRamps);
    EXPECT_EQ(line.positional, std::vector<std::string>{"x.ptx"});
    line = scan({"x.ptx", "--tempo-ramps", "ramps"});
    EXPECT_TRUE(line.options.tempoRamps);
    EXPECT_EQ(line.positional, std::vector<std::string>{"x.ptx"});
    EXPECT_TRUE(scan({"--tempo-ramps"}).options.tempoRamps);
}

TEST(OptionScan, TheScanStopsAtVersionHelpOrUnknown) {
    CommandLine line = scan({"--tempo"});
    EXPECT_EQ(line.job, EntryJob::unknownOption);
    EXPECT_EQ(line.unknownArgument, "--tempo");
    line = scan({"x.ptx", "--learn", "chain"});
    EXPECT_EQ(line.job, EntryJob::unknownOption);
    EXPECT_EQ(line.unknownArgument, "--learn");
    EXPECT_EQ(scan({"-"}).job, EntryJob::unknownOption);
    EXPECT_EQ(scan({"--Check"}).job, EntryJob::unknownOption);  // case matters
    EXPECT_EQ(scan({"--check=yes"}).job, EntryJob::unknownOption);

    // Whichever of help and an unknown option comes first decides.
    EXPECT_EQ(scan({"--bogus", "--help"}).job, EntryJob::unknownOption);
    EXPECT_EQ(scan({"--help", "--bogus"}).job, EntryJob::help);
    EXPECT_EQ(scan({"-h"}).job, EntryJob::help);
    line = scan({"--no-pause", "--version", "--bogus"});
    EXPECT_EQ(line.job, EntryJob::version);
    line = scan({"--bogus", "--version"});
    EXPECT_EQ(line.job, EntryJob::unknownOption);
    EXPECT_EQ(line.unknownArgument, "--bogus");

    // --learn with both values hands the run over, whatever else was given.
    line = scan({"x.ptx", "--learn", "chain.RfxChain", "FabFPrC2", "--check"});
    EXPECT_EQ(line.job, EntryJob::learn);
    EXPECT_EQ(line.learnChainPath, "chain.RfxChain");
    EXPECT_EQ(line.learnSignature, "FabFPrC2");
}

TEST(OptionScan, EmptyArgumentsAreSkippedUnlessAValue) {
    CommandLine line = scan({"", "x.ptx", "", "--check", ""});
    EXPECT_EQ(line.positional, std::vector<std::string>{"x.ptx"});
    EXPECT_TRUE(line.options.checkOnly);
    line = scan({"-o", "", "x.ptx"});
    EXPECT_EQ(line.options.outputPath, "");
    EXPECT_EQ(line.positional, std::vector<std::string>{"x.ptx"});
}

TEST(SessionPathResolution, LongestRunThatOpensWins) {
    const std::string folder = makeTempFolder("resolve");
    touch(folder + "/My Song.ptx");
    touch(folder + "/b c");
    touch(folder + "/a");

    EXPECT_EQ(resolveSessionPath({folder + "/My", "Song.ptx"}), folder + "/My Song.ptx");
    EXPECT_EQ(resolveSessionPath({"zz", folder + "/My", "Song.ptx", "yy"}), folder + "/My Song.ptx");
    // Nothing opens: all of it, joined, so the refusal shows the name as meant.
    EXPECT_EQ(resolveSessionPath({folder + "/No", "Such", "Song.ptx"}), folder + "/No Such Song.ptx");
    EXPECT_EQ(resolveSessionPath({}), "");

    // trellum a b c, with both "a" and "b c" present: the longer run wins.
    char previous[4096];
    ASSERT_NE(getcwd(previous, sizeof previous), nullptr);
    ASSERT_EQ(chdir(folder.c_str()), 0);
    std::string chosen = resolveSessionPath({"a", "b", "c"});
    std::string alone = resolveSessionPath({"a", "x"});
    ASSERT_EQ(chdir(previous), 0);
    EXPECT_EQ(chosen, "b c");
    EXPECT_EQ(alone, "a");
}

TEST(SessionPathResolution, FolderOf) {
    EXPECT_EQ(folderOf("song.ptx"), ".");
    EXPECT_EQ(folderOf("/a/b/song.ptx"), "/a/b");
    EXPECT_EQ(folderOf("C:\\s\\song.ptx"), "C:\\s");
}
