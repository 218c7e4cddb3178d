#pragma once

#include "MuPDFDocument.h"
#include "TextPiece.h"

#include <vector>

namespace Pelgra::Rendering {

/// What the page's contents, annotations and form fields show as text inside its visible box, in the order of the
/// page's contents. What cannot be read is left out. A piece of work must be open on the document's account.
std::vector<TextPiece> readTextPieces(MuPDFDocument& document, const PageHandle& page);

} // namespace Pelgra::Rendering
