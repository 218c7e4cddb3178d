#pragma once

#include <QObject>

class QWidget;

namespace Pelgra {

/// How much of a widget shows, from 0 to 1. A window is faded by the window system where that can; elsewhere, and for a
/// widget within a window, it is painted.
class Fade : public QObject {
    Q_OBJECT
    Q_PROPERTY(double opacity READ opacity WRITE setOpacity)

public:
    /// The widget owns it.
    explicit Fade(QWidget* widget);

    double opacity() const { return m_opacity; }
    void setOpacity(double opacity);

private:
    bool isPainted() const;

    QWidget* m_widget;
    QWidget* m_veil = nullptr; ///< made when it is first needed
    double m_opacity = 1;
};

} // namespace Pelgra
