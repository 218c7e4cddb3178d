#pragma once

#include "text/VisualLine.h"

#include <optional>
#include <span>
#include <vector>

namespace Pelgra {

/// The usual step from line to line of a paragraph, in font sizes; none where the page has too few lines to tell.
std::optional<float> usualStepOf(std::span<const VisualLine> lines);

/// For every line whether a block begins with it: a heading, a paragraph or an item of a list. `usualStep` is that of
/// the document, for pages that cannot tell.
std::vector<bool> blockBeginnings(std::span<const VisualLine> lines, std::optional<float> usualStep);

} // namespace Pelgra
