#include "text/SpacedLetters.h"

#include "unicode/Unicode.h"

#include <algorithm>

namespace Pelgra {

namespace {

/// Fewer characters tell nothing about their spacing.
constexpr std::size_t fewestGaps = 5;
/// Shares of a line of spaced letters: gaps that look like those between words, and letters among the characters.
constexpr double leastTornShare = 0.6;
constexpr double leastLetterShare = 0.8;
/// Gaps up to this many times the usual one are between letters, and those between words are clearly wider.
constexpr float letterGapSpread = 1.5F;
constexpr float wordGapFactor = 1.5F;
/// At least this many letters for each word; a row of single letters in groups has fewer.
constexpr std::size_t gapsForEachWord = 3;
/// Where all gaps are alike these may just as well be single letters; then only gaps narrower than any blank are
/// closed. In font sizes.
constexpr float narrowestBlank = 0.2F;

/// Between two neighbours that can be seen.
struct Gap {
    std::size_t begin = 0; ///< behind the first of them
    std::size_t end = 0; ///< the second
    float width = 0; ///< in font sizes
    bool isTorn() const { return end > begin; }
};

std::vector<Gap> gapsIn(const std::vector<PlacedCharacter>& characters)
{
    std::vector<Gap> gaps;
    const PlacedCharacter* previous = nullptr;
    for (std::size_t index = 0; index < characters.size(); ++index) {
        const PlacedCharacter& character = characters[index];
        if (Unicode::isBlank(character.code))
            continue;
        if (previous) {
            const auto begin = static_cast<std::size_t>(previous - characters.data()) + 1;
            const float size = std::max({previous->size, character.size, 0.1F});
            gaps.push_back({begin, index, (character.start - previous->end) / size});
        }
        previous = &character;
    }
    return gaps;
}

/// The widest gap between letters; 0 where the letters of the line are not spaced.
float widestLetterGap(std::vector<Gap> gaps)
{
    std::ranges::sort(gaps, {}, &Gap::width);
    const float usual = gaps[gaps.size() / 2].width;
    const auto words = std::ranges::find_if(gaps, [&](const Gap& gap) { return gap.width > usual * letterGapSpread; });
    const float widest = std::prev(words)->width;
    if (words == gaps.end())
        return usual < narrowestBlank ? widest : 0;
    const auto wordCount = static_cast<std::size_t>(gaps.end() - words);
    const bool areApart = words->width > widest * wordGapFactor && (wordCount + 1) * gapsForEachWord <= gaps.size() + 1;
    return areApart ? widest : 0;
}

} // namespace

void joinSpacedLetters(std::vector<PlacedCharacter>& characters)
{
    const auto blanks = std::ranges::count_if(characters, Unicode::isBlank, &PlacedCharacter::code);
    if (static_cast<std::size_t>(blanks) * 3 < characters.size())
        return; // most lines
    const std::vector<Gap> gaps = gapsIn(characters);
    const auto torn = std::ranges::count_if(gaps, &Gap::isTorn);
    const auto letters = std::ranges::count_if(characters, Unicode::isLetter, &PlacedCharacter::code);
    const auto count = static_cast<double>(gaps.size());
    if (gaps.size() < fewestGaps || static_cast<double>(torn) < leastTornShare * count
        || static_cast<double>(letters) < leastLetterShare * (count + 1))
        return;
    const float widest = widestLetterGap(gaps);
    for (auto gap = gaps.rbegin(); gap != gaps.rend(); ++gap) {
        if (gap->isTorn() && gap->width <= widest)
            characters.erase(characters.begin() + static_cast<std::ptrdiff_t>(gap->begin),
                             characters.begin() + static_cast<std::ptrdiff_t>(gap->end));
    }
}

} // namespace Pelgra
