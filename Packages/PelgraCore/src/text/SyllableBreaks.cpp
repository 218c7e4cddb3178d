#include "text/SyllableBreaks.h"

#include "text/ListMarker.h"
#include "unicode/Unicode.h"

#include <algorithm>
#include <span>

namespace Pelgra {

namespace {

/// Of fewer, nothing can be said.
constexpr std::size_t fewestBreaks = 3;
/// A page is broken between syllables where at least this share of its breaks has no room left for another one.
constexpr double fullShare = 0.8;

/// The Unicode Standard, section 3.12: Hangul Syllables.
bool isSyllable(char32_t code)
{
    return code >= 0xAC00 && code <= 0xD7A3;
}

bool isBlank(const PlacedCharacter& character)
{
    return Unicode::isBlank(character.code);
}

struct Break {
    std::size_t line = 0; ///< the one above
    float columnEnd = 0;
    float room = 0; ///< between the words, in all
    std::size_t blanks = 0;
};

Break breakAfter(const VisualLine& line)
{
    Break result;
    result.room = line.end - line.start;
    for (const PlacedCharacter& character : trimmed(line.characters)) {
        if (isBlank(character))
            ++result.blanks;
        else
            result.room -= character.end - character.start;
    }
    return result;
}

float endOfBlock(std::span<const VisualLine> lines, const std::vector<bool>& beginsBlock, std::size_t begin)
{
    float end = lines[begin].end;
    for (std::size_t index = begin + 1; index < lines.size() && !beginsBlock[index]; ++index)
        end = std::max(end, lines[index].end);
    return end;
}

std::vector<Break> breaksBetweenSyllables(std::span<const VisualLine> lines, const std::vector<bool>& beginsBlock)
{
    std::vector<Break> breaks;
    float columnEnd = 0;
    for (std::size_t index = 0; index < lines.size(); ++index) {
        if (index == 0 || beginsBlock[index])
            columnEnd = endOfBlock(lines, beginsBlock, index);
        if (index + 1 == lines.size() || beginsBlock[index + 1] || lines[index].isVertical)
            continue;
        const std::span<const PlacedCharacter> above = trimmed(lines[index].characters);
        const std::span<const PlacedCharacter> below = trimmed(lines[index + 1].characters);
        if (above.empty() || below.empty() || !isSyllable(above.back().code) || !isSyllable(below.front().code))
            continue;
        breaks.push_back(breakAfter(lines[index]));
        breaks.back().line = index;
        breaks.back().columnEnd = columnEnd;
    }
    return breaks;
}

/// Whether no other syllable would have fitted, had the blanks of the line their usual width.
bool isFull(const VisualLine& line, const Break& at, float usualBlank)
{
    return at.columnEnd - line.end + at.room - usualBlank * static_cast<float>(at.blanks) < line.textSize;
}

void moveRestOfWordUp(VisualLine& line, VisualLine& next)
{
    std::vector<PlacedCharacter>& characters = line.characters;
    while (isBlank(characters.back()))
        characters.pop_back();
    const auto word = std::ranges::find_if_not(next.characters, isBlank);
    const auto end = std::find_if(word, next.characters.end(), isBlank);
    characters.insert(characters.end(), word, end);
    next.characters.erase(next.characters.begin(), std::find_if_not(end, next.characters.end(), isBlank));
}

} // namespace

void joinBrokenSyllables(std::vector<VisualLine>& lines, const std::vector<bool>& beginsBlock)
{
    std::vector<Break> breaks = breaksBetweenSyllables(lines, beginsBlock);
    if (breaks.size() < fewestBreaks)
        return;
    float usualBlank = breaks.front().room;
    for (const Break& at : breaks) {
        if (at.blanks > 0)
            usualBlank = std::min(usualBlank, at.room / static_cast<float>(at.blanks));
    }
    const std::size_t all = breaks.size();
    std::erase_if(breaks, [&](const Break& at) { return !isFull(lines[at.line], at, usualBlank); });
    if (static_cast<double>(breaks.size()) < fullShare * static_cast<double>(all))
        return;
    // From below, so that a word that fills a line of its own comes up whole.
    std::ranges::for_each(breaks.rbegin(), breaks.rend(),
                          [&](const Break& at) { moveRestOfWordUp(lines[at.line], lines[at.line + 1]); });
}

} // namespace Pelgra
