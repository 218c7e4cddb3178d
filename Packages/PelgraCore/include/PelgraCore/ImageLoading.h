#pragma once

#include "PelgraCore/RasterImage.h"

#include <filesystem>

namespace Pelgra {

/// What travels from a photo into its re-encoded copies, as the blocks the formats themselves use.
struct ImageMetadata {
    /// A TIFF structure (byte-order mark first, no "Exif" prefix) with the TIFF, EXIF and GPS directories. Orientation
    /// is 1, the embedded thumbnail and tags that describe the old file's storage are gone. Empty when there is none.
    Bytes exif;
    /// IPTC records (IIM 4.2 data sets). Empty when there is none.
    Bytes iptc;
    /// An XMP packet that holds nothing but the auxiliary EXIF properties (lens, serial number). Empty when none.
    Bytes auxiliaryXmp;

    bool isEmpty() const { return exif.empty() && iptc.empty() && auxiliaryXmp.empty(); }
};

/// An affine map x' = a·x + c·y + tx, y' = b·x + d·y + ty.
struct AffineTransform {
    double a = 1, b = 0, c = 0, d = 1, tx = 0, ty = 0;
    bool operator==(const AffineTransform&) const = default;
};

/// A picture with what its encoders need to write it again faithfully.
struct LoadedImage {
    SharedImage image; ///< pixels as stored, not yet turned; never null
    unsigned orientation = 1; ///< EXIF orientation (CIPA DC-008) of the stored pixels, 1 to 8
    double dpiWidth = 72; ///< dots per inch across the upright picture
    double dpiHeight = 72; ///< dots per inch down the upright picture
    ImageMetadata metadata;

    int uprightWidth() const; ///< pixels
    int uprightHeight() const; ///< pixels

    /// Maps the stored pixels onto the upright picture, y pointing up, origin at the lower left, units of pixels.
    AffineTransform orientationTransform() const;

    /// The picture turned upright, in grey or RGB; with flattenOntoWhite any transparency laid over white. An upright
    /// opaque picture in grey or RGB is returned as it is, without a copy. Throws EngineError::unsupported(png) when
    /// the copy cannot be made.
    SharedImage upright(bool flattenOntoWhite) const;
};

/// Reads image files. Safe to call from several threads.
namespace ImageLoader {

/// Decodes the first picture of a file by its extension's format where its content fits, else by its content.
/// Throws EngineError::unreadable with the given path for whatever cannot be read.
LoadedImage load(const std::filesystem::path& file);

} // namespace ImageLoader

} // namespace Pelgra
