#pragma once

#include "Platform/X11/SelectionRequest.h"

#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <vector>

namespace Pelgra {

/// Reads the files of a drag between other clients while it is under way, without ever waiting for the source.
///
/// A source may refuse a reader that is not the current drop target. GTK and Qt 5 answer anybody. Qt 6 answers only a
/// request that carries the time of its latest message to a drop target (before the first message: no time at all), or
/// one that comes from a window inside the current drop target. So these are tried in turn: no time; no time from
/// inside the drop-aware window below the pointer; the times of the latest pointer movements, one of which is that
/// message's; once in a drag, all times since its beginning, for a source too busy to use the movement's.
class DraggedFilesReader {
public:
    explicit DraggedFilesReader(XcbConnection& connection)
        : m_connection(connection)
    {
    }

    /// A new drag, begun at this time of the server: forgets everything and asks.
    void begin(xcb_timestamp_t time);

    /// The drag is over or of no interest.
    void stop();

    /// Call with every sample while the files are wanted: asks again where that makes sense.
    void proceed();

    void handle(const xcb_generic_event_t& event);

    /// Empty until they are known.
    const std::vector<std::filesystem::path>& files() const { return m_files; }

private:
    enum class Stage { off, plain, targets, underPointer, motionTimes, everyTime, resting, known, givenUp };

    void ask(Stage stage, xcb_atom_t target, xcb_timestamp_t time, xcb_window_t parent);
    void evaluate();
    void tryNext();
    /// False when none is left.
    bool tryNextMotionTime();
    void tryNextTime();
    void restWithoutFiles();
    void rest(std::chrono::milliseconds duration);
    bool offersNoFiles(const std::string& targets) const;
    std::vector<xcb_timestamp_t> motionTimes() const; ///< of the pointer since the drag began, newest last
    std::optional<xcb_window_t> awareWindowUnderPointer() const;

    XcbConnection& m_connection;
    Stage m_stage = Stage::off;
    std::unique_ptr<SelectionRequest> m_request;
    xcb_timestamp_t m_begin = XCB_CURRENT_TIME;
    std::vector<xcb_timestamp_t> m_untried; ///< newest last
    xcb_timestamp_t m_timesTried = 0; ///< from the beginning of the drag, one by one
    bool m_askedForTargets = false;
    bool m_knowsNoFiles = false; ///< the source listed its types, and none of them is for files
    std::chrono::steady_clock::time_point m_restUntil;
    std::vector<std::filesystem::path> m_files;
};

} // namespace Pelgra
