#include "ToolWindows/Pages/OrganizeModel.h"

#include "Pictures/RasterConversion.h"
#include "Support/BackgroundTask.h"
#include "ToolWindows/Reordering/Reordering.h"

#include <algorithm>
#include <optional>

namespace Pelgra {

OrganizeModel::OrganizeModel(std::filesystem::path url, QObject* parent)
    : QObject(parent)
    , m_url(std::move(url))
    , m_pictures(std::make_shared<Thumbnails::Pages>(m_url))
{
}

bool OrganizeModel::isChanged() const
{
    return !std::equal(m_pages.begin(), m_pages.end(), m_original.begin(), m_original.end(),
                       [](const PageEdit& a, const PageEdit& b) {
                           return a.sourceIndex == b.sourceIndex && a.rotation == b.rotation;
                       });
}

QString OrganizeModel::countLabel() const
{
    return m_pages.size() == 1 ? QStringLiteral("1 page") : QStringLiteral("%1 pages").arg(m_pages.size());
}

void OrganizeModel::load()
{
    if (m_started)
        return;
    m_started = true;
    runInBackground(
        this, [url = m_url] { return Thumbnails::pdfPageCount(url); },
        [this](int count) {
            m_pages.reserve(static_cast<std::size_t>(std::max(count, 0)));
            for (int index = 0; index < count; ++index)
                m_pages.emplace_back(index, 0);
            m_original = m_pages;
            m_history = {m_pages};
            m_isLoading = false;
            Q_EMIT loaded();
            Q_EMIT pagesChanged();
        });
}

void OrganizeModel::loadThumbnail(std::int64_t sourceIndex)
{
    if (m_thumbnails.contains(sourceIndex) || m_failed.contains(sourceIndex))
        return;
    if (m_inFlight.contains(sourceIndex)) {
        *m_cancelled.value(sourceIndex) = false; // back in view
        return;
    }
    m_inFlight.insert(sourceIndex);
    auto cancelled = std::make_shared<std::atomic_bool>(false);
    m_cancelled.insert(sourceIndex, cancelled);
    runInBackground(
        this,
        [pictures = m_pictures, sourceIndex, cancelled]() -> std::optional<QImage> {
            if (*cancelled)
                return std::nullopt;
            const auto image = pictures->image(static_cast<int>(sourceIndex), thumbnailPixels);
            return image ? toQImage(*image) : QImage();
        },
        [this, sourceIndex, cancelled](const std::optional<QImage>& image) {
            m_inFlight.remove(sourceIndex);
            m_cancelled.remove(sourceIndex);
            if (image && !image->isNull())
                storeThumbnail(sourceIndex, *image);
            else if (!image && !*cancelled)
                loadThumbnail(sourceIndex); // it came back into view after it had been left out
            else if (image && !*cancelled)
                m_failed.insert(sourceIndex);
        },
        utilityPool());
}

void OrganizeModel::cancelThumbnail(std::int64_t sourceIndex)
{
    m_failed.remove(sourceIndex);
    if (const auto cancelled = m_cancelled.value(sourceIndex))
        *cancelled = true;
}

void OrganizeModel::storeThumbnail(std::int64_t sourceIndex, const QImage& image)
{
    if (m_thumbnails.size() >= thumbnailLimit) {
        m_thumbnails.remove(m_thumbnailOrder.front());
        m_thumbnailOrder.erase(m_thumbnailOrder.begin());
    }
    m_thumbnails.insert(sourceIndex, image);
    m_thumbnailOrder.push_back(sourceIndex);
    Q_EMIT thumbnailChanged(sourceIndex);
}

void OrganizeModel::rotate(const Identifier& id)
{
    if (const auto index = Reordering::indexOf(m_pages, id)) {
        m_pages[*index].rotation = (m_pages[*index].rotation + 90) % 360;
        recordStep();
    }
}

void OrganizeModel::duplicate(const Identifier& id)
{
    if (const auto index = Reordering::indexOf(m_pages, id)) {
        const PageEdit& page = m_pages[*index];
        const PageEdit copy(page.sourceIndex, page.rotation);
        m_pages.insert(m_pages.begin() + static_cast<std::ptrdiff_t>(*index) + 1, copy);
        recordStep();
    }
}

void OrganizeModel::remove(const Identifier& id)
{
    if (!canRemove())
        return;
    if (const auto index = Reordering::indexOf(m_pages, id)) {
        m_pages.erase(m_pages.begin() + static_cast<std::ptrdiff_t>(*index));
        recordStep();
    }
}

void OrganizeModel::setUniformWidth(bool on)
{
    if (m_uniformWidth == on)
        return;
    m_uniformWidth = on;
    Q_EMIT uniformWidthChanged(on);
}

void OrganizeModel::reset()
{
    if (!isChanged())
        return;
    replacePages(m_original);
    Q_EMIT pagesReset();
}

void OrganizeModel::dragOver(const Identifier& dragging, const Identifier& target)
{
    if (Reordering::dragOver(m_pages, dragging, target))
        Q_EMIT pagesChanged();
}

void OrganizeModel::commitReordering()
{
    if (!m_history.empty() && m_history[m_position] != m_pages)
        recordStep();
}

void OrganizeModel::cancelReordering()
{
    if (m_history.empty() || m_history[m_position] == m_pages)
        return;
    m_pages = m_history[m_position];
    Q_EMIT pagesChanged();
}

void OrganizeModel::moveBy(const Identifier& id, std::ptrdiff_t delta)
{
    const auto index = Reordering::indexOf(m_pages, id);
    if (!index || !Reordering::canMove(m_pages.size(), static_cast<std::ptrdiff_t>(*index), delta) || delta == 0)
        return;
    const Identifier target = m_pages[static_cast<std::size_t>(static_cast<std::ptrdiff_t>(*index) + delta)].id;
    Reordering::dragOver(m_pages, id, target);
    recordStep();
}

void OrganizeModel::undo()
{
    if (!canUndo())
        return;
    m_pages = m_history[--m_position];
    Q_EMIT pagesChanged();
}

void OrganizeModel::redo()
{
    if (!canRedo())
        return;
    m_pages = m_history[++m_position];
    Q_EMIT pagesChanged();
}

void OrganizeModel::replacePages(std::vector<PageEdit> pages)
{
    m_pages = std::move(pages);
    recordStep();
}

void OrganizeModel::recordStep()
{
    constexpr std::size_t historyLimit = 200;
    m_history.resize(m_position + 1);
    m_history.push_back(m_pages);
    if (m_history.size() > historyLimit)
        m_history.erase(m_history.begin());
    m_position = m_history.size() - 1;
    Q_EMIT pagesChanged();
}

} // namespace Pelgra
