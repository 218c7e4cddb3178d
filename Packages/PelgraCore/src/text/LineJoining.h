#pragma once

#include "text/VisualLine.h"

#include <span>
#include <vector>

namespace Pelgra {

/// Puts markers of list items that stand elsewhere in the page's contents before the line on their baseline: lines that
/// are nothing but a marker, and small shapes among the pieces.
void joinLateMarkers(std::vector<VisualLine>& lines, std::span<const TextPiece> pieces);

/// Gives lines their bullets back where a font says of the sign only that it is one of its own: no character, or one
/// without meaning, from another font than the text, at the start of several lines.
void restoreBullets(std::vector<VisualLine>& lines);

/// Puts a large first letter that reaches down over several lines before the rest of its word.
void joinFirstLetters(std::vector<VisualLine>& lines);

/// Reads the rows of tables across: where lines follow each other on one baseline, and those after them do likewise,
/// each row becomes one line. Columns of prose are none.
void joinRows(std::vector<VisualLine>& lines);

} // namespace Pelgra
