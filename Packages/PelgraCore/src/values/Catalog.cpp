#include "PelgraCore/Catalog.h"

#include <algorithm>
#include <array>

namespace Pelgra::Catalog {

namespace {

constexpr std::array<FileFormat, 6> imageTargets{FileFormat::jpg,  FileFormat::png, FileFormat::heic,
                                                 FileFormat::tiff, FileFormat::bmp, FileFormat::pdf};
constexpr std::array<FileFormat, 4> pdfTargets{FileFormat::jpg, FileFormat::png, FileFormat::txt, FileFormat::md};

enum class Batch : std::uint8_t { none, images, pdfs };

/// The distinct formats of the files; empty as soon as one is unknown.
std::vector<FileFormat> distinctFormats(std::span<const std::filesystem::path> files)
{
    std::vector<FileFormat> formats;
    for (const auto& file : files) {
        const auto format = FileFormat::detect(file);
        if (!format)
            return {};
        if (std::find(formats.begin(), formats.end(), *format) == formats.end())
            formats.push_back(*format);
    }
    return formats;
}

Batch batchOf(std::span<const FileFormat> formats)
{
    if (formats.empty())
        return Batch::none;
    if (std::all_of(formats.begin(), formats.end(), [](FileFormat f) { return f.isImage(); }))
        return Batch::images;
    if (std::all_of(formats.begin(), formats.end(), [](FileFormat f) { return f == FileFormat::pdf; }))
        return Batch::pdfs;
    return Batch::none;
}

std::vector<FileFormat> targetsOf(Batch batch)
{
    switch (batch) {
    case Batch::images:
        return {imageTargets.begin(), imageTargets.end()};
    case Batch::pdfs:
        return {pdfTargets.begin(), pdfTargets.end()};
    case Batch::none:
        break;
    }
    return {};
}

} // namespace

std::vector<FileFormat> conversionTargetsFor(FileFormat format)
{
    std::vector<FileFormat> targets = targetsOf(batchOf({&format, 1}));
    std::erase(targets, format);
    return targets;
}

std::vector<FileFormat> conversionTargetsFor(std::span<const std::filesystem::path> files)
{
    // Every format offers the whole list of its batch but itself, so what all of them offer is the list without the
    // sources.
    const std::vector<FileFormat> sources = distinctFormats(files);
    std::vector<FileFormat> targets = targetsOf(batchOf(sources));
    for (FileFormat source : sources)
        std::erase(targets, source);
    return targets;
}

std::vector<FileTool> toolsFor(std::span<const std::filesystem::path> files)
{
    const bool several = files.size() > 1;
    switch (batchOf(distinctFormats(files))) {
    case Batch::images:
        if (several)
            return {FileTool::createPDF};
        break;
    case Batch::pdfs:
        return {FileTool::splitPDF, several ? FileTool::mergePDF : FileTool::organizePDF};
    case Batch::none:
        break;
    }
    return {};
}

std::string_view emptyMessage(bool forConversion)
{
    return forConversion ? "No conversions for this format." : "No editing tools for this format.";
}

} // namespace Pelgra::Catalog
