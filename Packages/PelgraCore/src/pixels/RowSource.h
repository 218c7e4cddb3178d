#pragma once

#include "PelgraCore/RasterImage.h"

#include <span>
#include <utility>

namespace Pelgra {

/// The form of a picture without its pixels.
struct RasterForm {
    int width = 0;
    int height = 0;
    ColorModel model = ColorModel::rgb;
    bool hasAlpha = false;
    int bitsPerComponent = 8;
    std::span<const std::byte> iccProfile;

    int componentCount() const
    {
        return (model == ColorModel::gray ? 1 : model == ColorModel::rgb ? 3 : 4) + (hasAlpha ? 1 : 0);
    }
    std::size_t bytesPerPixel() const { return static_cast<std::size_t>(componentCount() * bitsPerComponent / 8); }
    std::size_t rowBytes() const { return static_cast<std::size_t>(width) * bytesPerPixel(); }
};

RasterForm formOf(const RasterImage& image);

/// Hands an encoder the rows of a picture from the top, once each, so that a picture larger than the memory can be
/// drawn while it is encoded.
class RowSource {
public:
    virtual ~RowSource() = default;
    virtual const RasterForm& form() const = 0;
    /// The row y; valid until the next call. Rows are asked for in ascending order.
    virtual std::span<const std::byte> row(int y) = 0;
    /// The whole picture where it is in memory, else null.
    virtual const RasterImage* wholeImage() const { return nullptr; }
    /// As much of the picture from its top as is in memory before a row is asked for, for a look at what is to come;
    /// null where nothing is.
    virtual const RasterImage* beginning() const { return wholeImage(); }
    /// Says that no more rows will be asked for, so that whatever holds them can go.
    virtual void release() { }
};

/// The rows of a picture in memory.
class ImageRows final : public RowSource {
public:
    /// The image must outlive this.
    explicit ImageRows(const RasterImage& image)
        : m_image(&image)
        , m_form(formOf(image))
    {
    }
    /// Keeps the image until release().
    explicit ImageRows(SharedImage image)
        : ImageRows(*image)
    {
        m_owner = std::move(image);
    }
    const RasterForm& form() const override { return m_form; }
    std::span<const std::byte> row(int y) override { return m_image->row(y); }
    const RasterImage* wholeImage() const override { return m_image; }
    void release() override
    {
        m_image = nullptr;
        m_form.iccProfile = {};
        m_owner.reset();
    }

private:
    SharedImage m_owner;
    const RasterImage* m_image;
    RasterForm m_form;
};

} // namespace Pelgra
