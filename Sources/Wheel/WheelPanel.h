#pragma once

#include "Controls/Fade.h"
#include "Platform/WheelSurface.h"
#include "Wheel/WheelView.h"

#include <QPropertyAnimation>
#include <QWidget>

namespace Pelgra {

/// The window of the wheel: without a frame, translucent, above everything, shaped like what it shows. During a drag
/// it never takes the focus and no window manager touches it.
class WheelPanel : public QWidget {
    Q_OBJECT

public:
    static constexpr int side = 300; ///< logical pixels

    /// The surface outlives the panel.
    explicit WheelPanel(WheelSurface& surface, QWidget* parent = nullptr);
    ~WheelPanel() override;

    WheelView* wheelView() const { return m_view; }

    /// Moves the panel's middle to a point of the desktop (logical, y down), as far as the screen there allows.
    void centerOn(QPoint point);

    /// Whether the panel may take the focus; true only for a wheel without a drag. Takes effect with the next fadeIn().
    bool allowsKey() const { return m_allowsKey; }
    void setAllowsKey(bool allows) { m_allowsKey = allows; }

    /// Shown, or fading in; not once it fades out.
    bool isShown() const { return m_isShown; }
    void fadeIn();
    void fadeOut();

Q_SIGNALS:
    /// The panel had the focus and lost it.
    void focusLost();
    /// The panel is off the screen.
    void vanished();

protected:
    bool event(QEvent* event) override;
    void changeEvent(QEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    void applyFlags();
    void fade(double opacity, int milliseconds);
    void applyShape();

    WheelSurface& m_surface;
    WheelView* m_view;
    Fade* m_visibility;
    QPropertyAnimation m_fade;
    bool m_allowsKey = false;
    bool m_isShown = false;
    bool m_wasActive = false;
};

} // namespace Pelgra
