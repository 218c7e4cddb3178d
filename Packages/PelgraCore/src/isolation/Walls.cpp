#include "isolation/Walls.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include <unistd.h>

namespace Pelgra {

namespace {

constexpr std::pair<Wall, std::string_view> names[] = {
    {Wall::noNewPrivileges, "no new privileges"}, {Wall::files, "files (Landlock)"},
    {Wall::network, "network (Landlock)"},        {Wall::otherProcesses, "signals (Landlock)"},
    {Wall::calls, "system calls (seccomp)"},      {Wall::memory, "memory limit"},
};

bool has(std::uint32_t standing, Wall wall)
{
    return (standing & static_cast<std::uint32_t>(wall)) != 0;
}

} // namespace

std::vector<std::string> wallReport(std::uint32_t standing)
{
    std::vector<std::string> lines;
    for (const auto& [wall, name] : names)
        lines.push_back(std::string(name) + (has(standing, wall) ? ": on" : ": off"));
    return lines;
}

std::string wallLine(std::uint32_t standing)
{
    std::string on;
    std::string off;
    for (const auto& [wall, name] : names) {
        std::string& list = has(standing, wall) ? on : off;
        list.append(list.empty() ? "" : ", ").append(name);
    }
    return "Walls around workers: " + (on.empty() ? "none" : on) + (off.empty() ? "" : "; not available: " + off);
}

std::uint64_t workerMemoryLimit()
{
    constexpr std::uint64_t least = std::uint64_t{1} << 30;
    constexpr std::uint64_t share = 8;
    const auto pages = sysconf(_SC_PHYS_PAGES);
    const auto pageSize = sysconf(_SC_PAGESIZE);
    if (pages <= 0 || pageSize <= 0)
        return least;
    return std::max(least, static_cast<std::uint64_t>(pages) * static_cast<std::uint64_t>(pageSize) / share);
}

} // namespace Pelgra
