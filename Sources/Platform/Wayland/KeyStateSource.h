#pragma once

#include "Platform/DragSource.h"

#include <KModifierKeyInfo>

#include <QObject>

namespace Pelgra {

/// The modifiers as KWin tells them to programs that it trusts: by the line X-KDE-Wayland-Interfaces in the desktop
/// entry of this executable (org_kde_kwin_keystate). It needs no focus and no X server, and tells of nothing but keys.
class KeyStateSource final : public QObject, public DragSource {
    Q_OBJECT

public:
    KeyStateSource();

    void refresh() override;
    std::int64_t changeCount() const override { return 0; }
    ButtonState primaryButton() const override { return ButtonState::unseen; }
    ModifierFlags modifierFlags() const override { return m_flags; }
    ModifierFlags modifierFlagsNow() override { return m_held; }
    std::vector<std::filesystem::path> fileURLs() override { return {}; }
    std::optional<QPoint> pointer() const override { return std::nullopt; }
    void setTapFlags(ModifierFlags flags) override { m_tapFlags = flags; }

private:
    void keyPressed(Qt::Key key, bool isDown);

    KModifierKeyInfo m_keys;
    ModifierFlags m_tapFlags = 0;
    ModifierFlags m_flags = 0; ///< of the latest sample
    ModifierFlags m_held = 0;
    ModifierFlags m_pressedSinceSample = 0;
};

} // namespace Pelgra
