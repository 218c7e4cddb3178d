#pragma once

#include "codecs/EncodeProperties.h"
#include "files/ByteSink.h"
#include "pixels/RowSource.h"

namespace Pelgra {

/// See HeifModule::encode.
void encodeHeif(RowSource& rows, const EncodeProperties& properties, ByteSink& sink);

} // namespace Pelgra
