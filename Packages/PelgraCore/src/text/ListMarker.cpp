#include "text/ListMarker.h"

#include "unicode/Unicode.h"

#include <algorithm>
#include <string_view>

namespace Pelgra {

namespace {

constexpr std::u32string_view bullets =
    U"\u2022\u25E6\u25AA\u25CF\u2023\u00B7\u25A0\u25A1\u25CB\u2013\u2014-*"
    U"\u2010\u2012\u2043\u2219\u25B6\u25BA\u25C6\u25C7\u25FC\u25FB\u2605\u2713\u2714\u27A2";
constexpr std::size_t mostDigits = 3;
constexpr std::size_t mostRomanDigits = 5;

/// 0 for what is no Roman number below forty; items of lists are hardly ever more.
int romanValue(std::u32string_view digits)
{
    const auto valueOf = [](char32_t digit) {
        return digit == U'i' ? 1 : digit == U'v' ? 5 : digit == U'x' ? 10 : 0;
    };
    int sum = 0;
    for (std::size_t index = 0; index < digits.size(); ++index) {
        const int value = valueOf(digits[index]);
        if (value == 0)
            return 0;
        const bool isTaken = index + 1 < digits.size() && valueOf(digits[index + 1]) > value;
        sum += isTaken ? -value : value;
    }
    return sum;
}

char32_t lowered(char32_t code)
{
    return code >= U'A' && code <= U'Z' ? code - U'A' + U'a' : code;
}

bool isDecimal(char32_t code)
{
    return code >= U'0' && code <= U'9';
}

/// The number or letter of an item.
std::optional<ListMarker> labelFrom(const std::u32string& label)
{
    if (label.size() <= mostDigits && std::ranges::all_of(label, isDecimal)) {
        int value = 0;
        for (const char32_t digit : label)
            value = value * 10 + static_cast<int>(digit - U'0');
        return ListMarker{ListMarker::Kind::decimal, value};
    }
    // A single letter i, v or x is more likely a Roman number.
    if (const int value = label.size() <= mostRomanDigits ? romanValue(label) : 0; value > 0)
        return ListMarker{ListMarker::Kind::roman, value};
    if (label.size() == 1 && label.front() >= U'a' && label.front() <= U'z')
        return ListMarker{ListMarker::Kind::letter, static_cast<int>(label.front() - U'a') + 1};
    return std::nullopt;
}

std::optional<ListMarker> numberAt(std::span<const PlacedCharacter> text)
{
    const bool isBracketed = text.front().code == U'(';
    std::u32string label;
    std::size_t index = isBracketed ? 1 : 0;
    while (index < text.size() && label.size() <= mostRomanDigits
           && (isDecimal(text[index].code) || (lowered(text[index].code) >= U'a' && lowered(text[index].code) <= U'z')))
        label.push_back(lowered(text[index++].code));
    if (label.empty() || index == text.size() || (text[index].code != U'.' && text[index].code != U')'))
        return std::nullopt;
    std::optional<ListMarker> marker = labelFrom(label);
    if (marker)
        marker->length = index + 1;
    return marker;
}

} // namespace

bool isUnmapped(char32_t code)
{
    return code == Unicode::replacement || (code < 0x20 && code != U'\t') || (code >= 0x7F && code < 0xA0)
        || (code >= 0xE000 && code <= 0xF8FF);
}

std::span<const PlacedCharacter> trimmed(std::span<const PlacedCharacter> characters)
{
    while (!characters.empty() && Unicode::isBlank(characters.front().code))
        characters = characters.subspan(1);
    while (!characters.empty() && Unicode::isBlank(characters.back().code))
        characters = characters.first(characters.size() - 1);
    return characters;
}

std::optional<ListMarker> markerAt(std::span<const PlacedCharacter> characters)
{
    const std::span<const PlacedCharacter> text = trimmed(characters);
    if (text.empty())
        return std::nullopt;
    std::optional<ListMarker> marker;
    const char32_t first = text.front().code;
    if (bullets.find(first) != std::u32string_view::npos)
        marker = {ListMarker::Kind::bullet, 0, 1, true};
    else if (isUnmapped(first) || first == U'o')
        marker = {ListMarker::Kind::bullet, 0, 1, false};
    else
        marker = numberAt(text);
    if (marker && marker->length < text.size() && !Unicode::isBlank(text[marker->length].code))
        return std::nullopt;
    return marker;
}

} // namespace Pelgra
