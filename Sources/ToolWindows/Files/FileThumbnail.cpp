#include "ToolWindows/Files/FileThumbnail.h"

#include "Controls/Symbols.h"
#include "Controls/ToolButtons.h"
#include "PelgraCore/Thumbnails.h"
#include "Pictures/RasterConversion.h"
#include "Support/BackgroundTask.h"

#include <QPainter>
#include <QPainterPath>

namespace Pelgra {

namespace {

constexpr int frameSide = 36; // logical pixels
constexpr double thumbnailPixels = 96;
constexpr double cornerRadius = 4;
constexpr int symbolSize = 20;

} // namespace

FileThumbnail::FileThumbnail(std::filesystem::path url, QWidget* parent)
    : QWidget(parent)
    , m_url(std::move(url))
{
    setFixedSize(frameSide, frameSide);
    setAttribute(Qt::WA_TransparentForMouseEvents);
}

void FileThumbnail::showEvent(QShowEvent* event)
{
    QWidget::showEvent(event);
    if (std::exchange(m_asked, true))
        return;
    runInBackground(
        this,
        [url = m_url] {
            const auto image = Thumbnails::image(url, 0, thumbnailPixels);
            return image ? toQImage(*image) : QImage();
        },
        [this](const QImage& image) {
            m_image = image;
            update();
        },
        utilityPool());
}

void FileThumbnail::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform);
    if (m_image.isNull()) {
        const QPixmap symbol =
            Symbols::pixmap(QStringLiteral("photo"), symbolSize, secondaryColor(*this), devicePixelRatioF());
        const QSizeF size = QSizeF(symbol.size()) / symbol.devicePixelRatio();
        painter.drawPixmap(QRectF(rect()).center() - QPointF(size.width(), size.height()) / 2, symbol);
        return;
    }
    QRectF frame(QPointF(), QSizeF(m_image.size()).scaled(QSizeF(size()), Qt::KeepAspectRatio));
    frame.moveCenter(QRectF(rect()).center());
    QPainterPath clip;
    clip.addRoundedRect(frame, cornerRadius, cornerRadius);
    painter.save();
    painter.setClipPath(clip);
    painter.drawImage(frame, m_image);
    painter.restore();
    painter.setPen(QPen(primaryColor(*this, 0.08), 0.5));
    painter.drawPath(clip);
}

} // namespace Pelgra
