#pragma once

#include "Controls/Fade.h"
#include "Wheel/WheelTarget.h"

#include <QPropertyAnimation>
#include <QTimer>
#include <QWidget>

#include <vector>

namespace Pelgra {

/// A small window with a target for each wheel, for drags without a key at hand. It never takes the focus, only its
/// circles are in the way of anything, and it goes away by itself. Main thread.
class WheelTargets : public QWidget {
    Q_OBJECT

public:
    explicit WheelTargets(QWidget* parent = nullptr);

    /// Shows targets for these wheels beside the pointer (Qt's global logical coordinates), until it is well away.
    /// Nothing happens without wheels.
    void showBeside(QPoint pointer, const std::vector<WheelKind>& kinds);

    /// Shows them at an edge of the screen, where nobody tells of the pointer and of the end of the drag: for some
    /// seconds, or until the pointer comes over them and drags nothing.
    void showAtEdge(const std::vector<WheelKind>& kinds);

    /// Makes room for a surface that looks for the drag over them. If nothing was found they come back.
    void stepAside();

    /// At once.
    void dismiss();

Q_SIGNALS:
    /// The drag came over a target. They are still there.
    void entered(Pelgra::WheelKind kind);

protected:
    void showEvent(QShowEvent* event) override;

private:
    void rehearse();
    void arrange(const std::vector<WheelKind>& kinds, bool isColumn);
    void appear();
    void followPointer();

    std::vector<WheelTarget*> m_targets;
    Fade* m_visibility;
    QPropertyAnimation m_fade;
    QTimer m_following{this}; ///< looks where the pointer is
    QTimer m_dismissal{this}; ///< found by its name, as the next, for a test that lets the time pass
    QTimer m_return{this};
};

} // namespace Pelgra
