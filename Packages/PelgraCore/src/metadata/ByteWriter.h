#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace Pelgra {

/// Appends numbers to a byte string in a chosen byte order.
class ByteWriter {
public:
    explicit ByteWriter(std::endian order)
        : m_order(order)
    {
    }

    ByteWriter& put8(std::uint32_t value)
    {
        m_bytes.push_back(static_cast<std::byte>(value & 0xFF));
        return *this;
    }
    ByteWriter& put16(std::uint32_t value)
    {
        return m_order == std::endian::big ? put8(value >> 8).put8(value) : put8(value).put8(value >> 8);
    }
    ByteWriter& put32(std::uint32_t value)
    {
        return m_order == std::endian::big ? put16(value >> 16).put16(value) : put16(value).put16(value >> 16);
    }
    ByteWriter& put(std::span<const std::byte> bytes);
    ByteWriter& put(std::string_view text) { return put(std::as_bytes(std::span(text))); }
    ByteWriter& putZeros(std::size_t count)
    {
        m_bytes.resize(m_bytes.size() + count);
        return *this;
    }

    std::size_t size() const { return m_bytes.size(); }
    std::vector<std::byte>& bytes() { return m_bytes; }
    const std::vector<std::byte>& bytes() const { return m_bytes; }

private:
    std::endian m_order;
    std::vector<std::byte> m_bytes;
};

/// Two bytes at the offset, which must be inside.
inline std::uint16_t read16(std::span<const std::byte> bytes, std::size_t offset, std::endian order)
{
    const auto first = std::to_integer<unsigned>(bytes[offset]);
    const auto second = std::to_integer<unsigned>(bytes[offset + 1]);
    return static_cast<std::uint16_t>(order == std::endian::big ? first << 8 | second : second << 8 | first);
}

/// Four bytes at the offset, which must be inside.
inline std::uint32_t read32(std::span<const std::byte> bytes, std::size_t offset, std::endian order)
{
    const std::uint32_t first = read16(bytes, offset, order);
    const std::uint32_t second = read16(bytes, offset + 2, order);
    return order == std::endian::big ? first << 16 | second : second << 16 | first;
}

} // namespace Pelgra
