#pragma once

#include <QScrollBar>

namespace Pelgra {

/// A vertical scroll bar that is only a thumb, drawn in the palette's text colour, to stand beside rows and cards.
class SlimScrollBar : public QScrollBar {
    Q_OBJECT

public:
    static constexpr int extent = 10; ///< logical pixels

    explicit SlimScrollBar(QWidget* parent);

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
};

} // namespace Pelgra
