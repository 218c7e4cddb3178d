#include "text/PageText.h"

#include "text/Accents.h"
#include "text/BlockBounds.h"
#include "text/SpacedLetters.h"
#include "text/SyllableBreaks.h"
#include "text/VisualLine.h"
#include "unicode/Unicode.h"

#include <algorithm>
#include <cmath>

namespace Pelgra {

namespace {

using TextExtraction::FontRun;
using TextExtraction::Line;

/// A soft hyphen narrower than this is not visible.
constexpr float smallestHyphen = 0.1F;
/// Fewer blanks between ideographs may be meant.
constexpr std::size_t fewestTorn = 2;
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

/// Between ideographs there are no blanks; where most are torn apart, they were only set wide.
void joinIdeographs(std::vector<PlacedCharacter>& characters)
{
    const auto isTorn = [&](std::size_t blank) {
        return characters[blank].code == U' ' && Unicode::isIdeographic(characters[blank - 1].code)
            && Unicode::isIdeographic(characters[blank + 1].code);
    };
    std::size_t torn = 0;
    std::size_t whole = 0;
    for (std::size_t index = 1; index + 1 < characters.size(); ++index) {
        torn += isTorn(index) ? 1 : 0;
        whole += Unicode::isIdeographic(characters[index].code) && Unicode::isIdeographic(characters[index + 1].code);
    }
    if (torn < fewestTorn || torn < whole)
        return;
    std::vector<PlacedCharacter> joined;
    for (std::size_t index = 0; index < characters.size(); ++index) {
        if (index == 0 || index + 1 == characters.size() || !isTorn(index))
            joined.push_back(characters[index]);
    }
    characters = std::move(joined);
}

void putInReadingOrder(std::vector<VisualLine>& lines)
{
    const bool pageIsRightToLeft = isMostlyRightToLeft(lines);
    std::vector<std::vector<PlacedCharacter>*> reversed;
    for (VisualLine& line : lines) {
        if (line.isVertical)
            continue;
        composeAccents(line.characters);
        if (hasRightToLeft(line.characters)) {
            line.characters = inReadingOrder(std::move(line.characters), pageIsRightToLeft);
            reversed.push_back(&line.characters);
        } else {
            joinSpacedLetters(line.characters);
            joinIdeographs(line.characters);
        }
    }
    settleBrackets(reversed);
}

/// At the end of a line every kind of hyphen may break a word and is written as the plain one.
bool isLineEndHyphen(char32_t code)
{
    return code == Unicode::softHyphen || code == 0x2010;
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

std::vector<Line> linesFrom(std::vector<VisualLine> visualLines, std::optional<float> usualStep)
{
    const std::vector<bool> beginsBlock = blockBeginnings(visualLines, usualStep);
    putInReadingOrder(visualLines);
    joinBrokenSyllables(visualLines, beginsBlock);
    std::vector<Line> lines;
    lines.reserve(visualLines.size());
    for (std::size_t index = 0; index < visualLines.size(); ++index) {
        std::vector<PlacedCharacter>& characters = visualLines[index].characters;
        if (beginsBlock[index] && !lines.empty() && !lines.back().text.empty())
            lines.emplace_back();
        makeReadable(characters);
        if (!characters.empty())
            lines.push_back(lineFrom(characters));
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
