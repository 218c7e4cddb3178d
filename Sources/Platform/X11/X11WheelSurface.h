#pragma once

#include "Platform/WheelSurface.h"
#include "Platform/X11/XdndReceiver.h"

#include <QAbstractNativeEventFilter>
#include <QObject>
#include <QPointer>
#include <QRegion>
#include <QWidget>

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace Pelgra {

/// The wheel's window on X11: its shape, and the drags that come over it. Qt's own handling of foreign drags is
/// bypassed, since it waits for the source and cannot answer "copy" where only "move" is suggested.
class X11WheelSurface final : public QObject, public WheelSurface, private QAbstractNativeEventFilter {
    Q_OBJECT

public:
    /// What is known of the drag that comes over the window.
    struct Drag {
        std::function<bool()> acceptsDrops;
        std::function<bool()> isButtonUp;
        std::function<std::int64_t()> changeCount; ///< which drag it is
        std::function<std::vector<std::filesystem::path>()> files; ///< as far as they are known
    };

    /// `shapeConnection` is Qt's: what is asked there takes effect before the window is mapped.
    X11WheelSurface(XcbConnection& connection, xcb_connection_t* shapeConnection, Drag drag);
    ~X11WheelSurface() override;

    void attach(QWidget* panel, DropTarget* target) override;
    void detach() override;
    void setInputRegion(const QRegion& pixels) override;
    void setPaintedRegion(const QRegion& pixels) override;
    bool isCompositing() const override { return m_isCompositing; }

    /// Feeds one event of the connection.
    void handle(const xcb_generic_event_t& event);

    /// From now on somebody else knows of the drag. Before attach().
    void follow(Drag drag) { m_drag = std::move(drag); }

    /// Call with every sample.
    void proceed();

    /// The user cancelled the drag.
    void cancelDrag();

    /// Called when a drag comes over the window.
    std::function<void()> onEntered;

    /// Called with each movement of a drag over the window: whether its source suggests to move the files.
    std::function<void(bool isMove)> onSuggested;

    /// Called after messages were handled, to empty the connection's queue.
    std::function<void()> drain;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    bool nativeEventFilter(const QByteArray& type, void* message, qintptr* result) override;
    void adoptWindow();
    void applyRegions();
    void leaveOutOfLists();
    void updateCompositing();
    bool acceptsDrops() const;
    QPointF viewPointAt(int rootX, int rootY) const;

    XcbConnection& m_connection;
    xcb_connection_t* m_shapeConnection;
    Drag m_drag;
    QPointer<QWidget> m_panel;
    DropTarget* m_target = nullptr;
    std::unique_ptr<XdndReceiver> m_receiver;
    std::optional<QRegion> m_inputRegion;
    std::optional<QRegion> m_paintedRegion;
    bool m_isCompositing = false;
};

} // namespace Pelgra
