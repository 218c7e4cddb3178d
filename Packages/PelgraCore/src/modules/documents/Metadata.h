#pragma once

#include "Objects.h"

namespace Pelgra::Documents {

/// An XMP packet without its claims to follow an archiving, accessibility or printing standard: copied pages may well
/// break what the whole document kept. Compressed (FlateDecode); empty where it cannot be read.
std::string compressedMetadata(Object metadata);

/// The metadata of a document for an output; null where there is none.
Object copyMetadata(QPDF& output, const std::string& compressed);

/// The packet without the claims; edited as text, neither parsed nor checked.
std::string withoutConformanceClaims(std::string packet);

} // namespace Pelgra::Documents
