#include "App/AppDelegate.h"

#include "App/StatusMenu.h"
#include "App/Updates/SparkleUpdater.h"
#include "Desktop/AppActivation.h"
#include "Desktop/Motion.h"
#include "PelgraCore/Isolation.h"
#include "Platform/Compositing.h"
#include "Platform/Placement.h"
#include "Platform/Platform.h"
#include "Platform/Pointer.h"
#include "Settings/Preferences.h"
#include "Settings/SettingsWindow.h"
#include "Settings/ThisDesktop.h"
#include "Support/BackgroundTask.h"
#include "Support/Logging.h"
#include "ToolWindows/ToolWindows.h"
#include "Wheel/TargetRules.h"

#include <QCoreApplication>
#include <QMessageBox>
#include <QThreadPool>

#include <chrono>
#include <utility>

namespace Pelgra {

namespace {

using namespace std::chrono_literals;

/// A drop may come this much later than the end of its drag was seen.
constexpr auto longestWaitForDrop = 500ms;

/// A petal may be chosen soon: whatever then reads the files is started meanwhile.
void warmUpWorkers()
{
    if (Isolation::usesWorkers())
        lookUpPool().start([] { Isolation::warmUp(1); });
}

} // namespace

AppDelegate::AppDelegate(Preferences& preferences, Platform& platform, QObject* parent)
    : QObject(parent)
    , m_preferences(preferences)
    , m_platform(platform)
    , m_dragMonitor(platform.dragSource())
    , m_wheel(platform.wheelSurface())
    , m_debugWheel(m_wheel)
{
    startPaintingThreads();
    m_isDropAwaited.setSingleShot(true);
    connect(&m_isDropAwaited, &QTimer::timeout, this, &AppDelegate::showPostponed);
    Compositing::follow(&platform);
    Pointer::follow(&platform.dragSource());
    Placement::follow(&platform);
    ThisDesktop::follow(&platform);
}

AppDelegate::~AppDelegate()
{
    Compositing::follow(nullptr);
    Pointer::follow(nullptr);
    Placement::follow(nullptr);
    ThisDesktop::follow(nullptr);
    m_platform.dragSource().onCancelled = nullptr;
    m_platform.dragSource().onSign = nullptr;
    m_platform.onShortcut = nullptr;
    m_platform.onShortcutsAnswered = nullptr;
    Updater::setCurrent(nullptr);
}

void AppDelegate::applicationDidFinishLaunching()
{
    if (qEnvironmentVariableIsSet("XCTestConfigurationFilePath"))
        return;
    Motion::followDesktop(this);
    installUpdater();
    installStatusMenu();
    wireWheel();
    wireMonitor();
    wireTargets();
    m_dragMonitor.start();
    listenToTaps();
    qCInfo(applicationLog, "Pelgra launched");
    m_debugWheel.showLaunchArgumentWheelIfRequested(m_preferences.store());
    ToolWindows::presentFromLaunchArguments(QCoreApplication::arguments());
}

void AppDelegate::installStatusMenu()
{
    m_statusMenu = std::make_unique<StatusMenu>(m_preferences, m_platform);
    connect(m_statusMenu.get(), &StatusMenu::settingsChosen, this, &AppDelegate::openSettings);
    connect(m_statusMenu.get(), &StatusMenu::updateCheckChosen, this, &AppDelegate::checkForUpdates);
    connect(m_statusMenu.get(), &StatusMenu::debugWheelChosen, &m_debugWheel, &DebugWheel::showDebugWheel);
    connect(m_statusMenu.get(), &StatusMenu::quitChosen, &m_quitting, &Quitting::requestQuit);
}

void AppDelegate::installUpdater()
{
    m_updater = std::make_unique<SparkleUpdater>();
    Updater::setCurrent(m_updater.get());
    m_updater->setAutomaticallyChecksForUpdates(m_preferences.checkForUpdatesAutomatically());
    Updater::follow(m_preferences);
}

void AppDelegate::showWheelAlone(WheelKind kind, const Files& files)
{
    Motion::followDesktop(this);
    wireWheel();
    // Later, since a chosen petal is handed over only after its wheel has begun to hide.
    connect(
        m_wheel.panel(), &WheelPanel::vanished, &m_quitting,
        [this] {
            if (!m_wheel.isVisible())
                m_quitting.quitWhenNothingIsLeft();
        },
        Qt::QueuedConnection);
    showAtPointer(kind, files);
}

void AppDelegate::showAtPointer(WheelKind kind, const Files& files)
{
    warmUpWorkers();
    m_platform.findPointer([this, kind, files](QPoint point) { m_wheel.show(kind, files, point, true); });
}

void AppDelegate::open(WheelKind kind, const Files& files)
{
    if (files.empty())
        openSettings();
    else if (m_dragMonitor.machine.isActive || m_isDropAwaited.isActive())
        m_postponed = [this, kind, files] {
            open(kind, files); // the petals of the drag must not change below it
        };
    else
        showAtPointer(kind, files);
}

JobRunner& AppDelegate::jobs()
{
    if (!m_jobs)
        m_jobs = std::make_unique<JobRunner>(m_preferences, &ToolWindows::present);
    return *m_jobs;
}

void AppDelegate::wireWheel()
{
    m_wheel.keys = [this] {
        return m_preferences.wheelKeys();
    };
    connect(&m_wheel, &WheelController::activated, this,
            [this](const WheelPetal& petal, const Files& files, QPoint point) { jobs().run(petal, files, point); });
    connect(&m_wheel, &WheelController::dragCancelled, this, &AppDelegate::cancelDrag);
}

void AppDelegate::wireMonitor()
{
    m_dragMonitor.keys = [this] {
        return m_preferences.wheelKeys();
    };
    connect(&m_dragMonitor, &DragMonitor::happened, this, &AppDelegate::handle);
    m_platform.dragSource().onCancelled = [this] {
        cancelDrag();
    };
    m_platform.onShortcut = [this](bool isForTools) {
        m_platform.tapped(tapFlagOf(isForTools ? WheelKind::tools : WheelKind::convert));
    };
    m_platform.onShortcutsAnswered = [this](bool areGiven) {
        m_preferences.setUsesShortcuts(areGiven);
    };
    if (m_preferences.usesShortcuts())
        m_platform.useShortcuts();
}

void AppDelegate::wireTargets()
{
    const auto makeAsWanted = [this] {
        m_targets = m_preferences.showsTargets() ? std::make_unique<WheelTargets>() : nullptr;
        if (!m_targets)
            return;
        connect(m_targets.get(), &WheelTargets::entered, this, [this](WheelKind kind) {
            if (m_dragMonitor.machine.isActive) {
                openWheel(kind);
            } else {
                m_targets->stepAside();
                m_platform.lookForDrag(tapFlagOf(kind));
            }
        });
    };
    connect(&m_preferences, &Preferences::showsTargetsChanged, this, makeAsWanted);
    makeAsWanted();
    m_platform.dragSource().onSign = [this](const DragSign& sign) {
        QMetaObject::invokeMethod(this, [this, sign] { offerTargetsAtEdge(sign); }, Qt::QueuedConnection);
    };
}

void AppDelegate::listenToTaps()
{
    m_taps = std::make_unique<TapSocket>();
    connect(m_taps.get(), &TapSocket::tapped, this, [this](WheelKind kind) { m_platform.tapped(tapFlagOf(kind)); });
}

void AppDelegate::handle(const DragEvent& event)
{
    if (const auto* started = std::get_if<SessionStarted>(&event)) {
        qCInfo(dragLog, "Drag session started with %zu file(s)", started->files.size());
        // Later: a drag that was looked for has its wheel in a moment.
        QMetaObject::invokeMethod(this, &AppDelegate::offerTargets, Qt::QueuedConnection);
    } else if (const auto* tapped = std::get_if<KeyTapped>(&event)) {
        openWheel(tapped->kind);
    } else {
        qCInfo(dragLog, "Drag session ended");
        dismissTargets();
        m_wheel.hide();
        m_isDropAwaited.start(longestWaitForDrop);
    }
}

void AppDelegate::openWheel(WheelKind kind)
{
    dismissTargets();
    if (m_wheel.isInteractive())
        m_wheel.hide(); // its petals are for other files
    if (m_wheel.isVisible()) {
        m_wheel.switchTo(kind);
        return;
    }
    warmUpWorkers();
    m_wheel.show(kind, m_dragMonitor.machine.urls, Pointer::place(), false);
}

void AppDelegate::offerTargets()
{
    if (!m_targets || !m_dragMonitor.machine.isActive || m_wheel.isVisible())
        return;
    const std::vector<WheelKind> kinds = TargetRules::kindsFor(m_dragMonitor.machine.urls);
    if (const std::optional<QPoint> pointer = m_platform.dragSource().pointer())
        m_targets->showBeside(*pointer, kinds);
    else
        m_targets->showAtEdge(kinds);
}

void AppDelegate::offerTargetsAtEdge(const DragSign& sign)
{
    if (!m_targets)
        return;
    if (!sign.isWithinReach)
        m_targets->dismiss();
    else
        m_targets->showAtEdge(sign.files ? TargetRules::kindsFor(*sign.files)
                                         : std::vector{WheelKind::convert, WheelKind::tools});
}

void AppDelegate::dismissTargets()
{
    if (m_targets)
        m_targets->dismiss();
}

void AppDelegate::cancelDrag()
{
    m_dragMonitor.machine.cancel();
    dismissTargets();
    m_wheel.hide();
    m_isDropAwaited.start(longestWaitForDrop);
}

void AppDelegate::showPostponed()
{
    if (const auto show = std::exchange(m_postponed, nullptr))
        show();
}

void AppDelegate::openSettings()
{
    const bool hasTray = m_statusMenu && m_statusMenu->isShown();
    SettingsWindow::show([this] { m_quitting.requestQuit(); }, !hasTray);
}

void AppDelegate::checkForUpdates()
{
    if (SparkleUpdater::isConfigured() && Updater::current()) {
        Updater::current()->checkForUpdates();
        return;
    }
    if (!m_updatesAlert) {
        m_updatesAlert = new QMessageBox(QMessageBox::Information, QStringLiteral("Pelgra"),
                                         QStringLiteral("Updates aren't set up in this build"), QMessageBox::Ok);
        m_updatesAlert->setInformativeText(QStringLiteral("This copy of Pelgra has no update signing key."));
        m_updatesAlert->setAttribute(Qt::WA_DeleteOnClose);
    }
    AppActivation::activate(*m_updatesAlert);
}

} // namespace Pelgra
