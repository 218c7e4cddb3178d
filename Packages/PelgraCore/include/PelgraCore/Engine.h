#pragma once

#include "PelgraCore/EngineError.h"
#include "PelgraCore/FileFormat.h"
#include "PelgraCore/JobControl.h"
#include "PelgraCore/Models.h"

#include <filesystem>
#include <span>
#include <string_view>
#include <vector>

/// Every conversion and document operation. Synchronous, without shared state, callable from any thread but meant for
/// a background one. Outputs are new files beside the inputs; each is complete and flushed to disk when it appears,
/// and nothing else is left behind. Failures are thrown as EngineError, a requested stop as JobCancelled.
namespace Pelgra::Engine {

/// Converts one file. Input and target are dispatched by the input's extension.
JobResult convert(const std::filesystem::path& file, FileFormat target, const ConversionOptions& options,
                  const JobControl& control = {});

/// Converts files on every core. Outputs are named and published in input order; the first failure in input order
/// is thrown once all outputs before it are published, and nothing after it appears.
std::vector<JobResult> convertAll(std::span<const std::filesystem::path> files, FileFormat target,
                                  const ConversionOptions& options, const JobControl& control = {});

JobResult imageToImage(const std::filesystem::path& file, FileFormat format, const ConversionOptions& options);
JobResult imageToPDF(const std::filesystem::path& file);

/// Each page as one image: a file beside a one-page document, else a folder "… Pages".
JobResult pdfToImages(const std::filesystem::path& file, FileFormat format, const ConversionOptions& options,
                      const JobControl& control = {});

/// The text as a .txt or, with markdown, an .md file in UTF-8.
JobResult pdfToText(const std::filesystem::path& file, bool markdown, const JobControl& control = {});

/// One document with a page for each image, each page the size of its image.
JobResult createPDF(std::span<const std::filesystem::path> images, const JobControl& control = {});

JobResult mergePDFs(std::span<const std::filesystem::path> files, const JobControl& control = {});

/// A folder "… Pages" with one document for each page.
JobResult splitPDF(const std::filesystem::path& file, const JobControl& control = {});

/// The listed pages in the listed order, turned as asked. With uniformWidth every page wider than the narrowest is
/// scaled down to it.
JobResult organizePDF(const std::filesystem::path& file, std::span<const PageEdit> pages, bool uniformWidth,
                      const JobControl& control = {});

/// Makes a new, empty folder beside the input, named after it. Throws EngineError::writeFailed.
std::filesystem::path makeFolder(const std::filesystem::path& input, std::string_view suffix);

} // namespace Pelgra::Engine
