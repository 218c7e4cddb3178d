#include "App/MenuBarIcon.h"

#include <QEvent>
#include <QGuiApplication>
#include <QIconEngine>
#include <QPainter>
#include <QPainterPath>
#include <QPalette>
#include <QSystemTrayIcon>

#include <algorithm>

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

/// Draws the icon at any size, and names the icon of the theme that trays colour by themselves.
class TintedEngine final : public QIconEngine {
public:
    explicit TintedEngine(const QColor& tint)
        : m_tint(tint)
    {
    }

    QString iconName() override { return QIcon::hasThemeIcon(symbolicName()) ? symbolicName() : QString(); }

    QList<QSize> availableSizes(QIcon::Mode, QIcon::State) override
    {
        QList<QSize> sizes;
        for (const int size : {16, 18, 22, 24, 32, 36, 44, 48, 64})
            sizes.append(QSize(size, size));
        return sizes;
    }

    QPixmap pixmap(const QSize& size, QIcon::Mode, QIcon::State) override
    {
        return MenuBarIcon::pixmap(std::min(size.width(), size.height()), m_tint);
    }

    void paint(QPainter* painter, const QRect& area, QIcon::Mode mode, QIcon::State state) override
    {
        const QPixmap picture = pixmap(area.size() * painter->device()->devicePixelRatio(), mode, state);
        QRect square(QPoint(), QSize(1, 1) * std::min(area.width(), area.height()));
        square.moveCenter(area.center());
        painter->drawPixmap(square, picture);
    }

    QIconEngine* clone() const override { return new TintedEngine(*this); }

private:
    QColor m_tint;
};

/// An icon in the tray does not belong to a window that would hear of a new palette.
class PaletteFollower final : public QObject {
public:
    explicit PaletteFollower(QSystemTrayIcon& item)
        : QObject(&item)
        , m_item(item)
    {
    }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (watched == qApp && event->type() == QEvent::ApplicationPaletteChange)
            m_item.setIcon(image(tintForTray()));
        return QObject::eventFilter(watched, event);
    }

private:
    QSystemTrayIcon& m_item;
};

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

QString symbolicName()
{
    return QStringLiteral("org.pelgra.Pelgra-symbolic");
}

QIcon image(const QColor& tint)
{
    QIcon icon(new TintedEngine(tint));
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

void showIn(QSystemTrayIcon& item)
{
    item.setIcon(image(tintForTray()));
    qApp->installEventFilter(new PaletteFollower(item));
}

} // namespace Pelgra::MenuBarIcon
