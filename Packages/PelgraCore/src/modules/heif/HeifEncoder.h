#pragma once

#include "Encoders.h"

namespace Pelgra {

/// See HeifModule::encode.
void encodeHeif(RowSource& rows, const EncodeProperties& properties, ByteSink& sink);

} // namespace Pelgra
