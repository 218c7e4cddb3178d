#include "Desktop/AppActivation.h"

#include <QWidget>

namespace Pelgra::AppActivation {

void activate(QWidget& window)
{
    if (window.isMinimized())
        window.showNormal();
    else
        window.show();
    window.raise();
    window.activateWindow();
}

} // namespace Pelgra::AppActivation
