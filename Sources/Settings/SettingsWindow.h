#pragma once

#include <functional>

class QWidget;

/// The one settings window of the process. Main thread.
namespace Pelgra::SettingsWindow {

/// Shows the window, made at the first call, in front of all others. A hidden window comes back in the middle of the
/// screen; a visible one stays where it is. Control+W closes it, Control+Q does what `quit` does, and so does a button
/// at the bottom where there is no tray menu to do it.
void show(std::function<void()> quit, bool hasQuitButton);

/// The window, or null before the first show().
QWidget* window();

} // namespace Pelgra::SettingsWindow
