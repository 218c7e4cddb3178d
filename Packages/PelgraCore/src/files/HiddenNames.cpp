#include "files/HiddenNames.h"

#include "files/UniqueDescriptor.h"
#include "PelgraCore/Models.h"

#include <ctime>
#include <mutex>
#include <set>
#include <string>
#include <string_view>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

namespace Pelgra {

namespace {

constexpr std::string_view prefix = ".pelgra-";
/// What is younger may be in use without a claim that can be seen: it has only just been made, or by another machine.
constexpr std::time_t youngest = 600; // seconds

bool isHiddenName(const std::string& name)
{
    const std::size_t length = prefix.size() + Identifier().text().size();
    return name.size() == length && name.starts_with(prefix);
}

bool isLeftBehind(const std::filesystem::path& path)
{
    const UniqueDescriptor entry(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    struct stat status{};
    return entry && fstat(entry.get(), &status) == 0 && (S_ISDIR(status.st_mode) || S_ISREG(status.st_mode))
        && status.st_uid == geteuid() && std::time(nullptr) - status.st_mtime > youngest
        && flock(entry.get(), LOCK_EX | LOCK_NB) == 0;
}

} // namespace

std::filesystem::path hiddenName(const std::filesystem::path& directory)
{
    return directory / (std::string(prefix) + Identifier::random().text());
}

void claimHidden(int descriptor)
{
    flock(descriptor, LOCK_EX | LOCK_NB);
}

void removeLeftBehindOnce(const std::filesystem::path& directory) noexcept
{
    try {
        static std::mutex mutex;
        static std::set<std::filesystem::path> seen;
        {
            const std::lock_guard lock(mutex);
            if (!seen.insert(directory).second)
                return;
        }
        removeLeftBehind(directory);
    } catch (const std::exception&) {
        // There is no memory to remember it in.
    }
}

void removeLeftBehind(const std::filesystem::path& directory) noexcept
{
    try {
        std::error_code error;
        std::filesystem::directory_iterator entry(directory.empty() ? "." : directory, error);
        while (!error && entry != std::filesystem::directory_iterator()) {
            const std::filesystem::path path = entry->path();
            entry.increment(error);
            if (isHiddenName(path.filename().string()) && isLeftBehind(path)) {
                std::error_code ignored;
                std::filesystem::remove_all(path, ignored);
            }
        }
    } catch (const std::exception&) {
        // Another job will find it.
    }
}

} // namespace Pelgra
