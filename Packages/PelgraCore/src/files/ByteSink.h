#pragma once

#include <cstddef>
#include <span>
#include <stdexcept>

namespace Pelgra {

/// Where an encoder puts its bytes.
class ByteSink {
public:
    virtual ~ByteSink() = default;

    /// Takes all of the bytes, or throws.
    virtual void write(std::span<const std::byte> bytes) = 0;

    /// Replaces bytes already written, for formats whose header is known only at the end. Throws.
    virtual void writeAt(std::size_t offset, std::span<const std::byte> bytes) = 0;
};

/// What a sink throws when its bytes cannot be stored: a full disk, a broken device.
class StorageError final : public std::runtime_error {
public:
    StorageError()
        : std::runtime_error("storage error")
    {
    }
};

} // namespace Pelgra
