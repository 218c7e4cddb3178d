#pragma once

#include "PelgraCore/RasterImage.h"

#include <QImage>

namespace Pelgra {

/// A copy for drawing: 8-bit grey or RGB(A) with straight alpha, in sRGB where the picture carries a profile Qt knows.
/// Null for CMYK, which must be turned into RGB first.
QImage toQImage(const RasterImage& image);

} // namespace Pelgra
