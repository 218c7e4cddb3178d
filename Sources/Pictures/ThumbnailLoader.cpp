#include "Pictures/ThumbnailLoader.h"

#include "PelgraCore/FileFormat.h"
#include "PelgraCore/Thumbnails.h"
#include "Pictures/RasterConversion.h"
#include "Support/Paths.h"

#include <QCryptographicHash>
#include <QFileInfo>
#include <QImageReader>
#include <QStandardPaths>
#include <QThread>
#include <QThreadPool>

#include <algorithm>
#include <exception>
#include <optional>
#include <string_view>
#include <system_error>

#include <sys/stat.h>

namespace Pelgra::ThumbnailLoader {

namespace {

/// Beyond this many bytes the core is not asked. Far above any photograph; documents are read in parts only.
constexpr std::uintmax_t pictureByteLimit = std::uintmax_t{96} << 20;
constexpr std::uintmax_t documentByteLimit = std::uintmax_t{1} << 30;

/// No shared thumbnail of an honest application is larger.
constexpr qint64 sharedByteLimit = qint64{8} << 20;

bool isSmallEnough(const std::filesystem::path& file)
{
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(file, error);
    if (error || !std::filesystem::is_regular_file(file, error))
        return false;
    return size <= (FileFormat::detect(file) == FileFormat::pdf ? documentByteLimit : pictureByteLimit);
}

QImage fromCore(const std::filesystem::path& file, int pixels)
{
    if (!isSmallEnough(file))
        return {};
    try {
        const std::optional<RasterImage> picture = Thumbnails::image(file, 0, pixels);
        return picture ? toQImage(*picture) : QImage();
    } catch (const std::exception&) {
        // Out of memory, for example; a thread has nobody to tell.
        return {};
    }
}

/// The thumbnail in one file of the cache, if it was made of the file as it is now.
QImage readShared(const QString& name, const QByteArray& address, const QByteArray& modified)
{
    if (QFileInfo(name).size() > sharedByteLimit)
        return {};
    QImageReader reader(name, "png");
    if (reader.size().width() > 1024 || reader.size().height() > 1024)
        return {};
    // The reader itself stumbles over keys with colons (Qt 6.4); the picture has them right.
    QImage picture = reader.read();
    if (picture.text(QStringLiteral("Thumb::MTime")).toLatin1() != modified)
        return {};
    const QByteArray stated = picture.text(QStringLiteral("Thumb::URI")).toUtf8();
    if (!stated.isEmpty() && stated != address)
        return {};
    return picture;
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

QImage sharedThumbnail(const std::filesystem::path& file)
{
    struct stat status{};
    if (::stat(file.c_str(), &status) != 0 || !S_ISREG(status.st_mode))
        return {};
    const QByteArray address = canonicalAddress(file);
    const QByteArray modified = QByteArray::number(qint64{status.st_mtim.tv_sec});
    const QString hash = QString::fromLatin1(QCryptographicHash::hash(address, QCryptographicHash::Md5).toHex());
    const QString cache =
        QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation) + QStringLiteral("/thumbnails/");
    // 256 pixels suit a card at any scale; the smallest, 128, come last.
    for (const char* size : {"large", "x-large", "xx-large", "normal"}) {
        const QString name = cache + QString::fromLatin1(size) + QLatin1Char('/') + hash + QStringLiteral(".png");
        const QImage picture = readShared(name, address, modified);
        if (!picture.isNull())
            return picture;
    }
    return {};
}

QImage load(const std::filesystem::path& file, int pixels)
{
    const QImage shared = sharedThumbnail(file);
    if (shared.isNull())
        return fromCore(file, pixels);
    // Painting is on the main thread, scaling need not be.
    if (std::max(shared.width(), shared.height()) > pixels)
        return shared.scaled(pixels, pixels, Qt::KeepAspectRatio, Qt::SmoothTransformation);
    return shared;
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
