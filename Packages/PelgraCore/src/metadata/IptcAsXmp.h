#pragma once

#include "PelgraCore/RasterImage.h"

#include <cstddef>
#include <span>

namespace Pelgra {

/// An XMP packet with the properties that correspond to IPTC records (IPTC Photo Metadata Standard, "IIM reference"),
/// for formats without a place for the records that other programs look into. They are added to the given packet, which
/// may be empty. Records without a counterpart are left out.
Bytes xmpWithIptc(std::span<const std::byte> xmp, std::span<const std::byte> iptc);

} // namespace Pelgra
