#pragma once

#include <string>
#include <string_view>

namespace Pelgra {

/// A JSON string literal (RFC 8259), quotes included. Bytes that are not UTF-8, as in some file names, become the lone
/// surrogates \udc80 to \udcff, from which they can be recovered.
std::string jsonString(std::string_view bytes);

} // namespace Pelgra
