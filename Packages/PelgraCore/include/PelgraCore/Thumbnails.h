#pragma once

#include "PelgraCore/RasterImage.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

/// Small pictures of any readable file. Callable from any thread, too slow for the main one. The functions are
/// stateless. Nothing here throws: for what cannot be shown there is no result.
namespace Pelgra::Thumbnails {

/// The page (of a PDF) or picture (of any other file) with its longest side maxPixels; pictures are never enlarged.
/// The result is upright 8- or 16-bit grey or RGB in sRGB, without a profile, with straight alpha where the source has
/// alpha.
std::optional<RasterImage> image(const std::filesystem::path& file, int pageIndex, double maxPixels);

/// What a thumbnail that applications share says of the file it was made of (Thumbnail Managing Standard 0.9,
/// freedesktop.org).
struct SharedClaims {
    std::string address; ///< Thumb::URI
    std::int64_t modified = 0; ///< Thumb::MTime: seconds since 1970
};

/// The picture in such a thumbnail, a PNG of at most 1,024 pixels a side, scaled down to maxPixels. Nothing where it
/// claims another time than the given one, or another address; it need not claim any address.
std::optional<RasterImage> shared(const std::filesystem::path& thumbnail, const SharedClaims& claims, double maxPixels);

/// The pages of one document that is kept open between calls, which takes half the time where many are wanted: fonts
/// and pictures that pages share are read once. Several threads may call at once; each opens the document for itself.
class Pages {
public:
    explicit Pages(std::filesystem::path file);
    ~Pages();
    Pages(const Pages&) = delete;
    Pages& operator=(const Pages&) = delete;

    /// As Thumbnails::image of that page; nothing where the file is not a document.
    std::optional<RasterImage> image(int pageIndex, double maxPixels);

private:
    struct State;
    std::unique_ptr<State> m_state;
};

/// Zero for anything but a readable document.
int pdfPageCount(const std::filesystem::path& file);

/// The picture itself where it is no larger, else a copy scaled down to maxPixels on its longest side.
SharedImage scaled(const SharedImage& image, double maxPixels);

} // namespace Pelgra::Thumbnails
