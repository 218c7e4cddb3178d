#include "text/PageText.h"

#include "unicode/Unicode.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <iterator>
#include <optional>

namespace Pelgra {

namespace {

/// A gap of at least this between neighbours is a space, in font sizes.
constexpr float smallestSpace = 0.2F;
/// Glyphs that only stretch a word are narrower than this, in font sizes.
constexpr float widestStretch = 0.3F;

enum class Direction {
    leftToRight,
    rightToLeft,
    number,
    neutral,
};

/// A character with what belongs to it: marks, and the further characters that its glyph stands for.
struct Cluster {
    PlacedCharacter base;
    std::vector<PlacedCharacter> followers;
    Direction direction = Direction::neutral;
};

bool isDigit(char32_t code)
{
    return (code >= U'0' && code <= U'9') || (code >= 0x660 && code <= 0x669) || (code >= 0x6F0 && code <= 0x6F9);
}

/// The vowel and cantillation marks of Hebrew, Arabic and Syriac, and the general combining marks.
bool isMark(char32_t code)
{
    return (code >= 0x300 && code <= 0x36F) || (code >= 0x591 && code <= 0x5BD) || code == 0x5BF || code == 0x5C1
        || code == 0x5C2 || code == 0x5C4 || code == 0x5C5 || code == 0x5C7 || (code >= 0x610 && code <= 0x61A)
        || (code >= 0x64B && code <= 0x65F) || code == 0x670 || (code >= 0x6D6 && code <= 0x6DC)
        || (code >= 0x6DF && code <= 0x6E4) || code == 0x6E7 || code == 0x6E8 || (code >= 0x6EA && code <= 0x6ED)
        || (code >= 0x730 && code <= 0x74A);
}

Direction directionOf(char32_t code)
{
    if (isDigit(code))
        return Direction::number;
    if (Unicode::isRightToLeft(code))
        return Direction::rightToLeft;
    return Unicode::isLetter(code) ? Direction::leftToRight : Direction::neutral;
}

float middleOf(const PlacedCharacter& character)
{
    return (character.start + character.end) / 2;
}

/// The further characters of a ligature have no width and stand at its end.
bool isPartOf(const PlacedCharacter& ligature, const PlacedCharacter& character)
{
    const float tolerance = 0.01F * ligature.size;
    return std::abs(character.end - character.start) <= tolerance
        && std::abs(character.start - ligature.end) <= tolerance;
}

bool isAlef(char32_t code)
{
    return code == 0x622 || code == 0x623 || code == 0x625 || code == 0x627;
}

/// The one ligature that Arabic writing always has. Its second letter, without width, may come first.
bool isLamAlef(const PlacedCharacter& alef, const PlacedCharacter& lam)
{
    const float tolerance = 0.01F * lam.size;
    return isAlef(alef.code) && lam.code == 0x644 && std::abs(alef.end - alef.start) <= tolerance
        && std::abs(alef.start - lam.start) <= tolerance;
}

void settleLamAlef(std::vector<PlacedCharacter>& characters)
{
    for (std::size_t index = 1; index < characters.size(); ++index) {
        PlacedCharacter& lam = characters[index];
        PlacedCharacter& alef = characters[index - 1];
        if (!isLamAlef(alef, lam))
            continue;
        alef.start = alef.end = lam.end;
        std::swap(alef, lam);
    }
}

/// Arabic lines are justified by stretching the joints of letters, with glyphs that have no meaning.
void dropStretches(std::vector<Cluster>& clusters)
{
    const auto isStretch = [](const Cluster& cluster) {
        const PlacedCharacter& glyph = cluster.base;
        return glyph.code == Unicode::replacement && glyph.end - glyph.start < widestStretch * glyph.size;
    };
    const auto isArabic = [](const Cluster& cluster) {
        return cluster.base.code >= 0x600 && cluster.base.code <= 0x6FF && Unicode::isLetter(cluster.base.code);
    };
    std::vector<Cluster> kept;
    for (auto first = clusters.begin(); first != clusters.end();) {
        const auto last = std::find_if_not(first, clusters.end(), isStretch);
        const bool isWithinWord =
            first != last && !kept.empty() && last != clusters.end() && isArabic(kept.back()) && isArabic(*last);
        if (!isWithinWord)
            std::move(first, last, std::back_inserter(kept));
        if (last != clusters.end())
            kept.push_back(std::move(*last));
        first = last == clusters.end() ? last : std::next(last);
    }
    clusters = std::move(kept);
}

/// A blank where neighbours stand apart without one. The clusters stand from left to right.
void addBlanks(std::vector<Cluster>& clusters)
{
    std::vector<Cluster> spaced;
    spaced.reserve(clusters.size());
    for (Cluster& cluster : clusters) {
        if (!spaced.empty()) {
            const PlacedCharacter left = spaced.back().base;
            const PlacedCharacter& right = cluster.base;
            const float size = std::max(left.size, right.size);
            if (right.start - left.end >= smallestSpace * size && !Unicode::isBlank(left.code)
                && !Unicode::isBlank(right.code))
                spaced.push_back({{U' ', left.end, right.start, size}, {}, Direction::neutral});
        }
        spaced.push_back(std::move(cluster));
    }
    clusters = std::move(spaced);
}

bool isNearer(const PlacedCharacter& mark, const PlacedCharacter& previous, const PlacedCharacter& next)
{
    return std::abs(middleOf(mark) - middleOf(previous)) <= std::abs(middleOf(mark) - middleOf(next));
}

/// Marks go to whichever neighbour in the contents, before or after them, is nearest on the page.
std::vector<Cluster> clustersFrom(std::span<const PlacedCharacter> characters)
{
    std::vector<Cluster> clusters;
    std::vector<PlacedCharacter> marks; // whose character may be yet to come
    for (const PlacedCharacter& character : characters) {
        if (isMark(character.code)) {
            marks.push_back(character);
            continue;
        }
        const bool isFollower = !clusters.empty() && isPartOf(clusters.back().base, character);
        Cluster cluster{character, {}, directionOf(character.code)};
        for (const PlacedCharacter& mark : marks) {
            const bool isPrevious =
                !clusters.empty() && (isFollower || isNearer(mark, clusters.back().base, character));
            (isPrevious ? clusters.back() : cluster).followers.push_back(mark);
        }
        marks.clear();
        if (isFollower)
            clusters.back().followers.push_back(character);
        else
            clusters.push_back(std::move(cluster));
    }
    if (!marks.empty() && clusters.empty())
        clusters.push_back({marks.front(), {marks.begin() + 1, marks.end()}, Direction::rightToLeft});
    else if (!marks.empty())
        clusters.back().followers.insert(clusters.back().followers.end(), marks.begin(), marks.end());
    return clusters;
}

/// One glyph may stand for whole words, in reading order; then the places of their letters say nothing.
bool placesTellOrder(const std::vector<Cluster>& clusters)
{
    std::ptrdiff_t placed = 0;
    std::ptrdiff_t following = 0;
    for (const Cluster& cluster : clusters) {
        placed += cluster.direction == Direction::rightToLeft ? 1 : 0;
        following += std::ranges::count_if(cluster.followers, [](const PlacedCharacter& character) {
            return directionOf(character.code) == Direction::rightToLeft;
        });
    }
    return placed >= following;
}

std::optional<Direction> strongAt(auto first, auto last)
{
    const auto found = std::find_if(first, last, [](const Cluster& cluster) {
        return cluster.direction == Direction::leftToRight || cluster.direction == Direction::rightToLeft;
    });
    return found == last ? std::nullopt : std::optional(found->direction);
}

/// The direction of the line as a whole.
bool isRightToLeftLine(const std::vector<Cluster>& clusters, bool pageIsRightToLeft)
{
    const auto atLeft = strongAt(clusters.begin(), clusters.end());
    const auto atRight = strongAt(clusters.rbegin(), clusters.rend());
    return atLeft == atRight ? atLeft == Direction::rightToLeft : pageIsRightToLeft;
}

/// A separator between two digits belongs to their number.
void extendNumbers(std::vector<Cluster>& clusters)
{
    constexpr std::u32string_view separators = U".,:/\u066B\u066C\u060C";
    for (std::size_t i = 1; i + 1 < clusters.size(); ++i) {
        const bool isBetween = isDigit(clusters[i - 1].base.code) && isDigit(clusters[i + 1].base.code);
        if (isBetween && separators.find(clusters[i].base.code) != std::u32string_view::npos)
            clusters[i].direction = Direction::number;
    }
}

/// Numbers and neutrals take the direction that both their strong neighbours share, else that of the line.
void settleNeutrals(std::vector<Cluster>& clusters, Direction ofLine)
{
    for (std::size_t i = 0; i < clusters.size();) {
        std::size_t end = i;
        while (end < clusters.size()
               && (clusters[end].direction == Direction::neutral || clusters[end].direction == Direction::number))
            ++end;
        const Direction before = i == 0 ? ofLine : clusters[i - 1].direction;
        const Direction after = end == clusters.size() ? ofLine : clusters[end].direction;
        // Numbers that follow letters to their right, as in "TX-40", are read with them.
        if (i > 0 && before == Direction::leftToRight) {
            std::size_t last = end;
            while (last > i && clusters[last - 1].direction != Direction::number)
                --last;
            for (; i < last; ++i)
                clusters[i].direction = Direction::leftToRight;
        }
        for (std::size_t k = i; k < end; ++k) {
            if (clusters[k].direction == Direction::neutral)
                clusters[k].direction = before == after ? before : ofLine;
            else if (before != Direction::rightToLeft && after != Direction::rightToLeft)
                clusters[k].direction = Direction::leftToRight;
            else if (before != after && ofLine == Direction::leftToRight)
                clusters[k].direction = Direction::leftToRight;
        }
        i = end == i ? i + 1 : end;
    }
}

template <typename Belongs>
void reverseRuns(std::vector<Cluster>& clusters, Belongs belongs)
{
    for (auto first = clusters.begin(); first != clusters.end();) {
        first = std::find_if(first, clusters.end(), belongs);
        const auto last = std::find_if_not(first, clusters.end(), belongs);
        std::reverse(first, last);
        first = last;
    }
}

} // namespace

// The reverse of what a renderer does (Unicode Standard Annex 9), without explicit embeddings, which leave no trace on
// a page.
std::vector<PlacedCharacter> inReadingOrder(std::vector<PlacedCharacter> characters, bool pageIsRightToLeft)
{
    settleLamAlef(characters);
    std::vector<Cluster> clusters = clustersFrom(characters);
    if (!placesTellOrder(clusters))
        return characters;
    std::ranges::stable_sort(clusters, {}, [](const Cluster& cluster) { return middleOf(cluster.base); });
    addBlanks(clusters);
    dropStretches(clusters);
    extendNumbers(clusters);
    const bool isRightToLeft = isRightToLeftLine(clusters, pageIsRightToLeft);
    settleNeutrals(clusters, isRightToLeft ? Direction::rightToLeft : Direction::leftToRight);

    const auto isForward = [](const Cluster& cluster) {
        return cluster.direction == Direction::leftToRight;
    };
    const auto isNumber = [](const Cluster& cluster) {
        return cluster.direction == Direction::number;
    };
    reverseRuns(clusters, isNumber);
    if (isRightToLeft) {
        reverseRuns(clusters, isForward);
        std::ranges::reverse(clusters);
    } else {
        reverseRuns(clusters, std::not_fn(isForward));
    }

    characters.clear();
    for (Cluster& cluster : clusters) {
        cluster.base.isRightToLeft = cluster.direction == Direction::rightToLeft;
        characters.push_back(cluster.base);
        characters.insert(characters.end(), cluster.followers.begin(), cluster.followers.end());
    }
    return characters;
}

} // namespace Pelgra
