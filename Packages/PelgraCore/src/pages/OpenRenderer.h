#pragma once

#include "modules/rendering/RenderingModule.h"

#include <filesystem>
#include <memory>

namespace Pelgra {

/// More pages than any document has; a page tree may name one page any number of times.
inline constexpr int mostPages = 1'000'000;

/// Opens a document for drawing. No more pages than needed are looked for, from the first, and pageCount() counts no
/// more: finding all pages of a long document takes longer than drawing one. Throws EngineError::unreadable(file), also
/// where the module is not installed.
std::unique_ptr<PageRenderer> openRenderer(const std::filesystem::path& file, int pagesNeeded = mostPages);

} // namespace Pelgra
