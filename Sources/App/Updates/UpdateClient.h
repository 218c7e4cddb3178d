#pragma once

#include "App/Updates/UpdateFeed.h"

#include <QNetworkAccessManager>
#include <QObject>
#include <QPointer>
#include <QTimer>

class QNetworkReply;

namespace Pelgra {

/// Fetches the feed and its signature, bounded in size and time, and says what they offer. Executes and downloads
/// nothing else. Main thread.
class UpdateClient : public QObject {
    Q_OBJECT

public:
    struct Configuration {
        QUrl feed;
        QByteArray publicKey; ///< 32 raw bytes
        QVersionNumber current;
        qint64 sizeLimit = 1 << 20; ///< bytes of either file
        int timeLimit = 15000; ///< milliseconds for both together
        bool allowsPlainHttp = false; ///< for a server on this machine, in tests
    };

    explicit UpdateClient(Configuration configuration, QObject* parent = nullptr);

    bool isChecking() const { return m_isChecking; }

    /// Begins a check; ends in exactly one of the signals below. Ignored while one is under way.
    void check();

Q_SIGNALS:
    void checkingChanged(bool isChecking);
    void found(const Pelgra::UpdateFeed::Release& release);
    void upToDate();
    void failed(const QString& reason);

private:
    void fetch(const QUrl& url, void (UpdateClient::*received)(const QByteArray&));
    /// Takes what has arrived; false where it is no longer ours, or too long.
    bool take(QNetworkReply& reply);
    void receivedFeed(const QByteArray& feed);
    void receivedSignature(const QByteArray& signature);
    bool isAcceptable(const QUrl& url) const;
    void end();
    void fail(const QString& reason);

    Configuration m_configuration;
    QNetworkAccessManager m_network;
    QPointer<QNetworkReply> m_reply;
    QTimer m_limit{this}; ///< found by its name "limit", for a test that lets the time pass
    QByteArray m_received; ///< of the file that is being fetched
    QByteArray m_feed;
    bool m_isChecking = false;
};

} // namespace Pelgra
