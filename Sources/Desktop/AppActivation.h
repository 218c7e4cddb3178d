#pragma once

class QWidget;

namespace Pelgra::AppActivation {

/// Shows a window of ours, in front of all others and with the keyboard focus as far as the desktop allows it.
void activate(QWidget& window);

} // namespace Pelgra::AppActivation
