#include "Platform/Wayland/ShortcutPause.h"

#include "Support/Logging.h"

#include <QDBusConnection>
#include <QDBusMessage>

#include <chrono>
#include <utility>

namespace Pelgra {

namespace {

using namespace std::chrono_literals;

constexpr auto lookInterval = 10ms;
/// Whoever holds a key for longer does not tap it.
constexpr auto longest = 5s;

void block(bool isBlocked)
{
    QDBusMessage call =
        QDBusMessage::createMethodCall(QStringLiteral("org.kde.kglobalaccel"), QStringLiteral("/kglobalaccel"),
                                       QStringLiteral("org.kde.KGlobalAccel"), QStringLiteral("blockGlobalShortcuts"));
    call << isBlocked;
    call.setAutoStartService(false);
    QDBusConnection::sessionBus().send(call); // no answer is awaited
}

} // namespace

ShortcutPause::ShortcutPause(std::function<bool()> isKeyHeld)
    : m_isKeyHeld(std::move(isKeyHeld))
{
    m_look.setInterval(lookInterval);
    m_limit.setInterval(longest);
    m_limit.setSingleShot(true);
    connect(&m_limit, &QTimer::timeout, this, &ShortcutPause::end);
    connect(&m_look, &QTimer::timeout, this, [this] {
        if (!m_isKeyHeld())
            end();
    });
}

ShortcutPause::~ShortcutPause()
{
    end();
}

void ShortcutPause::begin()
{
    if (m_look.isActive())
        return;
    qCDebug(dragLog, "Shortcuts of the desktop wait");
    block(true);
    m_look.start();
    m_limit.start();
}

void ShortcutPause::end()
{
    if (!m_look.isActive())
        return;
    m_look.stop();
    m_limit.stop();
    block(false);
    qCDebug(dragLog, "Shortcuts of the desktop work again");
}

} // namespace Pelgra
