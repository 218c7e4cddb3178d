#include "unicode/Unicode.h"

#include <algorithm>
#include <array>
#include <span>

#include <unictype.h>
#include <uninorm.h>

namespace Pelgra::Unicode {

namespace {

bool isContinuation(char byte)
{
    return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

struct Lead {
    std::size_t length; ///< bytes of the whole sequence; 0 for a byte that cannot begin one
    char32_t bits;
    char32_t smallest; ///< what needs this many bytes; less is an overlong form
};

Lead leadOf(unsigned char byte)
{
    if (byte < 0x80)
        return {1, byte, 0};
    if (byte >= 0xC2 && byte < 0xE0)
        return {2, byte & 0x1Fu, 0x80};
    if (byte >= 0xE0 && byte < 0xF0)
        return {3, byte & 0x0Fu, 0x800};
    if (byte >= 0xF0 && byte < 0xF5)
        return {4, byte & 0x07u, 0x10000};
    return {0, 0, 0};
}

using Decomposition = std::array<ucs4_t, UC_DECOMPOSITION_MAX_LENGTH>;

/// What a presentation form stands for, written to the array; nothing for other characters, and for whole phrases,
/// which are better left as they are.
std::span<const ucs4_t> lettersOfForm(char32_t character, Decomposition& decomposed)
{
    constexpr std::size_t mostLetters = 4;
    if (character < 0xFB50 || character > 0xFEFF)
        return {};
    int tag = 0;
    const int count = uc_decomposition(character, &tag, decomposed.data());
    if (count <= 0
        || (tag != UC_DECOMP_ISOLATED && tag != UC_DECOMP_INITIAL && tag != UC_DECOMP_MEDIAL && tag != UC_DECOMP_FINAL))
        return {};
    // A mark on its own stands on a blank.
    const auto end = std::remove(decomposed.begin(), decomposed.begin() + count, ucs4_t{' '});
    const auto letters = static_cast<std::size_t>(end - decomposed.begin());
    return letters <= mostLetters ? std::span<const ucs4_t>(decomposed).first(letters) : std::span<const ucs4_t>();
}

template <typename Test>
std::string_view trimmedAtEnd(std::string_view text, Test test)
{
    while (!text.empty() && test(lastOf(text)))
        text = withoutLast(text);
    return text;
}

template <typename Test>
std::string_view trimmedAtStart(std::string_view text, Test test)
{
    while (!text.empty()) {
        std::string_view rest = text;
        if (!test(takeFirst(rest)))
            break;
        text = rest;
    }
    return text;
}

} // namespace

char32_t takeFirst(std::string_view& text)
{
    const Lead lead = leadOf(static_cast<unsigned char>(text.front()));
    char32_t character = lead.bits;
    bool wellFormed = lead.length != 0 && lead.length <= text.size();
    for (std::size_t i = 1; wellFormed && i < lead.length; ++i) {
        wellFormed = isContinuation(text[i]);
        character = (character << 6) | (static_cast<unsigned char>(text[i]) & 0x3Fu);
    }
    wellFormed =
        wellFormed && character >= lead.smallest && character <= 0x10FFFF && (character < 0xD800 || character > 0xDFFF);
    text.remove_prefix(wellFormed ? lead.length : 1);
    return wellFormed ? character : replacement;
}

char32_t firstOf(std::string_view text)
{
    return text.empty() ? U'\0' : takeFirst(text);
}

std::string_view withoutLast(std::string_view text)
{
    // More than one byte is taken off only as a well-formed sequence.
    for (std::size_t length = std::min<std::size_t>(4, text.size()); length > 1; --length) {
        std::string_view tail = text.substr(text.size() - length);
        takeFirst(tail);
        if (tail.empty())
            return text.substr(0, text.size() - length);
    }
    return text.substr(0, text.size() - 1);
}

char32_t lastOf(std::string_view text)
{
    return text.empty() ? U'\0' : firstOf(text.substr(withoutLast(text).size()));
}

void append(std::string& text, char32_t character)
{
    const auto put = [&text](char32_t byte) {
        text.push_back(static_cast<char>(byte));
    };
    if (character < 0x80) {
        put(character);
    } else if (character < 0x800) {
        put(0xC0 | (character >> 6));
        put(0x80 | (character & 0x3F));
    } else if (character < 0x10000) {
        put(0xE0 | (character >> 12));
        put(0x80 | ((character >> 6) & 0x3F));
        put(0x80 | (character & 0x3F));
    } else {
        put(0xF0 | (character >> 18));
        put(0x80 | ((character >> 12) & 0x3F));
        put(0x80 | ((character >> 6) & 0x3F));
        put(0x80 | (character & 0x3F));
    }
}

void appendPlain(std::string& text, char32_t character)
{
    Decomposition decomposed;
    const std::span<const ucs4_t> letters = lettersOfForm(character, decomposed);
    if (letters.empty())
        append(text, withoutRadical(character));
    for (const ucs4_t letter : letters)
        append(text, letter);
}

std::u32string decoded(std::string_view text)
{
    std::u32string characters;
    characters.reserve(text.size());
    while (!text.empty())
        characters.push_back(takeFirst(text));
    return characters;
}

std::size_t countOf(std::string_view text)
{
    std::size_t count = 0;
    for (; !text.empty(); ++count)
        takeFirst(text);
    return count;
}

bool isLetter(char32_t character)
{
    return uc_is_general_category_withtable(character, UC_CATEGORY_MASK_L | UC_CATEGORY_MASK_Nl);
}

bool isLowercase(char32_t character)
{
    return uc_is_property_lowercase(character);
}

bool isRightToLeft(char32_t character)
{
    if (character < 0x590)
        return false;
    const int direction = uc_bidi_category(character);
    return direction == UC_BIDI_R || direction == UC_BIDI_AL;
}

char32_t composed(char32_t letter, char32_t mark)
{
    return uc_composition(letter, mark);
}

bool isIdeographic(char32_t character)
{
    return (character >= 0x2E80 && character <= 0x312F) || (character >= 0x31A0 && character <= 0x9FFF)
        || (character >= 0xF900 && character <= 0xFAFF) || (character >= 0xFE30 && character <= 0xFE4F)
        || (character >= 0xFF00 && character <= 0xFFEF) || (character >= 0x20000 && character <= 0x3FFFF);
}

bool isHangul(char32_t character)
{
    return (character >= 0xAC00 && character <= 0xD7FF) || (character >= 0x1100 && character <= 0x11FF)
        || (character >= 0x3130 && character <= 0x318F);
}

bool isBlank(char32_t character)
{
    return character == U' ' || character == U'\t' || character == 0xA0 || character == 0x1680
        || (character >= 0x2000 && character <= 0x200A) || character == 0x202F || character == 0x205F
        || character == 0x3000;
}

bool isLineBreak(char32_t character)
{
    return (character >= 0x0A && character <= 0x0D) || character == 0x85 || character == 0x2028 || character == 0x2029;
}

bool isSpace(char32_t character)
{
    return isBlank(character) || isLineBreak(character);
}

std::string_view withoutTrailingBlanks(std::string_view text)
{
    return trimmedAtEnd(text, isBlank);
}

std::string_view trimmedBlanks(std::string_view text)
{
    return trimmedAtStart(trimmedAtEnd(text, isBlank), isBlank);
}

std::string_view trimmedLineBreaks(std::string_view text)
{
    return trimmedAtStart(trimmedAtEnd(text, isLineBreak), isLineBreak);
}

bool isAllSpace(std::string_view text)
{
    return trimmedAtStart(text, isSpace).empty();
}

std::vector<std::string_view> cutAtLineFeeds(std::string_view text)
{
    std::vector<std::string_view> pieces;
    for (;;) {
        const std::size_t end = text.find('\n');
        pieces.push_back(text.substr(0, end));
        if (end == std::string_view::npos)
            return pieces;
        text.remove_prefix(end + 1);
    }
}

} // namespace Pelgra::Unicode
