#pragma once

#include <span>
#include <string>

namespace Pelgra {

/// Becomes the desktop program, which lies beside this one or in the search path, with the given arguments. Returns
/// only when there is none.
void becomeDesktopProgram(std::span<const std::string> arguments);

} // namespace Pelgra
