#include "Platform/UriList.h"

#include "Support/Paths.h"

#include <algorithm>

namespace Pelgra {

std::vector<std::filesystem::path> filesOfUriList(std::string_view list)
{
    std::vector<std::filesystem::path> files;
    while (!list.empty()) {
        const std::size_t end = std::min(list.find('\n'), list.size());
        std::string_view line = list.substr(0, end);
        list.remove_prefix(std::min(end + 1, list.size()));
        // Some sources count the zero at the end of their text as part of it.
        while (!line.empty() && (line.back() == '\r' || line.back() == '\0'))
            line.remove_suffix(1);
        if (line.empty() || line.front() == '#')
            continue;
        if (std::optional<std::filesystem::path> file = pathFromFileAddress(line))
            files.push_back(std::move(*file));
    }
    return files;
}

} // namespace Pelgra
