#include "files/FileBroker.h"

namespace Pelgra {

namespace {

FileBroker* theBroker = nullptr;

} // namespace

FileBroker* fileBroker()
{
    return theBroker;
}

void setFileBroker(FileBroker* broker)
{
    theBroker = broker;
}

} // namespace Pelgra
