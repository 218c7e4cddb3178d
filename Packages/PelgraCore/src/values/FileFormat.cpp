#include "PelgraCore/FileFormat.h"

#include <algorithm>

namespace Pelgra {

namespace {

struct FormatInfo {
    std::string_view rawValue;
    std::string_view imageIOType; ///< empty: no raster encoder
    std::string_view mimeType;
    std::array<std::string_view, 4> extensions; ///< accepted spellings, lower case
};

constexpr std::array<FormatInfo, FileFormat::count> formats{{
    {"jpg", "public.jpeg", "image/jpeg", {"jpg", "jpeg", "jpe", "jfif"}},
    {"png", "public.png", "image/png", {"png"}},
    {"webp", "", "image/webp", {"webp"}},
    {"heic", "public.heic", "image/heif", {"heic", "heif"}},
    {"tiff", "public.tiff", "image/tiff", {"tif", "tiff"}},
    {"avif", "", "image/avif", {"avif"}},
    {"bmp", "com.microsoft.bmp", "image/bmp", {"bmp"}},
    {"svg", "", "image/svg+xml", {"svg"}},
    {"gif", "", "image/gif", {"gif"}},
    {"pdf", "", "application/pdf", {"pdf"}},
    {"txt", "", "text/plain", {"txt", "text"}},
    {"md", "", "text/markdown", {"md", "markdown"}},
}};

char asciiLower(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

char asciiUpper(char c)
{
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

const FormatInfo& info(FileFormat format)
{
    return formats[static_cast<std::size_t>(static_cast<FileFormat::Case>(format))];
}

} // namespace

const std::array<FileFormat, FileFormat::count>& FileFormat::allCases()
{
    static constexpr std::array<FileFormat, count> cases{jpg, png, webp, heic, tiff, avif, bmp, svg, gif, pdf, txt, md};
    return cases;
}

std::optional<FileFormat> FileFormat::fromRawValue(std::string_view rawValue)
{
    for (FileFormat format : allCases()) {
        if (format.rawValue() == rawValue)
            return format;
    }
    return std::nullopt;
}

std::optional<FileFormat> FileFormat::detect(const std::filesystem::path& file)
{
    std::string extension = file.extension().string();
    if (extension.empty())
        return std::nullopt;
    extension.erase(0, 1);
    std::transform(extension.begin(), extension.end(), extension.begin(), asciiLower);
    if (extension.empty())
        return std::nullopt;
    for (FileFormat format : allCases()) {
        const auto& spellings = info(format).extensions;
        if (std::find(spellings.begin(), spellings.end(), extension) != spellings.end())
            return format;
    }
    return std::nullopt;
}

std::string_view FileFormat::rawValue() const
{
    return info(*this).rawValue;
}

std::string FileFormat::wheelLabel() const
{
    std::string label(rawValue());
    std::transform(label.begin(), label.end(), label.begin(), asciiUpper);
    return label;
}

bool FileFormat::canEncode() const
{
    switch (m_case) {
    case webp:
    case avif:
    case svg:
    case gif:
        return false;
    case jpg:
    case png:
    case heic:
    case tiff:
    case bmp:
    case pdf:
    case txt:
    case md:
        return true;
    }
    return false;
}

std::optional<std::string_view> FileFormat::imageIOType() const
{
    const std::string_view type = info(*this).imageIOType;
    return type.empty() ? std::nullopt : std::optional(type);
}

std::string_view FileFormat::mimeType() const
{
    return info(*this).mimeType;
}

} // namespace Pelgra
