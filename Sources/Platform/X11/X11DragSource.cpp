#include "Platform/X11/X11DragSource.h"

#include "Platform/X11/XkbHeader.h"
#include "Support/Logging.h"

#include <xcb/xinput.h>

#include <QCursor>

#include <algorithm>
#include <utility>

namespace Pelgra {

namespace {

using namespace std::chrono_literals;

constexpr std::uint32_t escapeSymbol = 0xff1b;
constexpr std::uint8_t eventTypeMask = 0x7f;
constexpr unsigned modifierMask = 0xff;

/// A drop may arrive this much later than the sample that saw the button released: a busy source, or one on a busy
/// machine, acts on the release late. A cancelled drag drops nothing however late, and the next one ends this time.
constexpr auto graceForDrops = 10s;

} // namespace

X11DragSource::X11DragSource(XcbConnection& connection, const xcb_setup_t* ownSetup)
    : m_connection(connection)
    , m_ownSetup(ownSetup)
    , m_reader(connection)
{
    watchAlways();
    resolveKeyboard();
}

void X11DragSource::watchAlways()
{
    const XcbExtensions& extensions = m_connection.extensions();
    if (extensions.hasFixes) {
        xcb_xfixes_select_selection_input(m_connection.get(), m_connection.root(), m_connection.atoms().xdndSelection,
                                          XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER
                                              | XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_WINDOW_DESTROY
                                              | XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_CLIENT_CLOSE);
    }
    if (extensions.hasKeyboard) {
        const std::uint16_t events = XCB_XKB_EVENT_TYPE_NEW_KEYBOARD_NOTIFY | XCB_XKB_EVENT_TYPE_MAP_NOTIFY;
        const std::uint16_t mapParts = XCB_XKB_MAP_PART_KEY_SYMS | XCB_XKB_MAP_PART_MODIFIER_MAP;
        xcb_xkb_select_events(m_connection.get(), XCB_XKB_ID_USE_CORE_KBD, events, 0, events, mapParts, mapParts,
                              nullptr);
    }
    m_connection.flush();
}

void X11DragSource::refresh()
{
    // Count, owner and button must be of the same moment: "button up", read before a drag began and reported after it,
    // would end it, and "button down", read before a source let go at the end, would look like one that has died.
    std::int64_t countBefore = 0;
    bool wasOwnerGone = false;
    do {
        countBefore = m_changeCount;
        wasOwnerGone = m_isOwnerGone;
        takeSample();
    } while (m_changeCount != countBefore || m_isOwnerGone != wasOwnerGone);
    m_hasNews = false;
    if (m_isDragging && !m_buttonDown)
        dragEnded();
    else if (m_isDragging && m_isOwnerGone && !m_isCancelled)
        cancelDrag(); // nobody is left who would end it
    m_reader.proceed();
}

// A round trip to the server only: it never waits for a client, and takes about 0.1 ms.
XcbOwned<xcb_query_pointer_reply_t> X11DragSource::queryPointer() const
{
    return XcbOwned<xcb_query_pointer_reply_t>(xcb_query_pointer_reply(
        m_connection.get(), xcb_query_pointer(m_connection.get(), m_connection.root()), nullptr));
}

ModifierFlags X11DragSource::modifierFlagsNow()
{
    if (m_keyboardChanged)
        resolveKeyboard();
    const XcbOwned<xcb_query_pointer_reply_t> pointer = queryPointer();
    return pointer ? m_modifierMap.flagsOf(pointer->mask) : 0;
}

void X11DragSource::takeSample()
{
    // Between drags nobody asks for button and modifiers, and the start of one is reported.
    if (!m_isDragging) {
        drain();
        if (!m_isDragging)
            return;
    }
    const XcbOwned<xcb_query_pointer_reply_t> pointer = queryPointer();
    // Set before the reports are read, so that those of presses that the mask already shows count as seen.
    if (pointer)
        m_latestModifiers = pointer->mask & modifierMask;
    drain();
    if (!pointer)
        return;
    if (m_keyboardChanged && m_isDragging)
        resolveKeyboard();
    const bool wasDown = std::exchange(m_buttonDown, (pointer->mask & XCB_BUTTON_MASK_1) != 0);
    if (wasDown && !m_buttonDown)
        m_buttonReleased = std::chrono::steady_clock::now();
    m_flags = m_modifierMap.flagsOf(pointer->mask | std::exchange(m_pressedSinceSample, 0U));
}

std::vector<std::filesystem::path> X11DragSource::fileURLs()
{
    return m_isCancelled ? std::vector<std::filesystem::path>() : m_reader.files();
}

std::optional<QPoint> X11DragSource::pointer() const
{
    return QCursor::pos();
}

bool X11DragSource::takeNews()
{
    return std::exchange(m_hasNews, false);
}

bool X11DragSource::acceptsDrops() const
{
    return !m_isCancelled && (m_buttonDown || std::chrono::steady_clock::now() - m_buttonReleased <= graceForDrops);
}

void X11DragSource::handle(const xcb_generic_event_t& event)
{
    const XcbExtensions& extensions = m_connection.extensions();
    const unsigned type = event.response_type & eventTypeMask;
    if (extensions.hasFixes && type == extensions.fixesFirstEvent + unsigned{XCB_XFIXES_SELECTION_NOTIFY}) {
        dragBegan(reinterpret_cast<const xcb_xfixes_selection_notify_event_t&>(event));
    } else if (extensions.hasKeyboard && type == extensions.keyboardFirstEvent) {
        handleKeyboard(event);
    } else if (extensions.hasInput && type == XCB_GE_GENERIC) {
        handleInput(event);
    } else {
        const bool hadFiles = !m_reader.files().empty();
        m_reader.handle(event);
        if (!hadFiles && !m_reader.files().empty()) {
            m_hasNews = true;
            m_latestFiles = m_reader.files();
        }
    }
}

void X11DragSource::dragBegan(const xcb_xfixes_selection_notify_event_t& event)
{
    if (event.selection != m_connection.atoms().xdndSelection)
        return;
    if (event.owner == XCB_WINDOW_NONE) {
        // Some sources give up the selection at the end of every drag, so only the next sample tells what that means.
        m_isOwnerGone = true;
        m_hasNews = m_hasNews || m_isDragging;
        return;
    }
    m_isOwnerGone = false;
    m_latestFiles.clear();
    m_reader.stop();
    // Waiting for ourselves would be fatal, and files dragged out of our own windows are not for the wheel.
    if (XcbConnection::isWindowOf(event.owner, m_ownSetup) || (isForeign && isForeign(event.owner)))
        return;
    ++m_changeCount;
    qCDebug(dragLog, "Drag %lld begun by window 0x%x", static_cast<long long>(m_changeCount), event.owner);
    m_isCancelled = false;
    m_isDragging = true;
    m_pressedSinceSample = 0;
    if (m_keyboardChanged)
        resolveKeyboard();
    watchTheDrag(true);
    // At once, while a Qt 6 source has most likely not yet sent a message to a drop target.
    m_reader.begin(event.selection_timestamp);
}

void X11DragSource::dragEnded()
{
    m_isDragging = false;
    m_reader.stop();
    watchTheDrag(false);
}

void X11DragSource::cancelDrag()
{
    m_isCancelled = true;
    if (beforeCancelled)
        beforeCancelled();
    if (onCancelled)
        onCancelled();
}

void X11DragSource::watchTheDrag(bool watch)
{
    if (m_connection.extensions().hasKeyboard) {
        xcb_xkb_select_events_details_t details = {};
        details.affectState = XCB_XKB_STATE_PART_MODIFIER_STATE;
        details.stateDetails = watch ? XCB_XKB_STATE_PART_MODIFIER_STATE : 0;
        xcb_xkb_select_events_aux(m_connection.get(), XCB_XKB_ID_USE_CORE_KBD, XCB_XKB_EVENT_TYPE_STATE_NOTIFY, 0, 0, 0,
                                  0, &details);
    }
    m_connection.watchRawKeys(watch ? unsigned{XCB_INPUT_XI_EVENT_MASK_RAW_KEY_PRESS} : 0U);
    m_connection.flush();
}

void X11DragSource::resolveKeyboard()
{
    const KeyboardMap keyboard = m_connection.keyboardMap();
    m_modifierMap = ModifierMap(keyboard);
    m_escapeKeycodes = keyboard.keycodesOf(escapeSymbol);
    m_keyboardChanged = false;
}

void X11DragSource::handleKeyboard(const xcb_generic_event_t& event)
{
    const auto& state = reinterpret_cast<const xcb_xkb_state_notify_event_t&>(event);
    if (state.xkbType != XCB_XKB_STATE_NOTIFY) {
        m_keyboardChanged = true;
        return;
    }
    const unsigned pressed = state.mods & ~m_latestModifiers;
    m_latestModifiers = state.mods;
    m_pressedSinceSample |= pressed;
    m_hasNews = m_hasNews || m_modifierMap.flagsOf(pressed) != 0;
}

void X11DragSource::handleInput(const xcb_generic_event_t& event)
{
    const auto& generic = reinterpret_cast<const xcb_ge_generic_event_t&>(event);
    if (generic.extension != m_connection.extensions().inputOpcode || !m_isDragging)
        return;
    if (generic.event_type == XCB_INPUT_RAW_KEY_PRESS) {
        const auto& key = reinterpret_cast<const xcb_input_raw_key_press_event_t&>(event);
        if (!m_isCancelled && std::ranges::find(m_escapeKeycodes, key.detail) != m_escapeKeycodes.end()) {
            cancelDrag();
        }
    }
}

} // namespace Pelgra
