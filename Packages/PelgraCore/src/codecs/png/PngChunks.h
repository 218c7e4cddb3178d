#pragma once

#include "PelgraCore/RasterImage.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace Pelgra {

/// The eight bytes every PNG begins with.
bool hasPngSignature(std::span<const std::byte> file);

/// Walks the chunks of a PNG (PNG Specification, third edition, section 5) as far as the file holds them.
class PngChunks {
public:
    explicit PngChunks(std::span<const std::byte> file);

    /// Moves to the next chunk; false at the end. A chunk cut off by the end of the file is given as far as it goes.
    bool next();

    bool is(std::string_view type) const;
    /// Whether a reader must know it to show the picture.
    bool isCritical() const;
    std::span<const std::byte> content() const { return m_content; }
    /// False for a chunk that is cut off, too.
    bool isIntact() const;

private:
    std::span<const std::byte> m_rest;
    std::span<const std::byte> m_type;
    std::span<const std::byte> m_content;
    std::span<const std::byte> m_checksum;
};

/// What a PNG holds beside its pixels.
struct PngProperties {
    std::optional<double> dpiX; ///< dots per inch
    std::optional<double> dpiY;
    Bytes exif, iptc, xmp, iccProfile;
    bool isSrgb = false; ///< stated by an sRGB chunk
    std::optional<double> gamma; ///< encoding exponent of a gAMA chunk, about 0.45 for usual pictures
    std::optional<std::array<double, 8>> chromaticities; ///< white, red, green, blue as x and y
};

/// Reads the chunks other than the pixels; damaged ones count as absent, and none can take much memory.
PngProperties readPngProperties(std::span<const std::byte> file);

/// The bytes of the first intact text with that keyword, compressed or not; none where there is none. Latin-1, but for
/// international texts, which are UTF-8.
std::optional<std::string> readPngText(std::span<const std::byte> file, std::string_view keyword);

} // namespace Pelgra
