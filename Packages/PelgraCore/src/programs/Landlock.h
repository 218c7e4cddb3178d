#pragma once

#include <cstdint>

namespace Pelgra {

/// Lets this process open nothing but libraries, fonts, language data and what libraries ask about the machine, all of
/// it to be read, connect to nothing, and signal nobody (Landlock, as much as the kernel has). Returns what of this
/// holds now, as bits of Wall; leftOut are not raised.
std::uint32_t confineByLandlock(std::uint32_t leftOut);

} // namespace Pelgra
