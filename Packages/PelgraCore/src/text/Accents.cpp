#include "text/Accents.h"

#include "unicode/Unicode.h"

#include <algorithm>
#include <cmath>

namespace Pelgra {

namespace {

/// An accent covers its letter by at least this share of the narrower of the two.
constexpr float leastOverlap = 0.5F;
/// A mark without width stands this close to where its letter begins, in font sizes.
constexpr float sameStart = 0.1F;

/// The code of an accent that was put together with its letter.
constexpr char32_t taken = 0;

/// The mark that a sign stands for; 0 for what is no accent.
char32_t markOf(char32_t code)
{
    switch (code) {
    case U'`':
        return 0x300;
    case 0xB4:
        return 0x301;
    case U'^':
    case 0x2C6:
        return 0x302;
    case U'~':
    case 0x2DC:
        return 0x303;
    case 0xAF:
    case 0x2C9:
        return 0x304;
    case 0x2D8:
        return 0x306;
    case 0x2D9:
        return 0x307;
    case 0xA8:
        return 0x308;
    case 0x2DA:
        return 0x30A;
    case 0x2DD:
        return 0x30B;
    case 0x2C7:
        return 0x30C;
    case 0xB8:
        return 0x327;
    case 0x2DB:
        return 0x328;
    default:
        return code >= 0x300 && code <= 0x36F ? code : 0;
    }
}

bool standsOver(const PlacedCharacter& accent, const PlacedCharacter& letter)
{
    const float width = accent.end - accent.start;
    const float middle = (accent.start + accent.end) / 2;
    if (width < sameStart * letter.size)
        return std::abs(accent.start - letter.start) < sameStart * letter.size
            || (middle > letter.start && middle < letter.end);
    const float overlap = std::min(accent.end, letter.end) - std::max(accent.start, letter.start);
    return overlap > leastOverlap * std::min(width, letter.end - letter.start) && middle > letter.start
        && middle < letter.end;
}

bool takesAccent(const PlacedCharacter& character, char32_t mark)
{
    constexpr char32_t stroke = 0x338; // through signs such as that of equality
    return Unicode::isLetter(character.code) || (mark == stroke && !Unicode::isSpace(character.code));
}

char32_t withDot(char32_t code)
{
    return code == 0x131 ? U'i' : code == 0x237 ? U'j' : code;
}

} // namespace

void composeAccents(std::vector<PlacedCharacter>& characters)
{
    for (std::size_t index = 0; index < characters.size(); ++index) {
        const PlacedCharacter accent = characters[index];
        const char32_t mark = markOf(accent.code);
        if (mark == 0)
            continue;
        const auto isUnder = [&](std::size_t letter) {
            return letter < characters.size() && takesAccent(characters[letter], mark)
                && standsOver(accent, characters[letter]);
        };
        const std::size_t letter = isUnder(index + 1) ? index + 1 : index > 0 && isUnder(index - 1) ? index - 1 : index;
        if (letter == index)
            continue;
        PlacedCharacter& base = characters[letter];
        const char32_t composed = Unicode::composed(withDot(base.code), mark);
        base.code = composed != 0 ? composed : base.code;
        if (composed != 0) {
            characters[index].code = taken;
        } else {
            characters[index].code = mark;
            if (letter > index) // the mark comes behind
                std::swap(characters[index], characters[letter]);
        }
    }
    std::erase_if(characters, [](const PlacedCharacter& character) { return character.code == taken; });
}

} // namespace Pelgra
