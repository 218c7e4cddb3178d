#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

/// What text processing must know about characters, from the Unicode data of libunistring and never from the user's
/// locale.
/// Strings are UTF-8. A byte that belongs to no well-formed sequence counts as one U+FFFD.
namespace Pelgra::Unicode {

inline constexpr char32_t replacement = 0xFFFD;
inline constexpr char32_t softHyphen = 0x00AD;

/// Takes the first character off the text, which must not be empty.
char32_t takeFirst(std::string_view& text);
/// The first or last character; 0 for an empty text.
char32_t firstOf(std::string_view text);
char32_t lastOf(std::string_view text);
/// The text without its last character, which must exist.
std::string_view withoutLast(std::string_view text);

void append(std::string& text, char32_t character);
/// The character that a radical of the dictionaries looks like; every other character as it is. Fonts that serve both
/// with one sign make some producers name the radical.
char32_t withoutRadical(char32_t character);

/// Like append(), with the letters themselves in place of radicals and of presentation forms, which are letters of
/// Arabic script drawn for one place in a word, or several drawn as one sign.
void appendPlain(std::string& text, char32_t character);
std::u32string decoded(std::string_view text);
std::size_t countOf(std::string_view text);

/// A letter of any script or a letter-like number; not a digit.
bool isLetter(char32_t character);
bool isLowercase(char32_t character);
/// Strong right-to-left: letters of Hebrew, Arabic and their kin.
bool isRightToLeft(char32_t character);
/// The one character for a letter and a mark (normalization form C); 0 where there is none.
char32_t composed(char32_t letter, char32_t mark);
/// Chinese characters, Japanese syllables and the punctuation set with them, which no blanks stand between.
bool isIdeographic(char32_t character);
/// A Korean syllable or one of its letters.
bool isHangul(char32_t character);
/// Space separators and the tab.
bool isBlank(char32_t character);
/// Line feed to carriage return, next line, line and paragraph separator.
bool isLineBreak(char32_t character);
/// Blank or line break.
bool isSpace(char32_t character);

/// Without blanks at either end; line breaks stay.
std::string_view trimmedBlanks(std::string_view text);
std::string_view withoutTrailingBlanks(std::string_view text);
/// Without line breaks at either end.
std::string_view trimmedLineBreaks(std::string_view text);
/// Whether there is anything but blanks and line breaks.
bool isAllSpace(std::string_view text);

/// The pieces between line feeds, empty ones included: one more than there are line feeds.
std::vector<std::string_view> cutAtLineFeeds(std::string_view text);

} // namespace Pelgra::Unicode
