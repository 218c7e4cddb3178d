#include "modules/rendering/RenderingModule.h"
#include "modules/ModuleLoader.h"
#include "Renderer.h"

namespace Pelgra {

PELGRA_MODULE_EXPORT const RenderingModule pelgraModule = {
    .open = Rendering::openRenderer,
};

} // namespace Pelgra
