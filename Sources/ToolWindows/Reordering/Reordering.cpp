#include "ToolWindows/Reordering/Reordering.h"

namespace Pelgra {

std::vector<OrderedFile> orderedFilesFrom(const std::vector<std::filesystem::path>& files)
{
    std::vector<OrderedFile> ordered;
    ordered.reserve(files.size());
    for (const auto& file : files)
        ordered.push_back({Identifier::random(), file});
    return ordered;
}

bool Reordering::canMove(std::size_t count, std::ptrdiff_t index, std::ptrdiff_t delta)
{
    const auto size = static_cast<std::ptrdiff_t>(count);
    // Compared without adding, so that no sum can overflow.
    return index >= 0 && index < size && delta >= -index && delta < size - index;
}

} // namespace Pelgra
