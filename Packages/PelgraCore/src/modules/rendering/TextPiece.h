#pragma once

#include <vector>

namespace Pelgra {

/// A character where it stands. Distances are points along the direction of its piece of text.
struct PlacedCharacter {
    char32_t code = 0;
    float start = 0; ///< from the page's origin to the edge where reading begins
    float end = 0;
    float size = 0; ///< of the font, as it appears on the page
};

/// Characters that follow one another on one baseline.
struct TextPiece {
    float directionX = 1; ///< of the baseline, of unit length; y grows downwards
    float directionY = 0;
    float baseline = 0; ///< points from the page's origin, at right angles to the direction
    bool isVertical = false; ///< characters one below the other
    std::vector<PlacedCharacter> characters;
};

} // namespace Pelgra
