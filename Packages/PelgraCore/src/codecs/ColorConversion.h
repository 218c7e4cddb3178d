#pragma once

#include "PelgraCore/RasterImage.h"
#include "pixels/RowSource.h"

#include <memory>

namespace Pelgra {

/// A CMYK picture in sRGB of the same depth, without a profile: by the picture's own profile where it has a usable one,
/// else by the plain product of what ink and black let through. Throws std::bad_alloc, and std::runtime_error where
/// the result would be too large.
RasterImage cmykToSrgb(const RasterImage& image);

/// A grey or RGB picture in sRGB, or its grey, without a profile; where its profile cannot be used, the profile alone
/// goes.
RasterImage inSrgb(RasterImage image);

/// The rows of a CMYK picture as cmykToSrgb() would give them, converted as they are asked for: there is no second
/// picture.
class CmykRowsInSrgb final : public RowSource {
public:
    /// Keeps the picture until release(). Throws std::bad_alloc.
    explicit CmykRowsInSrgb(SharedImage image);
    ~CmykRowsInSrgb() override;

    const RasterForm& form() const override { return m_form; }
    std::span<const std::byte> row(int y) override;
    void release() override;

private:
    class Conversion;

    SharedImage m_image;
    RasterForm m_form;
    std::unique_ptr<const Conversion> m_conversion;
    PixelBuffer m_row;
};

/// Whether a profile describes pixels of this model, so that it may stay with them.
bool profileFits(const Bytes& iccProfile, ColorModel model);

} // namespace Pelgra
