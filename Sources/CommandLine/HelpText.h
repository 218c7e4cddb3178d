#pragma once

#include <string_view>

namespace Pelgra {

/// What `pelgra --help` prints.
std::string_view helpText();

} // namespace Pelgra
