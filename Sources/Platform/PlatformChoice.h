#pragma once

#include <string_view>

namespace Pelgra {

/// What is known of the session before the toolkit starts.
struct SessionOffer {
    bool isChosen = false; ///< the user has named the toolkit's platform
    bool hasWayland = false; ///< a Wayland compositor is named
    bool hasLayers = false; ///< it lets programs place surfaces above all windows, and this build can
    bool hasX11 = false; ///< an X server is named; under Wayland it runs inside the compositor
};

/// The toolkit's platforms for a session, best first, as its QT_QPA_PLATFORM has them. Empty leaves the choice to the
/// toolkit.
std::string_view platformsFor(const SessionOffer& session);

} // namespace Pelgra
