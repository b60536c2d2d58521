#include <gtest/gtest.h>

#include <cstdlib>
#include <sys/wait.h>

#include "cli/options.h"
#include "support/image_builder.h"
#include "support/run_capture.h"

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

// Runs the built program with the given arguments and an empty standard input.
ProgramRun runProgram(const std::vector<std::string>& args, const std::string& environment = "") {
    static const std::string folder = makeTempFolder("entry");
    std::string command = environment + " " + shellQuote(TRELLUM_BINARY);
    for (const std::string& arg : args) command += " " + shellQuote(arg);
    command += " </dev/null >" + folder + "/out 2>" + folder + "/err";
    int status = std::system(command.c_str());
    ProgramRun run;
    run.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    run.out = readFileText(folder + "/out");
    run.err = readFileText(folder + "/err");
    return run;
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
    EXPECT_EQ(outcome({"x.ptx", "--tempo"}),
              "2 \n  Unknown option: --tempo\n\n  Nothing was converted. Run  trellum --help  for the options\n"
              "  this version understands.\n");
    EXPECT_EQ(outcome({"--no-pause"}), "1 trellum: drag a .ptx file onto this program.\n");

    // The pause asks for Enter; standard input is empty, so it returns at once.
    ProgramRun run = runProgram({"--pause", "--bogus"});
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_NE(run.out.find("this version understands.\n\n  Press Enter to close.\n"), std::string::npos);

    run = runProgram({"--learn", "chain.RfxChain", "ABCDEFGH"});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_NE(run.out.find("Nothing was learned."), std::string::npos);
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
              "file? (code -1)\n");
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

    // This version composes no report: the self-check says so rather than that two texts differ.
    ProgramRun selfCheck = runProgram({session}, "PTX_API_SELFTEST=1");
    EXPECT_EQ(selfCheck.exitCode, 0);
    EXPECT_NE(selfCheck.out.find("  API SELFTEST: rc=0 report_text=0 ondisk=0 NO REPORT (the conversion report is "
                                 "not built into this version yet)\n"),
              std::string::npos)
        << selfCheck.out;
    EXPECT_NE(selfCheck.out.find("  API SELFTEST: console_text="), std::string::npos);

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

// Options whose work is not built yet say so, each in a line of its own; those
// whose work is built say nothing of the kind.
TEST(Entry, OptionsNotBuiltYetSaySo) {
    const std::string folder = makeTempFolder("unbuilt");
    ImageBuilder builder;
    addSessionHead(builder, 48000);
    const std::string session = builder.writeFile(folder, "song.ptx");
    const ProgramRun all = runProgram({"--check", session, "--vstini", "x.ini", "--skip-muted-fx", "--pt-theme", "dark",
                                       "--usage-json", "u.json", "--no-ara", "--report", "--comments", "item"});
    EXPECT_EQ(all.exitCode, 0) << all.out;
    EXPECT_NE(all.out.find("\n\n  --vstini: reading REAPER's plug-in list is not built into this version yet.\n"
                           "  --skip-bypassed-fx: writing plug-in chains is not built into this version yet.\n"
                           "  --pt-theme: carrying clip colors is not built into this version yet.\n"
                           "  --usage-json: the usage summary is not built into this version yet.\n"
                           "  --no-ara: carrying Melodyne (ARA) edits is not built into this version yet.\n"
                           "  --report: the conversion report is not built into this version yet.\n"
                           "  --comments item: writing comment items is not built into this version yet.\n"),
              std::string::npos)
        << all.out;
    const ProgramRun built = runProgram({"--check", "--no-click", "--recover-deleted", "--no-fades", "--no-stretch",
                                         "--comments", "none", "--tempo-ramps", session});
    EXPECT_EQ(built.out.find("not built"), std::string::npos) << built.out;
}
