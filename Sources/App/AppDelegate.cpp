#include "App/AppDelegate.h"

#include "App/MenuBarIcon.h"
#include "App/TrayHost.h"
#include "App/Updates/SparkleUpdater.h"
#include "Desktop/AppActivation.h"
#include "Desktop/Motion.h"
#include "Jobs/HUDPanel.h"
#include "Platform/Compositing.h"
#include "Platform/Platform.h"
#include "Settings/Preferences.h"
#include "Settings/SettingsWindow.h"
#include "Support/BackgroundTask.h"
#include "Support/Logging.h"
#include "Support/Paths.h"
#include "ToolWindows/ToolWindows.h"

#include <QCoreApplication>
#include <QEvent>
#include <QFileDialog>
#include <QGuiApplication>
#include <QMessageBox>
#include <QPushButton>
#include <QScreen>

#include <algorithm>

namespace Pelgra {

namespace {

constexpr int highlightDelayMilliseconds = 400;
constexpr int afterwardsMilliseconds = 50;
constexpr int longestFarewellMilliseconds = 5000;

} // namespace

AppDelegate::AppDelegate(Preferences& preferences, Platform& platform, QObject* parent)
    : QObject(parent)
    , m_preferences(preferences)
    , m_platform(platform)
    , m_dragMonitor(platform.dragSource())
    , m_wheel(platform.wheelSurface())
{
    startPaintingThreads();
    Compositing::follow(&platform);
    m_afterwards.setInterval(afterwardsMilliseconds);
    connect(&m_afterwards, &QTimer::timeout, this, [this] {
        if (!isWorking() && (m_quitsWhenDone || (m_isAlone && !m_wheel.isVisible())))
            QCoreApplication::quit();
    });
}

AppDelegate::~AppDelegate()
{
    Compositing::follow(nullptr);
    m_platform.dragSource().onEscape = nullptr;
    Updater::setCurrent(nullptr);
}

void AppDelegate::applicationDidFinishLaunching()
{
    if (qEnvironmentVariableIsSet("XCTestConfigurationFilePath"))
        return;
    Motion::followDesktop(this);
    installUpdater();
    m_trayHost = std::make_unique<TrayHost>(m_platform);
    connect(m_trayHost.get(), &TrayHost::available, this, &AppDelegate::installStatusItem);
    wireWheel();
    wireMonitor();
    m_dragMonitor.start();
    qCInfo(applicationLog, "Pelgra launched");
    showLaunchArgumentWheelIfRequested();
    ToolWindows::presentFromLaunchArguments(QCoreApplication::arguments());
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
    m_isAlone = true;
    Motion::followDesktop(this);
    wireWheel();
    m_wheel.panel()->installEventFilter(this);
    m_wheel.show(kind, files, m_platform.dragSource().pointer(), true);
}

void AppDelegate::open(WheelKind kind, const Files& files)
{
    if (files.empty())
        openSettings();
    else
        m_wheel.show(kind, files, m_platform.dragSource().pointer(), true);
}

bool AppDelegate::eventFilter(QObject* watched, QEvent* event)
{
    // Later, since a chosen petal is handed over only after its wheel has begun to hide.
    if (m_isAlone && event->type() == QEvent::Hide)
        m_afterwards.start();
    return QObject::eventFilter(watched, event);
}

JobRunner& AppDelegate::jobs()
{
    if (!m_jobs) {
        m_jobs = std::make_unique<JobRunner>(m_preferences, &ToolWindows::present);
        connect(m_jobs.get(), &JobRunner::runningJobsChanged, this, &AppDelegate::jobsChanged);
    }
    return *m_jobs;
}

void AppDelegate::jobsChanged()
{
    if (m_isAlone || m_quitsWhenDone)
        m_afterwards.start();
}

bool AppDelegate::isWorking() const
{
    const auto windows = ToolWindowController::openControllers();
    if (m_quitsWhenDone) {
        return (m_jobs && m_jobs->runningJobs() > 0)
            || std::any_of(windows.begin(), windows.end(), [](auto* window) { return window->context().isRunning(); });
    }
    return (m_jobs && m_jobs->runningJobs() > 0) || !windows.empty() || !HUDPanel::livePanels().isEmpty();
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
        jobs().run(petal, files, point);
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
    QAction* const settings = m_menu->addAction(QStringLiteral("Settings…"), this, &AppDelegate::openSettings);
    settings->setShortcut(Qt::ControlModifier | Qt::Key_Comma);
    m_menu->addAction(QStringLiteral("Check for Updates…"), this, &AppDelegate::checkForUpdates);
    m_debugItem =
        m_menu->addAction(QStringLiteral("Debug: Show wheel for sample file…"), this, &AppDelegate::showDebugWheel);
    m_menu->addSeparator();
    QAction* const quit = m_menu->addAction(QStringLiteral("Quit Pelgra"), this, &AppDelegate::requestQuit);
    quit->setShortcut(Qt::ControlModifier | Qt::Key_Q);
    connect(m_menu.get(), &QMenu::aboutToShow, this, &AppDelegate::updateMenu);
    connect(&m_preferences, &Preferences::convertKeyChanged, this, &AppDelegate::updateMenu);
    connect(&m_preferences, &Preferences::toolsKeyChanged, this, &AppDelegate::updateMenu);

    m_statusItem = std::make_unique<QSystemTrayIcon>();
    MenuBarIcon::showIn(*m_statusItem);
    m_statusItem->setToolTip(QStringLiteral("Pelgra"));
    m_statusItem->setContextMenu(m_menu.get());
    connect(m_statusItem.get(), &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason reason) {
        // A plain click shows the menu as well, where the tray leaves that to the program.
        if (reason == QSystemTrayIcon::Trigger)
            m_menu->popup(m_platform.dragSource().pointer());
    });
    updateMenu();
    m_statusItem->show();
}

void AppDelegate::updateMenu()
{
    m_hintItem->setText(m_preferences.menuHint());
    m_platform.dragSource().refresh();
    const ModifierFlags option = flagOf(ModifierKey::option);
    m_debugItem->setVisible((m_platform.dragSource().modifierFlagsNow() & option) == option);
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

void AppDelegate::openSettings()
{
    const bool hasTray = m_trayHost && m_trayHost->isThere();
    SettingsWindow::show([this] { requestQuit(); }, !hasTray);
}

void AppDelegate::checkForUpdates()
{
    if (SparkleUpdater::isConfigured() && Updater::current()) {
        Updater::current()->checkForUpdates();
        return;
    }
    auto* const alert = new QMessageBox(QMessageBox::Information, QStringLiteral("Pelgra"),
                                        QStringLiteral("Updates aren't set up in this build"), QMessageBox::Ok);
    alert->setInformativeText(QStringLiteral("This copy of Pelgra has no update signing key."));
    alert->setAttribute(Qt::WA_DeleteOnClose);
    AppActivation::activate(*alert);
}

void AppDelegate::showDebugWheel()
{
    auto* const panel = new QFileDialog(nullptr, QStringLiteral("Choose files to show the wheel for"));
    panel->setAttribute(Qt::WA_DeleteOnClose);
    panel->setFileMode(QFileDialog::ExistingFiles);
    connect(panel, &QFileDialog::accepted, this, [this, panel] {
        Files files;
        for (const QUrl& url : panel->selectedUrls()) {
            if (const auto file = pathFromUrl(url))
                files.push_back(*file);
        }
        if (files.empty())
            return;
        const QPoint point = m_platform.dragSource().pointer();
        QMetaObject::invokeMethod(
            this, [this, files, point] { m_wheel.show(WheelKind::convert, files, point, true); }, Qt::QueuedConnection);
    });
    AppActivation::activate(*panel);
}

void AppDelegate::showLaunchArgumentWheelIfRequested()
{
    const PreferencesStore& store = m_preferences.store();
    Files files;
    const QString paths = store.value(QStringLiteral("PelgraDebugWheel")).toString();
    for (const QString& path : paths.split(u':', Qt::SkipEmptyParts))
        files.push_back(std::filesystem::absolute(pathFromText(path)));
    if (files.empty())
        return;
    const bool tools = store.value(QStringLiteral("PelgraDebugKind")).toString() == QStringLiteral("tools");
    const QScreen* const screen = QGuiApplication::primaryScreen();
    m_wheel.show(tools ? WheelKind::tools : WheelKind::convert, files, screen ? screen->geometry().center() : QPoint(),
                 true);
    const QVariant highlight = store.value(QStringLiteral("PelgraDebugHighlight"));
    if (highlight.isValid())
        highlightLater(highlight.toInt());
}

void AppDelegate::highlightLater(int petal)
{
    QTimer::singleShot(highlightDelayMilliseconds, this, [this, petal] {
        WheelView* const view = m_wheel.panel()->wheelView();
        const int count = static_cast<int>(view->content().petals.size());
        const bool isThere = petal >= 0 && petal < count;
        if (!isThere)
            qCWarning(wheelLog, "PelgraDebugHighlight: there is no petal %d", petal);
        view->setHighlightedIndex(isThere ? std::optional(petal) : std::nullopt);
    });
}

void AppDelegate::requestQuit()
{
    m_quitsWhenDone = true;
    if (!isWorking()) {
        QCoreApplication::quit();
        return;
    }
    m_quitsWhenDone = false;
    auto* const question =
        new QMessageBox(QMessageBox::Question, QStringLiteral("Pelgra"), QStringLiteral("Pelgra is still working"));
    question->setInformativeText(QStringLiteral("Files that aren’t finished yet won’t appear if you stop now."));
    const auto* const finish = question->addButton(QStringLiteral("Finish, Then Quit"), QMessageBox::AcceptRole);
    const auto* const stop = question->addButton(QStringLiteral("Stop and Quit"), QMessageBox::DestructiveRole);
    question->addButton(QMessageBox::Cancel);
    question->setAttribute(Qt::WA_DeleteOnClose);
    connect(finish, &QPushButton::clicked, this, [this] {
        m_quitsWhenDone = true;
        m_afterwards.start();
    });
    connect(stop, &QPushButton::clicked, this, &AppDelegate::terminate);
    AppActivation::activate(*question);
}

void AppDelegate::terminate()
{
    // Files have no name before they are complete, so ending leaves none unfinished. Jobs that build a folder are given
    // the time to stop and clear it away; no session waits for ever.
    if (m_jobs)
        m_jobs->stopAll();
    m_farewell.setRemainingTime(longestFarewellMilliseconds);
    connect(&m_afterwards, &QTimer::timeout, this, &AppDelegate::quitOnceStopped);
    m_afterwards.start();
    quitOnceStopped();
}

void AppDelegate::quitOnceStopped()
{
    if (jobPool().waitForDone(0) || m_farewell.hasExpired())
        QCoreApplication::quit();
}

} // namespace Pelgra
