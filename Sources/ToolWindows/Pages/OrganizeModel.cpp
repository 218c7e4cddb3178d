#include "ToolWindows/Pages/OrganizeModel.h"

#include "PelgraCore/Thumbnails.h"
#include "Support/BackgroundTask.h"

#include <utility>

namespace Pelgra {

OrganizeModel::OrganizeModel(std::filesystem::path url, QObject* parent)
    : QObject(parent)
    , m_url(std::move(url))
    , m_images(m_url)
{
    connect(&m_images, &PageImages::changed, this, &OrganizeModel::thumbnailChanged);
}

QString OrganizeModel::countLabel() const
{
    return pages().size() == 1 ? QStringLiteral("1 page") : QStringLiteral("%1 pages").arg(pages().size());
}

void OrganizeModel::load()
{
    if (std::exchange(m_started, true))
        return;
    runInBackground(
        this, [url = m_url] { return Thumbnails::pdfPageCount(url); },
        [this](int count) {
            m_edits = PageEdits(count);
            m_isLoading = false;
            Q_EMIT loaded();
            Q_EMIT pagesChanged();
        });
}

void OrganizeModel::setUniformWidth(bool on)
{
    if (std::exchange(m_uniformWidth, on) != on)
        Q_EMIT uniformWidthChanged(on);
}

void OrganizeModel::reset()
{
    if (!m_edits.reset())
        return;
    Q_EMIT pagesChanged();
    Q_EMIT pagesReset();
}

void OrganizeModel::tellIf(bool pagesHaveChanged)
{
    if (pagesHaveChanged)
        Q_EMIT pagesChanged();
}

} // namespace Pelgra
