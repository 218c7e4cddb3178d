#pragma once

#include "Input.h"

namespace Pelgra::Documents {

/// The optional content of all inputs, so that layers hidden in a source stay hidden. Layers that nothing in the output
/// uses are left out unless all pages of their source are there. Null where there are none. To be called when pages and
/// annotations have been copied.
Object combinedLayers(const std::vector<std::unique_ptr<Input>>& inputs);

} // namespace Pelgra::Documents
