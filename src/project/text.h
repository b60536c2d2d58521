// Text conventions of the REAPER project: quoting, GUIDs, base64, number forms,
// and ProjectText, the one way lines of project text are written.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

// The quoted form of a name, path or label: always quoted, with the first of
// " ' ` that the text lacks (with all three, " and each " inside becomes "_");
// written as writableText writes it.
std::string quoteName(std::string_view text);
// Text as the project may hold it: valid UTF-8 with no control character. Tabs
// and line breaks become blanks; any other control character (C0, DEL, C1)
// and each byte that is no part of a valid character becomes U+FFFD.
std::string writableText(std::string_view text);

// "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}" computed from a 32-bit seed.
std::string makeGuid(std::uint32_t seed);

// Standard alphabet, "=" padding, no line breaks.
std::string base64(const std::uint8_t* data, std::size_t size);
std::string base64(const std::vector<std::uint8_t>& bytes);
std::string base64(std::string_view bytes);
// Skips every character outside the alphabet ("=" and line breaks included);
// a last group of two or three characters gives one or two bytes.
std::vector<std::uint8_t> base64Decode(std::string_view text);

// The number forms of project text, each exactly as printf gives it in the C
// locale, whatever locale the process runs in.
enum class NumberFormat {
    Seconds,     // %.10f  times in seconds, pan law, send volume
    SnapOffset,  // %.10g  SNAPOFFS of an audio item
    GridSize,    // %.14g  grid size in GRID
    Fine,        // %.9f   master and item volume, play rate, envelope point values
    Coarse,      // %.6f   track volume and pan limits, master pan, tempo point BPM, YPOS, pitch
    Compact,     // %g     project tempo, VOLPAN and AUXRECV pan, fade shapes
};

std::string formatNumber(double value, NumberFormat format);
void appendNumber(std::string& out, double value, NumberFormat format);
// printf's %.Nf and %.Ng for any precision (other texts need %.3f, %.3g, ...).
std::string fixedText(double value, int precision);
std::string generalText(double value, int precision);
void appendFixed(std::string& out, double value, int precision);
void appendGeneral(std::string& out, double value, int precision);
// %lu of a colour such as 0x01BBGGRR, and %02x of a MIDI data byte.
std::string colourText(std::uint32_t colour);
std::string midiByteText(unsigned value);

// Writes project text line by line and owns the indentation: two blanks per
// open block. A line is started by statement(), open() or the data-line calls;
// statement() and open() give a Line whose arguments follow with one blank
// each, and the line feed goes out when that Line dies, at the end of the
// full expression:
//
//     text.open("ITEM");
//     text.statement("POSITION").seconds(clip.position);
//     text.statement("NAME").name(clip.name);
//     text.close();
//
// Output goes either to a std::string (appended to) or to a FILE* opened in
// binary mode, through an internal buffer that is written out in large pieces.
class ProjectText {
public:
    class Line {
    public:
        // Ends the line; may throw std::bad_alloc like any other write, so
        // that running out of memory reaches the entry's refusal.
        ~Line() noexcept(false);
        Line(const Line&) = delete;
        Line& operator=(const Line&) = delete;

        // Whole numbers, signed or unsigned, as %lld / %llu.
        template <typename T, std::enable_if_t<std::is_integral_v<T>, int> = 0>
        Line& num(T value) {
            if constexpr (std::is_signed_v<T>)
                return signedNumber(static_cast<std::int64_t>(value));
            else
                return unsignedNumber(static_cast<std::uint64_t>(value));
        }
        Line& number(double value, NumberFormat format);
        Line& seconds(double value) { return number(value, NumberFormat::Seconds); }
        Line& snapOffset(double value) { return number(value, NumberFormat::SnapOffset); }
        Line& gridSize(double value) { return number(value, NumberFormat::GridSize); }
        Line& fine(double value) { return number(value, NumberFormat::Fine); }
        Line& coarse(double value) { return number(value, NumberFormat::Coarse); }
        Line& compact(double value) { return number(value, NumberFormat::Compact); }
        Line& colour(std::uint32_t value);
        Line& midiByte(unsigned value);
        // Any name, path or label from the session or a file: through quoteName.
        Line& name(std::string_view text);
        // A fixed word written as it is, e.g. "31:U", "''", "+", "{...}".
        Line& word(std::string_view text);
        // makeGuid(seed).
        Line& guid(std::uint32_t seed);

    private:
        friend class ProjectText;
        explicit Line(ProjectText& owner) : owner_(owner) {}
        Line& signedNumber(std::int64_t value);
        Line& unsignedNumber(std::uint64_t value);
        ProjectText& owner_;
    };

    // startDepth is the depth of the first line, for text that goes inside a
    // block written elsewhere (a track held apart, a frozen chain).
    explicit ProjectText(std::string& target, int startDepth = 0);
    explicit ProjectText(std::FILE* file, int startDepth = 0);
    ~ProjectText();
    ProjectText(const ProjectText&) = delete;
    ProjectText& operator=(const ProjectText&) = delete;

    // "KEYWORD args" at the current indent.
    Line statement(std::string_view keyword);
    // "<KEYWORD args" at the current indent; what follows stands one level deeper.
    Line open(std::string_view keyword);
    // A lone ">" at the indent of the block it closes.
    void close();
    // A data line at the current indent, written as it is (a "|" notes line).
    void rawLine(std::string_view text);
    // A base64 text in lines of 128 characters at the current indent, the last
    // one shorter if need be; an empty text writes no line.
    void writeBase64Lines(std::string_view encoded);
    // Whole lines prepared elsewhere (a chain text, a frozen track's body),
    // copied byte for byte; the depth does not change.
    void copyLines(std::string_view text);

    int depth() const { return depth_; }
    // The characters replaced by U+FFFD so far: every text written here passes
    // the rule of writableText (copyLines keeps its line feeds).
    std::size_t replacedCharacters() const { return replaced_; }
    // True when every block opened here was closed and no line was begun while
    // another one was still being written.
    bool finished() const { return depth_ == startDepth_ && !misused_; }
    // Hands buffered text to the file; the destructor does it too.
    void flush();

private:
    void beginLine();
    void endLine();
    void indent();

    std::string buffer_;
    std::string* out_;
    std::FILE* file_ = nullptr;
    int depth_;
    int startDepth_;
    bool lineOpen_ = false;
    bool misused_ = false;
    std::size_t replaced_ = 0;
};

// Reads project text as REAPER will and gives the first problem found, or
// nothing: every line ends in LF, no CR, no empty line, each line indented two
// blanks per open block, "<" followed at once by a keyword, ">" alone on its
// line, quoted arguments closed on their line, every block closed, and, from
// depth 0, exactly one top block; only valid UTF-8 and no control character.
// startDepth checks text meant to stand inside blocks opened elsewhere.
std::optional<std::string> checkProjectText(std::string_view text, int startDepth = 0);
