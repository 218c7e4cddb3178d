#pragma once

#include "Platform/Sampling/DragCatcher.h"
#include "Platform/WheelSurface.h"
#include "Platform/X11/X11WheelSurface.h"
#include "Platform/X11/XdndReceiver.h"

#include <QAbstractNativeEventFilter>
#include <QObject>
#include <QTimer>
#include <QWidget>

#include <filesystem>
#include <functional>
#include <memory>
#include <vector>

namespace Pelgra {

/// Learns of a drag whose pointer, button and end mutter does not tell: a transparent X11 window over all screens, with
/// the wheel's own window above it once there is one. Together they see every movement of the drag, and a modifier that
/// makes the source suggest to move. Stands for the wheel's surface, so that it hears what comes over that.
class WheelCatcher final : public QObject, public WheelSurface, public DragCatcher, private QAbstractNativeEventFilter {
    Q_OBJECT

public:
    using Files = std::function<std::vector<std::filesystem::path>()>;

    /// `files` answers for the drag under way, as far as they are known.
    WheelCatcher(X11WheelSurface& wheel, XcbConnection& connection, xcb_connection_t* toolkitConnection, Files files);
    ~WheelCatcher() override;

    // WheelSurface
    void attach(QWidget* panel, DropTarget* target) override;
    void detach() override;
    void setInputRegion(const QRegion& pixels) override { m_wheel.setInputRegion(pixels); }
    void setPaintedRegion(const QRegion& pixels) override { m_wheel.setPaintedRegion(pixels); }
    void place(QWidget& panel, QPoint origin) override { m_wheel.place(panel, origin); }
    void setTakesKeys(bool takesKeys) override { m_wheel.setTakesKeys(takesKeys); }
    bool isCompositing() const override { return m_wheel.isCompositing(); }

    // DragCatcher
    void spread() override;
    void fold() override;

    /// Calls back once with the place of the pointer, or after a moment with the middle of the likeliest screen.
    void findPointer(std::function<void(QPoint)> found);

    /// Shift went down while the drag was over one of the windows.
    std::function<void()> onShift;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    /// Hears what comes over the wheel, and hands it on.
    class Listener final : public DropTarget {
    public:
        explicit Listener(WheelCatcher& catcher)
            : m_catcher(catcher)
        {
        }
        bool dragMoved(QPointF viewPoint) override;
        void dragLeft() override;
        Drop dropAt(QPointF viewPoint) override { return target ? target->dropAt(viewPoint) : nullptr; }
        void pressedBeside() override;
        void dragEnded(bool buttonStillDown) override;

        DropTarget* target = nullptr;

    private:
        WheelCatcher& m_catcher;
    };

    /// What comes over the window below: points are Qt's global ones, and nothing is taken.
    class Ground final : public DropTarget {
    public:
        explicit Ground(WheelCatcher& catcher)
            : m_catcher(catcher)
        {
        }
        bool dragMoved(QPointF point) override;
        void dragLeft() override { m_catcher.dragLeft(); }
        Drop dropAt(QPointF) override { return nullptr; }
        void pressedBeside() override { }
        void dragEnded(bool) override { m_catcher.dragDropped(); }

    private:
        WheelCatcher& m_catcher;
    };

    bool nativeEventFilter(const QByteArray& type, void* message, qintptr* result) override;
    void showWindow();
    void hideIfUnused();
    void moved(QPoint point);
    void dragLeft();
    void dragDropped();
    void suggested(bool isMove);
    bool isWellAway(QPoint point) const;
    void answerPointer(QPoint point);

    X11WheelSurface& m_wheel;
    XcbConnection& m_connection;
    xcb_connection_t* m_toolkitConnection;
    Files m_files;
    Listener m_listener;
    Ground m_ground;
    QWidget m_window;
    std::unique_ptr<XdndReceiver> m_receiver;
    QPointer<QWidget> m_panel;
    QTimer m_lost; ///< runs from when the drag left one window until it comes over the other
    QTimer m_pointerPatience;
    std::function<void(QPoint)> m_pointerFound;
    bool m_isSpread = false;
    bool m_hasDrag = false;
    bool m_wasMove = false; ///< the action suggested last
    bool m_isFirstSuggestion = true;
    bool m_hasEntered = false; ///< the pointer, since the window was shown
};

} // namespace Pelgra
