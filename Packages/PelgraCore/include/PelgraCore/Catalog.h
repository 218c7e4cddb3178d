#pragma once

#include "PelgraCore/FileFormat.h"
#include "PelgraCore/FileTool.h"

#include <filesystem>
#include <span>
#include <string_view>
#include <vector>

/// What the wheel offers for a set of files. Decided from file names alone; no file is opened.
namespace Pelgra::Catalog {

/// The formats one format converts to, in wheel order.
std::vector<FileFormat> conversionTargetsFor(FileFormat format);

/// The formats every one of the files converts to, in wheel order; empty for a mix of images and PDFs or any
/// unknown file. Never depends on the order of the files.
std::vector<FileFormat> conversionTargetsFor(std::span<const std::filesystem::path> files);

/// The tools that apply to the files together, in wheel order.
std::vector<FileTool> toolsFor(std::span<const std::filesystem::path> files);

/// The text of a wheel that has nothing to offer.
std::string_view emptyMessage(bool forConversion);

} // namespace Pelgra::Catalog
