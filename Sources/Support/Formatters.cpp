#include "Support/Formatters.h"

#include "PelgraCore/FileSizeFormatter.h"

#include <limits>
#include <system_error>

namespace Pelgra::FileInfo {

std::int64_t totalBytes(std::span<const std::filesystem::path> files)
{
    constexpr std::uintmax_t most = std::numeric_limits<std::int64_t>::max();
    std::uintmax_t sum = 0;
    for (const std::filesystem::path& file : files) {
        std::error_code error;
        if (!std::filesystem::is_regular_file(file, error) || error)
            continue;
        const std::uintmax_t size = std::filesystem::file_size(file, error);
        if (error)
            continue;
        // Sparse files can claim sizes whose sum overflows.
        sum = size > most - sum ? most : sum + size;
    }
    return static_cast<std::int64_t>(sum);
}

QString centerSummary(std::span<const std::filesystem::path> files)
{
    if (files.size() == 1)
        return QString::fromStdString(FileSizeFormatter::stringForBytes(totalBytes(files)));
    return QString::number(files.size()) + QStringLiteral(" files");
}

} // namespace Pelgra::FileInfo
