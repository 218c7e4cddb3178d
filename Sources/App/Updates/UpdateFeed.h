#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <QUrl>
#include <QVersionNumber>

#include <optional>
#include <variant>

/// The appcast: an RSS 2.0 feed of releases. Each item has a <link> to its download page and an <enclosure> whose
/// attribute `version` (namespace urn:pelgra:appcast) is the release; the channel's <expires> element (same namespace)
/// is an ISO 8601 time (UTC where it names no zone) after which the feed must not be believed, so that nobody can hold
/// users back with an old one. A second file beside the feed, with ".sig" appended to its address, holds the Base64 of
/// the Ed25519 signature of the feed's bytes.
namespace Pelgra::UpdateFeed {

struct Release {
    QVersionNumber version;
    QString title;
    QUrl page; ///< https
    bool operator==(const Release&) const = default;
};

enum class Refusal : std::uint8_t { badSignature, malformed, expired };

/// The newest release that is newer than `current`; none when there is nothing newer.
using Answer = std::variant<std::optional<Release>, Refusal>;

/// Reads a feed. Nothing in it is parsed before its signature has proved right.
Answer read(const QByteArray& feed, const QByteArray& signatureText, const QByteArray& publicKey,
            const QVersionNumber& current, const QDateTime& now);

} // namespace Pelgra::UpdateFeed
