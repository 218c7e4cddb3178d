#include "PelgraCore/Engine.h"

#include "engine/ConversionRoute.h"
#include "parallel/WorkerCount.h"
#include "PelgraCore/EngineError.h"

namespace Pelgra {

namespace {

JobResult convertDocument(const std::filesystem::path& file, FileFormat target, const ConversionOptions& options,
                          const JobControl& control)
{
    if (target == FileFormat::txt || target == FileFormat::md)
        return Engine::pdfToText(file, target == FileFormat::md, control);
    return Engine::pdfToImages(file, target, options, control);
}

} // namespace

JobResult Engine::convert(const std::filesystem::path& file, FileFormat target, const ConversionOptions& options,
                          const JobControl& control)
{
    if (control.stop.stop_requested())
        throw JobCancelled();
    if (conversionRoute(file, target) == ConversionRoute::document)
        return convertDocument(file, target, options, control);
    return publishAlone(prepareConversion(file, target, options, workerCount(), control.stop));
}

} // namespace Pelgra
