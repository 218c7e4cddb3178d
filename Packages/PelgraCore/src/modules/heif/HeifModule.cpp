#include "modules/heif/HeifModule.h"

#include "HeifDecoder.h"
#include "HeifEncoder.h"
#include "modules/ModuleLoader.h"

PELGRA_MODULE_EXPORT const Pelgra::HeifModule pelgraModule{Pelgra::decodeHeif, Pelgra::encodeHeif};
