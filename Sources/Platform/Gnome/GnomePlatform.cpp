#include "Platform/Gnome/GnomePlatform.h"

#include "Support/Logging.h"

#include <QByteArray>
#include <QList>

#include <chrono>

namespace Pelgra {

namespace {

DragDiscovery::Time now()
{
    return std::chrono::duration_cast<DragDiscovery::Time>(std::chrono::steady_clock::now().time_since_epoch());
}

bool isGnomeOnWayland()
{
    return !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY")
        && qgetenv("XDG_CURRENT_DESKTOP").split(':').contains(QByteArrayLiteral("GNOME"));
}

std::string describe(ExtensionDragSource::State state, bool isWatching)
{
    switch (state) {
    case ExtensionDragSource::State::unknown:
        return "the shell does not answer";
    case ExtensionDragSource::State::absent:
        return "not installed, or not since the session began";
    case ExtensionDragSource::State::off:
        return "installed, off";
    case ExtensionDragSource::State::broken:
        return "installed, not for this version of the shell";
    case ExtensionDragSource::State::on:
        return isWatching ? "on, talking" : "on";
    }
    return {};
}

} // namespace

std::unique_ptr<GnomePlatform> GnomePlatform::create()
{
    if (!isGnomeOnWayland())
        return nullptr;
    std::unique_ptr<X11Platform> x11 = X11Platform::create();
    std::unique_ptr<XwaylandDrags> drags = x11 ? XwaylandDrags::create() : nullptr;
    return drags ? std::unique_ptr<GnomePlatform>(new GnomePlatform(std::move(x11), std::move(drags))) : nullptr;
}

GnomePlatform::GnomePlatform(std::unique_ptr<X11Platform> x11, std::unique_ptr<XwaylandDrags> drags)
    : m_x11(std::move(x11))
    , m_drags(std::move(drags))
    , m_extension(QDBusConnection::sessionBus())
    , m_watched({m_drags.get(), &m_taps})
    , m_catcher(m_x11->wheelSurface(), m_drags->connection(), m_x11->toolkitConnection(),
                [this] { return m_drags->fileURLs(); })
    , m_discovering(m_watched, m_catcher, now)
    , m_dragSource({&m_x11->dragSource(), &m_extension, &m_discovering})
{
    m_drags->isNeeded = [this] {
        return !m_extension.isWatching();
    };
    X11DragSource& x11Drags = m_x11->dragSource();
    x11Drags.isForeign = [this](xcb_window_t owner) {
        return m_drags->isOfCompositor(owner);
    };
    const auto isX11 = [this, &x11Drags] {
        return m_dragSource.current() == &x11Drags;
    };
    m_x11->wheelSurface().follow({[=, &x11Drags] { return !isX11() || x11Drags.acceptsDrops(); },
                                  [this] { return m_dragSource.primaryButton() == ButtonState::up; },
                                  [this] { return m_dragSource.changeCount(); },
                                  [=, this, &x11Drags] {
                                      return isX11() ? x11Drags.filesOfDrop() : m_dragSource.fileURLs();
                                  }});
    m_catcher.onShift = [this] {
        m_taps.tap(shiftFlag);
    };
    m_shortcuts.onActivated = [this](ShortcutsPortal::Shortcut shortcut) {
        if (onShortcut)
            onShortcut(shortcut == ShortcutsPortal::Shortcut::tools);
    };
    const auto changed = [this] {
        if (onAbilitiesChanged)
            onAbilitiesChanged();
    };
    m_extension.onStateChanged = changed;
    m_shortcuts.onChanged = [this, changed] {
        if (onShortcutsAnswered)
            onShortcutsAnswered(m_shortcuts.isBound());
        changed();
    };
}

DesktopAbilities GnomePlatform::abilities() const
{
    using Step = DesktopAbilities::Step;
    DesktopAbilities abilities = m_x11->abilities();
    abilities.missing.clear();
    abilities.seesDrags = true;
    abilities.sources = {"X11", "Xwayland (beginnings and files)"};
    const ExtensionDragSource::State extension = m_extension.stateNow();
    abilities.details.emplace_back("extension of GNOME Shell", describe(extension, m_extension.isWatching()));
    abilities.details.emplace_back("shortcuts of the desktop", m_shortcuts.isBound() ? "given" : "not asked for");
    // A report about the session is made by a process of its own.
    abilities.seesKeys =
        m_extension.isWatching() || (extension == ExtensionDragSource::State::on && !m_extension.isListener());
    if (abilities.seesKeys) {
        abilities.sources.emplace_back("extension of GNOME Shell");
        return abilities;
    }
    if (m_shortcuts.isBound()) {
        abilities.sources.emplace_back("shortcuts of the desktop");
        abilities.convertShortcut = m_shortcuts.convertTrigger().toStdString();
        abilities.toolsShortcut = m_shortcuts.toolsTrigger().toStdString();
    }
    abilities.seesPointer = false;
    abilities.missing.emplace_back("the extension of GNOME Shell, which tells of keys");
    abilities.step = extension == ExtensionDragSource::State::off ? Step::enableExtension : Step::none;
    abilities.otherStep = m_shortcuts.isBound() ? Step::none : Step::bindShortcuts;
    return abilities;
}

void GnomePlatform::takeStep(DesktopAbilities::Step step)
{
    if (step == DesktopAbilities::Step::enableExtension)
        m_extension.switchOn();
    else if (step == DesktopAbilities::Step::bindShortcuts)
        m_shortcuts.bind();
}

} // namespace Pelgra
