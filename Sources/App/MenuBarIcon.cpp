#include "App/MenuBarIcon.h"

#include <QGuiApplication>
#include <QPainter>
#include <QPainterPath>
#include <QPalette>

namespace Pelgra::MenuBarIcon {

namespace {

QPainterPath leaf()
{
    QPainterPath path(QPointF(9.2, 13.6));
    path.quadTo(QPointF(10.6, 17.6), QPointF(15.6, 17.0));
    path.quadTo(QPointF(14.6, 13.0), QPointF(9.2, 13.6));
    path.closeSubpath();
    return path;
}

} // namespace

QString description()
{
    return QStringLiteral("Pelgra");
}

void draw(QPainter& painter, const QColor& color)
{
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    // The shapes are given with y pointing up.
    painter.translate(0, side);
    painter.scale(1, -1);
    painter.setPen(Qt::NoPen);
    painter.setBrush(color);
    painter.drawEllipse(QRectF(2.5, 1.5, 13, 13));
    // A transparent margin keeps the leaf apart from the fruit although both have one colour.
    painter.setCompositionMode(QPainter::CompositionMode_Clear);
    painter.strokePath(leaf(), QPen(Qt::black, 2.4, Qt::SolidLine, Qt::FlatCap, Qt::RoundJoin));
    painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
    painter.fillPath(leaf(), color);
    painter.restore();
}

QPixmap pixmap(int size, const QColor& color, double devicePixelRatio)
{
    const int pixels = qRound(size * devicePixelRatio);
    QPixmap result(pixels, pixels);
    result.fill(Qt::transparent);
    QPainter painter(&result);
    painter.scale(pixels / double(side), pixels / double(side));
    draw(painter, color);
    painter.end();
    result.setDevicePixelRatio(devicePixelRatio);
    return result;
}

QIcon image(const QColor& tint)
{
    QIcon icon;
    for (int size : {16, 18, 22, 24, 32, 36, 44, 48, 64})
        icon.addPixmap(pixmap(size, tint));
    icon.setIsMask(true);
    return icon;
}

QColor tintForTray()
{
    // GNOME's panel is dark under light themes too.
    const QByteArray desktop = qgetenv("XDG_CURRENT_DESKTOP");
    if (desktop.contains("GNOME") || desktop.contains("Unity"))
        return Qt::white;
    return QGuiApplication::palette().color(QPalette::WindowText);
}

} // namespace Pelgra::MenuBarIcon
