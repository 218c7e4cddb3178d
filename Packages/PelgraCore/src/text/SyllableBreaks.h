#pragma once

#include "text/VisualLine.h"

#include <vector>

namespace Pelgra {

/// Makes Korean words whole that were broken between two syllables at the end of a line: the rest of the word moves up
/// to its beginning. Lines are broken so where each is full up to less than a syllable; where words stay whole, some
/// line has more room left, at its end or between its words. The lines must be in reading order; beginsBlock tells for
/// each whether a block begins with it.
void joinBrokenSyllables(std::vector<VisualLine>& lines, const std::vector<bool>& beginsBlock);

} // namespace Pelgra
