#pragma once

#include "Input.h"

namespace Pelgra::Documents {

/// A number tree that gives every page of the output the label it had in its source; a page of a source without labels
/// counts from 1 there. Null where no source has labels.
Object combinedPageLabels(const std::vector<std::unique_ptr<Input>>& inputs);

} // namespace Pelgra::Documents
