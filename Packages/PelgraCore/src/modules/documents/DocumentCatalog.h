#pragma once

#include "Input.h"

namespace Pelgra::Documents {

struct CatalogOptions {
    bool isPart = false; ///< one of the many parts of a document
    bool isWhole = false; ///< all pages of one document in their order
};

/// Enters everything but pages, annotations and the form into the catalogue and trailer: outline, labels, layers,
/// attachments, the first input's title, language and preferences. Pages and annotations must have been copied.
void fillCatalog(QPDF& output, const std::vector<std::unique_ptr<Input>>& inputs, const CatalogOptions& options);

} // namespace Pelgra::Documents
