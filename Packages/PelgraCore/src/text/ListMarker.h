#pragma once

#include "modules/rendering/TextPiece.h"

#include <optional>
#include <span>

namespace Pelgra {

/// The sign or number before an item of a list.
struct ListMarker {
    enum class Kind {
        bullet, ///< a sign that says no more than "item"
        decimal,
        letter,
        roman,
    };
    Kind kind = Kind::bullet;
    int value = 0; ///< of a number or letter, from 1
    std::size_t length = 0; ///< in characters, without the blanks before and after it
    bool isSure = true; ///< else it may be a word or number of running text
};

/// The marker at the start of the characters of a line; none where something other than a blank follows it. A sign that
/// a font does not tell the meaning of, and a lone "o", count as bullets that are not sure.
std::optional<ListMarker> markerAt(std::span<const PlacedCharacter> characters);

/// Without the blanks at either end.
std::span<const PlacedCharacter> trimmed(std::span<const PlacedCharacter> characters);

/// Whether a font gave the character no meaning: a control, private or unknown one.
bool isUnmapped(char32_t code);

} // namespace Pelgra
