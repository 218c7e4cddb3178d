#pragma once

#include "files/ByteSink.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>

/// What the fuzzed functions share. Each target offers LLVMFuzzerTestOneInput, see the documentation of libFuzzer.
namespace Pelgra {

/// A file without a name on disk that holds the given bytes; the path leads to it while this lives.
class FuzzInput {
public:
    FuzzInput(const std::uint8_t* data, std::size_t size);
    FuzzInput(const FuzzInput&) = delete;
    FuzzInput& operator=(const FuzzInput&) = delete;
    ~FuzzInput();

    const std::filesystem::path& path() const { return m_path; }
    int descriptor() const { return m_descriptor; }

private:
    int m_descriptor;
    std::filesystem::path m_path;
};

/// Takes bytes and forgets them.
class NullSink final : public ByteSink {
public:
    void write(std::span<const std::byte>) override { }
    void writeAt(std::size_t, std::span<const std::byte>) override { }
};

inline std::span<const std::byte> bytesOf(const std::uint8_t* data, std::size_t size)
{
    return {reinterpret_cast<const std::byte*>(data), size};
}

} // namespace Pelgra
