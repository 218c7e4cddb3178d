#pragma once

#include "PelgraCore/Models.h"

#include <string_view>
#include <vector>

namespace Pelgra {

/// Reads a list of pages: numbers from 1 or ranges N-M (downwards too), separated by commas, each with an optional
/// `:DEGREES` clockwise, a multiple of 90. "3,1-2,1:90" is page 3, pages 1 and 2, and page 1 turned. Whether a page
/// exists is not known here. Throws UsageError.
std::vector<PageEdit> parsePageList(std::string_view text);

} // namespace Pelgra
