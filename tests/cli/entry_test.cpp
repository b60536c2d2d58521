#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <sys/wait.h>

#include "cli/console.h"
#include "cli/options.h"
#include "support/image_builder.h"
#include "support/run_capture.h"
#include "support/session_builder.h"

namespace {

struct ProgramRun {
    int exitCode = -1;
    std::string out;
    std::string err;
};

std::string shellQuote(const std::string& text) {
    std::string quoted = "'";
    for (char c : text) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}

// Runs a shell command with an empty standard input and keeps what it printed.
ProgramRun runCommand(std::string command) {
    static const std::string folder = makeTempFolder("entry");
    command += " </dev/null >" + folder + "/out 2>" + folder + "/err";
    int status = std::system(command.c_str());
    ProgramRun run;
    run.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    run.out = readFileText(folder + "/out");
    run.err = readFileText(folder + "/err");
    return run;
}

// Runs the built program with the given arguments.
ProgramRun runProgram(const std::vector<std::string>& args, const std::string& environment = "") {
    std::string command = environment + " " + shellQuote(TRELLUM_BINARY);
    for (const std::string& arg : args) command += " " + shellQuote(arg);
    return runCommand(command);
}

// The exit code, a blank, then standard output.
std::string outcome(const std::vector<std::string>& args) {
    const ProgramRun run = runProgram(args);
    return std::to_string(run.exitCode) + " " + run.out;
}

}  // namespace

TEST(Entry, JobsAndExitCodes) {
    EXPECT_EQ(outcome({"--version"}), "0 trellum 1.0.1 (build 287)\n");
    EXPECT_EQ(outcome({"--help", "--bogus"}), std::string("0 ") + helpText());
    const std::string nothing = "\n  Nothing was converted. Run  trellum --help  for the options\n  this version understands.\n";
    EXPECT_EQ(outcome({"x.ptx", "--bogus"}), "2 \n  Unknown option: --bogus\n" + nothing);
    EXPECT_EQ(outcome({"x.ptx", "-o"}), "2 \n  Missing value: -o needs a project file or a folder after it.\n" + nothing);
    EXPECT_EQ(outcome({"--tempo", "abc", "x.ptx"}),
              "2 \n  Unknown value: --tempo abc\n  --tempo takes a tempo in BPM from 1 to 960 (0: the session's own).\n" +
                  nothing);
    EXPECT_EQ(outcome({}), "1 trellum: name the session to convert:  trellum \"My Song.ptx\"\n"
                           "  Run  trellum --help  for the options.\n");

    // The pause asks for Enter; standard input is empty, so it returns at once.
    ProgramRun run = runProgram({"--pause", "--bogus"});
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_NE(run.out.find("this version understands.\n\n  Press Enter to close.\n"), std::string::npos);

    EXPECT_EQ(outcome({"--learn", "/nonexistent/chain.RfxChain", "ABCDEFGH"}),
              "1   cannot open /nonexistent/chain.RfxChain\n");
}

TEST(Entry, ProgressProtocolOnStandardError) {
    const std::string folder = makeTempFolder("protocol");
    const std::string junk = folder + "/junk.ptx";
    writeFileText(junk, std::string(100, 'q'));

    // A load that fails: the reading step, the problem line, no done, no summary.
    ProgramRun failed = runProgram({"--progress", junk});
    EXPECT_EQ(failed.exitCode, 1);
    EXPECT_EQ(failed.err,
              "progress 0/6 reading\n"
              "problem kind=unreadable the session could not be decrypted - is this really a Pro Tools session "
              "file? (code -1)\n"
              "summary tracks=0 clips=0 notes=0 fx=0 written=0 needs_look=0 problem=1\n");
    // Standard output differs from a run without --progress only in the closing sentence.
    ProgramRun plain = runProgram({junk});
    EXPECT_TRUE(plain.err.empty());
    EXPECT_NE(plain.out.find("Please send this text"), std::string::npos);

    ImageBuilder builder;
    addSessionHead(builder, 48000);
    const std::string session = builder.writeFile(folder, "song.ptx");
    ProgramRun checked = runProgram({"--progress", "--check", session});
    EXPECT_EQ(checked.exitCode, 0) << checked.out;
    EXPECT_EQ(checked.err,
              "progress 0/6 reading\nprogress 1/6 clips\nprogress 2/6 tracks\nprogress 3/6 writing\n"
              "progress 4/6 media\nprogress 5/6 report\nprogress 6/6 done\n"
              "summary tracks=0 clips=0 notes=0 fx=0 written=0 needs_look=0\n");
    ProgramRun quiet = runProgram({"--check", session});
    EXPECT_EQ(quiet.out, checked.out);
}

TEST(Entry, SelfCheckAndConvertTwice) {
    const std::string folder = makeTempFolder("embedding");
    ImageBuilder builder;
    addSessionHead(builder, 48000);
    const std::string session = builder.writeFile(folder, "song.ptx");

    // The report handed back and the report on disk are the same bytes.
    ProgramRun selfCheck = runProgram({session}, "PTX_API_SELFTEST=1");
    EXPECT_EQ(selfCheck.exitCode, 0);
    const size_t size = readFileText(folder + "/song-varnoak-report.txt").size();
    EXPECT_GT(size, 0u);
    EXPECT_NE(selfCheck.out.find(formatText("  API SELFTEST: rc=0 report_text=%zu ondisk=%zu IDENTICAL\n", size, size)),
              std::string::npos)
        << selfCheck.out;
    EXPECT_NE(selfCheck.out.find("  API SELFTEST: console_text="), std::string::npos);

    // A report that cannot be written costs no project, and leaves nothing half-written.
    std::filesystem::remove(folder + "/song-varnoak-report.txt");
    std::filesystem::create_directory(folder + "/song-varnoak-report.txt");
    ProgramRun blocked = runProgram({"--report", "--overwrite", session});
    EXPECT_EQ(blocked.exitCode, 0);
    EXPECT_NE(blocked.out.find("  could not write report: " + folder + "/song-varnoak-report.txt\n"), std::string::npos)
        << blocked.out;
    EXPECT_TRUE(fileExists(folder + "/song.rpp"));
    EXPECT_FALSE(fileExists(folder + "/song-varnoak-report.txt.partial"));
    EXPECT_FALSE(fileExists(folder + "/song.rpp.partial"));

    ProgramRun noOutput = runProgram({"--convert-twice", session});
    EXPECT_EQ(noOutput.exitCode, 1);
    EXPECT_NE(noOutput.out.find("  --convert-twice needs -o: both passes would write the same file.\n"),
              std::string::npos);

    ProgramRun twice = runProgram({"--convert-twice", "-o", folder + "/out", session});
    EXPECT_EQ(twice.exitCode, 0) << twice.out;
    EXPECT_TRUE(fileExists(folder + "/out"));
    EXPECT_TRUE(fileExists(folder + "/out-2nd.rpp"));
    EXPECT_EQ(readFileText(folder + "/out"), readFileText(folder + "/out-2nd.rpp"));
}

// Every option's work is built: none of them says otherwise.
TEST(Entry, OptionsAreBuilt) {
    const std::string folder = makeTempFolder("unbuilt");
    ImageBuilder builder;
    addSessionHead(builder, 48000);
    const std::string session = builder.writeFile(folder, "song.ptx");
    const ProgramRun built = runProgram({"--check", "--report", "--no-click", "--recover-deleted", "--no-fades",
                                         "--no-stretch", "--comments", "item", "--tempo-ramps", "--pt-theme", "dark",
                                         "--no-ara", "--vstini", "x.ini", "--prefer-clap", "--skip-muted-fx",
                                         "--no-placeholders", "--no-aax-slots", "--skip-missing-fx",
                                         "--keep-plugin-midi", "--no-kontakt-state", "--no-stand-ins", "--keep-frozen", "--audio-dir",
                                         ".", "--usage-json", "u.json", "--usage-shared", "--params", "p.tsv",
                                         "--want-params", folder + "/w.txt", session});
    EXPECT_EQ(built.out.find("not built"), std::string::npos) << built.out;
}

// Paths resolve from the project's folder, whatever folder the program runs from;
// several sessions convert in turn, each with its summary, the worst code last.
TEST(Entry, WorkingFoldersOutputFoldersAndSeveralSessions) {
    namespace fs = std::filesystem;
    const std::string folder = fs::canonical(makeTempFolder("folders")).string();
    BuiltSession s;
    s.files = {{"kick.wav", 48000}};
    s.clips = {{"kick", 0, 0, 48000}};
    s.tracks = {{"Kick", 0, 0, 0, false, {{"", false, {{0, 0}}}}, 1}};
    fs::create_directories(folder + "/s/Audio Files");
    fs::create_directories(folder + "/elsewhere");
    writeFileText(folder + "/s/Audio Files/kick.wav", "RIFF");
    buildSession(s).writeFile(folder + "/s", "song.ptx");
    const std::string inFolder = "cd " + shellQuote(folder) + " &&";

    ProgramRun run = runProgram({"s/song.ptx"}, inFolder);
    EXPECT_EQ(run.exitCode, 0) << run.out;
    EXPECT_NE(readFileText(folder + "/s/song.rpp").find("FILE \"Audio Files/kick.wav\"\n"), std::string::npos);
    EXPECT_EQ(run.out.find("WARNING"), std::string::npos) << run.out;
    // -o naming a folder, with or without the separator: the session's name inside, media by full path.
    for (const std::string& output : {std::string("elsewhere"), std::string("elsewhere/")}) {
        run = runProgram({"s/song.ptx", "-o", output, "--overwrite"}, inFolder);
        EXPECT_EQ(run.exitCode, 0) << run.out;
        EXPECT_NE(run.out.find("  Wrote: " + output + (output.back() == '/' ? "" : "/") + "song.rpp\n"), std::string::npos);
        EXPECT_NE(readFileText(folder + "/elsewhere/song.rpp").find("FILE \"" + folder + "/s/Audio Files/kick.wav\"\n"),
                  std::string::npos);
    }
    EXPECT_EQ(std::distance(fs::directory_iterator(folder + "/elsewhere"), fs::directory_iterator()), 1);

    fs::copy_file(folder + "/s/song.ptx", folder + "/two.ptx");
    writeFileText(folder + "/junk.ptx", std::string(100, 'q'));
    run = runProgram({"--progress", "two.ptx", "junk.ptx", "s/song.ptx", "-o", "elsewhere"}, inFolder);
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_NE(run.out.find("\n  Session 2 of 3: junk.ptx\n"), std::string::npos);
    EXPECT_TRUE(fileExists(folder + "/elsewhere/two.rpp"));
    EXPECT_TRUE(fileExists(folder + "/elsewhere/song (1).rpp"));
    size_t summaries = 0;
    for (size_t at = run.err.find("summary "); at != std::string::npos; at = run.err.find("summary ", at + 1)) ++summaries;
    EXPECT_EQ(summaries, 3u) << run.err;
    // Several sessions into one -o file: nothing is converted.
    EXPECT_EQ(runProgram({"two.ptx", "s/song.ptx", "-o", "one.rpp"}, inFolder).exitCode, 1);
    EXPECT_FALSE(fileExists(folder + "/one.rpp"));
}

// --usage-json leaves one line of JSON that Python's parser reads; --check leaves none.
TEST(Entry, UsageSummaryIsJson) {
    const std::string folder = makeTempFolder("usage");
    BuiltSession s;
    s.files = {{"kick.wav", 48000}};
    s.clips = {{"kick", 0, 0, 48000}};
    s.tracks = {{"Kick", 0, 0, 0, false, {{"", false, {{0, 0}, {0, 96000}}}}, 1}, {"Bus", 0, 0, 0, false, {}, 1}};
    const std::string session = buildSession(s).writeFile(folder, "song.ptx");
    const std::string summary = folder + "/usage.json";
    ASSERT_EQ(runProgram({session, "--usage-json", summary, "--usage-shared"}).exitCode, 0);
    const std::string text = readFileText(summary);
    EXPECT_EQ(text.find('\n'), text.size() - 1);
    // The session's values as Python reads them: two tracks, two clips, the media not found.
    const std::string script = "import json,sys; d=json.load(open(sys.argv[1])); s=d['session']; "
                               "print(d['schema'], d['build'], d['result'], s['sample_rate'], s['tracks'], s['clips'], "
                               "'bit_depth' in s, d['plugins'], d['not_converted'], d['warnings'])";
    const ProgramRun parsed = runCommand("python3 -c " + shellQuote(script) + " " + shellQuote(summary));
    EXPECT_EQ(parsed.out, "varnoak-usage 1 287 converted 48000 2 2 False [] [] ['media-missing']\n") << parsed.err;

    std::filesystem::remove(summary);
    ASSERT_EQ(runProgram({session, "--check", "--usage-json", summary}).exitCode, 0);
    EXPECT_FALSE(fileExists(summary));
}
