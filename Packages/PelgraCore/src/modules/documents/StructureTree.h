#pragma once

#include "Input.h"

namespace Pelgra::Documents {

/// One more than the largest key by which pages and annotations find their elements in a source's structure tree; none
/// where the source has no (sensible) structure.
std::optional<long long> structureKeyCount(SourceDocument& source);

/// The tagged structure of all inputs that have a structureOffset, one after the other, as a root for the catalogue.
/// Elements whose content is on pages that are gone, scaled or copied a second time are left out, with those around
/// them that hold nothing else. Null where nothing is left. Pages and annotations must have been copied.
Object combinedStructure(const std::vector<std::unique_ptr<Input>>& inputs, QPDF& output);

} // namespace Pelgra::Documents
