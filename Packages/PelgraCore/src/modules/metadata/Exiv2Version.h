#pragma once

#include "PelgraCore/RasterImage.h"

#include <exiv2/exiv2.hpp>

/// Where Exiv2 0.27 and 0.28 differ.
namespace Pelgra {

inline Bytes bytesOf(const Exiv2::DataBuf& buffer)
{
#if EXIV2_TEST_VERSION(0, 28, 0)
    const auto* const begin = reinterpret_cast<const std::byte*>(buffer.c_data());
    return {begin, begin + buffer.size()};
#else
    const auto* const begin = reinterpret_cast<const std::byte*>(buffer.pData_);
    return {begin, begin + buffer.size_};
#endif
}

} // namespace Pelgra
