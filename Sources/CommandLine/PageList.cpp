#include "CommandLine/PageList.h"

#include "CommandLine/Arguments.h"

#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <string>

namespace Pelgra {

namespace {

/// More edits than any document has pages; stops "1-9999999999" before it fills the memory.
constexpr std::size_t editLimit = 1'000'000;

[[noreturn]] void refuse(std::string_view item)
{
    throw UsageError("“" + std::string(item) + "” is not a page or a range of pages.");
}

std::int64_t integer(std::string_view text, std::string_view item)
{
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size())
        refuse(item);
    return value;
}

std::int64_t pageNumber(std::string_view text, std::string_view item)
{
    const std::int64_t number = integer(text, item);
    if (number < 1)
        refuse(item);
    return number;
}

std::int64_t rotationOf(std::string_view text, std::string_view item)
{
    const std::int64_t degrees = integer(text, item);
    if (degrees % 90 != 0)
        throw UsageError("Pages can be turned by multiples of 90 degrees only, not by “" + std::string(text) + "”.");
    return degrees;
}

void appendItem(std::vector<PageEdit>& edits, std::string_view item)
{
    const std::size_t colon = item.find(':');
    const std::int64_t rotation = colon == item.npos ? 0 : rotationOf(item.substr(colon + 1), item);
    const std::string_view range = item.substr(0, colon);
    const std::size_t dash = range.find('-');
    const std::int64_t first = pageNumber(range.substr(0, dash), item);
    const std::int64_t last = dash == range.npos ? first : pageNumber(range.substr(dash + 1), item);
    const std::int64_t step = first <= last ? 1 : -1;
    if (static_cast<std::size_t>(std::abs(last - first)) >= editLimit - edits.size())
        throw UsageError("The list of pages is too long.");
    for (std::int64_t page = first;; page += step) {
        edits.emplace_back(page - 1, rotation);
        if (page == last)
            break;
    }
}

} // namespace

std::vector<PageEdit> parsePageList(std::string_view text)
{
    std::vector<PageEdit> edits;
    for (std::size_t begin = 0; begin <= text.size();) {
        const std::size_t comma = std::min(text.find(',', begin), text.size());
        appendItem(edits, text.substr(begin, comma - begin));
        begin = comma + 1;
    }
    return edits;
}

} // namespace Pelgra
