#include "images/UprightRows.h"

#include "codecs/ColorConversion.h"
#include "PelgraCore/EngineError.h"
#include "pixels/PixelTurning.h"

#include <exception>
#include <utility>

namespace Pelgra {

std::unique_ptr<RowSource> uprightRows(LoadedImage loaded, bool flattenOntoWhite)
{
    if (loaded.image->model != ColorModel::cmyk) {
        SharedImage upright = loaded.upright(flattenOntoWhite);
        loaded.image.reset(); // the stored pixels are no longer needed
        return std::make_unique<ImageRows>(std::move(upright));
    }
    try {
        if (loaded.orientation >= 2 && loaded.orientation <= 8)
            loaded.image = std::make_shared<const RasterImage>(turnedUpright(*loaded.image, loaded.orientation));
        return std::make_unique<CmykRowsInSrgb>(std::move(loaded.image));
    } catch (const std::exception&) {
        throw EngineError::unsupported(FileFormat::png); // as upright() says it
    }
}

} // namespace Pelgra
