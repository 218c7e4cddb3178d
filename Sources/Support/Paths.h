#pragma once

#include <QString>
#include <QUrl>

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

/// The only place where file names, which are bytes, meet Qt's texts and addresses.
namespace Pelgra {

/// The name as text. Bytes that are not text in the locale's encoding become replacement characters: fine for showing,
/// never for opening.
QString textFromPath(const std::filesystem::path& path);

std::filesystem::path pathFromText(const QString& text);

/// The path from the root on. A relative one stays as it is if the folder it starts from has been deleted: there is no
/// such file then, whatever its name.
std::filesystem::path absolutePath(const std::filesystem::path& path);

/// A file address that keeps every byte.
QUrl urlFromPath(const std::filesystem::path& path);

/// The file that an address names, or none where it is not a file of this machine.
std::optional<std::filesystem::path> pathFromUrl(const QUrl& url);

/// The same for an address in its encoded form, byte for byte: "file:///b%20c". The scheme is "file", the host empty,
/// "localhost" or this machine's name, the path absolute; anything else, and a NUL byte, gives none.
std::optional<std::filesystem::path> pathFromFileAddress(std::string_view address);

/// The encoded address of a file. Of what is neither letter nor digit, only `plain` characters are not escaped.
std::string fileAddressFromPath(const std::filesystem::path& path, std::string_view plain = "-._~/");

} // namespace Pelgra
