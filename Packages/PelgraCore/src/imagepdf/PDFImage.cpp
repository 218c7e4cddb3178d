#include "imagepdf/PDFImage.h"

#include "codecs/ColorConversion.h"
#include "codecs/jpeg/JpegDecoder.h"
#include "codecs/jpeg/JpegStructure.h"
#include "codecs/png/PngDecoder.h"
#include "codecs/png/PngEncoder.h"
#include "codecs/png/PngStructure.h"
#include "files/ByteSink.h"
#include "files/FileBytes.h"
#include "images/ImagePlacement.h"
#include "PelgraCore/EngineError.h"
#include "pixels/RowSource.h"

#include <algorithm>
#include <cstring>
#include <optional>

namespace Pelgra {

namespace {

void setProfile(PDFImage& image, const Bytes& profile)
{
    if (profileFits(profile, image.model))
        image.iccProfile = profile;
}

void setPlacement(PDFImage& image, const ImagePlacement& placement)
{
    image.orientation = placement.orientation;
    image.dpiWidth = placement.dpiWidth;
    image.dpiHeight = placement.dpiHeight;
}

std::optional<PDFImage> jpegAsItIs(Bytes& file)
{
    const std::optional<JpegStructure> structure = readJpegStructure(file);
    if (!structure
        || !RasterImage::fits(static_cast<std::uint64_t>(structure->width),
                              static_cast<std::uint64_t>(structure->height),
                              static_cast<std::size_t>(structure->componentCount)))
        return std::nullopt;
    PDFImage image;
    image.coding = PDFImage::Coding::jpeg;
    image.width = structure->width;
    image.height = structure->height;
    setPlacement(image, placementOf(describeJpeg(file)));
    image.model = structure->componentCount == 1 ? ColorModel::gray
        : structure->componentCount == 3         ? ColorModel::rgb
                                                 : ColorModel::cmyk;
    image.isInverted = structure->componentCount == 4 && structure->hasAdobeSegment;
    image.isNamedRGB = structure->isNamedRGB;
    setProfile(image, structure->iccProfile);
    image.data = structure->parts;
    image.storage = std::move(file); // its bytes stay where they are
    return image;
}

std::optional<PDFImage> pngAsItIs(Bytes& file)
{
    const std::optional<PngStructure> structure = readPngStructure(file);
    if (!structure)
        return std::nullopt;
    const DecodedImage described = describePng(file);
    PDFImage image;
    image.width = structure->width;
    image.height = structure->height;
    setPlacement(image, placementOf(described));
    image.model = structure->isGray ? ColorModel::gray : ColorModel::rgb;
    image.bitsPerComponent = structure->bitsPerComponent;
    image.palette.assign(structure->palette.begin(), structure->palette.end());
    setProfile(image, described.image.iccProfile);
    image.data = structure->data;
    image.storage = std::move(file);
    return image;
}

class MemorySink final : public ByteSink {
public:
    void write(std::span<const std::byte> bytes) override { m_bytes.insert(m_bytes.end(), bytes.begin(), bytes.end()); }
    void writeAt(std::size_t offset, std::span<const std::byte> bytes) override
    {
        std::copy(bytes.begin(), bytes.end(), m_bytes.begin() + static_cast<std::ptrdiff_t>(offset));
    }
    Bytes take() { return std::move(m_bytes); }

private:
    Bytes m_bytes;
};

/// The colours of a picture without its alpha, or its alpha alone.
class PartOfPixels final : public RowSource {
public:
    enum class Part : std::uint8_t { color, alpha };

    PartOfPixels(const RasterImage& image, Part part)
        : m_image(image)
        , m_form(formOf(image))
    {
        const std::size_t sample = static_cast<std::size_t>(image.bitsPerComponent) / 8;
        m_form.hasAlpha = false;
        m_form.iccProfile = {};
        if (part == Part::alpha) {
            m_form.model = ColorModel::gray;
            m_offset = image.bytesPerPixel() - sample;
        }
        m_row.resize(m_form.rowBytes());
    }
    const RasterForm& form() const override { return m_form; }
    std::span<const std::byte> row(int y) override
    {
        const std::size_t pitch = m_image.bytesPerPixel();
        const std::size_t size = m_form.bytesPerPixel();
        const std::byte* from = m_image.row(y).data() + m_offset;
        for (std::size_t at = 0; at < m_row.size(); at += size, from += pitch)
            std::memcpy(m_row.data() + at, from, size);
        return m_row;
    }

private:
    const RasterImage& m_image;
    RasterForm m_form;
    std::size_t m_offset = 0;
    Bytes m_row;
};

/// Four inks disguised as colours with alpha for an encoder that knows only those; the bytes are the same.
class InkRows final : public RowSource {
public:
    explicit InkRows(const RasterImage& image)
        : m_image(image)
        , m_form(formOf(image))
    {
        m_form.model = ColorModel::rgb;
        m_form.hasAlpha = true;
        m_form.iccProfile = {};
    }
    const RasterForm& form() const override { return m_form; }
    std::span<const std::byte> row(int y) override { return m_image.row(y); }

private:
    const RasterImage& m_image;
    RasterForm m_form;
};

bool isOpaque(const RasterImage& image)
{
    if (!image.hasAlpha)
        return true;
    PartOfPixels alpha(image, PartOfPixels::Part::alpha);
    for (int y = 0; y < image.height; ++y) {
        const std::span<const std::byte> row = alpha.row(y);
        if (std::any_of(row.begin(), row.end(), [](std::byte byte) { return byte != std::byte{0xFF}; }))
            return false;
    }
    return true;
}

/// A PNG file of the rows. What it holds is what a PDF wants: rows filtered and compressed.
Bytes coded(RowSource& rows, int threads)
{
    EncodeProperties properties;
    properties.threads = threads;
    MemorySink sink;
    encodePng(rows, properties, sink);
    return sink.take();
}

Bytes joined(const std::vector<std::span<const std::byte>>& parts)
{
    Bytes bytes;
    for (const auto& part : parts)
        bytes.insert(bytes.end(), part.begin(), part.end());
    return bytes;
}

Bytes codedColors(const RasterImage& image, int threads)
{
    if (image.model == ColorModel::cmyk) {
        InkRows rows(image);
        return coded(rows, threads);
    }
    if (image.hasAlpha) {
        PartOfPixels rows(image, PartOfPixels::Part::color);
        return coded(rows, threads);
    }
    ImageRows rows(image);
    return coded(rows, threads);
}

PDFImage codedAgain(const LoadedImage& loaded, int threads)
{
    const RasterImage& pixels = *loaded.image;
    PDFImage image;
    image.width = pixels.width;
    image.height = pixels.height;
    setPlacement(image, {loaded.orientation, loaded.dpiWidth, loaded.dpiHeight});
    image.model = pixels.model;
    image.bitsPerComponent = pixels.bitsPerComponent;
    setProfile(image, pixels.iccProfile);
    if (!isOpaque(pixels)) {
        PartOfPixels alpha(pixels, PartOfPixels::Part::alpha);
        image.alpha = joined(pngDataOf(coded(alpha, threads)));
    }
    image.storage = codedColors(pixels, threads);
    image.data = pngDataOf(image.storage);
    return image;
}

} // namespace

PDFImage loadPDFImage(const std::filesystem::path& file, int threads)
{
    try {
        Bytes bytes = readFile(file);
        if (auto image = jpegAsItIs(bytes))
            return std::move(*image);
        if (auto image = pngAsItIs(bytes))
            return std::move(*image);
    } catch (const EngineError&) {
        throw;
    } catch (const std::exception&) {
        throw EngineError::unreadable(file);
    }
    return codedAgain(ImageLoader::load(file), threads);
}

} // namespace Pelgra
