#include "ScreenGrab.h"

#include <QGuiApplication>
#include <QPixmap>
#include <QScreen>

namespace Pelgra {

QImage grab(const QRect& area)
{
    return QGuiApplication::primaryScreen()->grabWindow(0, area.x(), area.y(), area.width(), area.height()).toImage();
}

QImage grabSettled(const QRect& area)
{
    QImage last = grab(area);
    int same = 0;
    waitFor([&] {
        QImage now = grab(area);
        same = now == last ? same + 1 : 0;
        last = std::move(now);
        return same >= 4;
    });
    return last;
}

} // namespace Pelgra
