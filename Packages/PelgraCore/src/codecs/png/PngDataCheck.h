#pragma once

#include <cstddef>
#include <span>

namespace Pelgra {

/// Whether the parts together are one sound zlib stream of exactly that many rows, each a filter byte from 0 to 4 and
/// rowBytes of samples. Takes little memory whatever the size. Throws std::bad_alloc.
bool isSoundPngData(std::span<const std::span<const std::byte>> parts, std::size_t rowBytes, std::size_t rowCount);

} // namespace Pelgra
