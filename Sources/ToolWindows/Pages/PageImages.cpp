#include "ToolWindows/Pages/PageImages.h"

#include "Pictures/RasterConversion.h"
#include "Support/BackgroundTask.h"

#include <optional>

namespace Pelgra {

PageImages::PageImages(const std::filesystem::path& document, QObject* parent)
    : QObject(parent)
    , m_pictures(std::make_shared<Thumbnails::Pages>(document))
{
}

void PageImages::load(std::int64_t page)
{
    if (m_images.contains(page) || m_failed.contains(page))
        return;
    if (const Flag underWay = m_underWay.value(page)) {
        *underWay = false; // back in view
        return;
    }
    const auto cancelled = std::make_shared<std::atomic_bool>(false);
    m_underWay.insert(page, cancelled);
    runInBackground(
        this,
        [pictures = m_pictures, page, cancelled]() -> std::optional<QImage> {
            if (*cancelled)
                return std::nullopt;
            const auto image = pictures->image(static_cast<int>(page), longestSide);
            return image ? toQImage(*image) : QImage();
        },
        [this, page, cancelled](const std::optional<QImage>& image) {
            m_underWay.remove(page);
            if (image && !image->isNull())
                keep(page, *image);
            else if (!image && !*cancelled)
                load(page); // it came back into view after having been left out
            else if (image && !*cancelled)
                m_failed.insert(page);
        },
        utilityPool());
}

void PageImages::cancel(std::int64_t page)
{
    m_failed.remove(page);
    if (const Flag underWay = m_underWay.value(page))
        *underWay = true;
}

void PageImages::keep(std::int64_t page, const QImage& image)
{
    if (m_images.size() >= mostKept) {
        m_images.remove(m_order.front());
        m_order.erase(m_order.begin());
    }
    m_images.insert(page, image);
    m_order.push_back(page);
    Q_EMIT changed(page);
}

} // namespace Pelgra
