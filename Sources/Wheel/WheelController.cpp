#include "Wheel/WheelController.h"

#include "Desktop/AppActivation.h"
#include "Pictures/FileIcons.h"
#include "Pictures/ThumbnailLoader.h"
#include "Platform/Pointer.h"
#include "Support/BackgroundTask.h"
#include "Support/Formatters.h"
#include "Support/Logging.h"
#include "Support/Paths.h"
#include "Wheel/WheelDrawing.h"

#include <QGuiApplication>
#include <QPainter>
#include <QScreen>
#include <QSemaphore>
#include <QTimer>

#include <algorithm>
#include <utility>

namespace Pelgra {

namespace {

/// How many files have their pictures in the centre.
constexpr std::size_t mostThumbnails = 2;

/// The side of a thumbnail in logical pixels: twice that of the largest card.
constexpr int thumbnailSide = 128;

/// How long a wheel waits for the size of a file: long enough to rarely be painted twice, too short to be noticed.
constexpr int patienceMilliseconds = 8;

int thumbnailPixels()
{
    const QScreen* screen = QGuiApplication::primaryScreen();
    return qRound(thumbnailSide * (screen != nullptr ? screen->devicePixelRatio() : 2.0));
}

const char* nameOf(WheelKind kind)
{
    return kind == WheelKind::convert ? "convert" : "tools";
}

} // namespace

WheelController::WheelController(WheelSurface& surface, QObject* parent)
    : QObject(parent)
    , keys([] { return WheelKeys{}; })
    , pointer(Pointer::place)
    , summaryOf([](const auto& files) { return FileInfo::centerSummary(files); })
    , m_panel(std::make_unique<WheelPanel>(surface))
{
    WheelView* const view = m_panel->wheelView();
    connect(view, &WheelView::activated, this, [this](const WheelPetal& petal, const Files& files) {
        const QPoint place = pointer();
        hide();
        Q_EMIT activated(petal, files, place);
    });
    connect(view, &WheelView::dismissed, this, &WheelController::hide);
    connect(view, &WheelView::dragCancelled, this, [this] {
        hide();
        Q_EMIT dragCancelled();
    });
    connect(view, &WheelView::modifiersTapped, this, &WheelController::modifiersTapped);
    connect(m_panel.get(), &WheelPanel::focusLost, this, [this] {
        if (m_panel->allowsKey())
            hide();
    });
    FileIcons::warmUp();
    QTimer::singleShot(0, this, &WheelController::rehearse);
}

void WheelController::rehearse()
{
    WheelContent content;
    for (FileTool tool : FileTool::allCases())
        content.petals.push_back(WheelPetal::tool(tool));
    content.petals.push_back(WheelPetal::format(FileFormat::pdf));
    content.layout = WheelLayout::forPetalCount(static_cast<int>(content.petals.size()));
    content.summary = QStringLiteral("1 byte");
    content.thumbnails = {FileIcons::iconFor("a.pdf", thumbnailPixels())};
    const double scale = m_panel->devicePixelRatioF();
    QImage picture(m_panel->size() * scale, QImage::Format_ARGB32_Premultiplied);
    picture.setDevicePixelRatio(scale);
    for (std::optional<int> highlighted : {std::optional<int>(), std::optional<int>(0)}) {
        content.highlightedIndex = highlighted;
        QPainter painter(&picture);
        WheelDrawing::paintBackdrop(painter, content, m_panel->rect());
        WheelDrawing::paintWheel(painter, content, m_panel->rect(), m_panel->rect());
    }
}

void WheelController::show(WheelKind kind, std::vector<std::filesystem::path> urls, QPoint point, bool interactive)
{
    m_urls = std::move(urls);
    m_panel->wheelView()->fallbackURLs = interactive ? m_urls : std::vector<std::filesystem::path>();
    m_kind = kind;
    configureView();
    loadCentre();
    m_panel->centerOn(point);
    m_panel->setAllowsKey(interactive);
    if (!m_panel->isShown())
        m_panel->fadeIn();
    if (interactive) {
        AppActivation::activate(*m_panel);
        m_panel->wheelView()->setFocus();
    }
    qCInfo(wheelLog, "Wheel shown: %s, %zu file(s)", nameOf(kind), m_urls.size());
}

void WheelController::switchTo(WheelKind kind)
{
    if (!m_panel->isShown() || m_kind == kind)
        return;
    m_kind = kind;
    configureView();
}

void WheelController::hide()
{
    if (!m_panel->isShown())
        return;
    m_kind.reset();
    m_panel->wheelView()->setHighlightedIndex(std::nullopt);
    m_panel->fadeOut();
    m_panel->setAllowsKey(false);
}

void WheelController::configureView()
{
    m_panel->wheelView()->configure(WheelPetal::petalsFor(*m_kind, m_urls), WheelPetal::emptyMessage(*m_kind));
}

void WheelController::loadCentre()
{
    loadSummary();
    WheelView* const view = m_panel->wheelView();
    std::vector<std::filesystem::path> shown(m_urls.begin(), m_urls.begin() + std::min(m_urls.size(), mostThumbnails));
    if (shown == m_thumbnailURLs)
        return;
    m_thumbnailURLs = std::move(shown);
    m_thumbnailToken = QUuid::createUuid();
    std::vector<QImage> icons;
    for (const std::filesystem::path& file : m_thumbnailURLs)
        icons.push_back(FileIcons::iconFor(file, thumbnailPixels()));
    view->setThumbnails(std::move(icons));
    // Answers to earlier questions are of no use any more.
    ThumbnailLoader::pool().clear();
    for (std::size_t index = 0; index < m_thumbnailURLs.size(); ++index)
        loadThumbnail(index);
}

void WheelController::loadSummary()
{
    // The file may be on a sleeping disk or behind a network that is down: what is not known at once comes later.
    struct Answer {
        QString text;
        QSemaphore isKnown;
    };
    const auto answer = std::make_shared<Answer>();
    runInBackground(
        this,
        [answer, words = summaryOf, files = m_urls] {
            answer->text = words(files);
            answer->isKnown.release();
            return answer->text;
        },
        [this, files = m_urls](const QString& text) {
            if (files == m_urls)
                m_panel->wheelView()->setSummary(text);
        },
        lookUpPool());
    const bool isKnown = answer->isKnown.tryAcquire(1, patienceMilliseconds);
    m_panel->wheelView()->setSummary(isKnown ? answer->text : QString());
}

void WheelController::loadThumbnail(std::size_t index)
{
    const std::filesystem::path& file = m_thumbnailURLs[index];
    runInBackground(
        this, [file, pixels = thumbnailPixels()] { return ThumbnailLoader::load(file, pixels); },
        [this, file, index, token = m_thumbnailToken](const QImage& picture) {
            if (token != m_thumbnailToken)
                return;
            if (picture.isNull())
                qCInfo(wheelLog, "No thumbnail: %s", qUtf8Printable(textFromPath(file)));
            else
                m_panel->wheelView()->setThumbnail(index, picture);
        },
        ThumbnailLoader::pool());
}

void WheelController::modifiersTapped(ModifierFlags pressed)
{
    const WheelKeys bound = keys();
    if ((pressed & flagOf(bound.convert)) != 0)
        switchTo(WheelKind::convert);
    else if ((pressed & flagOf(bound.tools)) != 0)
        switchTo(WheelKind::tools);
}

} // namespace Pelgra
