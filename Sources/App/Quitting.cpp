#include "App/Quitting.h"

#include "Desktop/AppActivation.h"
#include "Jobs/HUDPanel.h"
#include "Jobs/RunningJobs.h"
#include "Support/Logging.h"
#include "ToolWindows/ToolWindowController.h"

#include <QCoreApplication>
#include <QEvent>
#include <QPushButton>

namespace Pelgra {

namespace {

bool holdsNews(const HUDState& state)
{
    const auto* done = std::get_if<HUDDone>(&state);
    return std::holds_alternative<HUDFailed>(state) || (done && done->secondText);
}

} // namespace

Quitting::Quitting(std::chrono::milliseconds farewell, QObject* parent)
    : QObject(parent)
    , m_farewell(farewell)
{
    // The session's request to end comes as an event to the application, which would ask every window first.
    QCoreApplication::instance()->installEventFilter(this);
    connect(&RunningJobs::shared(), &RunningJobs::countChanged, this, &Quitting::proceed);
    m_lastMoment.setSingleShot(true);
    connect(&m_lastMoment, &QTimer::timeout, this, [this] {
        qCWarning(jobsLog, "%d job(s) did not stop in time", RunningJobs::shared().count());
        leave();
    });
}

bool Quitting::eventFilter(QObject* watched, QEvent* event)
{
    if (watched != QCoreApplication::instance() || event->type() != QEvent::Quit)
        return QObject::eventFilter(watched, event);
    terminate();
    return true;
}

void Quitting::requestQuit()
{
    if (RunningJobs::shared().count() == 0) {
        leave();
        return;
    }
    if (m_question) {
        AppActivation::activate(*m_question);
        return;
    }
    m_question =
        new QMessageBox(QMessageBox::Question, QStringLiteral("Pelgra"), QStringLiteral("Pelgra is still working"));
    m_question->setInformativeText(QStringLiteral("Files that aren’t finished yet won’t appear if you stop now."));
    const auto* const finish = m_question->addButton(QStringLiteral("Finish, Then Quit"), QMessageBox::AcceptRole);
    const auto* const stop = m_question->addButton(QStringLiteral("Stop and Quit"), QMessageBox::DestructiveRole);
    m_question->addButton(QMessageBox::Cancel);
    m_question->setAttribute(Qt::WA_DeleteOnClose);
    connect(finish, &QPushButton::clicked, this, [this] { waitFor(Wait::finished); });
    connect(stop, &QPushButton::clicked, this, &Quitting::terminate);
    AppActivation::activate(*m_question);
}

void Quitting::terminate()
{
    // Files have no name before they are complete, so ending leaves none unfinished. Jobs that build a folder are given
    // the time to stop and clear it away; no session waits forever.
    RunningJobs::shared().stopAll();
    m_lastMoment.start(m_farewell);
    waitFor(Wait::stopped);
}

void Quitting::quitWhenNothingIsLeft()
{
    waitFor(Wait::nothingLeft);
}

void Quitting::waitFor(Wait what)
{
    m_wait = what;
    proceed();
}

void Quitting::proceed()
{
    if (m_wait == Wait::none || RunningJobs::shared().count() > 0)
        return;
    const auto onceMore = static_cast<Qt::ConnectionType>(Qt::QueuedConnection | Qt::UniqueConnection);
    if (const QObject* const last = lastToWaitFor())
        connect(last, &QObject::destroyed, this, &Quitting::proceed, onceMore);
    else
        leave();
}

QObject* Quitting::lastToWaitFor() const
{
    if (m_wait == Wait::stopped)
        return nullptr;
    for (HUDPanel* const panel : HUDPanel::livePanels()) {
        if (m_wait == Wait::nothingLeft || holdsNews(panel->state()))
            return panel;
    }
    if (m_wait == Wait::nothingLeft && !ToolWindowController::openControllers().empty())
        return ToolWindowController::openControllers().front();
    return nullptr;
}

void Quitting::leave()
{
    for (ToolWindowController* const controller : ToolWindowController::openControllers())
        controller->finish(std::nullopt);
    // Not quit(), which asks every window and stays when one refuses.
    QCoreApplication::exit();
}

} // namespace Pelgra
