#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QObject>
#include <QString>
#include <QVariantMap>

#include <functional>
#include <string>
#include <string_view>

namespace Pelgra {

/// Shortcuts of the desktop's that open the wheels: they are told while files are dragged in other applications too.
/// By the GlobalShortcuts portal of freedesktop.org (org.freedesktop.portal.GlobalShortcuts, version 1). Main thread;
/// never waits.
class ShortcutsPortal final : public QObject {
    Q_OBJECT

public:
    enum class Shortcut { convert, tools };

    explicit ShortcutsPortal(QObject* parent = nullptr);

    /// Asks the desktop for the shortcuts. It asks the user the first time and gives them silently later.
    void bind();

    /// What the user presses, in the desktop's words; empty while there is nothing.
    const QString& convertTrigger() const { return m_convertTrigger; }
    const QString& toolsTrigger() const { return m_toolsTrigger; }
    bool isBound() const { return !m_convertTrigger.isEmpty() || !m_toolsTrigger.isEmpty(); }

    std::function<void(Shortcut shortcut)> onActivated;

    /// The desktop has answered, or the user has changed the shortcuts.
    std::function<void()> onChanged;

private Q_SLOTS:
    void sessionMade(uint response, const QVariantMap& results);
    void answered(const QDBusMessage& response);
    void changed(const QDBusMessage& signal);
    void activated(const QDBusObjectPath& session, const QString& id, qulonglong time, const QVariantMap& options);

private:
    void registerApplication();
    void makeSession();
    void bindInSession();
    QString follow(const char* slot);
    void take(const QVariant& shortcuts);

    QDBusConnection m_bus;
    QString m_session;
    QString m_convertTrigger;
    QString m_toolsTrigger;
    bool m_isAsking = false;
};

} // namespace Pelgra
