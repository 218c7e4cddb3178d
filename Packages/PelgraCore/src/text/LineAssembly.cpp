#include "text/PageText.h"

#include "text/SpacedLetters.h"
#include "unicode/Unicode.h"

#include <algorithm>
#include <cmath>

namespace Pelgra {

namespace {

using TextExtraction::FontRun;
using TextExtraction::Line;

/// Pieces belong to one line when their baselines are no further apart than this, and the gap between them no wider, in
/// font sizes. The gap covers wide word spaces and the room after a number, but not the room between columns.
constexpr float largestBaselineStep = 0.35F;
constexpr float largestOverlap = 0.5F;
constexpr float largestGap = 2.5F;
/// Cosine of the largest angle between two directions that count as the same.
constexpr float sameDirection = 0.999F;
/// A gap of at least this is a space, in font sizes; between the letters of a word there is less.
constexpr float smallestSpace = 0.15F;
/// A soft hyphen narrower than this is not visible.
constexpr float smallestHyphen = 0.1F;
/// Between paragraphs there is at least this many times the room between the lines of one.
constexpr float paragraphStep = 1.35F;
/// From line to line in font sizes, where a page has too few lines to tell; and the steps that may count as one at all.
constexpr float usualStep = 1.3F;
constexpr float smallestStep = 0.7F;
constexpr float largestStep = 3.5F;
constexpr std::size_t fewestSteps = 4;
/// Text drawn a second time within this distance, in font sizes, is meant to look bold. It is looked for among this
/// many pieces.
constexpr float largestShift = 0.1F;
constexpr std::size_t repeatReach = 8;
/// Narrower glyphs show nothing.
constexpr float smallestGlyph = 0.01F;
/// With this share of unknown characters a text layer is worthless.
constexpr double unreadableShare = 0.3;

bool isInvisible(char32_t code)
{
    return (code < 0x20 && code != U'\t') || (code >= 0x7F && code < 0xA0) || code == 0x200B
        || (code >= 0x200E && code <= 0x200F) || (code >= 0x2028 && code <= 0x202E)
        || (code >= 0x2060 && code <= 0x206F) || code == 0xFEFF || (code >= 0xFFF9 && code <= 0xFFFB)
        || (code >= 0xFFFE && code <= 0xFFFF) || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF);
}

/// Symbol fonts leave their codes in a private area. These are the ones that mark list items in common text processors;
/// meanings as in the fonts Symbol and Wingdings.
char32_t withoutPrivateCode(char32_t code)
{
    switch (code) {
    case 0xF0B7:
    case 0xF09F:
        return U'\u2022'; // bullet
    case 0xF0A7:
    case 0xF06E:
        return U'\u25AA'; // small black square
    case 0xF0D8:
    case 0xF0E0:
        return U'\u2023'; // arrowhead
    case 0xF0A8:
    case 0xF06F:
    case 0xF071:
        return U'\u25A1'; // box
    case 0xF0FC:
        return U'\u2713'; // tick
    default:
        return code;
    }
}

/// A visual line in the making.
struct VisualLine {
    float directionX = 1;
    float directionY = 0;
    float baseline = 0;
    bool isVertical = false;
    float start = 0;
    float end = 0;
    float size = 0; ///< largest
    std::vector<PlacedCharacter> characters;
};

struct Extent {
    float start = 0;
    float end = 0;
    float size = 0;
};

Extent extentOf(const TextPiece& piece)
{
    Extent extent = {piece.characters.front().start, piece.characters.front().end, 0};
    for (const PlacedCharacter& character : piece.characters) {
        extent.start = std::min({extent.start, character.start, character.end});
        extent.end = std::max({extent.end, character.start, character.end});
        extent.size = std::max(extent.size, character.size);
    }
    return extent;
}

bool hasRightToLeft(std::span<const PlacedCharacter> characters)
{
    return std::ranges::any_of(characters,
                               [](const auto& character) { return Unicode::isRightToLeft(character.code); });
}

bool continues(const VisualLine& line, const TextPiece& piece, const Extent& extent)
{
    const float size = std::max(line.size, extent.size);
    const bool isAlong = line.directionX * piece.directionX + line.directionY * piece.directionY > sameDirection
        && line.isVertical == piece.isVertical;
    if (!isAlong || std::abs(piece.baseline - line.baseline) > largestBaselineStep * size)
        return false;
    float gap = extent.start - line.end;
    // Right-to-left text may be drawn in the order it is read, each piece left of the one before.
    if (gap < -largestOverlap * size && (hasRightToLeft(line.characters) || hasRightToLeft(piece.characters)))
        gap = line.start - extent.end;
    return gap >= -largestOverlap * size && gap <= largestGap * size;
}

/// A space in the gap between two neighbours; none where they touch or one is a space.
void addSpaceBetween(std::vector<PlacedCharacter>& characters, const Extent& extent, const TextPiece& next,
                     const VisualLine& line)
{
    const bool isLeft = extent.end <= line.start + smallestSpace * extent.size && extent.start < line.start;
    const float from = isLeft ? extent.end : line.end;
    const float to = isLeft ? line.start : extent.start;
    const float size = std::max(line.size, extent.size);
    const bool isApart = to - from >= smallestSpace * size;
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

std::vector<VisualLine> visualLinesFrom(std::span<const TextPiece> pieces)
{
    std::vector<VisualLine> lines;
    for (const TextPiece& piece : pieces) {
        const auto index = static_cast<std::size_t>(&piece - pieces.data());
        if (piece.characters.empty() || isRepeated(pieces.first(index), piece))
            continue;
        const Extent extent = extentOf(piece);
        if (lines.empty() || !continues(lines.back(), piece, extent)) {
            lines.push_back({piece.directionX, piece.directionY, piece.baseline, piece.isVertical, extent.start,
                             extent.end, extent.size, piece.characters});
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

bool isMostlyRightToLeft(std::span<const VisualLine> lines)
{
    if (std::ranges::none_of(lines, [](const VisualLine& line) { return hasRightToLeft(line.characters); }))
        return false; // true of most pages; the letters need not be counted
    std::size_t rightToLeft = 0;
    std::size_t letters = 0;
    for (const VisualLine& line : lines) {
        for (const PlacedCharacter& character : line.characters) {
            const bool isStrong = Unicode::isRightToLeft(character.code);
            rightToLeft += isStrong ? 1 : 0;
            letters += isStrong || Unicode::isLetter(character.code) ? 1 : 0;
        }
    }
    return rightToLeft * 2 > letters;
}

/// At the end of a line every kind of hyphen may break a word and is written as the plain one.
bool isLineEndHyphen(char32_t code)
{
    return code == Unicode::softHyphen || code == 0x2010;
}

bool runsAlong(const VisualLine& line, const VisualLine& other)
{
    return line.directionX * other.directionX + line.directionY * other.directionY > sameDirection
        && line.isVertical == other.isVertical;
}

/// The way down from one line to the next in font sizes of the larger; negative where a column begins.
float stepBetween(const VisualLine& line, const VisualLine& next)
{
    return (next.baseline - line.baseline) / std::max({line.size, next.size, 0.1F});
}

/// The usual step from line to line of the page.
float lineStepOf(std::span<const VisualLine> lines)
{
    std::vector<float> steps;
    for (std::size_t i = 1; i < lines.size(); ++i) {
        const float step = stepBetween(lines[i - 1], lines[i]);
        if (runsAlong(lines[i - 1], lines[i]) && step > smallestStep && step < largestStep)
            steps.push_back(step);
    }
    if (steps.size() < fewestSteps)
        return usualStep;
    const auto middle = steps.begin() + static_cast<std::ptrdiff_t>(steps.size() / 2);
    std::ranges::nth_element(steps, middle);
    return *middle;
}

void dropTrailingBlanks(std::vector<PlacedCharacter>& characters)
{
    while (!characters.empty() && Unicode::isBlank(characters.back().code))
        characters.pop_back();
}

/// Justified text has a blank with more room after it. Blanks at the start of a line are its indentation.
void dropDoubledBlanks(std::vector<PlacedCharacter>& characters)
{
    const auto isBlank = [](const PlacedCharacter& character) {
        return Unicode::isBlank(character.code);
    };
    const auto text = std::ranges::find_if_not(characters, isBlank);
    const auto end = std::unique(text, characters.end(),
                                 [&](const auto& left, const auto& right) { return isBlank(left) && isBlank(right); });
    characters.erase(end, characters.end());
}

/// What a reader sees: soft hyphens resolved, invisible characters gone.
void makeReadable(std::vector<PlacedCharacter>& characters)
{
    std::erase_if(characters, [](const PlacedCharacter& character) {
        const bool isEmpty = std::abs(character.end - character.start) < smallestGlyph * character.size;
        return isInvisible(character.code) || (character.code == Unicode::replacement && isEmpty);
    });
    dropTrailingBlanks(characters);
    dropDoubledBlanks(characters);
    if (!characters.empty() && isLineEndHyphen(characters.back().code))
        characters.back().code = U'-';
    std::erase_if(characters, [](const PlacedCharacter& character) {
        return character.code == Unicode::softHyphen
            && std::abs(character.end - character.start) < smallestHyphen * character.size;
    });
    for (PlacedCharacter& character : characters) {
        if (character.code == Unicode::softHyphen) // it takes up room, so it is visible and meant
            character.code = U'-';
        character.code = withoutPrivateCode(character.code);
    }
}

Line lineFrom(std::span<const PlacedCharacter> characters)
{
    std::string text;
    std::vector<FontRun> runs;
    for (const PlacedCharacter& character : characters) {
        Unicode::appendPlain(text, character.code);
        if (runs.empty() || runs.back().size != static_cast<double>(character.size))
            runs.push_back({character.size, 0});
        runs.back().charCount += Unicode::isSpace(character.code) ? 0 : 1;
    }
    return TextExtraction::lineFrom(std::move(text), runs);
}

} // namespace

std::vector<Line> linesFrom(std::span<const TextPiece> pieces)
{
    std::vector<VisualLine> visualLines = visualLinesFrom(pieces);
    const bool pageIsRightToLeft = isMostlyRightToLeft(visualLines);
    const float paragraphGap = paragraphStep * lineStepOf(visualLines);
    std::vector<Line> lines;
    lines.reserve(visualLines.size());
    const VisualLine* previous = nullptr;
    for (VisualLine& line : visualLines) {
        if (previous && runsAlong(*previous, line) && stepBetween(*previous, line) > paragraphGap)
            lines.emplace_back();
        previous = &line;
        if (!line.isVertical && hasRightToLeft(line.characters))
            line.characters = inReadingOrder(std::move(line.characters), pageIsRightToLeft);
        else if (!line.isVertical)
            joinSpacedLetters(line.characters);
        makeReadable(line.characters);
        if (!line.characters.empty())
            lines.push_back(lineFrom(line.characters));
    }
    return lines;
}

std::int64_t knownCharactersOf(std::string_view text)
{
    std::int64_t known = 0;
    while (!text.empty()) {
        const char32_t character = Unicode::takeFirst(text);
        known += character != Unicode::replacement && !Unicode::isSpace(character) ? 1 : 0;
    }
    return known;
}

bool isReadable(std::span<const Line> lines)
{
    std::int64_t all = 0;
    std::int64_t known = 0;
    for (const Line& line : lines) {
        all += line.charCount;
        known += knownCharactersOf(line.text);
    }
    return known > 0 && static_cast<double>(all - known) < unreadableShare * static_cast<double>(all);
}

} // namespace Pelgra
