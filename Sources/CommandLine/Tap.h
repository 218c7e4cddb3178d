#pragma once

#include <string_view>

namespace Pelgra {

/// Tells the desktop program of this user that the key of a wheel was tapped: "convert" or "tools". False when none
/// runs. Waits for nothing.
bool sendTap(std::string_view wheel);

} // namespace Pelgra
