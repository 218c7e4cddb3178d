#pragma once

#include "modules/rendering/TextPiece.h"

#include <vector>

namespace Pelgra {

/// Puts accents that were drawn as signs of their own, before or after the letter they stand over, together with it:
/// one character where Unicode has one, else the letter and its mark. The characters are those of one line in the order
/// of the page's contents.
void composeAccents(std::vector<PlacedCharacter>& characters);

} // namespace Pelgra
