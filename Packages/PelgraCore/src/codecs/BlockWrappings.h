#pragma once

#include "PelgraCore/RasterImage.h"

#include <cstddef>
#include <span>
#include <string_view>

/// The wrappings in which formats store metadata blocks.
namespace Pelgra {

bool startsWith(std::span<const std::byte> bytes, std::string_view prefix);

/// A big-endian number of up to 8 bytes; the caller has made sure that they are there.
std::size_t bigEndianNumber(std::span<const std::byte> bytes, std::size_t place, std::size_t size);

/// The block behind "Exif\0\0" where that stands in front of it.
std::span<const std::byte> withoutExifPrefix(std::span<const std::byte> block);

/// Appends the IIM data sets of a run of Photoshop image resources.
void appendIptc(std::span<const std::byte> resources, Bytes& iptc);

/// The content of a PNG text "Raw profile type …": the kind and the number of bytes, each on a line, then the bytes in
/// hexadecimal. Empty where it is damaged.
Bytes rawProfileBytes(std::string_view text);

} // namespace Pelgra
