#include "Settings/SettingsWindow.h"

#include "Desktop/AppActivation.h"
#include "Platform/Pointer.h"
#include "Settings/Preferences.h"
#include "Settings/SettingsView.h"

#include <QDialog>
#include <QPointer>
#include <QPushButton>
#include <QScreen>
#include <QShortcut>
#include <QVBoxLayout>

#include <utility>

namespace Pelgra::SettingsWindow {

namespace {

constexpr int quitMargin = 20; // logical pixels

QPointer<QWidget>& instance()
{
    static QPointer<QWidget> settings;
    return settings;
}

/// What show() was last given.
std::function<void()>& quitting()
{
    static std::function<void()> quit;
    return quit;
}

void callQuit()
{
    if (quitting())
        quitting()();
}

QPushButton* makeQuitButton(QWidget* parent)
{
    auto* const button = new QPushButton(QStringLiteral("Quit Pelgra"), parent);
    button->setObjectName(QStringLiteral("quit"));
    button->setAutoDefault(false);
    QObject::connect(button, &QPushButton::clicked, parent, callQuit);
    return button;
}

void addKeys(QDialog& settings)
{
    const QKeySequence close(Qt::ControlModifier | Qt::Key_W);
    const QKeySequence quit(Qt::ControlModifier | Qt::Key_Q);
    QObject::connect(new QShortcut(close, &settings), &QShortcut::activated, &settings, &QDialog::close);
    QObject::connect(new QShortcut(quit, &settings), &QShortcut::activated, &settings, callQuit);
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
    auto* const bottom = new QHBoxLayout;
    bottom->setContentsMargins(0, 0, quitMargin, 0);
    bottom->addStretch();
    bottom->addWidget(makeQuitButton(settings));
    layout->addLayout(bottom);
    addKeys(*settings);
    return settings;
}

void center(QWidget& settings)
{
    const QScreen* const screen = Pointer::screen();
    if (!screen)
        return;
    settings.adjustSize();
    QRect frame(QPoint(), settings.size());
    frame.moveCenter(screen->availableGeometry().center());
    settings.move(frame.topLeft());
}

} // namespace

void show(std::function<void()> quit, bool hasQuitButton)
{
    if (!instance())
        instance() = make();
    quitting() = std::move(quit);
    auto* const button = instance()->findChild<QPushButton*>(QStringLiteral("quit"));
    button->setVisible(hasQuitButton);
    instance()->layout()->setContentsMargins(0, 0, 0, hasQuitButton ? quitMargin : 0);
    if (!instance()->isVisible())
        center(*instance());
    AppActivation::activate(*instance());
}

QWidget* window()
{
    return instance();
}

} // namespace Pelgra::SettingsWindow
