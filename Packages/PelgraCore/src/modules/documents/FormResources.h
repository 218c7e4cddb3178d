#pragma once

#include "Objects.h"

namespace Pelgra::Documents {

/// Adds the default resources of another form to those of `form`. A font whose name is taken by a different one gets a
/// new name; the result tells which (old to new, with slashes).
std::map<std::string, std::string> mergeFormResources(Object form, Object resources);

/// A default appearance string with the fonts it names by their new names.
Object withRenamedFonts(Object appearance, const std::map<std::string, std::string>& renamed);

} // namespace Pelgra::Documents
