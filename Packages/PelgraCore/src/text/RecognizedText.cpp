#include "PelgraCore/TextExtraction.h"
#include "unicode/Unicode.h"

#include <algorithm>
#include <cmath>

namespace Pelgra::TextExtraction {

namespace {

/// Lines further apart than this share of the median line height belong to different paragraphs.
constexpr double paragraphGapShare = 0.8;

double medianHeightOf(std::span<const RecognizedLine> lines)
{
    std::vector<double> heights;
    for (const RecognizedLine& line : lines)
        heights.push_back(line.maxY - line.minY);
    const auto middle = heights.begin() + static_cast<std::ptrdiff_t>(heights.size() / 2);
    std::ranges::nth_element(heights, middle);
    return *middle;
}

/// What stands for a bullet at the start of a line. A real cent sign is never followed by a blank there; the others may
/// be words or signs in their own right and need a sure bullet above or below, as far from the left.
constexpr char32_t sureBullet = U'\u00A2';
constexpr std::u32string_view likelyBullets = U"\u00A9\u00AE\u00AB\u00BBeoO0@";
constexpr double sameMargin = 0.01;

/// The sign before the first blank, if it is a single one; else 0.
char32_t loneSignOf(std::string_view text)
{
    const char32_t sign = text.empty() ? U'\0' : Unicode::takeFirst(text);
    return Unicode::isBlank(Unicode::firstOf(text)) ? sign : U'\0';
}

bool isSureBullet(const RecognizedLine& line)
{
    const char32_t sign = loneSignOf(line.text);
    return sign == sureBullet || (sign != 0 && bulletBody(line.text));
}

/// Collects the lines of one item or paragraph.
class PendingItem {
public:
    explicit PendingItem(std::vector<Block>& blocks)
        : m_blocks(blocks)
    {
    }

    void add(std::string_view text)
    {
        if (std::optional<std::string> body = bulletBody(text)) {
            emit();
            m_isBullet = true;
            m_lines.push_back(std::move(*body));
        } else {
            m_lines.emplace_back(text);
        }
    }

    void emit()
    {
        if (!m_lines.empty()) {
            std::string text = joinLines(m_lines);
            m_blocks.push_back(m_isBullet ? Block(Bullet{std::move(text)}) : Block(Paragraph{std::move(text)}));
        }
        m_lines.clear();
        m_isBullet = false;
    }

private:
    std::vector<Block>& m_blocks;
    std::vector<std::string> m_lines;
    bool m_isBullet = false;
};

} // namespace

std::vector<RecognizedLine> withBulletsRestored(std::vector<RecognizedLine> lines)
{
    std::vector<double> margins;
    for (const RecognizedLine& line : lines) {
        if (isSureBullet(line))
            margins.push_back(line.minX);
    }
    for (RecognizedLine& line : lines) {
        const char32_t sign = loneSignOf(line.text);
        const bool standsBelowOne =
            std::ranges::any_of(margins, [&line](double margin) { return std::abs(margin - line.minX) < sameMargin; });
        if (sign == sureBullet || (standsBelowOne && likelyBullets.find(sign) != std::u32string_view::npos)) {
            std::string_view rest = line.text;
            Unicode::takeFirst(rest);
            line.text = "\u2022" + std::string(rest);
        }
    }
    return lines;
}

std::vector<RecognizedParagraph> paragraphsFrom(std::span<const RecognizedLine> lines)
{
    std::vector<RecognizedLine> usable;
    for (const RecognizedLine& line : lines) {
        if (!Unicode::isAllSpace(line.text))
            usable.push_back(line);
    }
    if (usable.empty())
        return {};
    const double threshold = paragraphGapShare * medianHeightOf(usable);
    std::vector<RecognizedParagraph> paragraphs;
    const RecognizedLine* previous = nullptr;
    for (const RecognizedLine& line : usable) {
        const bool continues = previous && line.minY <= previous->maxY && previous->minY - line.maxY <= threshold;
        if (!continues)
            paragraphs.emplace_back();
        paragraphs.back().push_back(line.text);
        previous = &line;
    }
    return paragraphs;
}

std::vector<Block> blocksFromOCR(std::span<const RecognizedParagraph> paragraphs)
{
    std::vector<Block> blocks;
    PendingItem item(blocks);
    for (const RecognizedParagraph& paragraph : paragraphs) {
        for (const std::string& line : paragraph) {
            const std::string_view text = Unicode::trimmedBlanks(line);
            if (!text.empty())
                item.add(text);
        }
        item.emit();
    }
    return blocks;
}

} // namespace Pelgra::TextExtraction
