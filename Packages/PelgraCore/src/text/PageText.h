#pragma once

#include "modules/rendering/TextPiece.h"
#include "PelgraCore/TextExtraction.h"

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

/// From the characters a page shows to its lines. The order is that of the page's contents, which keeps columns apart;
/// within a line that holds right-to-left text, the places of the characters decide.
namespace Pelgra {

/// The lines of a page: pieces of one visual line put together with spaces where there are gaps, right-to-left text in
/// reading order, only characters a reader can use, and an empty line where there is more room than between the lines
/// of a paragraph.
std::vector<TextExtraction::Line> linesFrom(std::span<const TextPiece> pieces);

/// Whether the lines hold the page's text. Not when they are blank, nor when the fonts do not tell what most of the
/// characters mean: such a page is better read from its picture.
bool isReadable(std::span<const TextExtraction::Line> lines);

/// The characters that are neither white space nor unknown.
std::int64_t knownCharactersOf(std::string_view text);

/// Puts characters in the order they are read. `characters` stand in the order of the page's contents;
/// `pageIsRightToLeft` decides for lines that begin and end in different directions.
std::vector<PlacedCharacter> inReadingOrder(std::vector<PlacedCharacter> characters, bool pageIsRightToLeft);

} // namespace Pelgra
