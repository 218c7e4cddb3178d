#include "App/Updates/UpdateFeed.h"

#include "App/Updates/Ed25519.h"

#include <QTimeZone>
#include <QXmlStreamReader>

namespace Pelgra::UpdateFeed {

namespace {

const QString appcastNamespace = QStringLiteral("urn:pelgra:appcast");

struct Channel {
    QDateTime expires;
    std::optional<Release> newest;
};

/// A time without a zone is in UTC, on every machine.
QDateTime timeFrom(const QString& text)
{
    const QDateTime time = QDateTime::fromString(text, Qt::ISODate);
    return time.timeSpec() == Qt::LocalTime ? QDateTime(time.date(), time.time(), QTimeZone::utc()) : time;
}

Release readItem(QXmlStreamReader& xml)
{
    Release release;
    while (xml.readNextStartElement()) {
        if (xml.name() == u"title") {
            release.title = xml.readElementText(QXmlStreamReader::SkipChildElements).trimmed();
        } else if (xml.name() == u"link") {
            release.page = QUrl(xml.readElementText(QXmlStreamReader::SkipChildElements).trimmed(), QUrl::StrictMode);
        } else if (xml.name() == u"enclosure") {
            // Normalised, since 1.2 and 1.2.0 are one version.
            release.version =
                QVersionNumber::fromString(xml.attributes().value(appcastNamespace, QStringLiteral("version")))
                    .normalized();
            xml.skipCurrentElement();
        } else {
            xml.skipCurrentElement();
        }
    }
    return release;
}

bool isUsable(const Release& release)
{
    return !release.version.isNull() && release.page.isValid() && release.page.scheme() == QStringLiteral("https");
}

std::optional<Channel> readChannel(const QByteArray& feed)
{
    QXmlStreamReader xml(feed);
    if (!xml.readNextStartElement() || xml.name() != u"rss" || !xml.readNextStartElement() || xml.name() != u"channel")
        return std::nullopt;
    Channel channel;
    while (xml.readNextStartElement()) {
        if (xml.namespaceUri() == appcastNamespace && xml.name() == u"expires") {
            channel.expires = timeFrom(xml.readElementText().trimmed());
        } else if (xml.name() == u"item") {
            const Release release = readItem(xml);
            if (isUsable(release) && (!channel.newest || release.version > channel.newest->version))
                channel.newest = release;
        } else {
            xml.skipCurrentElement();
        }
    }
    if (xml.hasError() || !channel.expires.isValid())
        return std::nullopt;
    return channel;
}

} // namespace

Answer read(const QByteArray& feed, const QByteArray& signatureText, const QByteArray& publicKey,
            const QVersionNumber& current, const QDateTime& now)
{
    const auto signature =
        QByteArray::fromBase64Encoding(signatureText.trimmed(), QByteArray::AbortOnBase64DecodingErrors);
    if (!signature || !Ed25519::verify(feed, *signature, publicKey))
        return Refusal::badSignature;
    const auto channel = readChannel(feed);
    if (!channel)
        return Refusal::malformed;
    if (channel->expires <= now)
        return Refusal::expired;
    if (!channel->newest || channel->newest->version <= current.normalized())
        return std::optional<Release>();
    return channel->newest;
}

} // namespace Pelgra::UpdateFeed
