#pragma once

#include "PelgraCore/ImageLoading.h"
#include "pixels/RowSource.h"

#include <memory>

namespace Pelgra {

/// The rows of loaded.upright(flattenOntoWhite), with no more copies of the picture than turning it takes: colours of
/// ink are converted row by row. Throws EngineError::unsupported(png).
std::unique_ptr<RowSource> uprightRows(LoadedImage loaded, bool flattenOntoWhite);

} // namespace Pelgra
