#pragma once

#include <string>
#include <vector>

/// Parts of sentences for the user.
namespace Pelgra {

/// "1 page" or "3 pages".
std::string countOf(long long count, const char* one, const char* many);

/// "page 3", "pages 1, 3 and 7" or, where there are many, "pages 1, 2, 3, 4, 5 and 12 others", of indexes from 0.
std::string pageList(const std::vector<int>& indexes);

} // namespace Pelgra
