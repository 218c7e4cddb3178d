#include "App/Doctor.h"

#include "PelgraCore/Isolation.h"
#include "PelgraCore/Version.h"
#include "Platform/DesktopAbilities.h"
#include "Settings/Preferences.h"
#include "Settings/ThisDesktop.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QGuiApplication>
#include <QScreen>
#include <QSysInfo>

#include <filesystem>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

#include <dlfcn.h>
#include <link.h>

namespace Pelgra::Doctor {

namespace {

class Lines {
public:
    void add(std::string_view name, std::string_view value)
    {
        m_text.append(name).append(": ").append(value.empty() ? "none" : value).append("\n");
    }
    void add(std::string_view name, const QString& value) { add(name, value.toStdString()); }
    void add(std::string_view name, const std::vector<std::string>& values)
    {
        std::string joined;
        for (const std::string& value : values)
            joined += (joined.empty() ? "" : ", ") + value;
        add(name, joined);
    }
    std::string take() { return std::move(m_text); }

private:
    std::string m_text;
};

QString environment(const char* name)
{
    return qEnvironmentVariable(name);
}

void tellSystem(Lines& lines, const DesktopAbilities&)
{
    lines.add("pelgra", version());
    lines.add("system", QSysInfo::prettyProductName() + QStringLiteral(", ") + QSysInfo::currentCpuArchitecture());
    lines.add("toolkit",
              QStringLiteral("Qt %1 on %2").arg(QString::fromLatin1(qVersion()), QGuiApplication::platformName()));
}

void tellSession(Lines& lines, const DesktopAbilities& abilities)
{
    lines.add("session", environment("XDG_SESSION_TYPE"));
    lines.add("desktop", environment("XDG_CURRENT_DESKTOP"));
    std::vector<std::string> displays;
    if (!qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY"))
        displays.emplace_back("Wayland");
    if (!qEnvironmentVariableIsEmpty("DISPLAY"))
        displays.emplace_back("X11");
    lines.add("displays", displays);
    lines.add("compositor", abilities.compositor);
}

void tellScreens(Lines& lines, const DesktopAbilities&)
{
    std::vector<std::string> screens;
    for (const QScreen* screen : QGuiApplication::screens()) {
        const QSize size = screen->geometry().size();
        screens.push_back(QStringLiteral("%1x%2 at %3")
                              .arg(size.width())
                              .arg(size.height())
                              .arg(screen->devicePixelRatio())
                              .toStdString());
    }
    lines.add("screens", screens);
}

void tellBus(Lines& lines, const DesktopAbilities&)
{
    const QDBusConnection bus = QDBusConnection::sessionBus();
    const auto has = [&bus](const char* name) -> std::string_view {
        return bus.isConnected() && bus.interface()->isServiceRegistered(QLatin1String(name)).value() ? "yes" : "no";
    };
    lines.add("session bus", std::string_view(bus.isConnected() ? "yes" : "no"));
    lines.add("tray on the bus", has("org.kde.StatusNotifierWatcher"));
    lines.add("portals", has("org.freedesktop.portal.Desktop"));
}

void tellGesture(Lines& lines, const DesktopAbilities& abilities)
{
    lines.add("drags told by", abilities.sources);
    lines.add("wheel shown as", abilities.surfaces);
    for (const auto& [name, value] : abilities.details)
        lines.add(name, value);
    lines.add("missing", abilities.missing);
    lines.add(
        "what works",
        ThisDesktop::sentenceFor(abilities, Preferences::shared().wheelKeys(), Preferences::shared().showsTargets()));
}

/// Everything that is linked, the core's modules included, which are opened for that.
std::vector<std::string> libraryFiles()
{
    Dl_info core{};
    if (dladdr(reinterpret_cast<void*>(&version), &core) != 0) {
        std::error_code failed;
        for (const auto& file :
             std::filesystem::directory_iterator(std::filesystem::path(core.dli_fname).parent_path(), failed)) {
            if (file.path().filename().string().starts_with("libpelgra-"))
                dlopen(file.path().c_str(), RTLD_LAZY | RTLD_LOCAL);
        }
    }
    std::set<std::string> names;
    dl_iterate_phdr(
        [](dl_phdr_info* info, std::size_t, void* found) {
            std::error_code isNoFile;
            const std::filesystem::path file = std::filesystem::canonical(info->dlpi_name, isNoFile);
            if (!isNoFile)
                static_cast<std::set<std::string>*>(found)->insert(file.filename().string());
            return 0;
        },
        &names);
    return {names.begin(), names.end()};
}

void tellWalls(Lines& lines, const DesktopAbilities&)
{
    for (const std::string& wall : Isolation::report())
        lines.add("walls", wall);
}

void tellLibraries(Lines& lines, const DesktopAbilities&)
{
    lines.add("libraries", libraryFiles()); // their names end with their versions
}

using Section = void (*)(Lines& lines, const DesktopAbilities& abilities);

/// In the order in which they are printed.
constexpr Section sections[] = {tellSystem, tellSession, tellScreens, tellBus, tellGesture, tellWalls, tellLibraries};

} // namespace

std::string report(const DesktopAbilities& abilities)
{
    Lines lines;
    for (const Section tell : sections)
        tell(lines, abilities);
    return lines.take();
}

} // namespace Pelgra::Doctor
