#include "isolation/PictureFile.h"

#include "isolation/Packet.h"

#include <array>
#include <cerrno>

#include <unistd.h>

namespace Pelgra {

namespace {

constexpr std::uint32_t signature = 0x70696332;
constexpr std::size_t headerSize = 6 * sizeof(std::uint32_t);
constexpr std::size_t mostBytesPerPixel = 10;

bool readAt(int descriptor, std::span<std::byte> bytes, off_t offset)
{
    while (!bytes.empty()) {
        const ssize_t count = pread(descriptor, bytes.data(), bytes.size(), offset);
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            return false;
        offset += count;
        bytes = bytes.subspan(static_cast<std::size_t>(count));
    }
    return true;
}

} // namespace

void writePicture(const RasterImage& image, ByteSink& sink)
{
    FieldWriter header;
    header.put(signature);
    header.put(static_cast<std::uint32_t>(image.width));
    header.put(static_cast<std::uint32_t>(image.height));
    header.put(static_cast<std::uint32_t>(image.model));
    header.put(static_cast<std::uint32_t>(image.hasAlpha));
    header.put(static_cast<std::uint32_t>(image.bitsPerComponent));
    sink.write(header.bytes());
    for (int y = 0; y < image.height; ++y)
        sink.write(image.row(y));
}

std::size_t pictureFileLimit(std::size_t pixels)
{
    return headerSize + pixels * mostBytesPerPixel;
}

std::optional<RasterImage> readPicture(int descriptor, std::size_t mostPixels)
{
    try {
        std::array<std::byte, headerSize> header{};
        if (!readAt(descriptor, header, 0))
            return std::nullopt;
        FieldReader fields(header);
        if (fields.number<std::uint32_t>() != signature)
            return std::nullopt;
        const auto width = fields.below(1U << 30);
        const auto height = fields.below(1U << 30);
        const auto model = static_cast<ColorModel>(fields.below(3));
        const bool hasAlpha = fields.below(2) == 1;
        const auto bits = fields.number<std::uint32_t>();
        if ((bits != 8 && bits != 16) || std::uint64_t{width} * height > mostPixels)
            return std::nullopt;
        std::optional<RasterImage> image = RasterImage::make(static_cast<int>(width), static_cast<int>(height), model,
                                                             hasAlpha, static_cast<int>(bits));
        if (!image || !readAt(descriptor, image->pixels, headerSize))
            return std::nullopt;
        return image;
    } catch (const std::exception&) {
        return std::nullopt; // also where there is no memory
    }
}

} // namespace Pelgra
