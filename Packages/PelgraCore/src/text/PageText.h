#pragma once

#include "PelgraCore/TextExtraction.h"
#include "text/VisualLine.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

/// From the characters a page shows to its lines. The order is that of the page's contents, which keeps columns apart;
/// within a line that holds right-to-left text, the places of the characters decide.
namespace Pelgra {

/// The lines of a page: pieces of one visual line put together with spaces where there are gaps, right-to-left text in
/// reading order, only characters a reader can use, and an empty line where a block begins. A page of few lines takes
/// the usual step from line to line, in font sizes, from its neighbour.
std::vector<TextExtraction::Line> linesFrom(std::vector<VisualLine> lines,
                                            std::optional<float> usualStep = std::nullopt);

/// Whether the lines hold the page's text. Not when they are blank, nor when the fonts do not tell what most of the
/// characters mean: such a page is better read from its picture.
bool isReadable(std::span<const TextExtraction::Line> lines);

/// The characters that are neither white space nor unknown.
std::int64_t knownCharactersOf(std::string_view text);

/// Brackets within right-to-left text of the lines of a page, which are in reading order. Such text is drawn with the
/// mirrored shapes, and most producers say which shape was drawn; some say which was meant. Whichever balances better
/// on the page is kept, and the first where neither does.
void settleBrackets(std::span<std::vector<PlacedCharacter>* const> lines);

/// Puts characters in the order they are read; those of right-to-left text are marked so, brackets stay as drawn.
/// `characters` stand in the order of the page's contents; `pageIsRightToLeft` decides for lines that begin and end in
/// different directions.
std::vector<PlacedCharacter> inReadingOrder(std::vector<PlacedCharacter> characters, bool pageIsRightToLeft);

} // namespace Pelgra
