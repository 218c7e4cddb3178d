#include "PelgraCore/TextExtraction.h"

#include "unicode/Unicode.h"

#include <algorithm>
#include <cmath>
#include <map>

namespace Pelgra::TextExtraction {

namespace {

/// Markers that stand alone, and markers that need a blank after them to be told from a minus sign or an em dash.
constexpr std::u32string_view bulletGlyphs = U"\u2022\u25E6\u25AA\u25CF\u2023\u00B7\u25A0\u25A1\u25CB";
constexpr std::u32string_view dashMarkers = U"-\u2013\u2014*";

std::int64_t visibleCount(std::string_view text)
{
    std::int64_t count = 0;
    while (!text.empty())
        count += Unicode::isSpace(Unicode::takeFirst(text)) ? 0 : 1;
    return count;
}

bool endsInBrokenWord(std::string_view text)
{
    return text.size() >= 2 && text.back() == '-' && Unicode::isLetter(Unicode::lastOf(Unicode::withoutLast(text)));
}

template <typename Pieces>
std::string joined(const Pieces& pieces, std::string_view separator)
{
    std::string text;
    for (const auto& piece : pieces) {
        if (&piece != &pieces.front())
            text += separator;
        text += piece;
    }
    return text;
}

} // namespace

std::string normalizedLineEnds(std::string_view text)
{
    std::string normalized(text);
    for (std::size_t i = 0; i < normalized.size(); ++i) {
        if (normalized[i] == '\r')
            normalized[i] = i + 1 < normalized.size() && normalized[i + 1] == '\n' ? ' ' : '\n';
    }
    return normalized;
}

Line lineFrom(std::string text, std::span<const FontRun> runs)
{
    std::map<double, std::int64_t> countBySize;
    std::int64_t total = 0;
    for (const FontRun& run : runs) {
        if (run.charCount < 1 || !std::isfinite(run.size))
            continue;
        countBySize[std::round(run.size * 2) / 2] += run.charCount;
        total += run.charCount;
    }
    Line line;
    line.charCount = std::max(visibleCount(text), total);
    line.text = std::move(text);
    std::int64_t largest = 0;
    for (const auto& [size, count] : countBySize) {
        if (count >= largest) { // ascending, so the larger of two sizes with equal counts wins
            largest = count;
            line.fontSize = size;
        }
    }
    return line;
}

std::optional<std::string> bulletBody(std::string_view text)
{
    if (text.empty())
        return std::nullopt;
    std::string_view rest = text;
    const char32_t marker = Unicode::takeFirst(rest);
    const bool isGlyph = bulletGlyphs.find(marker) != std::u32string_view::npos;
    const bool isDash =
        dashMarkers.find(marker) != std::u32string_view::npos && Unicode::isBlank(Unicode::firstOf(rest));
    if (!isGlyph && !isDash)
        return std::nullopt;
    const std::string_view body = Unicode::trimmedBlanks(rest);
    if (body.empty())
        return std::nullopt;
    return std::string(body);
}

std::string joinLines(std::span<const std::string> lines)
{
    std::string result;
    for (const std::string& line : lines) {
        if (result.empty()) {
            result = line;
        } else if (endsInBrokenWord(result) && Unicode::isLowercase(Unicode::firstOf(line))) {
            result.pop_back();
            result += line;
        } else {
            const bool isRunningOn =
                Unicode::isIdeographic(Unicode::lastOf(result)) && Unicode::isIdeographic(Unicode::firstOf(line));
            result += isRunningOn ? "" : " ";
            result += line;
        }
    }
    return result;
}

std::string trimTrailingWhitespace(std::string_view text)
{
    std::string result;
    for (const std::string_view line : Unicode::cutAtLineFeeds(text)) {
        result += Unicode::withoutTrailingBlanks(line);
        result += '\n';
    }
    return std::string(Unicode::trimmedLineBreaks(result));
}

std::string pageTextFrom(std::span<const Line> lines)
{
    std::vector<std::string_view> texts;
    for (const Line& line : lines)
        texts.push_back(line.text);
    const std::string text = normalizedLineEnds(joined(texts, "\n"));
    return Unicode::isAllSpace(text) ? std::string() : trimTrailingWhitespace(text);
}

std::string pageTextFrom(std::span<const RecognizedParagraph> paragraphs)
{
    std::vector<std::string> texts;
    for (const RecognizedParagraph& paragraph : paragraphs)
        texts.push_back(joined(paragraph, "\n"));
    return joined(texts, "\n\n");
}

} // namespace Pelgra::TextExtraction
