#pragma once

#include "ObjectCopier.h"

namespace Pelgra::Documents {

/// A new stream of the output with the content of a page and nothing else in its dictionary. A single stream is copied
/// as it is; several are decoded and joined, with a space between.
Object contentAsOneStream(ObjectCopier& copier, Object contents);

} // namespace Pelgra::Documents
