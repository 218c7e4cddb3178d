#pragma once

#include "PelgraCore/RasterImage.h"

namespace Pelgra {

/// Divides the colours of a picture with premultiplied alpha by it, so that the alpha becomes straight. Does nothing to
/// a picture without alpha.
void makeAlphaStraight(RasterImage& image);

} // namespace Pelgra
