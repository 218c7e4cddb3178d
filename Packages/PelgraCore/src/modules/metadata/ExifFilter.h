#pragma once

#include "modules/metadata/MetadataModule.h"

namespace Pelgra {

/// The TIFF, EXIF and GPS directories of the source, describing the upright copy. Empty where nothing could be read.
Bytes filteredExif(const MetadataSource& source);

} // namespace Pelgra
