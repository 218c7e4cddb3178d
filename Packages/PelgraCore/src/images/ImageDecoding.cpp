#include "images/ImageDecoding.h"

#include "codecs/bmp/BmpDecoder.h"
#include "codecs/ColorConversion.h"
#include "codecs/GifDecoder.h"
#include "codecs/jpeg/JpegDecoder.h"
#include "codecs/png/PngDecoder.h"
#include "codecs/WebpDecoder.h"
#include "files/FileBytes.h"
#include "images/ImagePlacement.h"
#include "images/SvgRendering.h"
#include "modules/heif/HeifModule.h"
#include "modules/ModuleLoader.h"
#include "modules/tiff/TiffModule.h"
#include "PelgraCore/EngineError.h"
#include "PelgraCore/FileFormat.h"

#include <algorithm>
#include <exception>
#include <optional>
#include <string_view>
#include <utility>

namespace Pelgra {

namespace {

using namespace std::string_view_literals;

/// What the first bytes tell. The decoder treats HEIC and AVIF alike, so their brands need not be told apart.
std::optional<FileFormat> formatOfContent(std::span<const std::byte> file)
{
    const std::string_view text(reinterpret_cast<const char*>(file.data()), std::min<std::size_t>(file.size(), 4096));
    if (text.starts_with("\xFF\xD8\xFF"sv))
        return FileFormat::jpg;
    if (text.starts_with("\x89PNG\r\n\x1A\n"sv))
        return FileFormat::png;
    if (text.starts_with("GIF87a"sv) || text.starts_with("GIF89a"sv))
        return FileFormat::gif;
    if (text.starts_with("RIFF"sv) && text.substr(0, 12).ends_with("WEBP"sv))
        return FileFormat::webp;
    if (text.starts_with("II*\0"sv) || text.starts_with("MM\0*"sv) || text.starts_with("II+\0"sv)
        || text.starts_with("MM\0+"sv))
        return FileFormat::tiff;
    if (text.substr(0, 8).ends_with("ftyp"sv))
        return FileFormat::heic;
    if (text.starts_with("BM"sv))
        return FileFormat::bmp;
    if (text.find("<svg"sv) != std::string_view::npos)
        return FileFormat::svg;
    return std::nullopt;
}

DecodedImage drawing(std::span<const std::byte> file)
{
    constexpr double drawnAt = 144; // two pixels to a point
    DecodedImage decoded;
    decoded.image = renderSvg(file);
    decoded.dpiX = decoded.dpiY = drawnAt;
    return decoded;
}

DecodedImage decode(FileFormat format, std::span<const std::byte> file, int index)
{
    switch (format) {
    case FileFormat::jpg:
        return decodeJpeg(file);
    case FileFormat::png:
        return decodePng(file);
    case FileFormat::webp:
        return decodeWebp(file, index);
    case FileFormat::heic:
    case FileFormat::avif:
        return module<HeifModule>("heif").decode(file, index);
    case FileFormat::tiff:
        return module<TiffModule>("tiff").decode(file, index);
    case FileFormat::bmp:
        return decodeBmp(file);
    case FileFormat::svg:
        return drawing(file);
    case FileFormat::gif:
        return decodeGif(file, index);
    case FileFormat::pdf:
    case FileFormat::txt:
    case FileFormat::md:
        break;
    }
    throw DecodeError("no picture");
}

/// The first bytes decide; where they say nothing (a drawing with a long preamble, for example), the name does.
FileFormat formatOf(const std::filesystem::path& file, std::span<const std::byte> content)
{
    if (const std::optional<FileFormat> format = formatOfContent(content))
        return *format;
    if (const std::optional<FileFormat> format = FileFormat::detect(file))
        return *format;
    throw DecodeError("an unknown format");
}

/// Photographs beyond this many bytes of pixels are not held as a whole. Encoders look at smaller ones as a whole to
/// choose how to compress them.
constexpr std::uint64_t heldBytes = 64 << 20;

void dropMisfitProfile(RasterImage& image)
{
    if (!profileFits(image.iccProfile, image.model))
        image.iccProfile.clear();
}

/// None for what is to be decoded as a whole; the content is left alone then.
std::optional<OpenedImage> openRows(FileFormat format, Bytes& content, FileFormat target, int threads)
{
    OpenedImage opened;
    DecodedImage& decoded = opened.decoded;
    const bool isForLook = target == FileFormat::png || target == FileFormat::tiff;
    const bool isPhoto = format == FileFormat::jpg && (isForLook || target == FileFormat::heic);
    if (isPhoto) {
        decoded = describeJpeg(content);
        constexpr std::uint64_t components = 3;
        const auto width = static_cast<std::uint64_t>(decoded.image.width);
        const auto height = static_cast<std::uint64_t>(decoded.image.height);
        if (decoded.image.model == ColorModel::cmyk || components * width * height <= heldBytes)
            return std::nullopt;
    } else if (format == FileFormat::png && (target == FileFormat::jpg || target == FileFormat::heic)) {
        decoded = describePng(content);
    } else {
        return std::nullopt;
    }
    if (placementOf(decoded).orientation != 1)
        return std::nullopt;
    dropMisfitProfile(decoded.image);
    if (isPhoto) {
        opened.rows = jpegRows(std::move(content), std::move(decoded.image.iccProfile), isForLook);
    } else {
        // Where tiles are coded, a thread reads ahead anyway, and transparency stays.
        const bool isForTiles = target == FileFormat::heic;
        opened.rows =
            pngRows(std::move(content), std::move(decoded.image.iccProfile), threads > 1 && !isForTiles, isForTiles);
    }
    return opened.rows ? std::optional(std::move(opened)) : std::nullopt;
}

/// Reads a file and hands its format and bytes on.
template <typename Use>
auto withContent(const std::filesystem::path& file, const Use& use)
{
    try {
        Bytes content = readFile(file);
        const FileFormat format = formatOf(file, content);
        return use(format, content);
    } catch (const EngineError&) {
        throw;
    } catch (const std::exception&) {
        throw EngineError::unreadable(file);
    }
}

DecodedImage decodeWhole(FileFormat format, std::span<const std::byte> content, int index)
{
    DecodedImage decoded = decode(format, content, index);
    dropMisfitProfile(decoded.image);
    return decoded;
}

} // namespace

DecodedImage decodeImage(const std::filesystem::path& file, int index)
{
    return withContent(file,
                       [&](FileFormat format, const Bytes& content) { return decodeWhole(format, content, index); });
}

OpenedImage openImage(const std::filesystem::path& file, FileFormat target, int threads)
{
    return withContent(file, [&](FileFormat format, Bytes& content) {
        std::optional<OpenedImage> opened = openRows(format, content, target, threads);
        return opened ? *std::move(opened) : OpenedImage{decodeWhole(format, content, 0), nullptr};
    });
}

} // namespace Pelgra
