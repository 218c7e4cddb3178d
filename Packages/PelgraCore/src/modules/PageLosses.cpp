#include "modules/PageLosses.h"

#include "values/Sentences.h"

#include <algorithm>

namespace Pelgra {

long long missingPages(long long claimed, std::size_t found, std::size_t emptyEntries)
{
    const auto there = static_cast<long long>(found);
    const long long unfulfilled = claimed <= mostPages ? claimed - there : 0;
    return std::max(unfulfilled, static_cast<long long>(emptyEntries));
}

std::string sentenceAbout(const PageLosses& losses, const std::filesystem::path& file, int pagesFound)
{
    std::string text = "“" + file.filename().string() + "” is damaged: ";
    if (losses.isListLost)
        text += "its list of pages is lost, and " + countOf(pagesFound, "page was", "pages were") + " found";
    else if (losses.missing > 0)
        text += std::to_string(losses.missing) + " of its " + countOf(pagesFound + losses.missing, "page", "pages")
            + (losses.missing == 1 ? " is" : " are") + " missing";
    if (!losses.incomplete.empty()) {
        text += losses.isListLost || losses.missing > 0 ? ", and " : "";
        text += "something is gone from " + pageList(losses.incomplete);
    }
    return text + '.';
}

void warnOf(const PageLosses& losses, const std::filesystem::path& file, int pagesFound, const JobControl& control)
{
    if (losses.any() && control.warning)
        control.warning(sentenceAbout(losses, file, pagesFound));
}

} // namespace Pelgra
