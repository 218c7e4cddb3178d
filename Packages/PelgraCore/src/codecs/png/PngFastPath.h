#pragma once

#include "PelgraCore/RasterImage.h"

#include <cstddef>
#include <optional>
#include <span>

namespace Pelgra {

/// The pixels of an intact PNG without interlacing, palette, transparent colour or depths below 8, in half the time the
/// PNG library takes. None for every other file, whatever the reason: the library decides then.
std::optional<RasterImage> decodePlainPng(std::span<const std::byte> file);

} // namespace Pelgra
