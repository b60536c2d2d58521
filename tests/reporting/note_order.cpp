#include "reporting/note_order.h"

#include <algorithm>
#include <fstream>
#include <sstream>

namespace {

// A catalogue row: its number and its first line's literal pieces, split at
// the %-directives, which stand for any text.
struct CatalogueRow {
    int number = 0;
    std::vector<std::string> pieces;  // pieces[0] opens the line, "" when a directive does
    size_t literalLength = 0;
};

const std::vector<CatalogueRow>& catalogue() {
    static const std::vector<CatalogueRow> rows = [] {
        std::vector<CatalogueRow> read;
        std::ifstream in(TRELLUM_SOURCE_DIR "/tests/reporting/note_catalogue.txt");
        for (std::string line; std::getline(in, line);) {
            if (line.empty() || line[0] == '#') continue;
            CatalogueRow row{std::stoi(line), {""}, 0};
            const std::string text = line.substr(line.find('\t') + 1);
            for (size_t i = 0; i < text.size(); ++i) {
                if (text[i] == '%' && text[i + 1] != '%') {
                    i = std::min(text.find_first_not_of("-+ #0123456789.lhz", i + 1), text.size());
                    row.pieces.push_back("");
                    continue;
                }
                row.pieces.back() += text[i];
                row.literalLength += 1;
                i += text[i] == '%' ? 1 : 0;
            }
            read.push_back(row);
        }
        return read;
    }();
    return rows;
}

// The first piece opens the line and the others follow it in order.
bool opens(const CatalogueRow& row, const std::string& line) {
    if (line.compare(0, row.pieces[0].size(), row.pieces[0]) != 0) return false;
    size_t at = row.pieces[0].size();
    for (size_t i = 1; i < row.pieces.size() && at != std::string::npos; ++i) {
        at = line.find(row.pieces[i], at);
        if (at != std::string::npos) at += row.pieces[i].size();
    }
    return at != std::string::npos;
}

// The row that opens this line with the most literal text, or 0.
int rowOf(const std::string& line) {
    int best = 0;
    size_t bestLength = 0;
    for (const CatalogueRow& row : catalogue()) {
        if (row.literalLength > bestLength && opens(row, line)) best = row.number, bestLength = row.literalLength;
    }
    return best;
}

}  // namespace

std::vector<int> noteNumbers(const std::string& console) {
    std::vector<int> numbers;
    std::istringstream lines(console);
    for (std::string line; std::getline(lines, line);) {
        if (const int number = rowOf(line)) numbers.push_back(number);
    }
    return numbers;
}

std::string noteOrderFault(const std::string& console) {
    std::istringstream lines(console);
    int last = 0;
    std::string lastLine;
    for (std::string line; std::getline(lines, line);) {
        const int number = rowOf(line);
        if (number == 0) continue;
        if (number < last) return std::to_string(last) + ": " + lastLine + "\nbefore " + std::to_string(number) + ": " + line;
        last = number;
        lastLine = line;
    }
    return std::string();
}

ConvertOptions withNoteSwitches(ConvertOptions options) {
    options.checkOnly = options.noClick = options.recoverDeleted = options.noClipColors = options.noTrackColors =
        options.keepInaudibleMidi = options.truncateMidiToClip = options.noSidechain = options.tempoRamps =
        options.noStandIns = true;
    options.keepAltTakes = options.writeReport = false;
    options.commentsMode = 0;
    return options;
}
