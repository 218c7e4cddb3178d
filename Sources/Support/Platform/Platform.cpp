#include "Support/Platform/Platform.h"

#include "Support/Platform/Null/NullPlatform.h"

namespace Pelgra {

std::unique_ptr<Platform> Platform::forThisSession()
{
    return std::make_unique<NullPlatform>();
}

} // namespace Pelgra
