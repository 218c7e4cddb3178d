#include "PelgraCore/PDFRendering.h"

#include "modules/ModuleLoader.h"
#include "pages/OpenRenderer.h"
#include "PelgraCore/EngineError.h"

namespace Pelgra {

std::unique_ptr<PageRenderer> openRenderer(const std::filesystem::path& file, int pagesNeeded)
{
    std::unique_ptr<PageRenderer> renderer;
    try {
        renderer = module<RenderingModule>(RenderingModule::name).open(file, pagesNeeded);
    } catch (const std::exception&) {
        throw EngineError::unreadable(file);
    }
    if (!renderer)
        throw EngineError::unreadable(file);
    return renderer;
}

std::unique_ptr<PDFDocument> PDFRender::open(const std::filesystem::path& file)
{
    return openRenderer(file);
}

} // namespace Pelgra
