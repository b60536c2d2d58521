#include "reporting/note_order.h"

#include <fstream>
#include <sstream>

namespace {

// A first line cut into literal text and %-directives: 'd' stands for any
// number, 's' for any text.
struct Piece {
    char kind;  // 'l' literal, 'd', 's'
    std::string text;
};

struct CatalogueRow {
    int number = 0;
    std::vector<Piece> pieces;
    size_t literalLength = 0;
};

std::vector<Piece> piecesOf(const std::string& line) {
    std::vector<Piece> pieces;
    for (size_t i = 0; i < line.size(); ++i) {
        if (line[i] != '%' || (i + 1 < line.size() && line[i + 1] == '%')) {
            if (pieces.empty() || pieces.back().kind != 'l') pieces.push_back({'l', ""});
            pieces.back().text += line[i];
            i += line[i] == '%' ? 1 : 0;
            continue;
        }
        size_t end = line.find_first_not_of("-+ #0123456789.lhz", i + 1);
        pieces.push_back({line[end] == 's' ? 's' : 'd', ""});
        i = end;
    }
    return pieces;
}

const std::vector<CatalogueRow>& catalogue() {
    static const std::vector<CatalogueRow> rows = [] {
        std::vector<CatalogueRow> read;
        std::ifstream in(TRELLUM_SOURCE_DIR "/tests/reporting/note_catalogue.txt");
        for (std::string line; std::getline(in, line);) {
            if (line.empty() || line[0] == '#') continue;
            CatalogueRow row;
            row.number = std::stoi(line);
            row.pieces = piecesOf(line.substr(line.find('\t') + 1));
            for (const Piece& piece : row.pieces) row.literalLength += piece.text.size();
            read.push_back(row);
        }
        return read;
    }();
    return rows;
}

// The pieces from `at` on open the text at `pos`.
bool opens(const std::vector<Piece>& pieces, size_t at, const std::string& text, size_t pos) {
    if (at == pieces.size()) return true;
    const Piece& piece = pieces[at];
    if (piece.kind == 'l') {
        return text.compare(pos, piece.text.size(), piece.text) == 0 && opens(pieces, at + 1, text, pos + piece.text.size());
    }
    if (piece.kind == 'd') {
        const size_t end = std::min(text.find_first_not_of("-+0123456789.", pos), text.size());
        return end > pos && opens(pieces, at + 1, text, end);
    }
    for (size_t end = pos; end <= text.size(); ++end) {
        if (opens(pieces, at + 1, text, end)) return true;
    }
    return false;
}

// The row whose first line opens this line with the most literal text, or 0.
int rowOf(const std::string& line) {
    int best = 0;
    size_t bestLength = 0;
    for (const CatalogueRow& row : catalogue()) {
        if (row.literalLength > bestLength && opens(row.pieces, 0, line, 0)) {
            best = row.number;
            bestLength = row.literalLength;
        }
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
