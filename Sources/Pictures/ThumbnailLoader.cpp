#include "Pictures/ThumbnailLoader.h"

#include "PelgraCore/FileFormat.h"
#include "PelgraCore/Thumbnails.h"
#include "Pictures/RasterConversion.h"
#include "Support/Paths.h"

#include <QCryptographicHash>
#include <QStandardPaths>
#include <QThread>
#include <QThreadPool>

#include <exception>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

#include <sys/stat.h>

namespace Pelgra::ThumbnailLoader {

namespace {

/// Beyond this many bytes the core is not asked. Far above any photograph; documents are read in parts only.
constexpr std::uintmax_t pictureByteLimit = std::uintmax_t{96} << 20;
constexpr std::uintmax_t documentByteLimit = std::uintmax_t{1} << 30;

/// No shared thumbnail of an honest application is larger.
constexpr std::uintmax_t sharedByteLimit = std::uintmax_t{8} << 20;

bool isSmallEnough(const std::filesystem::path& file, std::uintmax_t limit)
{
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(file, error);
    return !error && std::filesystem::is_regular_file(file, error) && size <= limit;
}

/// What the core gives; null for nothing, or where there is no memory for it: a thread has nobody to tell.
QImage pictureFrom(const std::function<std::optional<RasterImage>()>& core)
{
    try {
        const std::optional<RasterImage> picture = core();
        return picture ? toQImage(*picture) : QImage();
    } catch (const std::exception&) {
        return {};
    }
}

} // namespace

QByteArray canonicalAddress(const std::filesystem::path& file)
{
    // The characters that GLib leaves alone in a path; nearly all thumbnails are made by programs that use it or follow
    // its names.
    constexpr std::string_view plain = "!$&'()*+,-./:=@_~";
    std::error_code error;
    const std::filesystem::path whole = std::filesystem::absolute(file, error).lexically_normal();
    return QByteArray::fromStdString(fileAddressFromPath(whole, plain));
}

QImage sharedThumbnail(const std::filesystem::path& file, int pixels)
{
    struct stat status{};
    if (::stat(file.c_str(), &status) != 0 || !S_ISREG(status.st_mode))
        return {};
    const QByteArray address = canonicalAddress(file);
    const Thumbnails::SharedClaims claims{address.toStdString(), std::int64_t{status.st_mtim.tv_sec}};
    const std::string name = QCryptographicHash::hash(address, QCryptographicHash::Md5).toHex().toStdString() + ".png";
    const std::filesystem::path cache =
        pathFromText(QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation)) / "thumbnails";
    // 256 pixels suit a card at any scale; the smallest, 128, come last.
    for (const char* const size : {"large", "x-large", "xx-large", "normal"}) {
        const std::filesystem::path thumbnail = cache / size / name;
        if (!isSmallEnough(thumbnail, sharedByteLimit))
            continue;
        const QImage picture = pictureFrom([&] { return Thumbnails::shared(thumbnail, claims, pixels); });
        if (!picture.isNull())
            return picture;
    }
    return {};
}

QImage load(const std::filesystem::path& file, int pixels)
{
    const QImage shared = sharedThumbnail(file, pixels);
    if (!shared.isNull())
        return shared;
    const bool isDocument = FileFormat::detect(file) == FileFormat(FileFormat::pdf);
    if (!isSmallEnough(file, isDocument ? documentByteLimit : pictureByteLimit))
        return {};
    return pictureFrom([&] { return Thumbnails::image(file, 0, pixels); });
}

QThreadPool& pool()
{
    static auto* const threads = [] {
        auto* const made = new QThreadPool;
        made->setMaxThreadCount(2);
        made->setThreadPriority(QThread::LowestPriority);
        return made;
    }();
    return *threads;
}

} // namespace Pelgra::ThumbnailLoader
