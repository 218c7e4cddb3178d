#include "modules/ModuleLoader.h"
#include "Session.h"

PELGRA_MODULE_EXPORT const Pelgra::RecognitionModule pelgraModule;
const Pelgra::RecognitionModule pelgraModule = {&Pelgra::openRecognitionSession};
