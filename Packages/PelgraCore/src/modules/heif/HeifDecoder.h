#pragma once

#include "Decoders.h"

#include <cstddef>
#include <span>

namespace Pelgra {

/// See HeifModule::decode.
DecodedImage decodeHeif(std::span<const std::byte> file, int index);

} // namespace Pelgra
