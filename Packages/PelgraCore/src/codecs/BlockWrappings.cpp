#include "codecs/BlockWrappings.h"

#include <algorithm>
#include <optional>

namespace Pelgra {

namespace {

using namespace std::string_view_literals;

std::optional<unsigned> hexadecimalDigit(char character)
{
    if (character >= '0' && character <= '9')
        return static_cast<unsigned>(character - '0');
    const char lower = static_cast<char>(character | 0x20);
    if (lower >= 'a' && lower <= 'f')
        return static_cast<unsigned>(lower - 'a' + 10);
    return std::nullopt;
}

/// Moves past one line and returns it.
std::string_view takeLine(std::string_view& text)
{
    const std::size_t end = std::min(text.find('\n'), text.size());
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(std::min(text.size(), end + 1));
    return line;
}

} // namespace

bool startsWith(std::span<const std::byte> bytes, std::string_view prefix)
{
    const auto expected = std::as_bytes(std::span(prefix));
    return bytes.size() >= expected.size() && std::equal(expected.begin(), expected.end(), bytes.begin());
}

std::size_t bigEndianNumber(std::span<const std::byte> bytes, std::size_t place, std::size_t size)
{
    std::size_t value = 0;
    for (std::size_t index = 0; index < size; ++index)
        value = value << 8 | std::to_integer<std::size_t>(bytes[place + index]);
    return value;
}

std::span<const std::byte> withoutExifPrefix(std::span<const std::byte> block)
{
    constexpr auto prefix = "Exif\0\0"sv;
    return startsWith(block, prefix) ? block.subspan(prefix.size()) : block;
}

void appendIptc(std::span<const std::byte> resources, Bytes& iptc)
{
    // Each resource: "8BIM", number, name with its length (padded to even), size, content (padded to even).
    constexpr std::size_t iptcResource = 0x0404;
    while (resources.size() >= 12 && startsWith(resources, "8BIM"sv)) {
        const std::size_t resource = bigEndianNumber(resources, 4, 2);
        const std::size_t nameLength = std::to_integer<std::size_t>(resources[6]) + 1;
        const std::size_t sizePlace = 6 + nameLength + nameLength % 2;
        if (resources.size() < sizePlace + 4)
            return;
        const std::size_t size = bigEndianNumber(resources, sizePlace, 4);
        const std::span<const std::byte> rest = resources.subspan(sizePlace + 4);
        if (size > rest.size())
            return;
        if (resource == iptcResource)
            iptc.insert(iptc.end(), rest.begin(), rest.begin() + static_cast<std::ptrdiff_t>(size));
        resources = rest.subspan(std::min(rest.size(), size + size % 2));
    }
}

Bytes rawProfileBytes(std::string_view text)
{
    while (!text.empty() && text.front() == '\n')
        text.remove_prefix(1);
    takeLine(text); // the kind
    takeLine(text); // the size, which the digits tell as well
    Bytes bytes;
    bytes.reserve(text.size() / 2);
    std::optional<unsigned> high;
    for (const char character : text) {
        const std::optional<unsigned> digit = hexadecimalDigit(character);
        if (!digit && character != '\n' && character != '\r' && character != ' ' && character != '\0')
            return {};
        if (!digit)
            continue;
        if (high)
            bytes.push_back(static_cast<std::byte>(*high << 4 | *digit));
        high = high ? std::nullopt : digit;
    }
    return bytes;
}

} // namespace Pelgra
