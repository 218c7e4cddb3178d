#pragma once

#include "PelgraCore/ImageLoading.h"

#include <filesystem>
#include <optional>

/// Small pictures of any readable file. Stateless, callable from any thread, too slow for the main one.
/// Nothing here throws: what cannot be shown gives nothing.
namespace Pelgra::Thumbnails {

/// The page (of a PDF) or picture (of any other file) with its longest side maxPixels; pictures are never enlarged.
/// The result is upright 8- or 16-bit grey or RGB, with straight alpha where the source has alpha.
std::optional<RasterImage> image(const std::filesystem::path& file, int pageIndex, double maxPixels);

/// Zero for what is no readable document.
int pdfPageCount(const std::filesystem::path& file);

/// The picture itself where it is no larger, else a copy scaled down to maxPixels on its longest side.
SharedImage scaled(const SharedImage& image, double maxPixels);

} // namespace Pelgra::Thumbnails
