#include "text/LineJoining.h"

#include "text/ListMarker.h"
#include "unicode/Unicode.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <map>
#include <utility>

namespace Pelgra {

namespace {

/// Distances are in font sizes. Baselines no further apart than this are one.
constexpr float sameBaseline = 0.2F;
constexpr float largestMarkerGap = 5;
/// Where the middle of a bullet stands above the baseline, and how large it is.
constexpr float lowestMiddle = 0.1F;
constexpr float highestMiddle = 0.65F;
constexpr float smallestShape = 0.12F;
constexpr float largestShape = 0.75F;
/// A large first letter, in sizes of the text beside it, and the room after it.
constexpr float smallestCap = 1.8F;
constexpr float largestCapGap = 2; // first lines may be indented
constexpr float capitalHeight = 0.67F;
/// Cells of one column begin or end this close to each other.
constexpr float sameEdge = 0.5F;
/// More markers, letters alone or cells than this on one page or in one row are something else, and not worth the time.
constexpr std::size_t mostLateMarkers = 200;
constexpr std::size_t mostLoneLetters = 200;
constexpr std::size_t mostCells = 100;
/// Lines of columns are longer than cells, in characters.
constexpr std::size_t longestCell = 40;

bool isReversed(const VisualLine& line)
{
    return hasRightToLeft(line.characters);
}

/// From a marker to the line it may belong to; negative where it stands on the wrong side.
float gapBefore(const VisualLine& line, float markerStart, float markerEnd)
{
    return isReversed(line) ? markerStart - line.end : line.start - markerEnd;
}

/// In the room between a line and what stands beside it, on either side: in right-to-left text places make the order.
PlacedCharacter spaceBetween(const VisualLine& line, float start, float end)
{
    return start >= line.end ? PlacedCharacter{U' ', line.end, start, line.size}
                             : PlacedCharacter{U' ', end, line.start, line.size};
}

void putBefore(VisualLine& line, std::span<const PlacedCharacter> front, bool isApart)
{
    std::vector<PlacedCharacter> characters(front.begin(), front.end());
    if (isApart)
        characters.push_back(spaceBetween(line, front.front().start, front.back().end));
    characters.insert(characters.end(), line.characters.begin(), line.characters.end());
    line.characters = std::move(characters);
}

/// The line on a marker's baseline that is nearest to it; the end where there is none.
template <typename IsBeside>
std::vector<VisualLine>::iterator lineBeside(std::vector<VisualLine>& lines, float start, float end, IsBeside isBeside)
{
    auto found = lines.end();
    float smallest = 0;
    for (auto line = lines.begin(); line != lines.end(); ++line) {
        const float gap = gapBefore(*line, start, end);
        if (gap < 0 || gap > largestMarkerGap * line->textSize || !isBeside(*line))
            continue;
        if (found == lines.end() || gap < smallest) {
            found = line;
            smallest = gap;
        }
    }
    return found;
}

void joinTo(VisualLine& line, std::span<const PlacedCharacter> marker)
{
    putBefore(line, marker, true);
    line.start = std::min(line.start, marker.front().start);
    line.end = std::max(line.end, marker.back().end);
}

bool isMarkerOnly(const VisualLine& line)
{
    const std::optional<ListMarker> marker = markerAt(line.characters);
    return marker && marker->length == trimmed(line.characters).size();
}

void joinMarkerLines(std::vector<VisualLine>& lines)
{
    std::size_t markers = 0;
    for (VisualLine& marker : lines) {
        if (!isMarkerOnly(marker) || ++markers > mostLateMarkers)
            continue;
        const auto line = lineBeside(lines, marker.start, marker.end, [&](const VisualLine& other) {
            return &other != &marker && !other.characters.empty() && runsAlong(marker, other)
                && !markerAt(other.characters)
                && std::abs(other.baseline - marker.baseline) <= sameBaseline * other.size;
        });
        if (line == lines.end())
            continue;
        joinTo(*line, trimmed(marker.characters));
        marker.characters.clear();
    }
    std::erase_if(lines, [](const VisualLine& line) { return line.characters.empty(); });
}

void joinShapes(std::vector<VisualLine>& lines, std::span<const TextPiece> pieces)
{
    for (const TextPiece& piece : pieces) {
        if (!piece.isShape || piece.characters.empty())
            continue;
        PlacedCharacter shape = piece.characters.front();
        const float width = shape.end - shape.start;
        const auto line = lineBeside(lines, shape.start, shape.end, [&](const VisualLine& other) {
            const float middle = other.baseline - piece.baseline + width / 2;
            return other.directionX > 0 && other.directionY == 0 && !other.isVertical && !markerAt(other.characters)
                && middle >= lowestMiddle * other.textSize && middle <= highestMiddle * other.textSize
                && width >= smallestShape * other.textSize && width <= largestShape * other.textSize;
        });
        if (line == lines.end())
            continue;
        shape.size = line->textSize;
        joinTo(*line, std::span(&shape, 1));
    }
}

bool isLetterAlone(const VisualLine& line)
{
    const std::span<const PlacedCharacter> letters = trimmed(line.characters);
    return !letters.empty() && letters.size() <= 2 && Unicode::isLetter(letters.back().code);
}

bool isFirstLetter(const VisualLine& cap, const VisualLine& line)
{
    const float gap = isReversed(line) ? cap.start - line.end : line.start - cap.end;
    const float lower = (cap.baseline - capitalHeight * cap.textSize) - (line.baseline - capitalHeight * line.textSize);
    return runsAlong(cap, line) && cap.textSize >= smallestCap * line.textSize
        && line.baseline < cap.baseline - line.textSize / 2 && lower < line.textSize / 2
        && std::abs(gap) <= largestCapGap * line.textSize;
}

/// The topmost of the lines beside a large first letter, wherever it stands in the page's contents: some programs draw
/// the letter after its paragraph or before all others. The end where there is none.
std::vector<VisualLine>::iterator lineOfFirstLetter(std::vector<VisualLine>& lines, const VisualLine& cap)
{
    auto found = lines.end();
    for (auto line = lines.begin(); line != lines.end(); ++line) {
        if (&*line != &cap && !line->characters.empty() && isFirstLetter(cap, *line)
            && (found == lines.end() || line->baseline < found->baseline))
            found = line;
    }
    return found;
}

/// Lines that follow each other on one baseline.
struct Row {
    std::size_t first = 0;
    std::size_t count = 0;
};

bool isNextCell(const VisualLine& cell, const VisualLine& next)
{
    const bool isAfter = isReversed(cell) && isReversed(next) ? next.end <= cell.start : next.start >= cell.end;
    return runsAlong(cell, next) && !cell.isVertical && isAfter
        && std::abs(next.baseline - cell.baseline) <= sameBaseline * std::max(cell.size, next.size);
}

std::vector<Row> rowsOf(std::span<const VisualLine> lines)
{
    std::vector<Row> rows;
    for (std::size_t index = 0; index < lines.size(); ++index) {
        if (index > 0 && isNextCell(lines[index - 1], lines[index]))
            ++rows.back().count;
        else
            rows.push_back({index, 1});
    }
    return rows;
}

bool shareAnEdge(const VisualLine& cell, const VisualLine& other)
{
    const float room = sameEdge * std::max(cell.textSize, other.textSize);
    return std::abs(cell.start - other.start) <= room || std::abs(cell.end - other.end) <= room
        || std::abs(cell.start + cell.end - other.start - other.end) <= 2 * room;
}

bool areRowsOfOneTable(std::span<const VisualLine> lines, const Row& row, const Row& next)
{
    if (row.count < 2 || next.count < 2 || row.count > mostCells || next.count > mostCells
        || lines[next.first].baseline <= lines[row.first].baseline || !runsAlong(lines[row.first], lines[next.first]))
        return false;
    std::size_t shared = 0;
    bool isProse = true;
    for (std::size_t cell = next.first; cell < next.first + next.count; ++cell) {
        isProse = isProse && lines[cell].characters.size() > longestCell;
        for (std::size_t above = row.first; above < row.first + row.count; ++above)
            shared += shareAnEdge(lines[cell], lines[above]) ? 1 : 0;
    }
    return shared >= 2 && !isProse;
}

} // namespace

void joinLateMarkers(std::vector<VisualLine>& lines, std::span<const TextPiece> pieces)
{
    joinMarkerLines(lines);
    joinShapes(lines, pieces);
}

void restoreBullets(std::vector<VisualLine>& lines)
{
    std::vector<PlacedCharacter*> signs;
    std::map<std::pair<std::uint16_t, char32_t>, std::size_t> count;
    for (VisualLine& line : lines) {
        const std::optional<ListMarker> marker = markerAt(line.characters);
        if (!marker || marker->isSure)
            continue;
        const auto sign = std::ranges::find_if_not(line.characters, Unicode::isBlank, &PlacedCharacter::code);
        const auto text = std::find_if_not(sign + 1, line.characters.end(),
                                           [](const auto& character) { return Unicode::isBlank(character.code); });
        if (text != line.characters.end() && text->font != sign->font) {
            signs.push_back(&*sign);
            ++count[{sign->font, sign->code}];
        }
    }
    for (PlacedCharacter* sign : signs) {
        if (count[{sign->font, sign->code}] > 1)
            sign->code = U'\u2022';
    }
}

void joinFirstLetters(std::vector<VisualLine>& lines)
{
    std::size_t letters = 0;
    for (VisualLine& cap : lines) {
        if (!isLetterAlone(cap) || ++letters > mostLoneLetters)
            continue;
        const auto line = lineOfFirstLetter(lines, cap);
        if (line == lines.end())
            continue;
        putBefore(*line, trimmed(cap.characters), false);
        line->capBaseline = cap.baseline;
        line->start = std::min(line->start, cap.start);
        line->end = std::max(line->end, cap.end);
        cap.characters.clear();
    }
    std::erase_if(lines, [](const VisualLine& line) { return line.characters.empty(); });
}

void joinRows(std::vector<VisualLine>& lines)
{
    const std::vector<Row> rows = rowsOf(lines);
    if (rows.size() == lines.size())
        return; // most pages
    std::vector<bool> isOfTable(rows.size(), false);
    for (std::size_t index = 1; index < rows.size(); ++index) {
        if (areRowsOfOneTable(lines, rows[index - 1], rows[index]))
            isOfTable[index - 1] = isOfTable[index] = true;
    }
    std::vector<VisualLine> joined;
    joined.reserve(lines.size());
    for (std::size_t index = 0; index < rows.size(); ++index) {
        for (std::size_t cell = rows[index].first; cell < rows[index].first + rows[index].count; ++cell) {
            if (cell == rows[index].first || !isOfTable[index]) {
                joined.push_back(std::move(lines[cell]));
                joined.back().isRow = isOfTable[index];
                continue;
            }
            VisualLine& row = joined.back();
            row.characters.push_back(spaceBetween(row, lines[cell].start, lines[cell].end));
            std::ranges::move(lines[cell].characters, std::back_inserter(row.characters));
            row.start = std::min(row.start, lines[cell].start);
            row.end = std::max(row.end, lines[cell].end);
            row.size = std::max(row.size, lines[cell].size);
        }
    }
    lines = std::move(joined);
}

} // namespace Pelgra
