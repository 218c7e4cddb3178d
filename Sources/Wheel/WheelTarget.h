#pragma once

#include "Wheel/WheelKind.h"

#include <QPainterPath>
#include <QWidget>

namespace Pelgra {

/// One round target, painted like a petal. It takes no drop and no click.
class WheelTarget : public QWidget {
    Q_OBJECT

public:
    WheelTarget(WheelKind kind, QWidget* parent);

    WheelKind kind() const { return m_kind; }

    /// Its circle, in the parent's coordinates.
    QPainterPath outline() const;

Q_SIGNALS:
    /// A drag came over it. Comes from the event loop, never inside the toolkit's handling of the drag.
    void entered(Pelgra::WheelKind kind);
    /// The pointer is over it, and drags nothing.
    void pointerCame();

protected:
    void paintEvent(QPaintEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;

private:
    QRectF circle() const;

    WheelKind m_kind;
};

} // namespace Pelgra
