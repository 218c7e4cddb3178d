#include "Pictures/RasterConversion.h"

#include <cstring>

namespace Pelgra {

namespace {

/// Qt's format with the same layout of bytes, or Invalid.
QImage::Format formatOf(const RasterImage& image)
{
    const bool deep = image.bitsPerComponent == 16;
    if (image.model == ColorModel::gray && !image.hasAlpha)
        return deep ? QImage::Format_Grayscale16 : QImage::Format_Grayscale8;
    if (image.model == ColorModel::rgb && !image.hasAlpha && !deep)
        return QImage::Format_RGB888;
    if (image.model == ColorModel::rgb && image.hasAlpha)
        return deep ? QImage::Format_RGBA64 : QImage::Format_RGBA8888;
    return QImage::Format_Invalid;
}

/// The picture with grey spread over three channels and opaque alpha added: a layout Qt has for either depth.
template <typename Component>
void expandRow(const std::byte* source, std::byte* target, int width, bool isGray, bool hasAlpha)
{
    const int channels = (isGray ? 1 : 3) + (hasAlpha ? 1 : 0);
    for (int x = 0; x < width; ++x) {
        Component in[4];
        std::memcpy(in, source + static_cast<std::size_t>(x * channels) * sizeof(Component),
                    static_cast<std::size_t>(channels) * sizeof(Component));
        const Component opaque = static_cast<Component>(~Component{0});
        const Component out[4] = {in[0], isGray ? in[0] : in[1], isGray ? in[0] : in[2],
                                  hasAlpha ? in[channels - 1] : opaque};
        std::memcpy(target + static_cast<std::size_t>(x) * sizeof out, out, sizeof out);
    }
}

QImage expanded(const RasterImage& image)
{
    const bool deep = image.bitsPerComponent == 16;
    QImage result(image.width, image.height, deep ? QImage::Format_RGBA64 : QImage::Format_RGBA8888);
    const bool isGray = image.model == ColorModel::gray;
    for (int y = 0; y < image.height && !result.isNull(); ++y) {
        auto* const target = reinterpret_cast<std::byte*>(result.scanLine(y));
        if (deep)
            expandRow<std::uint16_t>(image.row(y).data(), target, image.width, isGray, image.hasAlpha);
        else
            expandRow<std::uint8_t>(image.row(y).data(), target, image.width, isGray, image.hasAlpha);
    }
    return result;
}

} // namespace

QImage toQImage(const RasterImage& image)
{
    if (image.model == ColorModel::cmyk)
        return {};
    if (const QImage::Format format = formatOf(image); format != QImage::Format_Invalid)
        return QImage(reinterpret_cast<const uchar*>(image.pixels.data()), image.width, image.height,
                      static_cast<qsizetype>(image.stride), format)
            .copy();
    return expanded(image);
}

} // namespace Pelgra
