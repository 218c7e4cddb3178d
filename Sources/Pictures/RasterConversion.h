#pragma once

#include "PelgraCore/RasterImage.h"

#include <QImage>

namespace Pelgra {

/// A copy for drawing of a picture in sRGB: grey or RGB(A) with straight alpha. Null for CMYK, which must be turned
/// into RGB first.
QImage toQImage(const RasterImage& image);

} // namespace Pelgra
