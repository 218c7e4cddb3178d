#include "Desktop/TickSound.h"

#include "Desktop/SettingsPortal.h"

#include <QSettings>
#include <QStandardPaths>
#include <QThreadPool>
#include <QVariant>

#include <canberra.h>

#include <array>
#include <atomic>
#include <memory>

namespace Pelgra::TickSound {

namespace {

struct ContextDeleter {
    void operator()(ca_context* context) const { ca_context_destroy(context); }
};
struct PropertiesDeleter {
    void operator()(ca_proplist* properties) const { ca_proplist_destroy(properties); }
};

/// What the desktop's settings say about event sounds.
struct SoundSettings {
    bool enabled = true;
    QByteArray theme; ///< empty: the library's default
};

SoundSettings readSettings()
{
    SoundSettings settings;
    if (qgetenv("XDG_CURRENT_DESKTOP").contains("KDE")) {
        const QSettings globals(QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation)
                                    + QStringLiteral("/kdeglobals"),
                                QSettings::IniFormat);
        settings.enabled = globals.value(QStringLiteral("Sounds/Enable"), true).toBool();
        settings.theme = globals.value(QStringLiteral("Sounds/Theme")).toString().toUtf8();
    } else {
        const QString group = QStringLiteral("org.gnome.desktop.sound");
        const QVariant enabled = SettingsPortal::read(group, QStringLiteral("event-sounds"));
        settings.enabled = !enabled.isValid() || enabled.toBool();
        settings.theme = SettingsPortal::read(group, QStringLiteral("theme-name")).toString().toUtf8();
    }
    return settings;
}

/// The player; lives on the sound thread and is made by the first tick.
class Player {
public:
    Player()
    {
        m_settings = readSettings();
        ca_context* context = nullptr;
        if (!m_settings.enabled || ca_context_create(&context) != CA_SUCCESS)
            return;
        m_context.reset(context);
        ca_context_change_props(context, CA_PROP_APPLICATION_NAME, "Pelgra", CA_PROP_APPLICATION_ID, "pelgra", nullptr);
    }

    void play()
    {
        if (m_context == nullptr || m_failures == mostFailures)
            return;
        ca_context_cancel(m_context.get(), tickId);
        while (m_event < events.size() && !start(events[m_event]))
            ++m_event;
    }

private:
    /// False when the theme has no such sound, so that the next one should be tried.
    bool start(const char* event)
    {
        ca_proplist* created = nullptr;
        if (ca_proplist_create(&created) != CA_SUCCESS)
            return true;
        const std::unique_ptr<ca_proplist, PropertiesDeleter> properties(created);
        ca_proplist_sets(created, CA_PROP_EVENT_ID, event);
        ca_proplist_sets(created, CA_PROP_MEDIA_ROLE, "event");
        ca_proplist_sets(created, CA_PROP_CANBERRA_CACHE_CONTROL, "permanent");
        // Decibels: about a third of the amplitude.
        ca_proplist_sets(created, CA_PROP_CANBERRA_VOLUME, "-10");
        if (!m_settings.theme.isEmpty())
            ca_proplist_sets(created, CA_PROP_CANBERRA_XDG_THEME_NAME, m_settings.theme.constData());
        const int outcome = ca_context_play_full(m_context.get(), tickId, created, nullptr, nullptr);
        if (outcome == CA_ERROR_NOTFOUND)
            return false;
        m_failures = outcome == CA_SUCCESS ? 0 : m_failures + 1;
        return true;
    }

    static constexpr std::uint32_t tickId = 1;
    /// A machine without sound fails each time, and some sound libraries complain on standard error each time.
    static constexpr int mostFailures = 3;
    /// Names of the Sound Naming Specification, the most fitting first; the last is a short pluck that nearly every
    /// theme has.
    static constexpr std::array<const char*, 3> events{"button-pressed", "item-selected", "audio-volume-change"};

    SoundSettings m_settings;
    std::unique_ptr<ca_context, ContextDeleter> m_context;
    std::size_t m_event = 0;
    int m_failures = 0; ///< in a row
};

} // namespace

void play()
{
    // Neither the pool nor the player is ever destroyed: a sound server that hangs must not hold up the end of the
    // program.
    static auto* const pool = [] {
        auto* const made = new QThreadPool;
        made->setMaxThreadCount(1);
        made->setExpiryTimeout(-1);
        return made;
    }();
    static std::atomic<bool> isWaiting = false;
    // A tick that is still waiting for its turn stands for the next one too.
    if (isWaiting.exchange(true))
        return;
    pool->start([] {
        static auto* const player = new Player;
        isWaiting = false;
        player->play();
    });
}

} // namespace Pelgra::TickSound
