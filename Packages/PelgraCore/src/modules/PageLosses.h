#pragma once

#include "PelgraCore/JobControl.h"

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

namespace Pelgra {

/// More pages than any document has; a greater number that one claims to have is nonsense, not a loss.
inline constexpr int mostPages = 1'000'000;

/// What a damaged document has lost of its pages.
struct PageLosses {
    /// Pages that the document says it has and that are not there.
    long long missing = 0;
    /// The list of pages is gone; those found stand in the order of the file, and nobody knows how many there were.
    bool isListLost = false;
    /// The pages (from 0) of whose contents, pictures or fonts something is gone.
    std::vector<int> incomplete;

    bool any() const { return missing > 0 || isListLost || !incomplete.empty(); }
};

/// The pages missing by what the root of a page tree claims and by the entries in it that lead to nothing.
long long missingPages(long long claimed, std::size_t found, std::size_t emptyEntries);

/// What the user is told about a document of which the pages found are used.
std::string sentenceAbout(const PageLosses& losses, const std::filesystem::path& file, int pagesFound);

/// Passes the sentence on where there is something to tell.
void warnOf(const PageLosses& losses, const std::filesystem::path& file, int pagesFound, const JobControl& control);

} // namespace Pelgra
