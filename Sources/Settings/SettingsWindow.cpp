#include "Settings/SettingsWindow.h"

#include "Settings/Preferences.h"
#include "Settings/SettingsView.h"
#include "Support/AppActivation.h"

#include <QCursor>
#include <QDialog>
#include <QGuiApplication>
#include <QPointer>
#include <QScreen>
#include <QVBoxLayout>

namespace Pelgra::SettingsWindow {

namespace {

QPointer<QWidget>& instance()
{
    static QPointer<QWidget> settings;
    return settings;
}

QWidget* make()
{
    auto* const settings = new QDialog(nullptr,
                                       Qt::Window | Qt::CustomizeWindowHint | Qt::WindowTitleHint
                                           | Qt::WindowSystemMenuHint | Qt::WindowCloseButtonHint);
    settings->setWindowTitle(QStringLiteral("Pelgra Settings"));
    settings->setObjectName(QStringLiteral("settings"));
    auto* const layout = new QVBoxLayout(settings);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSizeConstraint(QLayout::SetFixedSize);
    layout->addWidget(new SettingsView(&Preferences::shared()));
    return settings;
}

void center(QWidget& settings)
{
    const QScreen* screen = QGuiApplication::screenAt(QCursor::pos());
    if (!screen)
        screen = QGuiApplication::primaryScreen();
    if (!screen)
        return;
    settings.adjustSize();
    QRect frame(QPoint(), settings.size());
    frame.moveCenter(screen->availableGeometry().center());
    settings.move(frame.topLeft());
}

} // namespace

void show()
{
    if (!instance())
        instance() = make();
    if (!instance()->isVisible())
        center(*instance());
    AppActivation::activate(*instance());
}

QWidget* window()
{
    return instance();
}

} // namespace Pelgra::SettingsWindow
