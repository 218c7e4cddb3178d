#include "Support/TemporaryFolder.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include <stdlib.h>

namespace Pelgra {

TemporaryFolder::TemporaryFolder()
{
    std::string pattern = (std::filesystem::temp_directory_path() / "pelgra-test-XXXXXX").string();
    if (!mkdtemp(pattern.data()))
        throw std::runtime_error("no temporary folder");
    m_path = pattern;
}

TemporaryFolder::~TemporaryFolder()
{
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

std::filesystem::path TemporaryFolder::write(const std::filesystem::path& name, std::string_view content) const
{
    const std::filesystem::path file = m_path / name;
    std::ofstream stream(file, std::ios::binary);
    stream.write(content.data(), static_cast<std::streamsize>(content.size()));
    if (!stream.flush())
        throw std::runtime_error("cannot write " + file.string());
    return file;
}

std::vector<std::string> TemporaryFolder::names() const
{
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(m_path))
        names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

std::string contentOf(const std::filesystem::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    if (!stream)
        throw std::runtime_error("cannot read " + file.string());
    return {std::istreambuf_iterator<char>(stream), {}};
}

} // namespace Pelgra
