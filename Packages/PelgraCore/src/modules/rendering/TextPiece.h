#pragma once

#include <cstdint>
#include <vector>

namespace Pelgra {

/// A character where it stands. Distances are points along the direction of its piece of text.
struct PlacedCharacter {
    char32_t code = 0;
    float start = 0; ///< from the page's origin to the edge where reading begins
    float end = 0;
    float size = 0; ///< of the font, as it appears on the page
    std::uint16_t font = 0; ///< equal for the characters of one font on the page
    bool isBold = false;
    bool isRightToLeft = false; ///< as part of a line in reading order: stands in text read from the right
};

/// Characters that follow one another on one baseline.
struct TextPiece {
    float directionX = 1; ///< of the baseline, of unit length; y grows downwards
    float directionY = 0;
    float baseline = 0; ///< points from the page's origin, at right angles to the direction
    bool isVertical = false; ///< characters one below the other
    /// Not text, but a small filled shape as high as wide, such as a bullet that was drawn; the baseline is its lower
    /// edge.
    bool isShape = false;
    std::vector<PlacedCharacter> characters;
};

} // namespace Pelgra
