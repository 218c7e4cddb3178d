#pragma once

#include <QByteArray>
#include <QImage>

#include <filesystem>

class QThreadPool;

/// Small pictures of files for the desktop's windows.
namespace Pelgra::ThumbnailLoader {

/// A picture of the file with its longest side near `pixels`: from the thumbnails that the desktop's applications
/// share, else made by the core. Null for what neither can show, and for files so large that making one would take too
/// much. May take long; any thread but the main one.
QImage load(const std::filesystem::path& file, int pixels);

/// The shared thumbnail alone (Thumbnail Managing Standard 0.9, freedesktop.org), if there is one of the file as it
/// is now, its longest side at most `pixels`. As untrusted as any file, it is read by the core. Any thread.
QImage sharedThumbnail(const std::filesystem::path& file, int pixels);

/// The address by which the shared thumbnail is named.
QByteArray canonicalAddress(const std::filesystem::path& file);

/// The threads for load(). Not one of the application's other pools: a file that hangs must not hold up anything else.
/// Never destroyed, for the same reason.
QThreadPool& pool();

} // namespace Pelgra::ThumbnailLoader
