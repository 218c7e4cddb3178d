#pragma once

#include "PelgraCore/RasterImage.h"

#include <cstddef>
#include <optional>
#include <span>
#include <vector>

namespace Pelgra {

/// The parts of a PNG (third edition) that matter where its compressed pixels are used as they are.
struct PngStructure {
    int width = 0; ///< pixels
    int height = 0; ///< pixels
    int bitsPerComponent = 8; ///< 1, 2, 4, 8 or 16; of the index where there is a palette
    bool isGray = false;
    std::span<const std::byte> palette; ///< red, green and blue of each colour; empty where there is none
    std::vector<std::span<const std::byte>> data; ///< of the IDAT chunks: together one zlib stream

    int componentCount() const { return isGray || !palette.empty() ? 1 : 3; }
    std::size_t rowBytes() const
    {
        return (static_cast<std::size_t>(width) * static_cast<std::size_t>(componentCount() * bitsPerComponent) + 7)
            / 8;
    }
};

/// Reads an opaque picture that is not interlaced. None when it is transparent or interlaced, when any chunk is out of
/// order or damaged, or when the compressed pixels are; the pixels are decompressed to know that.
std::optional<PngStructure> readPngStructure(std::span<const std::byte> file);

/// The content of the IDAT chunks of a file that is known to be sound.
std::vector<std::span<const std::byte>> pngDataOf(std::span<const std::byte> file);

} // namespace Pelgra
