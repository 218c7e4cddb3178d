#include "imagepdf/ImagePDFWriter.h"

#include "codecs/Deflate.h"
#include "PelgraCore/Hexadecimal.h"
#include "PelgraCore/ImageLoading.h"

#include <array>
#include <span>

namespace Pelgra {

namespace {

constexpr double pointsPerInch = 72;

std::string reference(int number)
{
    return PDFObjectWriter::reference(number);
}

std::string hexadecimalString(std::span<const std::byte> bytes)
{
    std::string text = "<";
    for (std::byte byte : bytes)
        text += hexadecimal(std::to_integer<std::uint8_t>(byte));
    return text + ">";
}

/// How rows with PNG filters are undone (ISO 32000-1, 7.4.4.4).
std::string rowEntries(int components, int bits, int width)
{
    return "/Filter /FlateDecode /DecodeParms <</Predictor 15 /Colors " + std::to_string(components)
        + " /BitsPerComponent " + std::to_string(bits) + " /Columns " + std::to_string(width) + ">>";
}

/// The matrix that maps the unit square a picture is painted into, turned upright, onto the whole page.
std::string placement(const PDFImage& image, double pageWidth, double pageHeight)
{
    // The transform of the pixel grid, its terms divided by the sides of the stored and of the upright picture,
    // consists of zeros, ones and minus ones.
    LoadedImage turned;
    const auto stored = std::make_shared<RasterImage>();
    stored->width = 1;
    stored->height = 1;
    turned.image = stored;
    turned.orientation = image.orientation;
    const AffineTransform unit = turned.orientationTransform();
    std::string text;
    for (double term : {unit.a * pageWidth, unit.b * pageHeight, unit.c * pageWidth, unit.d * pageHeight,
                        unit.tx * pageWidth, unit.ty * pageHeight})
        text += PDFObjectWriter::number(term + 0.0) + " "; // no negative zero
    return text;
}

} // namespace

std::size_t ImagePDFWriter::addImage(const PDFImage& image)
{
    Placed placed;
    placed.object = m_objects.reserve();
    const bool isTransposed = image.orientation >= 5;
    placed.width = (isTransposed ? image.height : image.width) * pointsPerInch / image.dpiWidth;
    placed.height = (isTransposed ? image.width : image.height) * pointsPerInch / image.dpiHeight;
    placed.content = "q " + placement(image, placed.width, placed.height) + "cm /Picture Do Q";

    std::string entries = commonEntries(image) + " /ColorSpace " + colorSpace(image);
    if (!image.alpha.empty())
        entries += " /SMask " + reference(writeAlpha(image));
    m_objects.writeStream(placed.object, entries, image.data);
    m_images.push_back(std::move(placed));
    return m_images.size() - 1;
}

std::string ImagePDFWriter::commonEntries(const PDFImage& image) const
{
    std::string entries = "/Type /XObject /Subtype /Image /Width " + std::to_string(image.width) + " /Height "
        + std::to_string(image.height) + " /BitsPerComponent " + std::to_string(image.bitsPerComponent)
        + " /Interpolate true ";
    if (image.coding == PDFImage::Coding::jpeg) {
        entries += "/Filter /DCTDecode";
        if (image.isNamedRGB)
            entries += " /DecodeParms <</ColorTransform 0>>";
    } else {
        entries += rowEntries(image.palette.empty() ? image.componentCount() : 1, image.bitsPerComponent, image.width);
    }
    if (image.isInverted)
        entries += " /Decode [1 0 1 0 1 0 1 0]";
    return entries;
}

std::string ImagePDFWriter::colorSpace(const PDFImage& image)
{
    std::string space = image.model == ColorModel::gray ? "/DeviceGray"
        : image.model == ColorModel::rgb                ? "/DeviceRGB"
                                                        : "/DeviceCMYK";
    if (!image.iccProfile.empty())
        space = "[/ICCBased " + reference(profileObject(image)) + "]";
    if (!image.palette.empty())
        space = "[/Indexed " + space + " " + std::to_string(image.palette.size() / 3 - 1) + " "
            + hexadecimalString(image.palette) + "]";
    return space;
}

int ImagePDFWriter::profileObject(const PDFImage& image)
{
    int& object = m_profiles[image.iccProfile];
    if (object == 0) {
        object = m_objects.reserve();
        const PixelBuffer data = Deflate::stream(image.iccProfile, Deflate::Effort::thorough);
        const std::array<std::span<const std::byte>, 1> parts{data};
        m_objects.writeStream(object, "/N " + std::to_string(image.componentCount()) + " /Filter /FlateDecode", parts);
    }
    return object;
}

int ImagePDFWriter::writeAlpha(const PDFImage& image)
{
    const int object = m_objects.reserve();
    const std::array<std::span<const std::byte>, 1> parts{image.alpha};
    m_objects.writeStream(object,
                          "/Type /XObject /Subtype /Image /Width " + std::to_string(image.width) + " /Height "
                              + std::to_string(image.height) + " /BitsPerComponent "
                              + std::to_string(image.bitsPerComponent) + " /Interpolate true /ColorSpace /DeviceGray "
                              + rowEntries(1, image.bitsPerComponent, image.width),
                          parts);
    return object;
}

int ImagePDFWriter::writePage(const Placed& image, int parent)
{
    const int content = m_objects.reserve();
    const std::array parts{std::as_bytes(std::span(image.content))};
    m_objects.writeStream(content, {}, parts);
    const int page = m_objects.reserve();
    m_objects.writeObject(page,
                          "<</Type /Page /Parent " + reference(parent) + " /MediaBox [0 0 "
                              + PDFObjectWriter::number(image.width) + " " + PDFObjectWriter::number(image.height)
                              + "] /Resources <</XObject <</Picture " + reference(image.object) + ">>>> /Contents "
                              + reference(content) + ">>");
    return page;
}

void ImagePDFWriter::finish()
{
    const int tree = m_objects.reserve();
    std::string kids;
    for (std::size_t image : m_pages)
        kids += reference(writePage(m_images[image], tree)) + " ";
    m_objects.writeObject(tree, "<</Type /Pages /Count " + std::to_string(m_pages.size()) + " /Kids [" + kids + "]>>");
    const int catalog = m_objects.reserve();
    m_objects.writeObject(catalog, "<</Type /Catalog /Pages " + reference(tree) + ">>");
    const int information = m_objects.reserve();
    m_objects.writeObject(information, "<</Creator (Pelgra)>>");
    m_objects.finish(catalog, information);
}

} // namespace Pelgra
