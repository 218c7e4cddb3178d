#pragma once

#include <filesystem>
#include <string_view>
#include <vector>

namespace Pelgra {

/// The files of a text/uri-list (RFC 2483) in its order; comments and whatever is not a file of this machine are left
/// out.
std::vector<std::filesystem::path> filesOfUriList(std::string_view list);

} // namespace Pelgra
