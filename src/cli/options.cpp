#include "cli/options.h"

#include <cstdio>
#include <cstdlib>

int defaultPauseAtEnd() {
#ifdef _WIN32
    return 1;
#else
    return 0;
#endif
}

std::string folderOf(const std::string& path) {
    size_t cut = path.find_last_of("/\\");
    if (cut == std::string::npos) return ".";
    return path.substr(0, cut);
}

namespace {

enum class Value { none, one, two, optionalWord };

struct OptionRow {
    const char* names[3];
    Value value;
    // Applies the option; `values` holds the consumed value arguments.
    void (*apply)(CommandLine& line, const std::vector<std::string>& values);
};

int themeOf(const std::string& word) {
    if (word == "classic" || word == "light") return 1;
    if (word == "dark") return 2;
    return 0;
}

int commentsModeOf(const std::string& word) {
    if (word == "item") return 0;
    if (word == "none") return 2;
    return 1;
}

using Values = std::vector<std::string>;

// The table in the order the scan tries it. Help and version end the scan and
// are handled before the table is consulted for the rest.
const OptionRow kOptionTable[] = {
    {{"--tempo"}, Value::one, [](CommandLine& l, const Values& v) { l.options.tempoOverride = std::atof(v[0].c_str()); }},
    {{"--audio-dir"}, Value::one, [](CommandLine& l, const Values& v) { l.options.audioDir = v[0]; l.options.audioDirGiven = true; l.options.audioDirs.push_back(v[0]); }},
    {{"-o"}, Value::one, [](CommandLine& l, const Values& v) { l.options.outputPath = v[0]; }},
    {{"--keep-alt-takes"}, Value::none, [](CommandLine& l, const Values&) { l.options.keepAltTakes = true; }},
    {{"--drop-alt-takes", "--no-alt-takes"}, Value::none, [](CommandLine& l, const Values&) { l.options.keepAltTakes = false; }},
    {{"--recover-deleted", "--ghost-clips"}, Value::none, [](CommandLine& l, const Values&) { l.options.recoverDeleted = true; }},
    {{"--list"}, Value::none, [](CommandLine& l, const Values&) { l.options.listOnly = true; }},
    {{"--check"}, Value::none, [](CommandLine& l, const Values&) { l.options.checkOnly = true; l.options.writeReport = false; }},
    {{"--no-stretch"}, Value::none, [](CommandLine& l, const Values&) { l.options.noStretch = true; }},
    {{"--keep-fade-clips"}, Value::none, [](CommandLine& l, const Values&) { l.options.keepFadeClips = true; }},
    {{"--no-fades"}, Value::none, [](CommandLine& l, const Values&) { l.options.noFades = true; }},
    {{"--vstini"}, Value::one, [](CommandLine& l, const Values& v) { l.options.vstIniPath = v[0]; }},
    {{"--params"}, Value::one, [](CommandLine& l, const Values& v) { l.options.paramFiles.push_back(v[0]); }},
    {{"--want-params"}, Value::one, [](CommandLine& l, const Values& v) { l.options.wantParamsPath = v[0]; }},
    {{"--dump-cache"}, Value::none, [](CommandLine& l, const Values&) { l.options.dumpCache = true; }},
    {{"--dump-cc"}, Value::none, [](CommandLine& l, const Values&) { l.options.dumpCc = true; }},
    {{"--skip-bypassed-fx", "--skip-muted-fx"}, Value::none, [](CommandLine& l, const Values&) { l.options.bypassedFxMode = 2; }},
    {{"--offline-bypassed-fx"}, Value::none, [](CommandLine& l, const Values&) { l.options.bypassedFxMode = 1; }},
    {{"--pt-theme"}, Value::one, [](CommandLine& l, const Values& v) { l.options.ptTheme = themeOf(v[0]); }},
    {{"--learn"}, Value::two, [](CommandLine& l, const Values& v) { l.learnChainPath = v[0]; l.learnSignature = v[1]; l.job = EntryJob::learn; }},
    {{"--no-placeholders"}, Value::none, [](CommandLine& l, const Values&) { l.options.placeholders = false; }},
    {{"--no-aax-slots"}, Value::none, [](CommandLine& l, const Values&) { l.options.aaxSlots = false; }},
    {{"--skip-missing-fx"}, Value::none, [](CommandLine& l, const Values&) { l.options.skipMissingFx = true; }},
    {{"--no-click"}, Value::none, [](CommandLine& l, const Values&) { l.options.noClick = true; }},
    {{"--skip-hidden-tracks"}, Value::none, [](CommandLine& l, const Values&) { l.options.skipHiddenTracks = true; }},
    {{"--skip-inactive-tracks"}, Value::none, [](CommandLine& l, const Values&) { l.options.skipInactiveTracks = true; }},
    {{"--no-sidechain"}, Value::none, [](CommandLine& l, const Values&) { l.options.noSidechain = true; }},
    {{"--prefer-vst3"}, Value::none, [](CommandLine& l, const Values&) { l.options.preferVst3 = true; }},
    {{"--prefer-vst2"}, Value::none, [](CommandLine& l, const Values&) { l.options.preferVst3 = false; }},
    {{"--prefer-clap"}, Value::none, [](CommandLine& l, const Values&) { l.options.preferClap = true; }},
    {{"--usage-json"}, Value::one, [](CommandLine& l, const Values& v) { l.options.usageJsonPath = v[0]; }},
    {{"--usage-shared"}, Value::none, [](CommandLine& l, const Values&) { l.options.usageShared = true; }},
    {{"--keep-frozen"}, Value::none, [](CommandLine& l, const Values&) { l.options.keepFrozen = true; }},
    {{"--keep-inaudible-midi"}, Value::none, [](CommandLine& l, const Values&) { l.options.keepInaudibleMidi = true; }},
    {{"--truncate-midi-to-clip"}, Value::none, [](CommandLine& l, const Values&) { l.options.truncateMidiToClip = true; }},
    {{"--no-track-colors"}, Value::none, [](CommandLine& l, const Values&) { l.options.noTrackColors = true; }},
    {{"--no-clip-colors"}, Value::none, [](CommandLine& l, const Values&) { l.options.noClipColors = true; }},
    {{"--no-stand-ins"}, Value::none, [](CommandLine& l, const Values&) { l.options.noStandIns = true; }},
    {{"--no-ara"}, Value::none, [](CommandLine& l, const Values&) { l.options.noAra = true; }},
    {{"--progress"}, Value::none, [](CommandLine& l, const Values&) { l.progressWanted = true; }},
    {{"--tempo-ramps"}, Value::optionalWord, [](CommandLine& l, const Values& v) { l.options.tempoRamps = v.empty() || v[0] != "steps"; }},
    {{"--no-kontakt-state"}, Value::none, [](CommandLine& l, const Values&) { l.options.kontaktState = false; }},
    {{"--kontakt-state"}, Value::none, [](CommandLine& l, const Values&) { l.options.kontaktState = true; }},
    {{"--predict"}, Value::none, [](CommandLine&, const Values&) {}},
    {{"--dump-corpus"}, Value::one, [](CommandLine& l, const Values& v) { l.options.corpusDir = v[0]; }},
    {{"--keep-plugin-midi"}, Value::none, [](CommandLine& l, const Values&) { l.options.keepPluginMidi = true; }},
    {{"--report"}, Value::none, [](CommandLine& l, const Values&) { l.options.writeReport = true; }},
    {{"--pause"}, Value::none, [](CommandLine& l, const Values&) { l.pauseAtEnd = 1; }},
    {{"--no-pause"}, Value::none, [](CommandLine& l, const Values&) { l.pauseAtEnd = 0; }},
    {{"--overwrite"}, Value::none, [](CommandLine& l, const Values&) { l.options.overwrite = true; }},
    {{"--convert-twice"}, Value::none, [](CommandLine& l, const Values&) { l.convertTwice = true; }},
    {{"--comments"}, Value::one, [](CommandLine& l, const Values& v) { l.options.commentsMode = commentsModeOf(v[0]); }},
};

bool isTempo(const std::string& text) {
    char* end = nullptr;
    const double bpm = std::strtod(text.c_str(), &end);
    return !text.empty() && *end == '\0' && (bpm == 0 || (bpm >= 1 && bpm <= 960));
}
bool isTheme(const std::string& word) { return word == "auto" || word == "classic" || word == "light" || word == "dark"; }
bool isCommentsMode(const std::string& word) { return word == "project" || word == "item" || word == "none"; }

// What each option with a value takes, and the test of a value where only some are meant.
struct ValueRule {
    const char* option;
    const char* takes;
    bool (*accepts)(const std::string& value);
};
const ValueRule kValueRules[] = {
    {"--tempo", "a tempo in BPM from 1 to 960 (0: the session's own)", isTempo},
    {"--audio-dir", "a folder", nullptr},
    {"-o", "a project file or a folder", nullptr},
    {"--vstini", "a REAPER plug-in list file", nullptr},
    {"--params", "a parameter names file", nullptr},
    {"--want-params", "a file name", nullptr},
    {"--pt-theme", "auto, classic, light or dark", isTheme},
    {"--learn", "a chain file and a plug-in signature", nullptr},
    {"--usage-json", "a file name", nullptr},
    {"--dump-corpus", "a folder", nullptr},
    {"--comments", "project, item or none", isCommentsMode},
};

const ValueRule* valueRuleOf(const std::string& option) {
    for (const ValueRule& rule : kValueRules) {
        if (option == rule.option) return &rule;
    }
    return nullptr;
}

bool rowNamed(const OptionRow& row, const std::string& argument) {
    for (const char* name : row.names) {
        if (name && argument == name) return true;
    }
    return false;
}

}  // namespace

CommandLine parseArguments(const std::vector<std::string>& args) {
    CommandLine line;
    line.pauseAtEnd = defaultPauseAtEnd();
    if (!args.empty()) line.options.programPath = args[0];
    line.options.audioDir = "Audio Files";

    bool learnSeen = false;
    for (size_t i = 1; i < args.size(); ++i) {
        const std::string& argument = args[i];
        if (argument.empty()) continue;
        if (argument == "--version") {
            line.job = EntryJob::version;
            return line;
        }
        const size_t remaining = args.size() - 1 - i;
        const OptionRow* matched = nullptr;
        for (const OptionRow& row : kOptionTable) {
            if (!rowNamed(row, argument)) continue;
            if ((row.value == Value::one && remaining < 1) || (row.value == Value::two && remaining < 2)) {
                const ValueRule* rule = valueRuleOf(argument);
                line.job = EntryJob::missingValue;
                line.unknownArgument = argument;
                line.valueWanted = rule ? rule->takes : "a value";
                return line;
            }
            matched = &row;
            break;
        }
        if (!matched && (argument == "-h" || argument == "--help")) {
            line.job = EntryJob::help;
            return line;
        }
        if (matched) {
            Values values;
            if (matched->value == Value::one) {
                values.push_back(args[++i]);
            } else if (matched->value == Value::two) {
                values.push_back(args[++i]);
                values.push_back(args[++i]);
            } else if (matched->value == Value::optionalWord && remaining >= 1 &&
                       (args[i + 1] == "ramps" || args[i + 1] == "steps")) {
                values.push_back(args[++i]);
            }
            const ValueRule* rule = valueRuleOf(argument);
            if (rule && rule->accepts && !rule->accepts(values[0])) {
                line.job = EntryJob::badValue;
                line.unknownArgument = argument;
                line.badValue = values[0];
                line.valueWanted = rule->takes;
                return line;
            }
            matched->apply(line, values);
            if (line.job == EntryJob::learn) learnSeen = true;
            continue;
        }
        if (argument[0] == '-') {
            line.job = EntryJob::unknownOption;
            line.unknownArgument = argument;
            return line;
        }
        line.positional.push_back(argument);
    }
    line.job = learnSeen ? EntryJob::learn : EntryJob::convert;
    return line;
}

SessionPaths resolveSessionPaths(const std::vector<std::string>& positional) {
    auto opens = [](const std::string& path) {
        std::FILE* file = std::fopen(path.c_str(), "rb");
        if (file) std::fclose(file);
        return file != nullptr;
    };
    SessionPaths paths;
    const size_t count = positional.size();
    for (size_t runLength = count; runLength >= 1; --runLength) {
        for (size_t start = 0; start + runLength <= count; ++start) {
            std::string candidate = positional[start];
            for (size_t k = start + 1; k < start + runLength; ++k) candidate += " " + positional[k];
            if (!opens(candidate)) continue;
            paths.first = candidate;
            paths.firstJoined = runLength > 1;
            for (size_t k = 0; k < count; ++k) {
                const bool inRun = k >= start && k < start + runLength;
                if (!inRun && opens(positional[k])) paths.further.push_back(positional[k]);
            }
            return paths;
        }
    }
    for (size_t k = 0; k < count; ++k) paths.first += (k ? " " : "") + positional[k];
    paths.firstJoined = count > 1;
    return paths;
}

std::string resolveSessionPath(const std::vector<std::string>& positional) {
    return resolveSessionPaths(positional).first;
}
