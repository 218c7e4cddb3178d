#include "Drag/FileInfo.h"

#include "PelgraCore/FileSizeFormatter.h"

#include <sys/stat.h>

#include <limits>

namespace Pelgra::FileInfo {

std::int64_t totalBytes(std::span<const std::filesystem::path> files)
{
    std::int64_t total = 0;
    for (const std::filesystem::path& file : files) {
        struct stat status = {};
        if (::stat(file.c_str(), &status) != 0 || !S_ISREG(status.st_mode))
            continue;
        if (status.st_size > std::numeric_limits<std::int64_t>::max() - total)
            return std::numeric_limits<std::int64_t>::max(); // sparse files can claim more than a sum can hold
        total += status.st_size;
    }
    return total;
}

QString centerSummary(std::span<const std::filesystem::path> files)
{
    if (files.size() == 1)
        return QString::fromStdString(FileSizeFormatter::stringForBytes(totalBytes(files)));
    return QStringLiteral("%1 files").arg(files.size());
}

} // namespace Pelgra::FileInfo
