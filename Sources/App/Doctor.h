#pragma once

#include <string>

namespace Pelgra {

struct DesktopAbilities;

/// What a report of a fault should tell about the session and the program; names no file of the user.
namespace Doctor {

/// Lines of “name: value”. The QApplication exists.
std::string report(const DesktopAbilities& abilities);

} // namespace Doctor

} // namespace Pelgra
