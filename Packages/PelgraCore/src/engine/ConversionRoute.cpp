#include "engine/ConversionRoute.h"

#include "engine/EngineImages.h"
#include "PelgraCore/EngineError.h"

#include <system_error>

namespace Pelgra {

ConversionRoute conversionRoute(const std::filesystem::path& file, FileFormat target)
{
    std::error_code error;
    if (!std::filesystem::exists(file, error))
        throw EngineError::unreadable(file);
    const std::optional<FileFormat> source = FileFormat::detect(file);
    const bool toImage = target.isImage() && target.canEncode();
    const bool toText = target == FileFormat::txt || target == FileFormat::md;
    if (source == FileFormat(FileFormat::pdf) && (toImage || toText))
        return ConversionRoute::document;
    if (source && source->isImage() && toImage)
        return ConversionRoute::imageToImage;
    if (source && source->isImage() && target == FileFormat::pdf)
        return ConversionRoute::imageToPDF;
    throw EngineError::unsupportedConversion(source, target);
}

PreparedOutput prepareConversion(const std::filesystem::path& file, FileFormat target, const ConversionOptions& options,
                                 int threads, const std::stop_token& stop, WorkerGroup group)
{
    if (conversionRoute(file, target) == ConversionRoute::imageToImage)
        return prepareImage(file, target, options, threads, stop, group);
    JobControl control;
    control.stop = stop;
    return prepareImagePDF({&file, 1}, threads, control, group);
}

} // namespace Pelgra
