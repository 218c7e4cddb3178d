#pragma once

#include "PelgraCore/RasterImage.h"

#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

namespace Pelgra {

/// Thrown for whatever the other side should not have sent.
class ProtocolError final : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Fields one behind the other in the machine's byte order: both sides are the same machine and the same build. Whole
/// numbers have a fixed width, texts and lists begin with their length (32 bits).
class FieldWriter {
public:
    template <typename Number>
        requires std::integral<Number> || std::floating_point<Number>
    void put(Number number)
    {
        const auto* const bytes = reinterpret_cast<const std::byte*>(&number);
        m_bytes.insert(m_bytes.end(), bytes, bytes + sizeof number);
    }
    void put(std::string_view text)
    {
        put(static_cast<std::uint32_t>(text.size()));
        const auto bytes = std::as_bytes(std::span(text));
        m_bytes.insert(m_bytes.end(), bytes.begin(), bytes.end());
    }
    const Bytes& bytes() const { return m_bytes; }

private:
    Bytes m_bytes;
};

/// Reads such fields and believes nothing. Throws ProtocolError.
class FieldReader {
public:
    explicit FieldReader(std::span<const std::byte> bytes)
        : m_rest(bytes)
    {
    }

    template <typename Number>
        requires std::integral<Number> || std::floating_point<Number>
    Number number()
    {
        Number value{};
        std::memcpy(&value, take(sizeof value).data(), sizeof value);
        return value;
    }

    /// A whole number from 0 to the limit.
    std::uint32_t below(std::uint32_t end)
    {
        const auto value = number<std::uint32_t>();
        if (value >= end)
            throw ProtocolError("a number out of range");
        return value;
    }

    bool flag()
    {
        const auto value = number<std::uint8_t>();
        if (value > 1)
            throw ProtocolError("neither yes nor no");
        return value == 1;
    }

    std::string text(std::size_t limit)
    {
        const auto size = number<std::uint32_t>();
        if (size > limit)
            throw ProtocolError("a text that is too long");
        const auto bytes = take(size);
        return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
    }

    /// The length of a list whose items have at least so many bytes each.
    std::size_t count(std::size_t leastItemSize)
    {
        const auto items = number<std::uint32_t>();
        if (items > m_rest.size() / leastItemSize)
            throw ProtocolError("a list longer than what holds it");
        return items;
    }

    void finish() const
    {
        if (!m_rest.empty())
            throw ProtocolError("more than was expected");
    }

private:
    std::span<const std::byte> take(std::size_t size)
    {
        if (size > m_rest.size())
            throw ProtocolError("less than was expected");
        const auto taken = m_rest.first(size);
        m_rest = m_rest.subspan(size);
        return taken;
    }

    std::span<const std::byte> m_rest;
};

} // namespace Pelgra
