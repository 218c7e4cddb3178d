#include "pixels/RowSource.h"

namespace Pelgra {

RasterForm formOf(const RasterImage& image)
{
    return {image.width, image.height, image.model, image.hasAlpha, image.bitsPerComponent, image.iccProfile};
}

} // namespace Pelgra
