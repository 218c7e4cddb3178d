#pragma once

#include "PelgraCore/Models.h"

#include <QBasicTimer>
#include <QObject>
#include <QPixmap>
#include <QPoint>

#include <functional>
#include <optional>

class QAbstractScrollArea;
class QLabel;

namespace Pelgra {

/// Moves items of a scrolled list or grid by the mouse: the item is lifted, follows the pointer as a picture, takes the
/// place of every item it enters, and the view scrolls by itself near its edges. The drag stays inside the process and
/// ends with the button wherever it is released, so none can be left hanging. Escape takes it back; until it is over
/// all other keys do nothing, since what they would act on is in the user's hand. Points are those of the content.
class ReorderDrag : public QObject {
    Q_OBJECT

public:
    /// The scroll area outlives this.
    explicit ReorderDrag(QAbstractScrollArea* area);

    std::function<bool()> isEnabled; ///< whether an item may be dragged at all
    std::function<std::optional<Identifier>(QPoint contentPoint)> itemAt;
    std::function<QPixmap(const Identifier& item)> pictureOf;
    std::function<QPoint(const Identifier& item)> originOf; ///< top-left corner of its picture, in the viewport
    std::function<QPoint(QPoint viewportPoint)> contentPoint; ///< from the viewport's coordinates to the content's

    bool isVertical = false; ///< whether the picture only moves up and down

    /// The item being dragged, which is drawn dimmed.
    const std::optional<Identifier>& dragging() const { return m_dragging; }

    // To be called with the mouse events of the content; points in the viewport's coordinates.
    void press(QPoint viewportPoint);
    void move(QPoint viewportPoint, bool buttonDown);
    void release();

Q_SIGNALS:
    /// An item was lifted or put down.
    void draggingChanged();
    /// The dragged item entered another one.
    void entered(const Pelgra::Identifier& dragging, const Pelgra::Identifier& target);
    /// The drag is over, and the order is as the user left it.
    void ended();
    /// The drag is over, and the order must be as it was before.
    void cancelled();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void timerEvent(QTimerEvent* event) override;

private:
    void begin(const Identifier& item);
    bool putDown();
    void movePicture();
    void follow();
    int scrollStep() const;

    QAbstractScrollArea* m_area;
    QLabel* m_picture;
    QBasicTimer m_scrolling;
    std::optional<Identifier> m_pressed;
    std::optional<Identifier> m_dragging;
    QPoint m_pressPoint;
    QPoint m_origin; ///< of the picture when it was lifted, in the viewport
    QPoint m_grip; ///< from the picture's top-left corner to the pointer
    QPoint m_point;
};

} // namespace Pelgra
