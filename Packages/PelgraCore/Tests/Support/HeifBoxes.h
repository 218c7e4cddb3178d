#pragma once

#include <QByteArray>
#include <QtGlobal>

/// Pieces of HEIF files (ISO/IEC 14496-12 and 23008-12).
namespace Pelgra {

/// A number, most significant byte first.
inline QByteArray heifNumber(quint64 value, int size)
{
    QByteArray bytes;
    for (int shift = 8 * (size - 1); shift >= 0; shift -= 8)
        bytes.append(static_cast<char>(value >> shift));
    return bytes;
}

inline QByteArray heifBox(const char* type, const QByteArray& content)
{
    return heifNumber(static_cast<quint64>(content.size()) + 8, 4) + type + content;
}

/// The content of the first box of this type, wherever it is; the type must not occur earlier as mere bytes.
inline QByteArray heifContent(const QByteArray& file, const char* type)
{
    const qsizetype place = file.indexOf(type);
    qint64 size = 0;
    for (qsizetype index = place - 4; index < place; ++index)
        size = size << 8 | static_cast<quint8>(file.at(index));
    return file.mid(place + 4, size - 8);
}

} // namespace Pelgra
