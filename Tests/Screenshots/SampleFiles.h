#pragma once

#include <QSize>
#include <QString>

/// Files worth looking at, for pictures of the application.
namespace Pelgra {

/// A landscape, in a format that Qt writes.
void writePicture(const QString& file, QSize size, const char* format);

/// A PDF of pages with a heading that counts them, lines and a coloured area.
void writeDocument(const QString& file, int pages = 1);

} // namespace Pelgra
