#pragma once

#include "images/Encoding.h"

namespace Pelgra {

/// See HeifModule::encode.
void encodeHeif(RowSource& rows, const EncodeProperties& properties, ByteSink& sink);

} // namespace Pelgra
