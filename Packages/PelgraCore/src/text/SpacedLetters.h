#pragma once

#include "text/PageText.h"

namespace Pelgra {

/// Takes out the blanks that only come from wide spacing of letters, as in "S P A C E D  L E T T E R S", and leaves
/// those between the words. The characters are those of one line in the order they stand; a line whose letters are not
/// nearly all apart stays as it is.
void joinSpacedLetters(std::vector<PlacedCharacter>& characters);

} // namespace Pelgra
