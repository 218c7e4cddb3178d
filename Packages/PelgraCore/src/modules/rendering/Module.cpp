#include "ModuleLoader.h"
#include "Renderer.h"
#include "RenderingModule.h"

namespace Pelgra {

PELGRA_MODULE_EXPORT const RenderingModule pelgraModule = {
    .open = Rendering::openRenderer,
};

} // namespace Pelgra
