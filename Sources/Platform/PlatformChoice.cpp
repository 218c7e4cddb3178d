#include "Platform/PlatformChoice.h"

namespace Pelgra {

std::string_view platformsFor(const SessionOffer& session)
{
    if (session.isChosen)
        return {};
    // Where the toolkit lacks a platform it tries the next.
    if (session.hasWayland && session.hasLayers)
        return session.hasX11 ? "wayland;xcb" : "wayland";
    if (session.hasX11)
        return session.hasWayland ? "xcb;wayland" : "xcb";
    return session.hasWayland ? "wayland" : "";
}

} // namespace Pelgra
