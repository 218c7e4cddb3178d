#pragma once

#include <QImage>

#include <filesystem>

/// Icons of files by their names. Nothing is opened, so that a slow disk costs nothing.
namespace Pelgra::FileIcons {

/// The icon of the desktop's theme, or a sheet of paper with the extension on it where the theme has none. Square,
/// `pixels` wide, never null.
QImage iconFor(const std::filesystem::path& file, int pixels);

/// Reads the tables of file types, on a background thread; the first icon would wait for it otherwise.
void warmUp();

} // namespace Pelgra::FileIcons
