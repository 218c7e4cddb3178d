#include "Platform/Wayland/KeyStateSource.h"

#include <utility>

namespace Pelgra {

namespace {

ModifierFlags flagOfKey(Qt::Key key)
{
    switch (key) {
    case Qt::Key_Shift:
        return shiftFlag;
    case Qt::Key_Control:
        return controlFlag;
    case Qt::Key_Alt:
        return optionFlag;
    case Qt::Key_Meta:
    case Qt::Key_Super_L:
    case Qt::Key_Super_R:
        return commandFlag;
    case Qt::Key_AltGr:
        return functionFlag;
    default:
        return 0;
    }
}

} // namespace

KeyStateSource::KeyStateSource()
{
    connect(&m_keys, &KModifierKeyInfo::keyPressed, this, &KeyStateSource::keyPressed);
}

void KeyStateSource::refresh()
{
    m_flags = m_held | std::exchange(m_pressedSinceSample, 0);
}

void KeyStateSource::keyPressed(Qt::Key key, bool isDown)
{
    const ModifierFlags flag = flagOfKey(key);
    if (!isDown) {
        m_held &= ~flag;
        return;
    }
    m_held |= flag;
    m_pressedSinceSample |= flag;
    if ((flag & m_tapFlags) != 0 && onNews)
        onNews();
}

} // namespace Pelgra
