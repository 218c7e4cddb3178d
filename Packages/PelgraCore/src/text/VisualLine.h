#pragma once

#include "modules/rendering/TextPiece.h"

#include <optional>
#include <span>
#include <vector>

namespace Pelgra {

/// What stands on one baseline and is read together: a line of a column, or the cells of a table's row.
struct VisualLine {
    float directionX = 1;
    float directionY = 0;
    float baseline = 0;
    bool isVertical = false;
    float start = 0; ///< of the ink: blanks at either end do not count
    float end = 0;
    float size = 0; ///< largest
    float textSize = 0; ///< of most characters
    std::vector<PlacedCharacter> characters; ///< in the order of the page's contents, at least one
    bool isRow = false; ///< of a table
    std::optional<float> capBaseline =
        std::nullopt; ///< of a large first letter that reaches down beside the lines that follow
};

/// The lines of a page in the order of its contents; a line of blanks is none. Pieces are put together where they
/// follow each other on one baseline.
std::vector<VisualLine> visualLinesFrom(std::span<const TextPiece> pieces);

bool hasRightToLeft(std::span<const PlacedCharacter> characters);

/// Whether the lines run in the same direction.
bool runsAlong(const VisualLine& line, const VisualLine& other);

} // namespace Pelgra
