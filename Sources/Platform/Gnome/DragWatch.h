#pragma once

#include "Platform/DragSource.h"

#include <QSize>
#include <QVariantList>

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string_view>
#include <vector>

namespace Pelgra {

/// What the extension of GNOME Shell (data/gnome-shell) has told, turned into samples. Takes its signals in whatever
/// order and form they come: what doesn't fit is left out. Knows no bus; a plain value.
///
///   Watching(b)      it tells of drags from now on, or no longer
///   Started(u i i)   a drag of this number has begun, on a stage of this width and height
///   Files(u ay)      its text/uri-list; empty without files
///   Sample(u i i u)  pointer on the stage, and what is down as the X protocol’s mask of modifiers and buttons
///   Ended(u)         it was dropped or cancelled
class DragWatch {
public:
    struct Sample {
        std::int64_t changeCount = 0;
        bool isButtonDown = false;
        ModifierFlags flags = 0;
        bool operator==(const Sample&) const = default;
    };

    /// A pointer on a stage, as fractions of its width and height.
    struct Place {
        double x = 0;
        double y = 0;
        bool operator==(const Place&) const = default;
    };

    /// More bytes than that are never told; a list of just so many was cut off.
    static constexpr std::size_t mostBytes = std::size_t{8} * 1024 * 1024;

    /// One signal. Whether it deserves a sample at once.
    bool take(std::string_view signal, const QVariantList& arguments);

    /// The extension or the shell has gone.
    void reset();

    bool isWatching() const { return m_isWatching; }
    Sample nextSample();
    const std::vector<std::filesystem::path>& files() const { return m_files; }
    std::optional<Place> place() const { return m_place; }

private:
    bool begin(std::uint32_t serial, QSize stage);
    bool takeFiles(const QByteArray& list);
    bool takeSample(QPoint place, std::uint32_t mask);
    bool end();

    bool m_isWatching = false;
    bool m_isDragging = false;
    bool m_isShownDown = false; ///< the button, in the latest sample
    std::uint32_t m_serial = 0;
    QSize m_stage;
    std::int64_t m_changeCount = 0;
    std::int64_t m_shownCount = 0;
    ModifierFlags m_held = 0;
    ModifierFlags m_pressedSinceSample = 0;
    std::optional<Place> m_place;
    std::vector<std::filesystem::path> m_files;
};

} // namespace Pelgra
