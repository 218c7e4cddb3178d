#include "PelgraCore/TextExtraction.h"
#include "unicode/Unicode.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <string>

namespace Pelgra::TextExtraction {

namespace {

/// A heading is at least this many times larger than the body text.
constexpr double headingScale = 1.3;
constexpr double topHeadingScale = 1.8;
constexpr std::size_t longestHeading = 200;
/// A line shorter than this share of the page's long lines may end a paragraph or an item.
constexpr double shortLineShare = 0.8;
constexpr double longLinePercentile = 0.9;

/// The size at which half of the page's characters are reached, counted from the smallest; 0 without any.
double bodySizeOf(std::span<const Line> lines)
{
    std::map<double, std::int64_t> countBySize;
    std::int64_t total = 0;
    for (const Line& line : lines) {
        if (line.fontSize) {
            countBySize[*line.fontSize] += line.charCount;
            total += line.charCount;
        }
    }
    std::int64_t reached = 0;
    for (const auto& [size, count] : countBySize) {
        reached += count;
        if (total >= 1 && reached * 2 >= total)
            return size;
    }
    return 0;
}

std::int64_t longLineLengthOf(std::span<const Line> lines)
{
    std::vector<std::int64_t> counts;
    for (const Line& line : lines) {
        if (line.charCount > 0)
            counts.push_back(line.charCount);
    }
    if (counts.empty())
        return 0;
    std::ranges::sort(counts);
    const auto index = static_cast<std::size_t>(std::floor(static_cast<double>(counts.size()) * longLinePercentile));
    return counts[std::min(index, counts.size() - 1)];
}

bool endsSentence(std::string_view text)
{
    constexpr std::u32string_view ends = U".!?:\"\u201D\u2019)";
    return ends.find(Unicode::lastOf(text)) != std::u32string_view::npos;
}

bool hasLetter(std::string_view text)
{
    while (!text.empty()) {
        if (Unicode::isLetter(Unicode::takeFirst(text)))
            return true;
    }
    return false;
}

class BlockBuilder {
public:
    explicit BlockBuilder(std::span<const Line> lines)
        : m_bodySize(bodySizeOf(lines))
        , m_longLine(longLineLengthOf(lines))
    {
    }

    void add(const Line& line)
    {
        const std::string_view text = Unicode::trimmedBlanks(line.text);
        if (text.empty())
            flush();
        else if (isHeading(line, text))
            addHeading(*line.fontSize >= topHeadingScale * m_bodySize ? 1 : 2, text);
        else
            addBodyText(text);
    }

    std::vector<Block> finish()
    {
        flush();
        return std::move(m_blocks);
    }

private:
    bool isHeading(const Line& line, std::string_view text) const
    {
        return m_bodySize > 0 && line.fontSize && *line.fontSize >= headingScale * m_bodySize
            && Unicode::countOf(text) <= longestHeading && hasLetter(text);
    }

    bool isShort(std::string_view text) const
    {
        return m_longLine >= 1
            && static_cast<double>(Unicode::countOf(text)) < shortLineShare * static_cast<double>(m_longLine);
    }

    void addHeading(int level, std::string_view text)
    {
        flush();
        Heading* const previous = m_blocks.empty() ? nullptr : std::get_if<Heading>(&m_blocks.back());
        if (previous && previous->level == level) // a heading broken over several lines
            previous->text.append(" ").append(text);
        else
            m_blocks.push_back(Heading{level, std::string(text)});
    }

    void addBodyText(std::string_view text)
    {
        if (std::optional<std::string> body = bulletBody(text)) {
            flush();
            m_bullet.push_back(std::move(*body));
            if (isShort(text))
                flush();
        } else if (!m_bullet.empty()) {
            m_bullet.emplace_back(text);
            if (isShort(text))
                flush();
        } else {
            m_paragraph.emplace_back(text);
            if (isShort(text) && endsSentence(text))
                flush();
        }
    }

    void flush()
    {
        if (!m_bullet.empty())
            m_blocks.push_back(Bullet{joinLines(m_bullet)});
        if (!m_paragraph.empty())
            m_blocks.push_back(Paragraph{joinLines(m_paragraph)});
        m_bullet.clear();
        m_paragraph.clear();
    }

    double m_bodySize;
    std::int64_t m_longLine;
    std::vector<Block> m_blocks;
    std::vector<std::string> m_paragraph; ///< lines of the paragraph being read
    std::vector<std::string> m_bullet; ///< lines of the item being read
};

struct MarkdownForm {
    std::string operator()(const Heading& heading) const
    {
        return std::string(static_cast<std::size_t>(heading.level), '#') + ' ' + heading.text;
    }
    std::string operator()(const Paragraph& paragraph) const
    {
        // It would be read as a heading or a quotation.
        const bool looksLikeMarkup = paragraph.text.starts_with('#') || paragraph.text.starts_with('>');
        return (looksLikeMarkup ? "\\" : "") + paragraph.text;
    }
    std::string operator()(const Bullet& bullet) const { return "- " + bullet.text; }
};

} // namespace

std::vector<Block> blocksFrom(std::span<const Line> lines)
{
    BlockBuilder builder(lines);
    for (const Line& line : lines)
        builder.add(line);
    return builder.finish();
}

std::string render(std::span<const Block> blocks)
{
    std::string text;
    const Block* previous = nullptr;
    for (const Block& block : blocks) {
        if (previous) {
            const bool tight = std::holds_alternative<Bullet>(*previous) && std::holds_alternative<Bullet>(block);
            text += tight ? "\n" : "\n\n";
        }
        text += std::visit(MarkdownForm{}, block);
        previous = &block;
    }
    if (!text.empty())
        text += '\n';
    return text;
}

} // namespace Pelgra::TextExtraction
