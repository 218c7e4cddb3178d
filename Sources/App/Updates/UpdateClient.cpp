#include "App/Updates/UpdateClient.h"

#include <QHostAddress>
#include <QNetworkReply>

#include <utility>

namespace Pelgra {

namespace {

QString sentenceFor(UpdateFeed::Refusal refusal)
{
    switch (refusal) {
    case UpdateFeed::Refusal::badSignature:
        return QStringLiteral("The update information isn’t signed by Pelgra’s developers.");
    case UpdateFeed::Refusal::malformed:
        return QStringLiteral("The update information couldn’t be understood.");
    case UpdateFeed::Refusal::expired:
        return QStringLiteral("The update information is out of date.");
    }
    return {};
}

} // namespace

UpdateClient::UpdateClient(Configuration configuration, QObject* parent)
    : QObject(parent)
    , m_configuration(std::move(configuration))
{
    m_limit.setObjectName(QStringLiteral("limit"));
    m_limit.setSingleShot(true);
    connect(&m_limit, &QTimer::timeout, this,
            [this] { fail(QStringLiteral("The update server didn’t answer in time.")); });
}

void UpdateClient::check()
{
    if (m_isChecking)
        return;
    m_isChecking = true;
    Q_EMIT checkingChanged(true);
    m_limit.start(m_configuration.timeLimit);
    fetch(m_configuration.feed, &UpdateClient::receivedFeed);
}

bool UpdateClient::isAcceptable(const QUrl& url) const
{
    if (url.scheme() == QStringLiteral("https"))
        return true;
    return m_configuration.allowsPlainHttp && url.scheme() == QStringLiteral("http")
        && QHostAddress(url.host()).isLoopback();
}

void UpdateClient::fetch(const QUrl& url, void (UpdateClient::*received)(const QByteArray&))
{
    if (!isAcceptable(url)) {
        fail(QStringLiteral("The address of the update information isn’t secure."));
        return;
    }
    QNetworkRequest request(url);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::NoLessSafeRedirectPolicy);
    request.setMaximumRedirectsAllowed(3);
    request.setAttribute(QNetworkRequest::CacheLoadControlAttribute, QNetworkRequest::AlwaysNetwork);
    request.setAttribute(QNetworkRequest::CookieSaveControlAttribute, QNetworkRequest::Manual);
    QNetworkReply* const reply = m_network.get(request);
    m_reply = reply;
    m_received.clear();
    connect(reply, &QNetworkReply::readyRead, this, [this, reply] { take(*reply); });
    connect(reply, &QNetworkReply::finished, this, [this, reply, received] {
        reply->deleteLater();
        if (reply != m_reply)
            return; // given up in the meantime
        if (reply->error() != QNetworkReply::NoError)
            fail(QStringLiteral("The update server couldn’t be reached."));
        else if (take(*reply))
            (this->*received)(std::exchange(m_received, {}));
    });
}

bool UpdateClient::take(QNetworkReply& reply)
{
    // Piece by piece, so that an endless answer is cut off as soon as it is too long.
    if (&reply != m_reply)
        return false; // given up in the meantime
    m_received += reply.read(m_configuration.sizeLimit + 1 - m_received.size());
    if (m_received.size() <= m_configuration.sizeLimit)
        return true;
    fail(QStringLiteral("The update information is too long."));
    return false;
}

void UpdateClient::receivedFeed(const QByteArray& feed)
{
    m_feed = feed;
    QUrl signature = m_configuration.feed;
    signature.setPath(signature.path() + QStringLiteral(".sig"));
    fetch(signature, &UpdateClient::receivedSignature);
}

void UpdateClient::receivedSignature(const QByteArray& signature)
{
    const UpdateFeed::Answer answer = UpdateFeed::read(m_feed, signature, m_configuration.publicKey,
                                                       m_configuration.current, QDateTime::currentDateTimeUtc());
    if (const auto* refusal = std::get_if<UpdateFeed::Refusal>(&answer)) {
        fail(sentenceFor(*refusal));
        return;
    }
    end();
    if (const auto& release = std::get<std::optional<UpdateFeed::Release>>(answer))
        Q_EMIT found(*release);
    else
        Q_EMIT upToDate();
}

void UpdateClient::end()
{
    m_limit.stop();
    m_feed.clear();
    if (QNetworkReply* const reply = std::exchange(m_reply, nullptr))
        reply->abort();
    m_isChecking = false;
    Q_EMIT checkingChanged(false);
}

void UpdateClient::fail(const QString& reason)
{
    if (!m_isChecking)
        return;
    end();
    Q_EMIT failed(reason);
}

} // namespace Pelgra
