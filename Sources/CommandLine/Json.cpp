#include "CommandLine/Json.h"

#include "PelgraCore/Hexadecimal.h"

#include <cstddef>
#include <cstdint>

namespace Pelgra {

namespace {

/// The length of the well-formed UTF-8 sequence (Unicode 15, table 3-7) that the text begins with; 0 when it
/// begins with none.
std::size_t sequenceLength(std::string_view text)
{
    const auto at = [&](std::size_t i) {
        return static_cast<std::uint8_t>(text[i]);
    };
    const std::uint8_t lead = at(0);
    if (lead < 0x80)
        return 1;
    const std::size_t length = lead >= 0xC2 && lead <= 0xDF ? 2
        : lead >= 0xE0 && lead <= 0xEF                      ? 3
        : lead >= 0xF0 && lead <= 0xF4                      ? 4
                                                            : 0;
    if (length == 0 || text.size() < length)
        return 0;
    // The second byte excludes overlong forms, surrogates and what lies beyond U+10FFFF.
    const std::uint8_t lowest = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
    const std::uint8_t highest = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
    if (at(1) < lowest || at(1) > highest)
        return 0;
    for (std::size_t i = 2; i < length; ++i)
        if ((at(i) & 0xC0) != 0x80)
            return 0;
    return length;
}

void appendEscape(std::string& result, unsigned codeUnit)
{
    result += "\\u" + hexadecimal(static_cast<std::uint8_t>(codeUnit >> 8))
        + hexadecimal(static_cast<std::uint8_t>(codeUnit & 0xFF));
}

} // namespace

std::string jsonString(std::string_view bytes)
{
    std::string result = "\"";
    while (!bytes.empty()) {
        const std::size_t length = sequenceLength(bytes);
        const auto first = static_cast<std::uint8_t>(bytes.front());
        if (length == 0)
            appendEscape(result, 0xDC00U + first);
        else if (first < 0x20 || first == 0x7F)
            appendEscape(result, first);
        else if (first == '"' || first == '\\')
            (result += '\\') += bytes.front();
        else
            result += bytes.substr(0, length);
        bytes.remove_prefix(length == 0 ? 1 : length);
    }
    return result += '"';
}

} // namespace Pelgra
