#pragma once

#include "PelgraCore/RasterImage.h"

#include <cstddef>
#include <cstdint>
#include <span>

/// Compression in the deflate format (RFC 1950 and 1951). Every function throws std::runtime_error when memory runs
/// out.
namespace Pelgra::Deflate {

/// How hard to try.
enum class Effort : std::uint8_t {
    quick, ///< many times faster, a little larger on photographic content, much larger on drawn content
    thorough,
};

/// A complete zlib stream.
PixelBuffer stream(std::span<const std::byte> data, Effort effort);

/// A part of a raw deflate stream. It ends at a byte and refers to nothing before it, so that parts made on different
/// threads can be joined.
PixelBuffer part(std::span<const std::byte> data, bool last, Effort effort);

/// The two bytes a zlib stream begins with.
inline constexpr std::uint16_t streamHeader = 0x7801;

/// The checksum a zlib stream ends with, of the data before compression.
std::uint32_t adler32(std::span<const std::byte> data);
/// The checksum of two byte strings, one after the other.
std::uint32_t joinedAdler32(std::uint32_t first, std::uint32_t second, std::size_t secondSize);
inline constexpr std::uint32_t adler32OfNothing = 1;

/// The checksum of PNG chunks (ISO 3309), continued from that of the bytes before; 0 to begin with.
std::uint32_t crc32(std::uint32_t before, std::span<const std::byte> data);

} // namespace Pelgra::Deflate
