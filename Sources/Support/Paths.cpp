#include "Support/Paths.h"

#include "PelgraCore/Hexadecimal.h"

#include <QFile>

#include <limits.h>
#include <unistd.h>

#include <algorithm>

namespace Pelgra {

namespace {

constexpr int hexadecimalValueOf(char digit)
{
    if (digit >= '0' && digit <= '9')
        return digit - '0';
    if (digit >= 'a' && digit <= 'f')
        return digit - 'a' + 10;
    if (digit >= 'A' && digit <= 'F')
        return digit - 'A' + 10;
    return -1;
}

/// Percent-decoding into bytes. A percent sign that does not begin a valid escape stands for itself.
std::string decoded(std::string_view text)
{
    std::string bytes;
    bytes.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const int high = text[i] == '%' && i + 2 < text.size() ? hexadecimalValueOf(text[i + 1]) : -1;
        const int low = high >= 0 ? hexadecimalValueOf(text[i + 2]) : -1;
        if (low >= 0) {
            bytes.push_back(static_cast<char>(high * 16 + low));
            i += 2;
        } else {
            bytes.push_back(text[i]);
        }
    }
    return bytes;
}

bool equalsIgnoringCase(std::string_view left, std::string_view right)
{
    const auto lower = [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    };
    return std::ranges::equal(left, right, {}, lower, lower);
}

bool isThisMachine(std::string_view host)
{
    if (host.empty() || equalsIgnoringCase(host, "localhost"))
        return true;
    char name[HOST_NAME_MAX + 1] = {};
    return gethostname(name, sizeof name - 1) == 0 && equalsIgnoringCase(host, name);
}

} // namespace

QString textFromPath(const std::filesystem::path& path)
{
    return QFile::decodeName(QByteArray::fromStdString(path.native()));
}

std::filesystem::path pathFromText(const QString& text)
{
    return QFile::encodeName(text).toStdString();
}

std::filesystem::path absolutePath(const std::filesystem::path& path)
{
    std::error_code noFolder;
    std::filesystem::path whole = std::filesystem::absolute(path, noFolder);
    return noFolder ? path : whole;
}

QUrl urlFromPath(const std::filesystem::path& path)
{
    return QUrl::fromEncoded(QByteArray::fromStdString(fileAddressFromPath(path)), QUrl::StrictMode);
}

std::optional<std::filesystem::path> pathFromUrl(const QUrl& url)
{
    return pathFromFileAddress(url.toEncoded(QUrl::FullyEncoded).toStdString());
}

std::optional<std::filesystem::path> pathFromFileAddress(std::string_view address)
{
    constexpr std::string_view scheme = "file:";
    if (!equalsIgnoringCase(address.substr(0, scheme.size()), scheme))
        return std::nullopt;
    address.remove_prefix(scheme.size());
    if (address.starts_with("//")) {
        address.remove_prefix(2);
        const std::size_t slash = std::min(address.find('/'), address.size());
        if (!isThisMachine(decoded(address.substr(0, slash))))
            return std::nullopt;
        address.remove_prefix(slash);
    }
    // A question mark or number sign that is part of a name comes escaped from every writer that follows RFC 8089;
    // the few that do not escape mean the name as well, since a file address has neither query nor fragment.
    std::string bytes = decoded(address);
    if (!bytes.starts_with('/') || bytes.find('\0') != std::string::npos)
        return std::nullopt;
    return bytes;
}

std::string fileAddressFromPath(const std::filesystem::path& path, std::string_view plain)
{
    std::string address = "file://";
    for (const char c : path.native()) {
        const bool isAlphanumeric = (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
        if (isAlphanumeric || plain.find(c) != std::string_view::npos)
            address += c;
        else
            address += '%' + hexadecimal(static_cast<std::uint8_t>(c), HexadecimalLetters::capital);
    }
    return address;
}

} // namespace Pelgra
