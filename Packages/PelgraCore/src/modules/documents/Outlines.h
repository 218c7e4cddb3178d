#pragma once

#include "Destinations.h"

namespace Pelgra::Documents {

/// The outlines of all inputs one after the other. An entry whose page is gone is dropped unless something beneath it
/// remains, to which it then leads. `keepsUnplaced` keeps entries that are not meant to lead to a page: headings, links
/// to the web. Null where nothing is left; else an object of the output for the catalogue.
Object combinedOutline(const std::vector<std::unique_ptr<Input>>& inputs, bool keepsUnplaced, QPDF& output);

} // namespace Pelgra::Documents
