#include "Platform/Pointer.h"

#include "Platform/DragSource.h"

#include <QGuiApplication>
#include <QScreen>

namespace Pelgra::Pointer {

namespace {

const DragSource* followed = nullptr;

} // namespace

void follow(const DragSource* source)
{
    followed = source;
}

QPoint place()
{
    if (followed) {
        if (const std::optional<QPoint> known = followed->pointer())
            return *known;
    }
    const QScreen* const main = QGuiApplication::primaryScreen();
    return main ? main->geometry().center() : QPoint();
}

QScreen* screen()
{
    QScreen* const there = QGuiApplication::screenAt(place());
    return there ? there : QGuiApplication::primaryScreen();
}

} // namespace Pelgra::Pointer
