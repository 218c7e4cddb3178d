#include "XmpFilter.h"

#include <algorithm>
#include <mutex>
#include <set>
#include <string>
#include <string_view>

#include <exiv2/exiv2.hpp>

namespace Pelgra {

namespace {

constexpr std::string_view auxiliaryNamespace = "http://ns.adobe.com/exif/1.0/aux/";

/// The parser walks the elements recursively, so their depth must be bounded beforehand. Markup that is not XML is left
/// to the parser.
bool isNestedTooDeeply(std::string_view packet)
{
    constexpr int depthLimit = 100;
    int depth = 0;
    std::size_t end = 0;
    for (std::size_t place = packet.find('<'); place != std::string_view::npos; place = packet.find('<', place + 1)) {
        const char next = place + 1 < packet.size() ? packet[place + 1] : '\0';
        if (next == '?' || next == '!')
            continue;
        if (next == '/') {
            --depth;
            continue;
        }
        if (end <= place && end != std::string_view::npos)
            end = packet.find('>', place);
        if (end != std::string_view::npos && packet[end - 1] == '/')
            continue;
        if (++depth > depthLimit)
            return true;
    }
    return false;
}

/// The parser compares each property with all those beside it, which have to have different names, so the number of
/// names must be bounded too. Programs that write a lot repeat a few hundred.
bool hasTooManyNames(std::string_view packet)
{
    constexpr std::size_t limit = 2000;
    constexpr std::size_t nameLimit = 256;
    constexpr std::string_view nameEnds = " \t\r\n=/<>\"'";
    std::set<std::string_view> names;
    for (std::size_t place = packet.find_first_of("<="); place != std::string_view::npos && names.size() <= limit;
         place = packet.find_first_of("<=", place + 1)) {
        const std::string_view near = packet[place] == '<'
            ? packet.substr(place + 1, nameLimit)
            : packet.substr(place - std::min(place, nameLimit), std::min(place, nameLimit));
        if (packet[place] == '<') {
            names.insert(near.substr(0, near.find_first_of(nameEnds)));
        } else {
            const std::size_t last = near.find_last_not_of(" \t\r\n");
            if (last != std::string_view::npos) {
                const std::string_view name = near.substr(0, last + 1);
                names.insert(name.substr(name.find_last_of(nameEnds) + 1));
            }
        }
    }
    return names.size() > limit;
}

/// The toolkit behind the parser keeps tables that all threads share.
std::mutex& toolkitMutex()
{
    static std::mutex mutex;
    return mutex;
}

} // namespace

Bytes auxiliaryXmp(std::span<const std::byte> packet)
{
    const std::string text(reinterpret_cast<const char*>(packet.data()), packet.size());
    if (text.find(auxiliaryNamespace) == std::string::npos || isNestedTooDeeply(text) || hasTooManyNames(text))
        return {};
    const std::scoped_lock lock(toolkitMutex());
    if (!Exiv2::XmpParser::initialize())
        return {};
    Exiv2::XmpData data;
    if (Exiv2::XmpParser::decode(data, text) != 0)
        return {};
    for (auto datum = data.begin(); datum != data.end();)
        datum = datum->groupName() == "aux" ? std::next(datum) : data.erase(datum);
    if (data.empty())
        return {};
    std::string filtered;
    if (Exiv2::XmpParser::encode(filtered, data, Exiv2::XmpParser::useCompactFormat, 0) != 0)
        return {};
    const auto bytes = std::as_bytes(std::span(filtered));
    return {bytes.begin(), bytes.end()};
}

} // namespace Pelgra
