#pragma once

#include <QWidget>

namespace Pelgra {

class WheelView;

/// Paints the wheel that its parent shows, and the backdrop below it. Never the target of the pointer.
class WheelCanvas : public QWidget {
public:
    explicit WheelCanvas(WheelView* owner);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    WheelView* m_owner; ///< the parent, which outlives it
};

} // namespace Pelgra
