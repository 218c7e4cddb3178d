#pragma once

#include <string_view>

namespace Pelgra {

/// The version of this build, "major.minor.patch".
std::string_view version();

} // namespace Pelgra
