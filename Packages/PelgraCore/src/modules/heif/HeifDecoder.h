#pragma once

#include "codecs/DecodedImage.h"

#include <cstddef>
#include <span>

namespace Pelgra {

/// See HeifModule::decode.
DecodedImage decodeHeif(std::span<const std::byte> file, int index);

} // namespace Pelgra
