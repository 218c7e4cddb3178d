#include "App/AppDelegate.h"

#include "App/MenuBarIcon.h"
#include "App/TrayHost.h"
#include "PelgraCore/Engine.h"
#include "Settings/Preferences.h"
#include "Support/BackgroundTask.h"
#include "Support/Logging.h"
#include "Support/Paths.h"
#include "Support/Platform/Platform.h"

#include <QCoreApplication>
#include <QEvent>

#include <string>
#include <variant>

namespace Pelgra {

namespace {

/// The outputs, or what went wrong.
using Outcome = std::variant<std::vector<JobResult>, std::string>;

Outcome perform(const WheelPetal& petal, const std::vector<std::filesystem::path>& files, double jpegQuality)
{
    try {
        if (const FileFormat* format = petal.asFormat()) {
            ConversionOptions options;
            options.jpegQuality = jpegQuality;
            return Engine::convertAll(files, *format, options);
        }
        std::vector<JobResult> results;
        for (const std::filesystem::path& file : files)
            results.push_back(Engine::splitPDF(file));
        return results;
    } catch (const std::exception& error) {
        return std::string(error.what());
    }
}

void logOutcome(const Outcome& outcome)
{
    if (const auto* problem = std::get_if<std::string>(&outcome)) {
        qCInfo(jobsLog, "Job failed: %s", problem->c_str());
        return;
    }
    for (const JobResult& result : std::get<std::vector<JobResult>>(outcome)) {
        for (const std::filesystem::path& output : result.outputs)
            qCInfo(jobsLog, "Output: %s", qUtf8Printable(textFromPath(output)));
    }
}

} // namespace

AppDelegate::AppDelegate(Preferences& preferences, Platform& platform, QObject* parent)
    : QObject(parent)
    , m_preferences(preferences)
    , m_platform(platform)
    , m_dragMonitor(platform.dragSource())
    , m_wheel(platform.wheelSurface())
{
}

AppDelegate::~AppDelegate()
{
    m_platform.dragSource().onEscape = nullptr;
}

void AppDelegate::applicationDidFinishLaunching()
{
    if (qEnvironmentVariableIsSet("XCTestConfigurationFilePath"))
        return;
    m_trayHost = std::make_unique<TrayHost>(m_platform);
    connect(m_trayHost.get(), &TrayHost::available, this, &AppDelegate::installStatusItem);
    wireWheel();
    wireMonitor();
    m_dragMonitor.start();
    qCInfo(applicationLog, "Pelgra launched");
}

void AppDelegate::showWheelAlone(WheelKind kind, const Files& files)
{
    m_isAlone = true;
    wireWheel();
    m_wheel.panel()->installEventFilter(this);
    m_wheel.show(kind, files, m_platform.dragSource().pointer(), true);
}

bool AppDelegate::eventFilter(QObject* watched, QEvent* event)
{
    // Later, since a chosen petal is handed over only after its wheel has begun to hide.
    if (m_isAlone && event->type() == QEvent::Hide)
        QMetaObject::invokeMethod(this, &AppDelegate::endIfAlone, Qt::QueuedConnection);
    return QObject::eventFilter(watched, event);
}

void AppDelegate::endIfAlone()
{
    if (m_isAlone && m_runningJobs == 0 && !m_wheel.isVisible())
        QCoreApplication::quit();
}

void AppDelegate::wireWheel()
{
    m_wheel.keys = [this] {
        return m_preferences.wheelKeys();
    };
    m_wheel.pointer = [this] {
        return m_platform.dragSource().pointer();
    };
    m_wheel.onActivate = [this](const WheelPetal& petal, const Files& files, QPoint point) {
        run(petal, files, point);
    };
    m_wheel.onDragCancelled = [this] {
        m_dragMonitor.machine.cancel();
    };
}

void AppDelegate::wireMonitor()
{
    m_dragMonitor.keys = [this] {
        return m_preferences.wheelKeys();
    };
    m_dragMonitor.onEvent = [this](const DragEvent& event) {
        handle(event);
    };
    m_platform.dragSource().onEscape = [this] {
        cancelDrag();
    };
}

void AppDelegate::installStatusItem()
{
    m_menu = std::make_unique<QMenu>();
    m_hintItem = m_menu->addAction(QString());
    m_hintItem->setEnabled(false);
    m_menu->addSeparator();
    connect(m_menu->addAction(QStringLiteral("Quit Pelgra")), &QAction::triggered, qApp, &QCoreApplication::quit);
    connect(m_menu.get(), &QMenu::aboutToShow, this, &AppDelegate::updateMenu);
    connect(&m_preferences, &Preferences::convertKeyChanged, this, &AppDelegate::updateMenu);
    connect(&m_preferences, &Preferences::toolsKeyChanged, this, &AppDelegate::updateMenu);

    m_statusItem = std::make_unique<QSystemTrayIcon>(MenuBarIcon::image(MenuBarIcon::tintForTray()));
    m_statusItem->setToolTip(QStringLiteral("Pelgra"));
    m_statusItem->setContextMenu(m_menu.get());
    updateMenu();
    m_statusItem->show();
}

void AppDelegate::updateMenu()
{
    m_hintItem->setText(m_preferences.menuHint());
}

void AppDelegate::handle(const DragEvent& event)
{
    if (const auto* started = std::get_if<SessionStarted>(&event)) {
        qCInfo(dragLog, "Drag session started with %zu file(s)", started->files.size());
    } else if (const auto* tapped = std::get_if<KeyTapped>(&event)) {
        if (m_wheel.isVisible())
            m_wheel.switchTo(tapped->kind);
        else
            m_wheel.show(tapped->kind, m_dragMonitor.machine.urls, m_platform.dragSource().pointer(), false);
    } else {
        qCInfo(dragLog, "Drag session ended");
        m_wheel.hide();
    }
}

void AppDelegate::cancelDrag()
{
    m_dragMonitor.machine.cancel();
    m_wheel.hide();
}

// The tools that open a window wait for their windows.
void AppDelegate::run(const WheelPetal& petal, const Files& files, QPoint)
{
    if (petal.asTool() != nullptr && petal.asTool()->opensWindow()) {
        qCInfo(jobsLog, "%s opens no window yet", qUtf8Printable(petal.label()));
        return;
    }
    ++m_runningJobs;
    runInBackground(
        this, [petal, files, quality = m_preferences.jpegQuality()] { return perform(petal, files, quality); },
        [this](const Outcome& outcome) {
            logOutcome(outcome);
            --m_runningJobs;
            endIfAlone();
        });
}

} // namespace Pelgra
