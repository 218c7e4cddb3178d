#include "programs/Landlock.h"

#include "files/UniqueDescriptor.h"
#include "isolation/Walls.h"

#include <cstdlib>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include <fcntl.h>
#include <link.h>
#include <linux/landlock.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace Pelgra {

namespace {

// The rights and scopes as the kernel's documentation numbers them (landlock(7)); older headers do not have them all.
constexpr std::uint64_t readFile = 1 << 2;
constexpr std::uint64_t readFolder = 1 << 3;
constexpr std::uint64_t everyRightOfVersion[] = {0, 0x1FFF, 0x3FFF, 0x7FFF, 0x7FFF, 0xFFFF};
constexpr std::uint64_t everyNetworkRight = 0b11; // since version 4
constexpr std::uint64_t abstractSocketsAndSignals = 0b11; // since version 6

struct RulesetAttributes {
    std::uint64_t files = 0;
    std::uint64_t network = 0;
    std::uint64_t scopes = 0;
};

std::size_t sizeForVersion(long version)
{
    return (version >= 6 ? 3 : version >= 4 ? 2 : 1) * sizeof(std::uint64_t);
}

std::string variable(const char* name)
{
    const char* const value = std::getenv(name);
    return value ? value : "";
}

/// The folders of the libraries this process was linked with; modules load theirs from the same.
std::set<std::string> libraryFolders()
{
    std::set<std::string> folders;
    const auto add = [](dl_phdr_info* info, std::size_t, void* found) {
        const std::filesystem::path library(info->dlpi_name ? info->dlpi_name : "");
        if (library.is_absolute())
            static_cast<std::set<std::string>*>(found)->insert(library.parent_path());
        return 0;
    };
    dl_iterate_phdr(add, &folders);
    return folders;
}

std::vector<std::string> readablePlaces()
{
    std::vector<std::string> places = {
        "/usr/lib", "/usr/lib64", "/usr/local/lib", "/lib", "/lib64", "/etc/ld.so.cache", "/usr/share/fonts",
        "/usr/local/share/fonts", "/usr/share/X11/fonts", "/usr/share/fontconfig", "/etc/fonts",
        "/var/cache/fontconfig", "/usr/share/poppler", "/usr/share/ghostscript", "/usr/share/tesseract-ocr",
        "/usr/share/tessdata", "/usr/share/locale", "/etc/locale.alias", "/usr/share/i18n", "/usr/share/mime",
        "/etc/localtime", "/usr/share/zoneinfo", "/etc/gcrypt", "/dev/null", "/dev/urandom",
        // What libraries ask about the machine.
        "/sys/devices/system/cpu", "/sys/devices/system/node", "/proc/cpuinfo", "/proc/meminfo", "/proc/self/status",
        "/proc/sys/vm", "/sys/kernel/mm/transparent_hugepage"};
    for (const std::string& folder : libraryFolders())
        places.push_back(folder);
    if (const std::string home = variable("HOME"); !home.empty())
        for (const char* const fonts : {"/.fonts", "/.local/share/fonts", "/.config/fontconfig", "/.cache/fontconfig"})
            places.push_back(home + fonts);
    if (const std::string data = variable("XDG_DATA_HOME"); !data.empty())
        places.push_back(data + "/fonts");
    for (const char* const name : {"XDG_CONFIG_HOME", "XDG_CACHE_HOME"})
        if (const std::string folder = variable(name); !folder.empty())
            places.push_back(folder + "/fontconfig");
    if (const std::string data = variable("TESSDATA_PREFIX"); !data.empty())
        places.push_back(data);
    return places;
}

void allowReading(int ruleset, const std::string& place)
{
    const UniqueDescriptor entry(open(place.c_str(), O_PATH | O_CLOEXEC));
    struct stat status{};
    if (!entry || fstat(entry.get(), &status) != 0)
        return; // not on this system
    landlock_path_beneath_attr rule{};
    rule.allowed_access = S_ISDIR(status.st_mode) ? readFile | readFolder : readFile;
    rule.parent_fd = entry.get();
    syscall(SYS_landlock_add_rule, ruleset, LANDLOCK_RULE_PATH_BENEATH, &rule, 0);
}

bool isAsked(std::uint32_t leftOut, Wall wall)
{
    return (leftOut & static_cast<std::uint32_t>(wall)) == 0;
}

} // namespace

std::uint32_t confineByLandlock(std::uint32_t leftOut)
{
    const long version = syscall(SYS_landlock_create_ruleset, nullptr, 0, LANDLOCK_CREATE_RULESET_VERSION);
    if (version < 1)
        return 0;
    RulesetAttributes attributes;
    std::uint32_t walls = 0;
    if (isAsked(leftOut, Wall::files)) {
        attributes.files = everyRightOfVersion[version < 5 ? version : 5];
        walls |= static_cast<std::uint32_t>(Wall::files);
    }
    if (version >= 4 && isAsked(leftOut, Wall::network)) {
        attributes.network = everyNetworkRight;
        walls |= static_cast<std::uint32_t>(Wall::network);
    }
    if (version >= 6 && isAsked(leftOut, Wall::otherProcesses)) {
        attributes.scopes = abstractSocketsAndSignals;
        walls |= static_cast<std::uint32_t>(Wall::otherProcesses);
    }
    if (walls == 0)
        return 0;
    const UniqueDescriptor ruleset(
        static_cast<int>(syscall(SYS_landlock_create_ruleset, &attributes, sizeForVersion(version), 0)));
    if (!ruleset)
        return 0;
    if (attributes.files != 0)
        for (const std::string& place : readablePlaces())
            allowReading(ruleset.get(), place);
    return syscall(SYS_landlock_restrict_self, ruleset.get(), 0) == 0 ? walls : 0;
}

} // namespace Pelgra
