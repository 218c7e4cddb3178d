#pragma once

#include "ObjectCopier.h"

namespace Pelgra::Documents {

/// A copy of an XMP packet without its claims to follow an archiving, accessibility or printing standard: copied pages
/// may well break what the whole document kept. Null where it cannot be read.
Object copyMetadata(ObjectCopier& copier, Object metadata);

/// The packet without the claims; edited as text, neither parsed nor checked.
std::string withoutConformanceClaims(std::string packet);

} // namespace Pelgra::Documents
