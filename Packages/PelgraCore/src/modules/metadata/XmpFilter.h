#pragma once

#include "PelgraCore/RasterImage.h"

#include <cstddef>
#include <span>

namespace Pelgra {

/// A packet with the auxiliary EXIF properties of the given one alone. Empty where it has none.
Bytes auxiliaryXmp(std::span<const std::byte> packet);

} // namespace Pelgra
