#pragma once

#include "Wheel/WheelLayout.h"
#include "Wheel/WheelPetal.h"

#include <QImage>
#include <QString>

#include <optional>
#include <vector>

namespace Pelgra {

/// Everything the wheel's picture depends on.
struct WheelContent {
    std::vector<WheelPetal> petals;
    WheelLayout layout;
    std::optional<int> highlightedIndex; ///< the petal under the pointer
    QString emptyMessage; ///< shown when there are no petals
    QString summary; ///< the dragged files in a few words
    std::vector<QImage> thumbnails; ///< of the first two files at most; icons until the pictures are there
    bool isCompositing = true; ///< whether what lies below the window shines through

    /// The petal under the pointer, or null.
    const WheelPetal* highlightedPetal() const
    {
        return highlightedIndex ? &petals[static_cast<std::size_t>(*highlightedIndex)] : nullptr;
    }
};

} // namespace Pelgra
