#include "values/Sentences.h"

#include <cstddef>

namespace Pelgra {

std::string countOf(long long count, const char* one, const char* many)
{
    return std::to_string(count) + ' ' + (count == 1 ? one : many);
}

std::string pageList(const std::vector<int>& indexes)
{
    constexpr std::size_t mostNamed = 6;
    const bool areAllNamed = indexes.size() <= mostNamed;
    const std::size_t named = areAllNamed ? indexes.size() : mostNamed - 1;
    std::string text = indexes.size() == 1 ? "page " : "pages ";
    for (std::size_t place = 0; place < named; ++place) {
        const bool isLast = areAllNamed && place + 1 == named;
        text += (place == 0 ? "" : isLast ? " and " : ", ") + std::to_string(indexes[place] + 1);
    }
    if (!areAllNamed)
        text += " and " + countOf(static_cast<long long>(indexes.size() - named), "other", "others");
    return text;
}

} // namespace Pelgra
