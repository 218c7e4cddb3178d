#pragma once

#include "PelgraCore/FileFormat.h"
#include "PelgraCore/ImageLoading.h"
#include "pixels/RowSource.h"

#include <filesystem>
#include <memory>

namespace Pelgra {

/// A picture on its way into an encoder.
struct PictureRows {
    std::unique_ptr<RowSource> rows; ///< upright, in grey or RGB; asking for one may throw DecodeError
    double dpiWidth = 72; ///< dots per inch across
    double dpiHeight = 72; ///< dots per inch down
    ImageMetadata metadata;
};

/// The first picture of a file as the encoder of the target format takes it: what ImageLoader::load() gives, upright,
/// and for JPEG laid over white. It is decoded while it is encoded where openImage() can. Throws EngineError.
PictureRows openPictureRows(const std::filesystem::path& file, FileFormat target, int threads);

} // namespace Pelgra
