#include "Platform/Gnome/NativePoints.h"

#include <QGuiApplication>
#include <QScreen>

namespace Pelgra::NativePoints {

namespace {

/// The toolkit leaves the corner of a screen where it is and scales what is right of and below it.
QRect nativeGeometryOf(const QScreen& screen)
{
    return {screen.geometry().topLeft(), screen.geometry().size() * screen.devicePixelRatio()};
}

} // namespace

QPoint logicalOf(QPoint native)
{
    for (const QScreen* screen : QGuiApplication::screens()) {
        const QRect area = nativeGeometryOf(*screen);
        if (area.contains(native))
            return area.topLeft() + (native - area.topLeft()) / screen->devicePixelRatio();
    }
    return native;
}

QPoint logicalAt(double x, double y)
{
    QRect all;
    for (const QScreen* screen : QGuiApplication::screens())
        all |= nativeGeometryOf(*screen);
    return logicalOf(QPoint(qRound(x * (all.x() + all.width())), qRound(y * (all.y() + all.height()))));
}

} // namespace Pelgra::NativePoints
