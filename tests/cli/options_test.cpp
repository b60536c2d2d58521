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
    const ConvertOptions& d = line.options;
    EXPECT_EQ(line.job, EntryJob::convert);
    EXPECT_EQ(d.programPath + "|" + d.audioDir, "/opt/trellum/trellum|Audio Files");
    EXPECT_TRUE(d.keepAltTakes && d.preferVst3 && d.placeholders && d.commentsMode == 1 && line.pauseAtEnd == 0);
    ASSERT_EQ(line.positional, std::vector<std::string>{"song.ptx"});

    line = scan({"--tempo", "97.5", "-o", "-weird.rpp", "--audio-dir", "elsewhere", "--audio-dir", "media", "--params",
                 "a.tsv", "x.ptx", "--params", "b.tsv", "--pt-theme", "light", "--comments", "item", "--usage-json",
                 "u.json", "--dump-corpus", "corpus", "--vstini", "v.ini", "--want-params", "w.txt"});
    const ConvertOptions& o = line.options;
    EXPECT_EQ(line.job, EntryJob::convert);
    EXPECT_DOUBLE_EQ(o.tempoOverride, 97.5);
    // A value is taken whatever it looks like.
    EXPECT_EQ(o.outputPath + "|" + o.audioDir + "|" + o.usageJsonPath + "|" + o.corpusDir + "|" + o.vstIniPath + "|" +
                  o.wantParamsPath,
              "-weird.rpp|media|u.json|corpus|v.ini|w.txt");
    EXPECT_TRUE(o.audioDirGiven);
    EXPECT_EQ(o.audioDirs, (std::vector<std::string>{"elsewhere", "media"}));
    EXPECT_EQ(o.paramFiles, (std::vector<std::string>{"a.tsv", "b.tsv"}));
    EXPECT_EQ(std::make_pair(o.ptTheme, o.commentsMode), std::make_pair(1, 0));
    EXPECT_EQ(line.positional, std::vector<std::string>{"x.ptx"});

    for (auto [theme, code] : {std::pair{"auto", 0}, {"classic", 1}, {"dark", 2}})
        EXPECT_EQ(scan({"--pt-theme", theme}).options.ptTheme, code) << theme;
    EXPECT_EQ(scan({"--comments", "none"}).options.commentsMode, 2);
    EXPECT_EQ(scan({"--comments", "project"}).options.commentsMode, 1);
    EXPECT_EQ(scan({"--tempo", "0"}).options.tempoOverride, 0);
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
    EXPECT_TRUE(checked.options.checkOnly && !checked.options.writeReport);
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
    for (const auto& [args, ramps] : std::vector<std::pair<std::vector<std::string>, bool>>{
             {{"--tempo-ramps", "x.ptx"}, true}, {{"--tempo-ramps", "steps", "x.ptx"}, false},
             {{"x.ptx", "--tempo-ramps", "ramps"}, true}, {{"x.ptx", "--tempo-ramps"}, true}}) {
        CommandLine line = scan(args);
        EXPECT_EQ(line.options.tempoRamps, ramps) << args[1];
        EXPECT_EQ(line.positional, std::vector<std::string>{"x.ptx"}) << args[1];
    }
}

TEST(OptionScan, TheScanStopsAtVersionHelpOrUnknown) {
    const struct {
        std::vector<std::string> args;
        EntryJob job;
        const char* unknown;
    } cases[] = {
        {{"--tempo"}, EntryJob::missingValue, "--tempo"},
        {{"x.ptx", "-o"}, EntryJob::missingValue, "-o"},
        {{"x.ptx", "--learn", "chain"}, EntryJob::missingValue, "--learn"},
        // Values outside an option's range.
        {{"--tempo", "abc"}, EntryJob::badValue, "--tempo"},
        {{"--tempo", "120bpm"}, EntryJob::badValue, "--tempo"},
        {{"--tempo", "-5"}, EntryJob::badValue, "--tempo"},
        {{"--comments", "bogus"}, EntryJob::badValue, "--comments"},
        {{"--pt-theme", "zzz"}, EntryJob::badValue, "--pt-theme"},
        {{"-"}, EntryJob::unknownOption, "-"},
        {{"--Check"}, EntryJob::unknownOption, "--Check"},  // case matters
        {{"--check=yes"}, EntryJob::unknownOption, "--check=yes"},
        // Whichever of help, version and an unknown option comes first decides.
        {{"--bogus", "--help"}, EntryJob::unknownOption, "--bogus"},
        {{"--help", "--bogus"}, EntryJob::help, ""},
        {{"-h"}, EntryJob::help, ""},
        {{"--no-pause", "--version", "--bogus"}, EntryJob::version, ""},
        {{"--bogus", "--version"}, EntryJob::unknownOption, "--bogus"},
    };
    for (const auto& c : cases) {
        const CommandLine line = scan(c.args);
        EXPECT_EQ(std::make_pair(line.job, line.unknownArgument), std::make_pair(c.job, std::string(c.unknown)))
            << c.args[0];
    }

    // --learn with both values hands the run over, whatever else was given.
    const CommandLine line = scan({"x.ptx", "--learn", "chain.RfxChain", "FabFPrC2", "--check"});
    EXPECT_EQ(line.job, EntryJob::learn);
    EXPECT_EQ(line.learnChainPath + " " + line.learnSignature, "chain.RfxChain FabFPrC2");
}

TEST(OptionScan, EmptyArgumentsAreSkippedUnlessAValue) {
    CommandLine line = scan({"", "x.ptx", "", "--check", ""});
    EXPECT_EQ(line.positional, std::vector<std::string>{"x.ptx"});
    EXPECT_TRUE(line.options.checkOnly);
    line = scan({"-o", "", "x.ptx"});
    EXPECT_EQ(line.options.outputPath, "");
    EXPECT_EQ(line.positional, std::vector<std::string>{"x.ptx"});
}

TEST(SessionPathResolution, LongestRunThatOpensWinsAndFurtherSessionsFollow) {
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

    // Arguments outside that run that open are further sessions, in their order.
    const SessionPaths paths = resolveSessionPaths({folder + "/a", "zz", folder + "/My", "Song.ptx", folder + "/b c"});
    EXPECT_EQ(paths.first, folder + "/My Song.ptx");
    EXPECT_TRUE(paths.firstJoined);
    EXPECT_EQ(paths.further, (std::vector<std::string>{folder + "/a", folder + "/b c"}));
    EXPECT_FALSE(resolveSessionPaths({folder + "/My Song.ptx"}).firstJoined);
}

TEST(SessionPathResolution, FolderOf) {
    EXPECT_EQ(folderOf("song.ptx"), ".");
    EXPECT_EQ(folderOf("/a/b/song.ptx"), "/a/b");
    EXPECT_EQ(folderOf("C:\\s\\song.ptx"), "C:\\s");
}
