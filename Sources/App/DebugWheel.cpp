#include "App/DebugWheel.h"

#include "Desktop/AppActivation.h"
#include "Platform/Pointer.h"
#include "Support/Logging.h"
#include "Support/Paths.h"
#include "Support/PreferencesStore.h"
#include "Wheel/WheelController.h"

#include <QGuiApplication>
#include <QScreen>
#include <QTimer>

namespace Pelgra {

namespace {

using Files = std::vector<std::filesystem::path>;

constexpr int highlightDelayMilliseconds = 400;

} // namespace

DebugWheel::DebugWheel(WheelController& wheel, QObject* parent)
    : QObject(parent)
    , m_wheel(wheel)
{
}

void DebugWheel::showDebugWheel()
{
    if (!m_panel) {
        m_panel = new QFileDialog(nullptr, QStringLiteral("Choose files to show the wheel for"));
        m_panel->setAttribute(Qt::WA_DeleteOnClose);
        m_panel->setFileMode(QFileDialog::ExistingFiles);
        connect(m_panel, &QFileDialog::accepted, this, &DebugWheel::showForChosen);
    }
    AppActivation::activate(*m_panel);
}

void DebugWheel::showForChosen()
{
    Files files;
    for (const QUrl& url : m_panel->selectedUrls()) {
        if (const auto file = pathFromUrl(url))
            files.push_back(*file);
    }
    if (files.empty())
        return;
    const QPoint point = Pointer::place();
    QMetaObject::invokeMethod(
        this, [this, files, point] { m_wheel.show(WheelKind::convert, files, point, true); }, Qt::QueuedConnection);
}

void DebugWheel::showLaunchArgumentWheelIfRequested(const PreferencesStore& store)
{
    Files files;
    const QString paths = store.value(QStringLiteral("PelgraDebugWheel")).toString();
    for (const QString& path : paths.split(u':', Qt::SkipEmptyParts))
        files.push_back(absolutePath(pathFromText(path)));
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

void DebugWheel::highlightLater(int petal)
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

} // namespace Pelgra
