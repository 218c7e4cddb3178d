#pragma once

#include "PelgraCore/JobControl.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

/// A document's text as plain text or Markdown: from the text layer of a page or, where a page has none, from
/// recognition of its picture. Apart from the two functions for a whole document, everything here is plain text
/// processing that needs no document and no recogniser. Texts are UTF-8; counts are of characters (code points).
namespace Pelgra::TextExtraction {

/// One line of a page's text layer.
struct Line {
    std::string text; ///< as on the page, not trimmed
    std::optional<double> fontSize; ///< dominant size in points, to the nearest half
    std::int64_t charCount = 0; ///< characters that are not white space

    bool operator==(const Line&) const = default;
};

/// A stretch of a line set in one font.
struct FontRun {
    double size = 0; ///< points on the page
    std::int64_t charCount = 0; ///< characters that are not white space
};

struct Heading {
    int level = 1; ///< 1 or 2
    std::string text;
    bool operator==(const Heading&) const = default;
};
struct Paragraph {
    std::string text;
    bool operator==(const Paragraph&) const = default;
};
struct Bullet {
    std::string text; ///< without the marker
    bool operator==(const Bullet&) const = default;
};
using Block = std::variant<Heading, Paragraph, Bullet>;

/// A recognised line of a scan. The box is a share of the page's width and height, origin at the bottom left.
struct RecognizedLine {
    std::string text;
    double minX = 0, minY = 0, maxX = 0, maxY = 0;
    double firstWordConfidence = 100; ///< how sure the recogniser is of the first word, from 0 to 100
};

/// The lines of one paragraph of a scan.
using RecognizedParagraph = std::vector<std::string>;

/// Line feeds for the other kinds of line end. A carriage return before a line feed becomes a space, so that no
/// character moves; trimming takes the space away.
std::string normalizedLineEnds(std::string_view text);

/// The line with its dominant font size: of the sizes, rounded to half points, the one with the most characters; of
/// equals, the larger.
Line lineFrom(std::string text, std::span<const FontRun> runs);

/// The blocks of one page. Sizes are judged against the page's body size, the median weighted by characters.
std::vector<Block> blocksFrom(std::span<const Line> lines);

/// What follows the marker of a bullet line; none where the trimmed text is not one.
std::optional<std::string> bulletBody(std::string_view text);

/// The lines as running text; a word broken by a hyphen at the end of a line is made whole.
std::string joinLines(std::span<const std::string> lines);

/// The blocks as Markdown; empty, or ending with a line feed.
std::string render(std::span<const Block> blocks);

/// Without blanks at the ends of lines and without line breaks at either end of the whole.
std::string trimTrailingWhitespace(std::string_view text);

/// Recognisers do not know bullets and take them for the nearest sign: "¢ First item". Where the recogniser was unsure
/// of it, the bullet is put back; whatever else it read stands as it was read.
std::vector<RecognizedLine> withBulletsRestored(std::vector<RecognizedLine> lines);

/// Puts recognised lines together by their distance; a line above its predecessor begins a new column and paragraph.
std::vector<RecognizedParagraph> paragraphsFrom(std::span<const RecognizedLine> lines);

/// Paragraphs and bullets; without font sizes there are no headings.
std::vector<Block> blocksFromOCR(std::span<const RecognizedParagraph> paragraphs);

/// The page's text from its lines; empty when they hold nothing but white space.
std::string pageTextFrom(std::span<const Line> lines);
/// The page's text from its recognised paragraphs: a blank line between paragraphs.
std::string pageTextFrom(std::span<const RecognizedParagraph> paragraphs);

/// The text of a whole document. Page breaks are form feeds in plain text and leave no mark in Markdown. Throw
/// EngineError::unreadable and noPages; a page that cannot be read is empty.
std::string plainTextOf(const std::filesystem::path& document, const JobControl& control = {});
std::string markdownOf(const std::filesystem::path& document, const JobControl& control = {});

} // namespace Pelgra::TextExtraction
