#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

/// From lines of a page to paragraphs, headings and bullets. Plain text processing: no document, no recogniser.
/// Texts are UTF-8; counts are of characters (code points).
namespace Pelgra::TextExtraction {

/// One line of a page's text layer.
struct Line {
    std::string text; ///< as cut from the page, not trimmed
    std::optional<double> fontSize; ///< dominant size in points, to the nearest half
    std::int64_t charCount = 0; ///< characters that are not white space

    bool operator==(const Line&) const = default;
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
};

/// The lines of one paragraph of a scan.
using RecognizedParagraph = std::vector<std::string>;

std::vector<Block> blocksFrom(std::span<const Line> lines);
std::optional<std::string> bulletBody(std::string_view text);
std::string joinLines(std::span<const std::string> lines);
std::string render(std::span<const Block> blocks);
std::string trimTrailingWhitespace(std::string_view text);
std::vector<RecognizedParagraph> paragraphsFrom(std::span<const RecognizedLine> lines);
std::vector<Block> blocksFromOCR(std::span<const RecognizedParagraph> paragraphs);

} // namespace Pelgra::TextExtraction
