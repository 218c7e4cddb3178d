#pragma once

#include "Platform/Platform.h"
#include "Platform/X11/X11DragSource.h"
#include "Platform/X11/X11WheelSurface.h"
#include "Platform/X11/XcbConnection.h"

#include <QObject>
#include <QSocketNotifier>

#include <memory>

namespace Pelgra {

/// The desktop through an X server; also for the X11 applications of a session whose server runs inside another one.
class X11Platform final : public QObject, public Platform {
    Q_OBJECT

public:
    /// Null unless Qt itself talks to an X server.
    static std::unique_ptr<X11Platform> create();

    X11DragSource& dragSource() override { return m_dragSource; }
    X11WheelSurface& wheelSurface() override { return m_wheelSurface; }
    bool hasTray() const override;
    void setOutline(QWidget& window, const QPainterPath& outline) override;
    void setInputArea(QWidget& window, const QPainterPath& area) override;
    DesktopAbilities abilities() const override;

    xcb_connection_t* toolkitConnection() const { return m_toolkitConnection; }

private:
    X11Platform(std::unique_ptr<XcbConnection> connection, xcb_connection_t* toolkitConnection);
    using NextEvent = xcb_generic_event_t* (*)(xcb_connection_t*);
    void drain(NextEvent next);
    void drainAndTell();
    void watchTray();
    bool isTrayChange(const xcb_generic_event_t& event) const;

    std::unique_ptr<XcbConnection> m_connection;
    xcb_connection_t* m_toolkitConnection;
    X11DragSource m_dragSource;
    X11WheelSurface m_wheelSurface;
    QSocketNotifier m_notifier;
    bool m_isDraining = false;
};

} // namespace Pelgra
