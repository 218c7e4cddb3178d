#pragma once

#include "Platform/Platform.h"

namespace Pelgra {

/// Sees no drags and knows only this process's pointer: for sessions that show no more, and for tests.
class NullDragSource final : public DragSource {
public:
    void refresh() override { }
    std::int64_t changeCount() const override { return 0; }
    ButtonState primaryButton() const override { return ButtonState::up; }
    ModifierFlags modifierFlags() const override { return 0; }
    std::vector<std::filesystem::path> fileURLs() override { return {}; }
    std::optional<QPoint> pointer() const override;
};

/// Delivers nothing; the window's mask alone shapes it, for the pointer where the window system paints translucent.
class NullWheelSurface final : public WheelSurface {
public:
    void attach(QWidget* panel, DropTarget* target) override;
    void detach() override;
    void setInputRegion(const QRegion& pixels) override;
    void setPaintedRegion(const QRegion&) override { }
    bool isCompositing() const override { return true; }

private:
    QWidget* m_panel = nullptr;
};

class NullPlatform final : public Platform {
public:
    DragSource& dragSource() override { return m_dragSource; }
    WheelSurface& wheelSurface() override { return m_wheelSurface; }
    bool hasTray() const override { return false; }
    void setOutline(QWidget&, const QPainterPath&) override { }
    DesktopAbilities abilities() const override;

private:
    NullDragSource m_dragSource;
    NullWheelSurface m_wheelSurface;
};

} // namespace Pelgra
