#pragma once

#include <filesystem>

/// The names under which outputs are built before they are published. Whatever is built under one holds a lock (flock)
/// on it, so that what a killed process left behind can be told from what another one is building.
namespace Pelgra {

/// A name in the folder that no one else uses and no file manager shows.
std::filesystem::path hiddenName(const std::filesystem::path& directory);

/// Claims the file or folder behind the descriptor for as long as the descriptor is open. A hint: not every file system
/// has locks.
void claimHidden(int descriptor);

/// Removes what was left behind in the folder under such names: what nobody claims and nobody has changed for a while.
void removeLeftBehind(const std::filesystem::path& directory) noexcept;

/// The same for the first call of this process about a folder: a job of many files must not list it for each of them.
void removeLeftBehindOnce(const std::filesystem::path& directory) noexcept;

} // namespace Pelgra
