#pragma once

#include <functional>

class QWidget;

/// The one settings window of the process. Main thread.
namespace Pelgra::SettingsWindow {

/// Shows the window, made at the first call, in front of all others. A hidden window comes back in the middle of the
/// screen; a visible one stays where it is. Without a tray, whose menu would quit, there is a button at the bottom that
/// calls the given function.
void show(std::function<void()> quit = nullptr);

/// The window, or null before the first show().
QWidget* window();

} // namespace Pelgra::SettingsWindow
