#pragma once

#include "files/ByteSink.h"
#include "HeifCoding.h"
#include "HeifGridWriter.h"
#include "pixels/RowSource.h"

#include <vector>

namespace Pelgra {

/// Whether a picture of this size is coded in tiles: the encoder takes several times the memory of what it codes at
/// once.
bool isForTiles(const RasterForm& form);

/// Codes a picture in tiles, as many at once as there are threads, and writes the file. The bytes are the same for any
/// number of threads. Asks for each row once; a few rows of tiles are in memory. Throws std::runtime_error,
/// std::bad_alloc, and what the rows and the sink throw.
void encodeHeifTiles(RowSource& rows, const HeifCoding& coding, int threads, std::vector<HeifMetadata> metadata,
                     ByteSink& sink);

} // namespace Pelgra
