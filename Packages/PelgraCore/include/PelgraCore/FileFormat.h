#pragma once

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace Pelgra {

/// A file format that Pelgra reads or writes.
///
/// A small value around a plain enumeration, so that it can be used in a `switch`, compared and passed by value.
/// The order of the cases is fixed: images come first, see isImage().
class FileFormat {
public:
    enum Case : std::uint8_t { jpg, png, webp, heic, tiff, avif, bmp, svg, gif, pdf, txt, md };

    static constexpr std::size_t count = 12;

    // Implicit on purpose: `FileFormat::png` is a FileFormat wherever one is wanted.
    constexpr FileFormat(Case value)
        : m_case(value)
    {
    } // NOLINT(google-explicit-constructor)
    constexpr operator Case() const { return m_case; } // NOLINT(google-explicit-constructor)

    /// The formats in declaration order.
    static const std::array<FileFormat, count>& allCases();

    /// The format with exactly this raw value (case-sensitive), or none.
    static std::optional<FileFormat> fromRawValue(std::string_view rawValue);

    /// The format of a file, decided from the extension of its name alone; the file is never opened.
    static std::optional<FileFormat> detect(const std::filesystem::path& file);

    /// The lower-case name: "jpg", "png" and so on.
    std::string_view rawValue() const;

    /// The extension of output files, without the dot.
    std::string_view pathExtension() const { return rawValue(); }

    /// The raw value in upper case, the text on a petal.
    std::string wheelLabel() const;

    constexpr bool isImage() const { return m_case < pdf; }

    /// Whether files of this format can be produced.
    bool canEncode() const;

    /// The uniform type identifier of the raster encoder; absent where there is no raster encoder.
    std::optional<std::string_view> imageIOType() const;

    /// The MIME type, as registered or as the shared-mime-info database of freedesktop.org names it.
    std::string_view mimeType() const;

private:
    Case m_case;
};

} // namespace Pelgra
