#include "project/text.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <clocale>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <locale>
#include <random>

namespace {

std::string printfText(const char* format, double value) {
    char buffer[1024];
    std::snprintf(buffer, sizeof buffer, format, value);
    return buffer;
}

std::string textOf(const std::vector<std::uint8_t>& bytes) {
    return std::string(bytes.begin(), bytes.end());
}

}  // namespace

TEST(QuoteName, PicksAFreeQuoteForEveryMixAndWritesOnlyValidText) {
    const std::pair<const char*, const char*> cases[] = {
        // every mix of the three quote characters
        {"", "\"\""},
        {"Kick", "\"Kick\""},
        {"it's", "\"it's\""},
        {"a`b", "\"a`b\""},
        {"it's `x`", "\"it's `x`\""},
        {"My \"Best\" Take", "'My \"Best\" Take'"},
        {"\"x\" `y`", "'\"x\" `y`'"},
        {"Ed's \"Best\"", "`Ed's \"Best\"`"},
        {"a\"b'c`d\"", "\"a_b'c`d_\""},
        {"\"'`", "\"_'`\""},
        // breaks flatten; controls (a C1 control whole) and bytes of no valid character become U+FFFD
        {"a\tb\nc\r\nd", "\"a b c  d\""},
        {"Caf\xC3\xA9 \xFF", "\"Caf\xC3\xA9 \xEF\xBF\xBD\""},
        {"K\x01" "ck\x1B\x7F", "\"K\xEF\xBF\xBD" "ck\xEF\xBF\xBD\xEF\xBF\xBD\""},
        {"\xC2\x85|\xC2\xA0|\xE2\x82\xAC|\xF0\x9F\x8E\xB5", "\"\xEF\xBF\xBD|\xC2\xA0|\xE2\x82\xAC|\xF0\x9F\x8E\xB5\""},
        // overlong, surrogate, above U+10FFFF, cut short: each byte replaced
        {"\xC0\xAF", "\"\xEF\xBF\xBD\xEF\xBF\xBD\""},
        {"\xED\xA0\x80", "\"\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\""},
        {"\xF4\x90\x80\x80", "\"\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\""},
        {"\xE2\x82'", "\"\xEF\xBF\xBD\xEF\xBF\xBD'\""},
    };
    for (const auto& [raw, quoted] : cases) {
        EXPECT_EQ(quoteName(raw), quoted) << raw;
        // Each stands as one closed argument that REAPER reads back.
        const std::string project = std::string("<A\n  NAME ") + quoted + " 1\n>\n";
        EXPECT_EQ(checkProjectText(project), std::nullopt) << raw;
    }
    EXPECT_EQ(quoteName(std::string("a\0b", 3)), "\"a\xEF\xBF\xBD" "b\"");

    // The writer counts what it replaced, in names, words and data lines alike.
    std::string out;
    ProjectText text(out);
    text.open("A");
    text.statement("NAME").name("x\xFF\xFE").word("y\x01");
    text.rawLine("|\x80 ok\n");
    text.close();
    EXPECT_EQ(text.replacedCharacters(), 4u);
    EXPECT_EQ(checkProjectText(out), std::nullopt);
}

TEST(Guid, FollowsTheSeedRule) {
    // Seeds at both ends of the range: the hash wraps at 32 bits and every field is zero-padded.
    const std::pair<std::uint32_t, const char*> cases[] = {{0u, "{9E3779B9-2BA8-8EFF-A3A9-64C3B21480CD}"},
                                                           {1u, "{3C6EF36A-27F2-CA46-3B01-C6AE80CD33F2}"},
                                                           {0x2329u, "{8ABD2A12-B9A6-C25E-F634-34660E2740BA}"},
                                                           {0x4D41524Cu, "{7E9B4C45-40B5-E613-6CEE-BC87D7B089C9}"},
                                                           {0xFFFFFFFFu, "{00000008-2F5E-53B8-0C51-02D8E35BCDA8}"}};
    for (const auto& [seed, guid] : cases) EXPECT_EQ(makeGuid(seed), guid) << seed;
}

TEST(Base64, EncodesAndDecodes) {
    const char* known[][2] = {{"", ""},         {"f", "Zg=="},         {"fo", "Zm8="},
                              {"foo", "Zm9v"},  {"foob", "Zm9vYg=="},  {"fooba", "Zm9vYmE="},
                              {"foobar", "Zm9vYmFy"}, {"\xFB\xFF", "+/8="}};
    for (const auto& pair : known) {
        EXPECT_EQ(base64(std::string_view(pair[0])), pair[1]);
        EXPECT_EQ(textOf(base64Decode(pair[1])), pair[0]);
    }
    // Line breaks, blanks and junk are passed over; missing padding is no matter.
    EXPECT_EQ(textOf(base64Decode("Zm9v\nYm\r\nFy")), "foobar");
    EXPECT_EQ(textOf(base64Decode(" Zm*9v-Yg ")), "foob");
    EXPECT_EQ(textOf(base64Decode("Zm9vYg")), "foob");

    std::mt19937 random(11);
    for (std::size_t size = 0; size < 300; ++size) {
        std::vector<std::uint8_t> bytes(size);
        for (auto& b : bytes) b = std::uint8_t(random());
        const std::string encoded = base64(bytes);
        ASSERT_EQ(encoded.size(), (size + 2) / 3 * 4);
        ASSERT_EQ(base64Decode(encoded), bytes) << size;
    }
}

TEST(ProjectTextNumbers, MatchPrintfInTheCLocale) {
    const std::pair<NumberFormat, const char*> formats[] = {
        {NumberFormat::Seconds, "%.10f"}, {NumberFormat::SnapOffset, "%.10g"},
        {NumberFormat::GridSize, "%.14g"}, {NumberFormat::Fine, "%.9f"},
        {NumberFormat::Coarse, "%.6f"},   {NumberFormat::Compact, "%g"}};
    std::vector<double> values = {0.0, -0.0, 1.0, -1.0, 0.5, 1.5, 2.5, 0.125, 0.0000005,
                                  0.00000049999999999999, 1e-5, 1e-4, 0.0001234, 99999.5,
                                  999999.5, 1e6, 123456789.0, 1e15, 1e16, 1e20, 1e100,
                                  -1e300, DBL_MAX, DBL_MIN, 4.9e-324, 1.0 / 3, 2.0 / 3,
                                  0.501187234, 120.0, 0.1 + 0.2, HUGE_VAL, -HUGE_VAL,
                                  std::nan(""), -std::nan("")};
    std::mt19937_64 random(3);
    std::uniform_real_distribution<double> mantissa(-10.0, 10.0);
    std::uniform_int_distribution<int> exponent(-12, 22);
    for (int i = 0; i < 3000; ++i)
        values.push_back(mantissa(random) * std::pow(10.0, exponent(random)));
    for (int i = 0; i < 1000; ++i) {
        const std::uint64_t bits = random();
        double value;
        std::memcpy(&value, &bits, sizeof value);
        values.push_back(value);
    }
    for (double value : values) {
        for (const auto& [format, printfFormat] : formats)
            ASSERT_EQ(formatNumber(value, format), printfText(printfFormat, value))
                << printfFormat << " of " << printfText("%a", value);
        for (int precision : {0, 1, 3, 4, 17}) {
            const std::string fixed = "%." + std::to_string(precision) + "f";
            const std::string general = "%." + std::to_string(precision) + "g";
            ASSERT_EQ(fixedText(value, precision), printfText(fixed.c_str(), value));
            ASSERT_EQ(generalText(value, precision), printfText(general.c_str(), value));
        }
    }
    EXPECT_EQ(midiByteText(0), "00");
    EXPECT_EQ(midiByteText(0x7b), "7b");
    EXPECT_EQ(midiByteText(0x1ff), "1ff");
    EXPECT_EQ(colourText(0xFFFFFFFFu), "4294967295");
}

namespace {
struct CommaPoint : std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
};

std::string sampleLine() {
    std::string out;
    ProjectText text(out, 1);
    text.statement("X").seconds(1.5).compact(-0.25).coarse(1234567.5).num(1234567);
    return out;
}
}  // namespace

TEST(ProjectTextNumbers, IgnoreTheProcessLocale) {
    const std::string expected = "  X 1.5000000000 -0.25 1234567.500000 1234567\n";
    const std::locale previous =
        std::locale::global(std::locale(std::locale::classic(), new CommaPoint));
    EXPECT_EQ(sampleLine(), expected);
    std::locale::global(previous);

    struct Restore {
        std::string name;
        ~Restore() { std::setlocale(LC_ALL, name.c_str()); }
    } restore{std::setlocale(LC_ALL, nullptr)};
    const char* found = nullptr;
    for (const char* name : {"de_DE.UTF-8", "de_DE.utf8", "de_DE"})
        if ((found = std::setlocale(LC_ALL, name))) break;
    ASSERT_NE(found, nullptr) << "no comma-decimal locale installed: scripts/setup generates de_DE.UTF-8";
    ASSERT_EQ(printfText("%.1f", 1.5), "1,5");  // the locale really is in force
    EXPECT_EQ(sampleLine(), expected);
    EXPECT_EQ(formatNumber(0.5, NumberFormat::Fine), "0.500000000");
}

TEST(ProjectText, SplitsBase64AndMatchesFileOutput) {
    std::string lines;
    {
        ProjectText text(lines, 2);
        text.writeBase64Lines(std::string(300, 'A'));
        text.writeBase64Lines(std::string(256, 'B'));
        text.writeBase64Lines("");
    }
    const std::string a128(128, 'A'), b128(128, 'B');
    EXPECT_EQ(lines, "    " + a128 + "\n    " + a128 + "\n    " + std::string(44, 'A') +
                         "\n    " + b128 + "\n    " + b128 + "\n");

    // A project far larger than the file buffer comes out the same through a FILE*.
    auto writeItems = [](ProjectText& text) {
        text.open("REAPER_PROJECT").word("0.1").name("7.0").num(0);
        for (int i = 0; i < 50000; ++i) {
            text.open("ITEM");
            text.statement("POSITION").seconds(i * 0.37);
            text.statement("NAME").name("clip " + std::to_string(i));
            text.close();
        }
        text.close();
    };
    std::string inMemory;
    {
        ProjectText text(inMemory);
        writeItems(text);
    }
    std::FILE* file = std::tmpfile();
    ASSERT_NE(file, nullptr);
    {
        ProjectText text(file);
        writeItems(text);
    }
    std::string fromFile(std::size_t(std::ftell(file)), '\0');
    std::rewind(file);
    ASSERT_EQ(std::fread(fromFile.data(), 1, fromFile.size(), file), fromFile.size());
    std::fclose(file);
    EXPECT_EQ(fromFile, inMemory);
    EXPECT_EQ(checkProjectText(inMemory), std::nullopt);
}

TEST(ProjectText, KnowsWhenBlocksAreLeftOpenOrLinesInterleave) {
    std::string out;
    ProjectText unclosed(out);
    unclosed.open("REAPER_PROJECT");
    unclosed.open("TRACK");
    unclosed.close();
    EXPECT_EQ(unclosed.depth(), 1);
    EXPECT_FALSE(unclosed.finished());
    EXPECT_EQ(checkProjectText(out), "block opened on line 1 is not closed");

    std::string extra;
    ProjectText overClosed(extra, 1);
    overClosed.close();
    EXPECT_EQ(extra, "");
    EXPECT_FALSE(overClosed.finished());

    std::string interleaved;
    ProjectText text(interleaved);
    {
        auto held = text.statement("SM");
        text.statement("PT");
    }
    EXPECT_FALSE(text.finished());
}

TEST(ProjectTextCheck, NamesTheFirstProblem) {
    const std::pair<const char*, const char*> cases[] = {
        {"<A\n  B 1\r\n>\n", "line 2: carriage return"},
        {"<A\n  B 1\n\n>\n", "line 3: empty line"},
        {"<A\n   B 1\n>\n", "line 2: indented by 3 blanks, expected 2"},
        {"<A\n  <B\n    >\n  >\n", "line 3: \">\" indented by 4 blanks, expected 2"},
        {"<A\n  <B\n  >\n", "block opened on line 1 is not closed"},
        {"<A\n>\n>\n", "line 3: \">\" closes no open block"},
        {"<A\n> x\n", "line 2: text after \">\""},
        {"<A\n>\n<B\n>\n", "line 3: a second top-level block"},
        {"B 1\n", "line 1: statement outside the project block"},
        {"<A\n  NAME \"a b\n>\n", "line 2: quote not closed"},
        {"<A\n>", "line 2: no line feed at the end"},
        {"<A\n  NAME \"a\xC3\"\n>\n", "line 2: invalid UTF-8 at column 10"},
        {"<A\n  NAME \"a\x01\"\n>\n", "line 2: control character at column 10"},
        {"<A\n\tB 1\n>\n", "line 2: control character at column 1"},
        {"<A\n  B \xC2\x9F\n>\n", "line 2: control character at column 5"},
        {"", "no project block"},
        // A <VST slot's data: base64 lines, a header whose state size and VST3 halves fit the data.
        {"<A\n  <VST \"x\" f 0 \"\" 1 \"\"\n    ab*d\n  >\n>\n", "line 3: not a line of base64"},
        {"<A\n  <VST \"x\" f 0 \"\" 1 \"\"\n    AQAAAO5e7f4AAAAAAAAAAAoAAAABAAAAAAAAAA==\n    AAAAAAAA\n  >\n>\n",
         "line 5: state size 10 runs past the data"},
        {"<A\n  <VST \"x\" f 0 \"\" 1{AB} \"\"\n    AQAAAO5e7f4AAAAAAAAAAAgAAAABAAAAAAAAAAkAAAABAAAA\n    AAAAAAAA\n  >\n>\n",
         "line 5: VST3 state halves do not fill the state"},
    };
    for (const auto& [text, problem] : cases)
        EXPECT_EQ(checkProjectText(text), std::optional<std::string>(problem)) << text;

    // Notes lines are free text; fragments are checked from their own depth.
    EXPECT_EQ(checkProjectText("<A\n  <NOTES\n    |say \"hi\n  >\n>\n"), std::nullopt);
    EXPECT_EQ(checkProjectText("  <TRACK\n    NAME `x'\"`\n  >\n", 1), std::nullopt);
    EXPECT_EQ(checkProjectText("  <TRACK\n  >\n>\n", 1), "line 3: \">\" closes no open block");
}
