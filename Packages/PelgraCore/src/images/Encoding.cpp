#include "images/Encoding.h"

#include "codecs/bmp/BmpEncoder.h"
#include "codecs/jpeg/JpegEncoder.h"
#include "codecs/png/PngEncoder.h"
#include "codecs/TiffEncoder.h"
#include "modules/heif/HeifModule.h"
#include "modules/ModuleLoader.h"
#include "PelgraCore/EngineError.h"

namespace Pelgra {

void encodeImage(FileFormat format, RowSource& rows, const EncodeProperties& properties, ByteSink& sink)
{
    if (rows.form().model == ColorModel::cmyk)
        throw std::runtime_error("no raster encoder takes CMYK");
    switch (format) {
    case FileFormat::jpg:
        return encodeJpeg(rows, properties, sink);
    case FileFormat::png:
        return encodePng(rows, properties, sink);
    case FileFormat::bmp:
        return encodeBmp(rows, properties, sink);
    case FileFormat::tiff:
        return encodeTiff(rows, properties, sink);
    case FileFormat::heic:
        return module<HeifModule>("heif").encode(rows, properties, sink);
    case FileFormat::webp:
    case FileFormat::avif:
    case FileFormat::svg:
    case FileFormat::gif:
    case FileFormat::pdf:
    case FileFormat::txt:
    case FileFormat::md:
        break;
    }
    throw EngineError::unsupported(format);
}

} // namespace Pelgra
