#include "text/BlockBounds.h"

#include "text/ListMarker.h"
#include "unicode/Unicode.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>

namespace Pelgra {

namespace {

/// Between paragraphs there is at least this many times the room between the lines of one; less where the line above
/// looks like a last one.
constexpr float paragraphStep = 1.35F;
constexpr float smallParagraphStep = 1.12F;
/// From line to line in font sizes, where a page has too few lines to tell; and the steps that may count as one at all.
constexpr float commonStep = 1.3F;
constexpr float smallestStep = 0.7F;
constexpr float largestStep = 3.5F;
constexpr std::size_t fewestSteps = 4;
/// The share of the steps that are no larger than the usual one. Pages of headings and short paragraphs have more of
/// the larger ones.
constexpr double usualStepShare = 0.25;
/// Sizes that differ by more are not of one block.
constexpr float sizeChange = 1.06F;
/// The room before the first line of a paragraph, and what still counts as flush, in font sizes.
constexpr float smallestIndent = 0.8F;
constexpr float largestIndent = 4.5F;
constexpr float flush = 0.3F;
/// Fewer indents on a page may be anything.
constexpr std::size_t fewestIndents = 2;
/// How many lines above and below tell how far a column reaches.
constexpr std::size_t columnReach = 4;
constexpr std::size_t longestColumn = 200;
/// A line that ends this much earlier than the next word needs was ended on purpose, in font sizes.
constexpr float spareRoom = 1.5F;

/// What is looked at of a line, with the sides named by the way it is read.
struct Looks {
    float begin = 0; ///< grows in the direction of reading
    float end = 0;
    float textBegin = 0; ///< behind the marker of a list item
    float firstWord = 0; ///< its width
    bool isBold = false; ///< all of it
    bool beginsBold = false;
    bool endsBold = false;
    bool endsSentence = false;
    std::optional<ListMarker> marker;
};

bool isDigit(char32_t code)
{
    return code >= U'0' && code <= U'9';
}

/// Letters and digits tell a weight; signs often come from another font.
bool tellsWeight(const PlacedCharacter& character)
{
    return Unicode::isLetter(character.code) || isDigit(character.code);
}

bool endsSentence(std::span<const PlacedCharacter> text)
{
    constexpr std::u32string_view ends = U".!?:\u2026\u3002\uFF01\uFF1F\u061F\u06D4";
    constexpr std::u32string_view closing = U"\"'\u201D\u2019\u201C\u00BB)]\u300D\uFF09";
    while (text.size() > 1 && closing.find(text.back().code) != closing.npos)
        text = text.first(text.size() - 1);
    return ends.find(text.back().code) != ends.npos;
}

bool isReadFromTheRight(std::span<const PlacedCharacter> text)
{
    const auto reversed = std::ranges::count_if(text, Unicode::isRightToLeft, &PlacedCharacter::code);
    return reversed > 0 && reversed * 2 > std::ranges::count_if(text, Unicode::isLetter, &PlacedCharacter::code);
}

Looks looksOf(const VisualLine& line)
{
    std::span<const PlacedCharacter> text = trimmed(line.characters);
    std::vector<PlacedCharacter> asRead;
    const bool isReversed = isReadFromTheRight(text);
    if (isReversed) {
        asRead = line.characters; // with its blanks: what was drawn first or last may stand within the line
        std::ranges::stable_sort(asRead, std::greater(), &PlacedCharacter::start);
        // The digits of a number are read from the left nevertheless.
        const auto first = std::ranges::find_if_not(asRead, Unicode::isBlank, &PlacedCharacter::code);
        const auto end =
            std::find_if_not(first, asRead.end(), [](const auto& character) { return isDigit(character.code); });
        std::reverse(first, end);
        text = trimmed(asRead);
    }
    Looks looks;
    looks.begin = isReversed ? -line.end : line.start;
    looks.end = isReversed ? -line.start : line.end;
    looks.marker = markerAt(text);
    if (looks.marker && !looks.marker->isSure)
        looks.marker.reset();
    std::span<const PlacedCharacter> body = trimmed(text.subspan(looks.marker ? looks.marker->length : 0));
    if (body.empty())
        body = text;
    looks.textBegin = isReversed ? -body.front().end : body.front().start;
    const auto wordEnd = std::ranges::find_if(body, Unicode::isBlank, &PlacedCharacter::code);
    const PlacedCharacter& wordLast = *std::prev(wordEnd);
    looks.firstWord = isReversed ? body.front().end - wordLast.start : wordLast.end - body.front().start;
    const auto first = std::ranges::find_if(body, tellsWeight);
    const auto last = std::find_if(body.rbegin(), body.rend(), tellsWeight);
    looks.beginsBold = first != body.end() && first->isBold;
    looks.endsBold = last != body.rend() && last->isBold;
    looks.isBold = looks.beginsBold && looks.endsBold
        && std::ranges::all_of(body, [](const auto& character) { return character.isBold || !tellsWeight(character); });
    looks.endsSentence = endsSentence(text);
    return looks;
}

bool haveLikeSizes(const VisualLine& line, const VisualLine& other)
{
    return std::max(line.textSize, other.textSize) <= sizeChange * std::min(line.textSize, other.textSize);
}

/// The way down from one line to the next in font sizes of the larger; negative where a column begins.
float stepBetween(const VisualLine& line, const VisualLine& next)
{
    return (next.baseline - line.baseline) / std::max({line.textSize, next.textSize, 0.1F});
}

class Bounds {
public:
    Bounds(std::span<const VisualLine> lines, std::optional<float> documentStep)
        : m_lines(lines)
        , m_usualStep(usualStepOf(lines).value_or(documentStep.value_or(commonStep)))
    {
        m_looks.reserve(lines.size());
        for (const VisualLine& line : lines)
            m_looks.push_back(looksOf(line));
        std::size_t indents = 0;
        for (std::size_t i = 1; i + 1 < lines.size(); ++i)
            indents += isClearIndent(i) ? 1 : 0;
        m_hasIndents = indents >= fewestIndents;
    }

    std::vector<bool> find()
    {
        std::vector<bool> beginnings(m_lines.size(), false);
        for (std::size_t i = 0; i < m_lines.size(); ++i) {
            const bool begins = i > 0 && (beginsBlock(i) || beginsNumberedItem(i));
            beginnings[i] = begins;
            note(i, begins);
        }
        return beginnings;
    }

private:
    /// Whether a line is the next one down in the column of the one before.
    bool follows(std::size_t i) const
    {
        return runsAlong(m_lines[i - 1], m_lines[i]) && m_lines[i].baseline > m_lines[i - 1].baseline;
    }

    float size(std::size_t i) const { return m_lines[i].textSize; }
    bool isFlush(float room, std::size_t i) const { return std::abs(room) < flush * size(i); }
    bool isIndent(float room, std::size_t i) const
    {
        return room > smallestIndent * size(i) && room < largestIndent * size(i);
    }
    float stepTo(std::size_t i) const { return stepBetween(m_lines[i - 1], m_lines[i]) / m_usualStep; }

    bool hasChangedLooks(std::size_t i) const
    {
        const Looks& above = m_looks[i - 1];
        const Looks& here = m_looks[i];
        // A bold phrase may go on over the end of a line.
        const bool hasChangedWeight = above.endsBold != here.beginsBold && (above.isBold || here.isBold);
        return hasChangedWeight || !haveLikeSizes(m_lines[i - 1], m_lines[i]);
    }

    /// How far the lines around reach, those of the same column and size.
    float columnEnd(std::size_t i) const
    {
        float end = m_looks[i].end;
        for (std::size_t k = i; k > 0 && i - k < columnReach && follows(k) && haveLikeSizes(m_lines[i], m_lines[k - 1]);
             --k)
            end = std::max(end, m_looks[k - 1].end);
        for (std::size_t k = i + 1;
             k < m_lines.size() && k - i <= columnReach && follows(k) && haveLikeSizes(m_lines[i], m_lines[k]); ++k)
            end = std::max(end, m_looks[k].end);
        return end;
    }

    /// Whether the first word of a line would have fitted on the line above.
    bool isEndedOnPurpose(std::size_t i) const
    {
        return columnEnd(i - 1) - m_looks[i - 1].end > m_looks[i].firstWord + spareRoom * size(i - 1);
    }

    float indentOf(std::size_t i) const { return m_looks[i].begin - m_looks[i - 1].begin; }

    /// A line that stands further in than both its neighbours, as the first of a paragraph does.
    bool isClearIndent(std::size_t i) const
    {
        return i + 1 < m_lines.size() && follows(i) && follows(i + 1) && !m_looks[i].marker && !m_looks[i - 1].marker
            && isIndent(indentOf(i), i) && isFlush(m_looks[i + 1].begin - m_looks[i - 1].begin, i)
            && !hasChangedLooks(i) && !hasChangedLooks(i + 1) && stepTo(i) < paragraphStep;
    }

    /// The first line of a paragraph on a page whose paragraphs begin with an indent.
    bool isIndented(std::size_t i) const
    {
        if (m_item || m_looks[i].marker || isBesideCap(i))
            return false;
        if (isClearIndent(i))
            return true;
        const bool isAfterSingleLine = m_blockBegin + 1 == i && m_blockIsIndented && isFlush(indentOf(i), i);
        return m_hasIndents && m_looks[i - 1].endsSentence && (isAfterSingleLine || isIndent(indentOf(i), i));
    }

    bool isBesideCap(std::size_t i) const { return m_lines[i].baseline < m_capBaseline + flush * size(i); }

    /// Back to where the marker of the item stands, or further out. Where it is the second line it may as well be that
    /// the lines of items do not hang.
    bool leavesItem(std::size_t i) const
    {
        return m_item && !m_looks[i].marker && m_looks[i].begin < m_looks[*m_item].textBegin - smallestIndent * size(i)
            && (*m_item + 1 < i || m_looks[i - 1].endsSentence || isEndedOnPurpose(i));
    }

    /// Where the lines of a column begin, those that stand furthest out.
    float columnBegin(std::size_t i) const
    {
        float begin = m_looks[i].begin;
        for (std::size_t k = i; k > 0 && i - k < longestColumn && follows(k); --k)
            begin = std::min(begin, m_looks[k - 1].begin);
        for (std::size_t k = i + 1; k < m_lines.size() && k - i < longestColumn && follows(k); ++k)
            begin = std::min(begin, m_looks[k].begin);
        return begin;
    }

    /// The same at the top of the next column: the line stands further out in its column than the item's text in its
    /// own.
    bool leavesItemInColumn(std::size_t i) const
    {
        if (!m_item || m_looks[i].marker)
            return false;
        const float inset = m_looks[*m_item].textBegin - columnBegin(*m_item);
        return m_looks[i].begin - columnBegin(i) < inset - smallestIndent * size(i);
    }

    bool beginsBlock(std::size_t i) const
    {
        if (!runsAlong(m_lines[i - 1], m_lines[i]))
            return false;
        if (hasChangedLooks(i) || m_lines[i - 1].isRow != m_lines[i].isRow)
            return true;
        const bool isLast = m_looks[i - 1].endsSentence && !isBesideCap(i) && isEndedOnPurpose(i);
        if (!follows(i)) // a new column
            return isLast || leavesItemInColumn(i)
                || (m_hasIndents && i + 1 < m_lines.size() && isIndent(-indentOf(i + 1), i));
        if (stepTo(i) > paragraphStep)
            return true;
        if (m_lines[i].isRow)
            return false;
        return isLast || (stepTo(i) > smallParagraphStep && m_looks[i - 1].endsSentence) || leavesItem(i)
            || isIndented(i);
    }

    /// Only numbered ones: other markers tell by themselves that an item begins.
    bool beginsNumberedItem(std::size_t i) const
    {
        const std::optional<ListMarker>& marker = m_looks[i].marker;
        if (!marker || marker->kind == ListMarker::Kind::bullet || m_lines[i].isRow)
            return false;
        if (m_lastValues[static_cast<std::size_t>(marker->kind)] + 1 == marker->value && marker->value > 1)
            return true;
        const bool isHanging = i + 1 < m_lines.size() && follows(i + 1) && m_looks[i].textBegin > m_looks[i].begin
            && isFlush(m_looks[i + 1].begin - m_looks[i].textBegin, i);
        const bool isSetApart = follows(i) && std::abs(indentOf(i)) > smallestIndent * size(i);
        return isHanging || (marker->value == 1 && (isSetApart || m_looks[i - 1].endsSentence || isEndedOnPurpose(i)));
    }

    /// Keeps what the following lines are compared with.
    void note(std::size_t i, bool begins)
    {
        if (i > 0 && !follows(i))
            m_capBaseline = noCap;
        if (m_lines[i].capBaseline)
            m_capBaseline = *m_lines[i].capBaseline;
        if (begins || i == 0) {
            m_blockBegin = i;
            m_blockIsIndented = i > 0 && isIndent(indentOf(i), i);
            m_item.reset();
        }
        if (m_looks[i].marker) {
            m_item = i;
            m_lastValues[static_cast<std::size_t>(m_looks[i].marker->kind)] = m_looks[i].marker->value;
        }
    }

    static constexpr float noCap = -1e9F;

    std::span<const VisualLine> m_lines;
    std::vector<Looks> m_looks;
    const float m_usualStep;
    bool m_hasIndents = false;
    std::size_t m_blockBegin = 0;
    bool m_blockIsIndented = false;
    std::optional<std::size_t> m_item; ///< where the item began that is being read
    std::array<int, 4> m_lastValues{}; ///< of the markers of each kind
    float m_capBaseline = noCap; ///< of the large letter that lines stand beside
};

} // namespace

std::optional<float> usualStepOf(std::span<const VisualLine> lines)
{
    std::vector<float> steps;
    for (std::size_t i = 1; i < lines.size(); ++i) {
        const float step = stepBetween(lines[i - 1], lines[i]);
        if (runsAlong(lines[i - 1], lines[i]) && haveLikeSizes(lines[i - 1], lines[i]) && step > smallestStep
            && step < largestStep)
            steps.push_back(step);
    }
    if (steps.size() < fewestSteps)
        return std::nullopt;
    const auto usual = steps.begin() + static_cast<std::ptrdiff_t>(static_cast<double>(steps.size()) * usualStepShare);
    std::ranges::nth_element(steps, usual);
    return *usual;
}

std::vector<bool> blockBeginnings(std::span<const VisualLine> lines, std::optional<float> usualStep)
{
    return Bounds(lines, usualStep).find();
}

} // namespace Pelgra
