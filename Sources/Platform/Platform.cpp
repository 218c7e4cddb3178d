#include "Platform/Platform.h"

#include "Platform/Null/NullPlatform.h"
#include "Platform/PlatformChoice.h"
#include "Platform/X11/X11Platform.h"

namespace Pelgra {

bool Platform::chooseForToolkit()
{
    SessionOffer session;
    session.isChosen = !qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM");
    session.hasWayland = !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
    session.hasX11 = !qEnvironmentVariableIsEmpty("DISPLAY");
    const std::string_view platforms = platformsFor(session);
    return !platforms.empty()
        && qputenv("QT_QPA_PLATFORM", QByteArray(platforms.data(), static_cast<qsizetype>(platforms.size())));
}

std::unique_ptr<Platform> Platform::forThisSession()
{
    if (std::unique_ptr<Platform> platform = X11Platform::create())
        return platform;
    return std::make_unique<NullPlatform>();
}

} // namespace Pelgra
