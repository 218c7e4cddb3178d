#include "PelgraCore/Version.h"

namespace Pelgra {

std::string_view version()
{
    return PELGRA_VERSION;
}

} // namespace Pelgra
