#pragma once

#include "PelgraCore/Models.h"

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <optional>
#include <vector>

namespace Pelgra {

/// One row of an ordered file list. Two rows for the same file are different rows.
struct OrderedFile {
    Identifier id;
    std::filesystem::path url;

    bool operator==(const OrderedFile& other) const { return id == other.id; }
};

std::vector<OrderedFile> orderedFilesFrom(const std::vector<std::filesystem::path>& files);

/// Rules of moving items of a list. Items are identified by a member `id`.
namespace Reordering {

template <typename Item>
std::optional<std::size_t> indexOf(const std::vector<Item>& items, const Identifier& id)
{
    const auto found = std::find_if(items.begin(), items.end(), [&](const Item& item) { return item.id == id; });
    return found == items.end() ? std::nullopt : std::optional(static_cast<std::size_t>(found - items.begin()));
}

/// Whether a step from an index stays within a list of that many items.
bool canMove(std::size_t count, std::ptrdiff_t index, std::ptrdiff_t delta);

/// Swaps the item at index with the one `delta` places on; does nothing where either is outside the list. Returns
/// whether anything changed.
template <typename Item>
bool move(std::vector<Item>& items, std::ptrdiff_t index, std::ptrdiff_t delta)
{
    if (!canMove(items.size(), index, delta) || delta == 0)
        return false;
    std::swap(items[static_cast<std::size_t>(index)], items[static_cast<std::size_t>(index + delta)]);
    return true;
}

/// The dragged item passed over the target: it takes the target's place, moving down after it, moving up before it.
/// Returns whether anything changed.
template <typename Item>
bool dragOver(std::vector<Item>& items, const Identifier& dragging, const Identifier& target)
{
    const auto from = indexOf(items, dragging);
    const auto to = indexOf(items, target);
    if (!from || !to || *from == *to)
        return false;
    const auto at = [&](std::size_t index) {
        return items.begin() + static_cast<std::ptrdiff_t>(index);
    };
    if (*from < *to)
        std::rotate(at(*from), at(*from) + 1, at(*to) + 1);
    else
        std::rotate(at(*to), at(*from), at(*from) + 1);
    return true;
}

} // namespace Reordering

} // namespace Pelgra
