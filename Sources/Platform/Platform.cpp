#include "Platform/Platform.h"

#include "Platform/Null/NullPlatform.h"
#include "Platform/X11/X11Platform.h"

namespace Pelgra {

std::unique_ptr<Platform> Platform::forThisSession()
{
    if (std::unique_ptr<Platform> platform = X11Platform::create())
        return platform;
    return std::make_unique<NullPlatform>();
}

} // namespace Pelgra
