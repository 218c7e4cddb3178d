#pragma once

#include <QColor>
#include <QTimer>
#include <QWidget>

namespace Pelgra {

/// An indeterminate progress indicator: a ring of fading spokes that turns while it is visible. Stands still where the
/// desktop asks for reduced motion.
class Spinner : public QWidget {
    Q_OBJECT

public:
    /// The diameter is in logical pixels.
    explicit Spinner(int diameter, QWidget* parent = nullptr);

    /// Without a colour of its own it takes the palette's text colour.
    void setColor(const QColor& color);

protected:
    void paintEvent(QPaintEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    QTimer m_timer;
    int m_step = 0;
    QColor m_color;
};

} // namespace Pelgra
