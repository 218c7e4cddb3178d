#pragma once

#include "files/FileBytes.h"
#include "PelgraCore/FileFormat.h"
#include "PelgraCore/Models.h"
#include "PelgraCore/RasterImage.h"
#include "PelgraCore/Thumbnails.h"

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace Pelgra {

/// What a worker is to do. It opens no paths: inputs are known by their numbers, and by the names that formats and
/// sentences are taken from.
struct Task {
    enum class Kind : std::uint8_t {
        image, ///< an image in another raster format: one output
        imagePDF, ///< a document of images: one output
        pages, ///< pages of a document as images: an output for each, numbered from 1; from 0 if there is one page
        text, ///< the text of a document: one output
        merge, ///< one output
        organize, ///< one output
        split, ///< an output for each page, numbered from 1
        pageCount, ///< no output
        thumbnail, ///< one output, a picture as in PictureFile.h
        sharedThumbnail, ///< the same
        drawing, ///< the same
    };
    static constexpr std::uint32_t kinds = 11;

    Kind kind = Kind::image;
    FileFormat format = FileFormat::png;
    ConversionOptions options;
    int threads = 1;
    bool markdown = false;
    bool uniformWidth = false;
    bool staysOpen = false; ///< of a thumbnail: the document will be asked for again
    int page = 0; ///< of a thumbnail, zero-based
    double maxPixels = 0; ///< of a thumbnail
    std::uint64_t memory = 0; ///< bytes it may take, where that is less than a worker may have; else zero
    std::vector<std::string> inputs; ///< names without folders
    std::vector<FilePlaces> places; ///< of the inputs where documents are copied: links name each other's files
    std::vector<PageEdit> edits;
    Thumbnails::SharedClaims claims; ///< of a shared thumbnail

    Bytes encoded() const;
    /// Throws ProtocolError.
    static Task decoded(std::span<const std::byte> bytes);
};

/// The path by which an input is known in a worker, and its number again.
std::filesystem::path workerPathOf(std::size_t input, const std::string& name);
/// Throws ProtocolError for a path that is none of these.
std::uint32_t inputNumberOf(const std::filesystem::path& path);

} // namespace Pelgra
