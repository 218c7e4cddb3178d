#pragma once

#include "PelgraCore/RasterImage.h"

#include <filesystem>
#include <memory>
#include <optional>

namespace Pelgra {

/// A size in points (1/72 inch).
struct PageSize {
    double width = 0;
    double height = 0;
};

/// The quarter turn (0, 90, 180 or 270 degrees clockwise) nearest to a rotation of either sign.
int snappedRotation(long long degrees);

/// An open document for drawing. Not to be used from two threads at once; open one for each thread.
class PDFDocument {
public:
    virtual ~PDFDocument() = default;

    virtual int pageCount() const = 0;

    /// The page's crop box after its rotation; zero where the page cannot be fetched.
    virtual PageSize displayedSize(int pageIndex) = 0;

    /// The page on white in 8-bit sRGB, scale pixels to the point; no side longer than 32,000 pixels. None when
    /// the page cannot be drawn.
    virtual std::optional<RasterImage> render(int pageIndex, double scale) = 0;
};

namespace PDFRender {

/// No side of a drawn page is longer, in pixels.
inline constexpr int maxSide = 32000;

/// Throws EngineError::unreadable for what is not a document or needs a password.
std::unique_ptr<PDFDocument> open(const std::filesystem::path& file);

} // namespace PDFRender

} // namespace Pelgra
