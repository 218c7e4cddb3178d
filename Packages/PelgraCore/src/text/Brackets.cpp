#include "text/PageText.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace Pelgra {

namespace {

constexpr std::pair<char32_t, char32_t> pairs[] = {{U'(', U')'}, {U'[', U']'}, {U'{', U'}'},
                                                   {U'<', U'>'}, {0xAB, 0xBB}, {0x2039, 0x203A}};

/// The other of a pair; of what is no bracket the same.
char32_t mirrored(char32_t code)
{
    for (const auto& [open, close] : pairs) {
        if (code == open)
            return close;
        if (code == close)
            return open;
    }
    return code;
}

bool isOpening(char32_t code)
{
    return std::ranges::any_of(pairs, [code](const auto& pair) { return pair.first == code; });
}

/// Brackets within brackets that are kept in mind.
constexpr std::size_t deepest = 64;

/// How many closing brackets have their opening one before them. An opening one without a partner is forgotten with the
/// next that has one.
std::ptrdiff_t pairsIn(const std::vector<char32_t>& brackets)
{
    std::vector<char32_t> open;
    std::ptrdiff_t count = 0;
    for (const char32_t bracket : brackets) {
        if (isOpening(bracket)) {
            open.push_back(bracket);
            if (open.size() > deepest)
                open.erase(open.begin());
            continue;
        }
        const auto partner = std::ranges::find(open.rbegin(), open.rend(), mirrored(bracket));
        if (partner != open.rend()) {
            open.erase(std::prev(partner.base()), open.end());
            ++count;
        }
    }
    return count;
}

} // namespace

void settleBrackets(std::span<std::vector<PlacedCharacter>* const> lines)
{
    std::vector<PlacedCharacter*> brackets;
    for (std::vector<PlacedCharacter>* const line : lines) {
        for (PlacedCharacter& character : *line) {
            if (character.isRightToLeft && mirrored(character.code) != character.code)
                brackets.push_back(&character);
        }
    }
    std::vector<char32_t> asDrawn;
    std::vector<char32_t> asMeant;
    for (const PlacedCharacter* bracket : brackets) {
        asDrawn.push_back(bracket->code);
        asMeant.push_back(mirrored(bracket->code));
    }
    if (pairsIn(asDrawn) > pairsIn(asMeant))
        return;
    for (PlacedCharacter* bracket : brackets)
        bracket->code = mirrored(bracket->code);
}

} // namespace Pelgra
