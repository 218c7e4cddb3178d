#pragma once

#include <string>

namespace Pelgra {

/// What of use the Wayland compositor of this session offers to this program.
struct CompositorOffer {
    bool hasLayers = false; ///< layer surfaces (zwlr_layer_shell_v1)
    bool hasKeyState = false; ///< the state of modifiers (org_kde_kwin_keystate), which KWin keeps for those it trusts
};

/// Asks over a connection of its own, so that it can be asked before the toolkit has one. Nothing is offered when there
/// is no answer within a second.
CompositorOffer compositorOffer();

/// The name of the compositor's process, such as "kwin_wayland"; empty when it is not to be learnt.
std::string compositorName();

} // namespace Pelgra
