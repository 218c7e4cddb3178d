#pragma once

#include "files/ByteSink.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <limits>
#include <span>
#include <vector>

namespace Pelgra {

/// Keeps what is written, or fails like a full disk once a number of bytes is reached.
class MemorySink final : public ByteSink {
public:
    explicit MemorySink(std::size_t capacity = std::numeric_limits<std::size_t>::max())
        : m_capacity(capacity)
    {
    }

    void write(std::span<const std::byte> bytes) override
    {
        if (bytes.size() > m_capacity - m_bytes.size())
            throw StorageError();
        m_bytes.insert(m_bytes.end(), bytes.begin(), bytes.end());
    }
    void writeAt(std::size_t offset, std::span<const std::byte> bytes) override
    {
        if (offset > m_bytes.size() || bytes.size() > m_bytes.size() - offset)
            std::abort(); // an encoder must not do this
        std::copy(bytes.begin(), bytes.end(), m_bytes.begin() + static_cast<std::ptrdiff_t>(offset));
    }

    const std::vector<std::byte>& bytes() const { return m_bytes; }

private:
    std::size_t m_capacity;
    std::vector<std::byte> m_bytes;
};

} // namespace Pelgra
