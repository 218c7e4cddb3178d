#pragma once

#include "files/PreparedOutput.h"
#include "isolation/WorkerPool.h"
#include "PelgraCore/FileFormat.h"
#include "PelgraCore/ImageLoading.h"
#include "PelgraCore/Models.h"

#include <filesystem>
#include <span>
#include <stop_token>

/// The parts of image conversions that come before an output has a name, so that a batch can do them ahead of their
/// turn. All may be called from several threads; each keeps at most the given number of threads busy. Where workers are
/// used, one of the group does the work.
namespace Pelgra {

/// The file encoded in another raster format. Throws EngineError and JobCancelled.
PreparedOutput prepareImage(const std::filesystem::path& file, FileFormat format, const ConversionOptions& options,
                            int threads, const std::stop_token& stop, WorkerGroup group = WorkerPool::nobody);

/// A PDF with a page for each image, named after the first. Throws EngineError and JobCancelled.
PreparedOutput prepareImagePDF(std::span<const std::filesystem::path> images, int threads, const JobControl& control,
                               WorkerGroup group = WorkerPool::nobody);

} // namespace Pelgra
