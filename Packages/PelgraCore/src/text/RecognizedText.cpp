#include "PelgraCore/TextExtraction.h"
#include "unicode/Unicode.h"

#include <algorithm>

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

/// What bullets are taken for most often, and is hardly ever meant at the start of a line. Bullets came out with a
/// confidence of 26 to 71, true cent signs of 86 and more. Those taken for words such as "e" or "O" came out as surely
/// as these words themselves, so nothing tells them apart.
constexpr char32_t takenForBullet = U'\u00A2';
constexpr double sureSign = 78;

/// The sign before the first blank, if it is a single one; else 0.
char32_t loneSignOf(std::string_view text)
{
    const char32_t sign = text.empty() ? U'\0' : Unicode::takeFirst(text);
    return Unicode::isBlank(Unicode::firstOf(text)) ? sign : U'\0';
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
    for (RecognizedLine& line : lines) {
        if (loneSignOf(line.text) == takenForBullet && line.firstWordConfidence < sureSign) {
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
