#pragma once

#include "modules/PageLosses.h"
#include "modules/rendering/RenderingModule.h"

#include <filesystem>
#include <memory>

namespace Pelgra {

/// Opens a document for drawing. No more pages than needed are looked for, from the first, and pageCount() counts no
/// more: finding all pages of a long document takes longer than drawing one. Throws EngineError::unreadable(file), also
/// where the module is not installed, and where the document says it has pages and none is there.
std::unique_ptr<PageRenderer> openRenderer(const std::filesystem::path& file, int pagesNeeded = mostPages);

} // namespace Pelgra
