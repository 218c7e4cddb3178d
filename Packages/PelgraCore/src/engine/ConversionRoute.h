#pragma once

#include "files/PreparedOutput.h"
#include "isolation/WorkerPool.h"
#include "PelgraCore/FileFormat.h"
#include "PelgraCore/Models.h"

#include <filesystem>
#include <stop_token>

namespace Pelgra {

/// The ways a conversion may take.
enum class ConversionRoute : std::uint8_t {
    imageToImage,
    imageToPDF,
    document, ///< a PDF to images or text, parallel in itself
};

/// The way for a file, decided as convert() does. Throws EngineError.
ConversionRoute conversionRoute(const std::filesystem::path& file, FileFormat target);

/// An image's conversion up to the point where its output is named. Throws EngineError and JobCancelled.
PreparedOutput prepareConversion(const std::filesystem::path& file, FileFormat target, const ConversionOptions& options,
                                 int threads, const std::stop_token& stop, WorkerGroup group = WorkerPool::nobody);

} // namespace Pelgra
