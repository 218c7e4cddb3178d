#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace Pelgra {

/// A folder for one test, removed with everything in it.
class TemporaryFolder {
public:
    TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    ~TemporaryFolder();

    const std::filesystem::path& path() const { return m_path; }
    std::filesystem::path operator/(const std::filesystem::path& name) const { return m_path / name; }

    /// Writes a file and returns its path.
    std::filesystem::path write(const std::filesystem::path& name, std::string_view content) const;

    /// The names of all entries, hidden ones too, sorted.
    std::vector<std::string> names() const;

private:
    std::filesystem::path m_path;
};

/// The content of a file; fails the test program loudly when it cannot be read.
std::string contentOf(const std::filesystem::path& file);

} // namespace Pelgra
