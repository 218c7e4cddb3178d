#pragma once

#include "Objects.h"

#include <set>

namespace Pelgra::Documents {

using NameSet = std::set<std::string, std::less<>>;

/// Every name that stands in content: a superset of the resources it uses. None where that cannot be known, because
/// a stream cannot be decoded; everything must be kept then. Forms, patterns and glyphs among the used resources that
/// have no resources of their own draw with these, so their names are part of the result.
std::optional<NameSet> namesUsedBy(const std::vector<Object>& contents, Object resources);

/// The same for something that has its own /Resources: a form, a tiling pattern or a Type 3 font.
std::optional<NameSet> namesUsedBy(Object owner);

/// A stream, or an array of streams.
std::vector<Object> contentStreamsOf(Object contents);

} // namespace Pelgra::Documents
