#pragma once

#include "text/PageText.h"
#include "unicode/Unicode.h"

#include <QByteArray>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Pelgra {

/// The lines of a page that these pieces stand on, with a separator between them; a line without text begins a block.
inline QByteArray joinedLines(const std::vector<TextPiece>& pieces, const char* separator,
                              std::optional<float> usualStep = std::nullopt)
{
    QByteArray text;
    for (const TextExtraction::Line& line : linesFrom(visualLinesFrom(pieces), usualStep))
        text += QByteArray(text.isEmpty() ? "" : separator) + line.text.c_str();
    return text;
}

inline QByteArray utf8(std::u32string_view text)
{
    std::string bytes;
    for (const char32_t code : text)
        Unicode::append(bytes, code);
    return QByteArray::fromStdString(bytes);
}

} // namespace Pelgra
