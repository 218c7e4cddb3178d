#pragma once

#include <QAbstractButton>
#include <QColor>
#include <QString>

namespace Pelgra {

/// A strength of the palette's text colour: "primary at opacity 0.06".
QColor primaryColor(const QWidget& widget, double opacity);

/// A quieter text colour of the palette.
QColor secondaryColor(const QWidget& widget);

/// A button that leaves the arrow keys to its container.
class ToolButton : public QAbstractButton {
    Q_OBJECT

protected:
    explicit ToolButton(QWidget* parent);

    void keyPressEvent(QKeyEvent* event) override;
};

/// A symbol on a filled circle.
class CircleIconButton : public ToolButton {
    Q_OBJECT

public:
    /// Diameter and symbol size are logical pixels; the opacities are those of the palette's text colour.
    CircleIconButton(const QString& symbol, int symbolSize, int diameter, double fillOpacity, double foregroundOpacity,
                     QWidget* parent = nullptr);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QString m_symbol;
    int m_symbolSize;
    double m_fillOpacity;
    double m_foregroundOpacity;
};

/// The small move-up and move-down buttons of a row.
class ChevronButton : public ToolButton {
    Q_OBJECT

public:
    explicit ChevronButton(const QString& symbol, QWidget* parent = nullptr);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QString m_symbol;
};

/// Whether to draw the ring: the control has the focus, and the window has been used by keyboard.
bool showsFocus(const QWidget& widget);

/// Draws the ring that tells which control has the keyboard focus.
void drawFocusRing(QPainter& painter, const QRectF& rect, double radius, const QWidget& widget);

} // namespace Pelgra
