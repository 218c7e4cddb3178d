#pragma once

#include "PelgraCore/Models.h"

#include <QImage>
#include <QPixmap>
#include <QVariantAnimation>
#include <QWidget>

#include <cstdint>

namespace Pelgra {

class CircleIconButton;

/// One page of the document that is being organised.
class PageCard : public QWidget {
    Q_OBJECT

public:
    /// The height that belongs to a card's width, logical pixels.
    static int heightFor(int width);

    PageCard(const PageEdit& edit, QWidget* parent);

    const PageEdit& edit() const { return m_edit; }

    /// Shows the page at its place (from 1) of a total. A change of the rotation is shown as a turn clockwise.
    void setPage(const PageEdit& edit, int number, int total);
    void setImage(const QImage& image);
    bool hasImage() const { return !m_image.isNull(); }
    void setDimmed(bool dimmed);
    /// Whether any part of the button that removes the page can be seen.
    bool showsRemoveButton() const;

    /// The angle the page is shown at, degrees clockwise; grows with every turn.
    double spin() const { return m_spin; }

    enum class Direction : std::uint8_t { left, right, up, down };

Q_SIGNALS:
    void rotateRequested(const Pelgra::Identifier& id);
    void duplicateRequested(const Pelgra::Identifier& id);
    void removeRequested(const Pelgra::Identifier& id);
    void moveRequested(const Pelgra::Identifier& id, Pelgra::PageCard::Direction direction);
    void focusMoveRequested(const Pelgra::Identifier& id, Pelgra::PageCard::Direction direction);

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void changeEvent(QEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;

private:
    QRectF imageArea() const;
    void paintPage(QPainter& painter);
    void drawPage(QPainter& painter, const QRectF& area) const;
    void paintBadge(QPainter& painter) const;
    void nameForReaders();
    void placeButtons();
    void turnTo(std::int64_t rotation);

    PageEdit m_edit;
    int m_number = 1;
    int m_total = 1;
    QImage m_image;
    QPixmap m_drawn; ///< the page as it was last painted at rest; null once it would look different
    bool m_isHovering = false;
    bool m_isDimmed = false;
    double m_spin = 0;
    std::int64_t m_lastRotation = 0;
    QVariantAnimation m_turn;
    CircleIconButton* m_rotate;
    CircleIconButton* m_duplicate;
    CircleIconButton* m_remove;
};

} // namespace Pelgra
