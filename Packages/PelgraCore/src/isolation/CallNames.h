#pragma once

#include <cstdint>
#include <string>

namespace Pelgra {

/// A system call for the log: by its name where it is one that something hostile would try, else by its number.
std::string nameOfCall(std::uint32_t number);

} // namespace Pelgra
