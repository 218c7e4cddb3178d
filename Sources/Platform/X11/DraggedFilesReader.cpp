#include "Platform/X11/DraggedFilesReader.h"

#include "Platform/UriList.h"
#include "Support/Logging.h"

#include <algorithm>
#include <cstring>

namespace Pelgra {

namespace {

using std::chrono::steady_clock;
using namespace std::chrono_literals;

/// A source that has not answered by then is hung. Requests queue up in a slow one, so a second one would not help.
constexpr auto longestWait = 15s;

/// Pause between rounds for a drag that holds no files, or not yet.
constexpr auto pauseBetweenRounds = 250ms;

/// The time wanted is that of the latest movement over a window that accepts drops, so it is among the newest.
constexpr int mostMotionTimes = 48;
constexpr int deepestWindow = 12;

/// A busy source may use the time of something else that happened while the drag left its own window. No event reports
/// that, but the times since the beginning are few enough to try: a thousand in a fraction of a second.
constexpr xcb_timestamp_t mostTimesTried = 1000;

} // namespace

void DraggedFilesReader::begin(xcb_timestamp_t time)
{
    stop();
    m_begin = time;
    ask(Stage::plain, m_connection.atoms().uriList, XCB_CURRENT_TIME, m_connection.root());
}

void DraggedFilesReader::stop()
{
    m_stage = Stage::off;
    m_request.reset();
    m_untried.clear();
    m_timesTried = 0;
    m_askedForTargets = false;
    m_knowsNoFiles = false;
    m_files.clear();
}

void DraggedFilesReader::proceed()
{
    if (m_request && m_request->age() > longestWait) {
        m_request.reset();
        m_stage = Stage::givenUp;
    }
    if (m_stage == Stage::resting && steady_clock::now() >= m_restUntil)
        ask(Stage::plain, m_connection.atoms().uriList, XCB_CURRENT_TIME, m_connection.root());
}

void DraggedFilesReader::handle(const xcb_generic_event_t& event)
{
    if (!m_request)
        return;
    m_request->handle(event);
    if (m_request->state() != SelectionRequest::State::waiting)
        evaluate();
}

void DraggedFilesReader::ask(Stage stage, xcb_atom_t target, xcb_timestamp_t time, xcb_window_t parent)
{
    m_stage = stage;
    m_request =
        std::make_unique<SelectionRequest>(m_connection, m_connection.atoms().xdndSelection, target, time, parent);
}

void DraggedFilesReader::evaluate()
{
    const std::unique_ptr<SelectionRequest> request = std::move(m_request);
    if (m_stage != Stage::everyTime || request->state() == SelectionRequest::State::granted)
        qCDebug(dragLog, "Source answered: stage %d, granted %d, %zu byte(s)", static_cast<int>(m_stage),
                request->state() == SelectionRequest::State::granted, request->data().size());
    if (request->state() == SelectionRequest::State::refused) {
        tryNext();
        return;
    }
    if (m_stage == Stage::targets) {
        m_knowsNoFiles = offersNoFiles(request->data());
        if (m_knowsNoFiles)
            restWithoutFiles();
        else
            tryNext();
        return;
    }
    m_files = filesOfUriList(request->data());
    if (m_files.empty())
        restWithoutFiles(); // web addresses, for example
    else
        m_stage = Stage::known;
}

void DraggedFilesReader::tryNext()
{
    const xcb_atom_t uriList = m_connection.atoms().uriList;
    switch (m_stage) {
    case Stage::plain:
        if (m_knowsNoFiles) {
            rest(pauseBetweenRounds);
            return;
        }
        if (!m_askedForTargets) {
            m_askedForTargets = true;
            ask(Stage::targets, m_connection.atoms().targets, XCB_CURRENT_TIME, m_connection.root());
            return;
        }
        [[fallthrough]];
    case Stage::targets:
        if (const std::optional<xcb_window_t> window = awareWindowUnderPointer()) {
            ask(Stage::underPointer, uriList, XCB_CURRENT_TIME, *window);
            return;
        }
        [[fallthrough]];
    case Stage::underPointer:
        m_untried = motionTimes();
        [[fallthrough]];
    case Stage::motionTimes:
        if (!tryNextMotionTime())
            tryNextTime();
        return;
    case Stage::everyTime:
        tryNextTime();
        return;
    case Stage::off:
    case Stage::resting:
    case Stage::known:
    case Stage::givenUp:
        return;
    }
}

bool DraggedFilesReader::tryNextMotionTime()
{
    if (m_untried.empty())
        return false;
    const xcb_timestamp_t newest = m_untried.back();
    m_untried.pop_back();
    ask(Stage::motionTimes, m_connection.atoms().uriList, newest, m_connection.root());
    return true;
}

void DraggedFilesReader::tryNextTime()
{
    if (m_timesTried < mostTimesTried)
        ask(Stage::everyTime, m_connection.atoms().uriList, m_begin + m_timesTried++, m_connection.root());
    else
        rest(pauseBetweenRounds);
}

void DraggedFilesReader::restWithoutFiles()
{
    qCDebug(dragLog, "The drag holds no files");
    rest(pauseBetweenRounds);
}

void DraggedFilesReader::rest(std::chrono::milliseconds duration)
{
    m_stage = Stage::resting;
    m_restUntil = steady_clock::now() + duration;
}

bool DraggedFilesReader::offersNoFiles(const std::string& targets) const
{
    std::vector<xcb_atom_t> atoms(targets.size() / sizeof(xcb_atom_t));
    std::memcpy(atoms.data(), targets.data(), atoms.size() * sizeof(xcb_atom_t));
    return std::ranges::find(atoms, m_connection.atoms().uriList) == atoms.end();
}

std::vector<xcb_timestamp_t> DraggedFilesReader::motionTimes() const
{
    const XcbOwned<xcb_get_motion_events_reply_t> history(xcb_get_motion_events_reply(
        m_connection.get(), xcb_get_motion_events(m_connection.get(), m_connection.root(), m_begin, XCB_CURRENT_TIME),
        nullptr));
    std::vector<xcb_timestamp_t> times;
    if (!history)
        return times;
    const xcb_timecoord_t* movements = xcb_get_motion_events_events(history.get());
    const int count = xcb_get_motion_events_events_length(history.get());
    for (int i = std::max(0, count - mostMotionTimes); i < count; ++i) {
        if (times.empty() || times.back() != movements[i].time)
            times.push_back(movements[i].time);
    }
    return times;
}

std::optional<xcb_window_t> DraggedFilesReader::awareWindowUnderPointer() const
{
    xcb_window_t window = m_connection.root();
    for (int depth = 0; depth < deepestWindow; ++depth) {
        const XcbOwned<xcb_query_pointer_reply_t> pointer(
            xcb_query_pointer_reply(m_connection.get(), xcb_query_pointer(m_connection.get(), window), nullptr));
        if (!pointer || pointer->child == XCB_WINDOW_NONE)
            return std::nullopt;
        window = pointer->child;
        const XcbOwned<xcb_get_property_reply_t> aware(
            xcb_get_property_reply(m_connection.get(),
                                   xcb_get_property(m_connection.get(), 0, window, m_connection.atoms().xdndAware,
                                                    XCB_GET_PROPERTY_TYPE_ANY, 0, 1),
                                   nullptr));
        if (aware && aware->type != XCB_ATOM_NONE)
            return window;
    }
    return std::nullopt;
}

} // namespace Pelgra
