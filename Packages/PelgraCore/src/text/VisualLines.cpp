#include "text/VisualLine.h"

#include "text/LineJoining.h"
#include "text/ListMarker.h"
#include "unicode/Unicode.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <optional>
#include <utility>

namespace Pelgra {

namespace {

/// Pieces belong to one line when their baselines are no further apart than this, and the gap between them no wider, in
/// font sizes. The gap covers wide word spaces and the room after a number, but not the room between columns.
constexpr float largestBaselineStep = 0.35F;
constexpr float largestOverlap = 0.5F;
constexpr float largestGap = 2.5F;
/// The room between the marker of a list item and its text may be wider: half an inch is common.
constexpr float largestMarkerGap = 5;
/// Raised and lowered characters are not that much smaller; what is stands beside a large first letter, and has lines
/// of its own.
constexpr float largestSizeRatio = 2.5F;
/// Cosine of the largest angle between two directions that count as the same.
constexpr float sameDirection = 0.999F;
/// A gap of at least this is a space, in font sizes; between the letters of a word there is less.
constexpr float smallestSpace = 0.15F;
constexpr float smallestIdeographSpace = 0.5F;
/// Text drawn a second time within this distance, in font sizes, is meant to look bold. It is looked for among this
/// many pieces.
constexpr float largestShift = 0.1F;
constexpr std::size_t repeatReach = 8;

struct Extent {
    float start = 0;
    float end = 0;
    float size = 0;
};

Extent extentOf(std::span<const PlacedCharacter> characters)
{
    Extent extent = {characters.front().start, characters.front().end, 0};
    for (const PlacedCharacter& character : characters) {
        extent.start = std::min({extent.start, character.start, character.end});
        extent.end = std::max({extent.end, character.start, character.end});
        extent.size = std::max(extent.size, character.size);
    }
    return extent;
}

bool isLoneMarker(std::span<const PlacedCharacter> characters)
{
    const std::optional<ListMarker> marker = markerAt(characters);
    return marker && marker->length == trimmed(characters).size();
}

bool continues(const VisualLine& line, const TextPiece& piece, const Extent& extent)
{
    const float size = std::max(line.size, extent.size);
    const bool isAlong = line.directionX * piece.directionX + line.directionY * piece.directionY > sameDirection
        && line.isVertical == piece.isVertical;
    const float smaller = std::min(line.size, extent.size);
    const float stepSize = size > largestSizeRatio * smaller ? smaller : size;
    if (!isAlong || std::abs(piece.baseline - line.baseline) > largestBaselineStep * stepSize)
        return false;
    float gap = extent.start - line.end;
    // Right-to-left text may be drawn in the order it is read, each piece left of the one before.
    if (gap < -largestOverlap * size && (hasRightToLeft(line.characters) || hasRightToLeft(piece.characters)))
        gap = line.start - extent.end;
    const bool isMarker = gap > largestGap * size && isLoneMarker(line.characters);
    return gap >= -largestOverlap * size && gap <= (isMarker ? largestMarkerGap : largestGap) * size;
}

/// A space in the gap between two neighbours; none where they touch or one is a space.
void addSpaceBetween(std::vector<PlacedCharacter>& characters, const Extent& extent, const TextPiece& next,
                     const VisualLine& line)
{
    const bool isLeft = extent.end <= line.start + smallestSpace * extent.size && extent.start < line.start;
    const float from = isLeft ? extent.end : line.end;
    const float to = isLeft ? line.start : extent.start;
    const float size = std::max(line.size, extent.size);
    const bool areIdeographs =
        Unicode::isIdeographic(characters.back().code) && Unicode::isIdeographic(next.characters.front().code);
    const bool isApart = to - from >= (areIdeographs ? smallestIdeographSpace : smallestSpace) * size;
    if (isApart && !Unicode::isBlank(characters.back().code) && !Unicode::isBlank(next.characters.front().code))
        characters.push_back({U' ', from, to, size});
}

bool isAtSamePlace(const PlacedCharacter& character, const PlacedCharacter& again)
{
    return character.code == again.code && std::abs(character.start - again.start) <= largestShift * character.size
        && std::abs(character.size - again.size) <= largestShift * character.size;
}

/// Whether one of the pieces before is the same text in the same place.
bool isRepeated(std::span<const TextPiece> before, const TextPiece& piece)
{
    const float shift = largestShift * piece.characters.front().size;
    return std::ranges::any_of(before.last(std::min(before.size(), repeatReach)), [&](const TextPiece& other) {
        return other.isVertical == piece.isVertical && other.directionX == piece.directionX
            && other.directionY == piece.directionY && std::abs(other.baseline - piece.baseline) <= shift
            && std::ranges::equal(other.characters, piece.characters, isAtSamePlace);
    });
}

bool isOnBaselineOf(const TextPiece& piece, const TextPiece& next)
{
    return !piece.isShape && !next.isShape && !piece.characters.empty() && !next.characters.empty() && !piece.isVertical
        && !next.isVertical && piece.directionX * next.directionX + piece.directionY * next.directionY > sameDirection
        && std::abs(piece.baseline - next.baseline) <= largestShift * next.characters.front().size;
}

/// One piece of several, its characters from the left. Libraries put blanks of their own between words; where a sign
/// or a blank was drawn there as well, those go.
TextPiece joined(std::span<const TextPiece* const> parts)
{
    TextPiece whole = *parts.front();
    for (const TextPiece* part : parts.subspan(1))
        whole.characters.insert(whole.characters.end(), part->characters.begin(), part->characters.end());
    std::vector<PlacedCharacter>& all = whole.characters;
    std::ranges::stable_sort(all, {}, &PlacedCharacter::start);
    std::vector<PlacedCharacter> kept;
    for (std::size_t i = 0; i < all.size(); ++i) {
        const auto covers = [&](const PlacedCharacter& other) {
            const float middle = (other.start + other.end) / 2;
            return middle > all[i].start && middle < all[i].end;
        };
        const bool isCovered = (i > 0 && covers(all[i - 1])) || (i + 1 < all.size() && covers(all[i + 1]));
        if (!Unicode::isBlank(all[i].code) || !isCovered)
            kept.push_back(all[i]);
    }
    all = std::move(kept);
    return whole;
}

/// The pieces of one baseline: those that stand together become one, from the right, as columns of right-to-left text
/// follow each other.
void addJoined(std::vector<TextPiece>& result, std::vector<const TextPiece*> parts)
{
    std::ranges::stable_sort(parts, std::greater(),
                             [](const TextPiece* piece) { return extentOf(piece->characters).end; });
    for (std::size_t begin = 0, end = 0; begin < parts.size(); begin = end) {
        Extent reached = extentOf(parts[begin]->characters);
        for (end = begin + 1; end < parts.size(); ++end) {
            const Extent extent = extentOf(parts[end]->characters);
            if (reached.start - extent.end > largestGap * std::max(reached.size, extent.size))
                break;
            reached.start = std::min(reached.start, extent.start);
            reached.size = std::max(reached.size, extent.size);
        }
        result.push_back(joined(std::span(parts).subspan(begin, end - begin)));
    }
}

/// Words, signs and blanks of a right-to-left line come from several fonts, often all signs of the line before its
/// words. What stands together on one baseline is one piece, in whatever order it was drawn.
std::vector<TextPiece> withWholeReversedLines(std::span<const TextPiece> pieces)
{
    std::vector<TextPiece> result;
    for (std::size_t first = 0, end = 0; first < pieces.size(); first = end) {
        end = first + 1;
        while (end < pieces.size() && isOnBaselineOf(pieces[end - 1], pieces[end]))
            ++end;
        const std::span<const TextPiece> group = pieces.subspan(first, end - first);
        const bool isReversed = group.size() > 1 && std::ranges::any_of(group, hasRightToLeft, &TextPiece::characters);
        if (!isReversed) {
            result.insert(result.end(), group.begin(), group.end());
            continue;
        }
        std::vector<const TextPiece*> parts;
        for (std::size_t index = first; index < end; ++index) {
            if (!isRepeated(pieces.first(index), pieces[index]))
                parts.push_back(&pieces[index]);
        }
        addJoined(result, std::move(parts));
    }
    return result;
}

std::vector<VisualLine> linesOfPieces(std::span<const TextPiece> pieces)
{
    std::vector<VisualLine> lines;
    for (const TextPiece& piece : pieces) {
        const auto index = static_cast<std::size_t>(&piece - pieces.data());
        if (piece.isShape || piece.characters.empty() || isRepeated(pieces.first(index), piece))
            continue;
        const Extent extent = extentOf(piece.characters);
        if (lines.empty() || !continues(lines.back(), piece, extent)) {
            if (trimmed(piece.characters).empty())
                continue; // blanks begin no line
            lines.push_back({.directionX = piece.directionX,
                             .directionY = piece.directionY,
                             .baseline = piece.baseline,
                             .isVertical = piece.isVertical,
                             .start = extent.start,
                             .end = extent.end,
                             .size = extent.size,
                             .characters = piece.characters});
            continue;
        }
        VisualLine& line = lines.back();
        addSpaceBetween(line.characters, extent, piece, line);
        line.characters.insert(line.characters.end(), piece.characters.begin(), piece.characters.end());
        line.start = std::min(line.start, extent.start);
        line.end = std::max(line.end, extent.end);
        // Raised and lowered characters do not move the line.
        if (extent.size >= line.size)
            line.baseline = piece.baseline;
        line.size = std::max(line.size, extent.size);
    }
    return lines;
}

float dominantSize(std::span<const PlacedCharacter> text)
{
    // By majority vote: the sizes of a line are few.
    float size = 0;
    std::ptrdiff_t votes = 0;
    for (const PlacedCharacter& character : text) {
        if (votes == 0)
            size = character.size;
        votes += std::abs(character.size - size) < 0.01F * size ? 1 : -1;
    }
    return size;
}

/// Without lines of blanks; the others begin and end with their ink.
void keepInk(std::vector<VisualLine>& lines)
{
    std::erase_if(lines, [](const VisualLine& line) { return trimmed(line.characters).empty(); });
    for (VisualLine& line : lines) {
        const std::span<const PlacedCharacter> ink = trimmed(line.characters);
        const Extent extent = extentOf(ink);
        line.textSize = dominantSize(ink);
        line.start = extent.start;
        line.end = extent.end;
    }
}

} // namespace

bool hasRightToLeft(std::span<const PlacedCharacter> characters)
{
    return std::ranges::any_of(characters,
                               [](const auto& character) { return Unicode::isRightToLeft(character.code); });
}

bool runsAlong(const VisualLine& line, const VisualLine& other)
{
    return line.directionX * other.directionX + line.directionY * other.directionY > sameDirection
        && line.isVertical == other.isVertical;
}

std::vector<VisualLine> visualLinesFrom(std::span<const TextPiece> pieces)
{
    const bool isReversed = std::ranges::any_of(pieces, hasRightToLeft, &TextPiece::characters);
    std::vector<VisualLine> lines = isReversed ? linesOfPieces(withWholeReversedLines(pieces)) : linesOfPieces(pieces);
    keepInk(lines);
    joinLateMarkers(lines, pieces);
    restoreBullets(lines);
    joinFirstLetters(lines);
    joinRows(lines);
    return lines;
}

} // namespace Pelgra
