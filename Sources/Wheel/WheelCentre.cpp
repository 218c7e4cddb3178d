#include "Wheel/WheelCentre.h"

#include "Controls/SoftShadow.h"
#include "Wheel/WheelDrawing.h"

#include <QFont>
#include <QPainter>
#include <QTransform>

#include <algorithm>
#include <cmath>

namespace Pelgra::WheelCentre {

namespace {

QColor gray(double level, double alpha)
{
    const auto component = static_cast<float>(level);
    return QColor::fromRgbF(component, component, component, static_cast<float>(alpha));
}

/// A thumbnail on its white card.
struct Card {
    const QImage* picture;
    QRectF box; ///< around its own middle
    QTransform place; ///< from there into the view
};

constexpr double cardRadius = 8;
constexpr double cardBorder = 3;

/// The card follows the picture's shape within the square frame, but never becomes a strip.
QRectF cardBox(const QImage& picture, double frame)
{
    const double ratio = std::clamp(picture.width() / double(picture.height()), 0.66, 1.5);
    const double width = ratio < 1 ? frame * ratio : frame;
    const double height = ratio < 1 ? frame : frame / ratio;
    return {-width / 2, -height / 2, width, height};
}

std::vector<Card> cards(const WheelContent& content, QPointF center)
{
    std::vector<const QImage*> pictures;
    for (const QImage& picture : content.thumbnails) {
        if (picture.width() > 0 && picture.height() > 0)
            pictures.push_back(&picture);
    }
    std::vector<Card> result;
    const auto add = [&](const QImage& picture, double frame, QPointF shift, double degrees) {
        const QRectF box = cardBox(picture, frame);
        // Cards stick out of the capsule's upper edge, like papers out of a pocket; shorter ones are pulled out
        // further.
        const double lift = 27 + (64 - box.height()) / 4;
        const QPointF middle = center + shift - QPointF(0, lift);
        result.push_back({&picture, box, QTransform::fromTranslate(middle.x(), middle.y()).rotate(degrees)});
    };
    if (pictures.size() == 1) {
        add(*pictures[0], 64, {0, 0}, 0);
    } else if (pictures.size() > 1) {
        add(*pictures[1], 58, {11, -2}, 9);
        add(*pictures[0], 58, {-10, 1}, -6);
    }
    return result;
}

QPainterPath roundedRect(const QRectF& box, double radius)
{
    QPainterPath path;
    path.addRoundedRect(box, radius, radius);
    return path;
}

/// The part of a picture that fills a box of another shape.
QRectF filling(const QImage& picture, QSizeF box)
{
    const QSizeF size = box.scaled(QSizeF(picture.size()), Qt::KeepAspectRatio);
    return {QPointF((picture.width() - size.width()) / 2, (picture.height() - size.height()) / 2), size};
}

void paintCard(QPainter& painter, const Card& card)
{
    painter.save();
    painter.setTransform(card.place, true);
    // The light stays above however the card is turned.
    const QTransform back = QTransform(card.place.m11(), card.place.m12(), card.place.m21(), card.place.m22(), 0, 0);
    SoftShadow{gray(0, 0.28), back.inverted().map(QPointF(0, 1.5)), 5}.paint(painter, card.box, cardRadius);
    painter.fillPath(roundedRect(card.box, cardRadius), Qt::white);
    const QRectF inside = card.box.adjusted(cardBorder, cardBorder, -cardBorder, -cardBorder);
    painter.setClipPath(roundedRect(inside, cardRadius - cardBorder), Qt::IntersectClip);
    painter.drawImage(inside, *card.picture, filling(*card.picture, inside.size()));
    painter.restore();
}

struct Capsule {
    QString text;
    QFont font;
    QRectF box;
};

std::optional<Capsule> capsule(const WheelContent& content, QPointF center)
{
    const WheelPetal* petal = content.highlightedPetal();
    const QString text = petal ? petal->centerTitle() : content.summary;
    if (text.isEmpty())
        return std::nullopt;
    const QFont font = WheelDrawing::systemFont(15, petal ? QFont::Bold : QFont::Medium, 0.3);
    const double width = std::max(80.0, std::ceil(WheelDrawing::textSize(text, font).width()) + 28);
    return Capsule{text, font, QRectF(center.x() - width / 2, center.y() - 18, width, 36)};
}

void paintCapsule(QPainter& painter, const Capsule& capsule)
{
    constexpr double radius = 18;
    SoftShadow{gray(0, 0.12), {0, 1}, 6}.paint(painter, capsule.box, radius);
    // A rim and the frost that the ring has too: it stands out on white, and whatever lies below does not run into the
    // text.
    painter.fillPath(roundedRect(capsule.box.adjusted(-0.75, -0.75, 0.75, 0.75), radius + 0.75), gray(0.3, 0.16));
    painter.fillPath(roundedRect(capsule.box, radius), QColor::fromRgbF(0.93F, 0.94F, 0.95F, 0.93F));
    painter.setBrush(gray(1, 0.72));
    painter.setPen(QPen(gray(1, 0.8), 0.75));
    painter.drawRoundedRect(capsule.box, radius, radius);
    WheelDrawing::paintCentredText(painter, capsule.text, capsule.font, gray(0, 0.85), capsule.box.center());
}

} // namespace

void paint(QPainter& painter, const WheelContent& content, QPointF center)
{
    for (const Card& card : cards(content, center))
        paintCard(painter, card);
    if (const std::optional<Capsule> shown = capsule(content, center))
        paintCapsule(painter, *shown);
}

QRect capsuleRect(const WheelContent& content, QPointF center)
{
    const std::optional<Capsule> shown = capsule(content, center);
    return shown ? shown->box.adjusted(-12, -12, 12, 12).toAlignedRect() : QRect();
}

std::vector<QPainterPath> outlines(const WheelContent& content, QPointF center)
{
    std::vector<QPainterPath> paths;
    for (const Card& card : cards(content, center))
        paths.push_back(card.place.map(roundedRect(card.box, cardRadius)));
    if (const std::optional<Capsule> shown = capsule(content, center))
        paths.push_back(roundedRect(shown->box, shown->box.height() / 2));
    return paths;
}

} // namespace Pelgra::WheelCentre
