#pragma once

#include "Jobs/HUDState.h"

#include <QPoint>
#include <QPointer>
#include <QTimer>
#include <QWidget>

#include <memory>

class QPropertyAnimation;

namespace Pelgra {

class Fade;
class HUDView;

/// A small floating panel under the point of a drop: a job is working, done or failed. It never takes the focus, lets
/// clicks through, and goes away by itself once its state is final. Without a compositing manager it neither fades nor
/// has soft edges. Main thread.
class HUDPanel : public QWidget {
    Q_OBJECT

public:
    /// Makes and shows a panel under the anchor (Qt's global logical coordinates, y down). It deletes itself once it
    /// has faded out; hold it by QPointer.
    static HUDPanel* show(const HUDState& state, QPoint anchor);

    /// Panels that are on the screen or fading, oldest first.
    static const QList<HUDPanel*>& livePanels();

    ~HUDPanel() override;

    const HUDState& state() const { return m_state; }
    void update(const HUDState& state);

    /// Where a panel of this size goes: centred under the anchor, kept inside the available area (where there is one).
    static QPoint originFor(QSize size, QPoint anchor, std::optional<QRect> availableArea);

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void showEvent(QShowEvent* event) override;

private:
    HUDPanel(const HUDState& state, QPoint anchor);

    void applyState();
    void applyOutline();
    void reposition();
    void appear();
    void scheduleDismissIfFinal();
    void fadeOut();
    void fadeTo(double opacity, int milliseconds);

    HUDState m_state;
    QPoint m_anchor;
    HUDView* m_view = nullptr;
    QTimer m_dismissal{this}; ///< found by its name "dismissal", for a test that lets the time pass
    Fade* m_visibility = nullptr;
    QPropertyAnimation* m_fade = nullptr;
};

} // namespace Pelgra
