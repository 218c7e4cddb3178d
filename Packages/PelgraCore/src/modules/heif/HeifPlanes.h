#pragma once

#include "HeifHandles.h"
#include "pixels/RowSource.h"

namespace Pelgra {

/// The picture as the encoder takes it: luma and colour difference (BT.601, full range), or luma alone for grey, with
/// 8 bits where the rows have 8 and 10 where they have 16. Colour is coded for every pixel or, halved, averaged over
/// squares of four. Asks for each row once. Throws std::runtime_error and std::bad_alloc.
HeifImage planesOf(RowSource& rows, bool halved);

} // namespace Pelgra
