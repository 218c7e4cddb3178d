#pragma once

namespace Pelgra::DisplayCheck {

/// Until end(), a toolkit that finds no display ends the process with one sentence on standard error and `exitStatus`,
/// instead of aborting with its advice to reinstall. What it says about each display it tried is shown with `verbose`.
/// For the construction of QApplication, which alone knows what it can connect to.
void begin(bool verbose, int exitStatus);
void end();

} // namespace Pelgra::DisplayCheck
