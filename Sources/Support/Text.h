#pragma once

#include <QString>

#include <string_view>

namespace Pelgra {

/// A text of the core, which is UTF-8, as a QString.
inline QString textOf(std::string_view utf8)
{
    return QString::fromUtf8(utf8.data(), static_cast<qsizetype>(utf8.size()));
}

} // namespace Pelgra
