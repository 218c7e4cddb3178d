#include "App/Updates/UpdateClient.h"
#include "App/Updates/Ed25519.h"
#include "App/Updates/SparkleUpdater.h"

#include <QSignalSpy>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>
#include <QTimer>

#include <openssl/evp.h>

#include <ctime>

using namespace Pelgra;

namespace {

/// A key pair made for this run only.
class SigningKey {
public:
    SigningKey()
    {
        EVP_PKEY_CTX* const context = EVP_PKEY_CTX_new_id(EVP_PKEY_ED25519, nullptr);
        EVP_PKEY_keygen_init(context);
        EVP_PKEY_keygen(context, &m_key);
        EVP_PKEY_CTX_free(context);
    }
    ~SigningKey() { EVP_PKEY_free(m_key); }

    QByteArray publicKey() const
    {
        QByteArray raw(Ed25519::publicKeySize, Qt::Uninitialized);
        std::size_t size = static_cast<std::size_t>(raw.size());
        EVP_PKEY_get_raw_public_key(m_key, reinterpret_cast<unsigned char*>(raw.data()), &size);
        return raw;
    }

    QByteArray sign(const QByteArray& message) const
    {
        QByteArray signature(Ed25519::signatureSize, Qt::Uninitialized);
        std::size_t size = static_cast<std::size_t>(signature.size());
        EVP_MD_CTX* const context = EVP_MD_CTX_new();
        EVP_DigestSignInit(context, nullptr, nullptr, nullptr, m_key);
        EVP_DigestSign(context, reinterpret_cast<unsigned char*>(signature.data()), &size,
                       reinterpret_cast<const unsigned char*>(message.constData()),
                       static_cast<std::size_t>(message.size()));
        EVP_MD_CTX_free(context);
        return signature.toBase64();
    }

private:
    EVP_PKEY* m_key = nullptr;
};

QByteArray feed(const QByteArray& version, const QByteArray& expires = "2999-01-01T00:00:00Z",
                const QByteArray& page = "https://example.org/download")
{
    return R"(<?xml version="1.0"?><rss version="2.0" xmlns:p="urn:pelgra:appcast"><channel><title>Pelgra</title>)"
           "<p:expires>"
        + expires
        + "</p:expires><item><title>Older</title><link>https://example.org/old</link>"
          R"(<enclosure url="x" p:version="0.0.1"/></item><item><title>New</title><link>)"
        + page + R"(</link><enclosure url="x" p:version=")" + version + R"("/></item></channel></rss>)";
}

QByteArray anHourAgoInUniversalTime()
{
    return QDateTime::currentDateTimeUtc().addSecs(-3600).toString("yyyy-MM-ddTHH:mm:ss").toLatin1();
}

/// A server on this machine that plays one behaviour for the feed and serves the signature.
class FeedServer : public QObject {
public:
    enum class Play { whole, truncated, endless, dripping, silent };

    FeedServer(QByteArray feed, QByteArray signature, Play play)
        : m_feed(std::move(feed))
        , m_signature(std::move(signature))
        , m_play(play)
    {
        m_server.listen(QHostAddress::LocalHost);
        connect(&m_server, &QTcpServer::newConnection, this, [this] {
            QTcpSocket* const socket = m_server.nextPendingConnection();
            connect(socket, &QTcpSocket::readyRead, this, [this, socket] { answer(socket); });
        });
    }

    /// Whether a client has heard what it will, and waits for more.
    bool letsWait() const { return m_letsWait; }

    QUrl url() const { return QUrl(QString("http://127.0.0.1:%1/appcast.xml").arg(m_server.serverPort())); }

private:
    void answer(QTcpSocket* socket)
    {
        const QByteArray request = socket->readAll();
        if (request.contains(".sig ")) {
            send(socket, m_signature, m_signature.size());
            return;
        }
        switch (m_play) {
        case Play::whole:
            send(socket, m_feed, m_feed.size());
            break;
        case Play::truncated:
            send(socket, m_feed.left(m_feed.size() / 2), m_feed.size());
            break;
        case Play::endless:
            socket->write("HTTP/1.1 200 OK\r\nConnection: close\r\n\r\n");
            connect(socket, &QTcpSocket::bytesWritten, socket, [socket] { socket->write(QByteArray(100000, 'x')); });
            socket->write("x");
            break;
        case Play::dripping:
            socket->write("HTTP/1.1 200 OK\r\nConnection: close\r\n\r\n");
            m_drip.callOnTimeout(socket, [this, socket] {
                socket->write("x");
                m_letsWait = true;
            });
            m_drip.start(50);
            break;
        case Play::silent:
            m_letsWait = true;
            break;
        }
    }

    static void send(QTcpSocket* socket, const QByteArray& body, qsizetype announced)
    {
        socket->write("HTTP/1.1 200 OK\r\nConnection: close\r\nContent-Length: " + QByteArray::number(announced)
                      + "\r\n\r\n" + body);
        socket->disconnectFromHost();
    }

    QTcpServer m_server;
    QTimer m_drip;
    QByteArray m_feed;
    QByteArray m_signature;
    Play m_play;
    bool m_letsWait = false;
};

} // namespace

class UpdateClientTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        qputenv("TZ", "America/Los_Angeles"); // hours behind, so that a time in UTC has not come there yet
        tzset();
    }

    void believesOnlyWhatIsSignedAndCurrent_data()
    {
        QTest::addColumn<QByteArray>("served");
        QTest::addColumn<QByteArray>("signedFeed");
        QTest::addColumn<int>("play");
        QTest::addColumn<QString>("outcome");
        const auto row = [](const char* name, const QByteArray& served, const char* outcome,
                            FeedServer::Play play = FeedServer::Play::whole, const QByteArray& signedFeed = {}) {
            QTest::newRow(name) << served << (signedFeed.isEmpty() ? served : signedFeed) << static_cast<int>(play)
                                << QString::fromUtf8(outcome);
        };
        row("newer", feed("1.3"), "1.3 https://example.org/download");
        row("the same", feed("1.2.0"), "up to date");
        row("older", feed("1.1.9"), "up to date");
        row("tampered", feed("1.4"), "signed", FeedServer::Play::whole, feed("1.3"));
        row("truncated", feed("1.3"), "reached", FeedServer::Play::truncated);
        row("expired", feed("1.3", "2020-01-01T00:00:00Z"), "out of date");
        row("expired where no zone is named", feed("1.3", anHourAgoInUniversalTime()), "out of date");
        row("no expiry", feed("1.3", "soon"), "understood");
        row("page without encryption", feed("1.3", "2999-01-01T00:00:00Z", "http://example.org"), "up to date");
        row("no feed at all", "signed nonsense", "understood");
        row("endless", feed("1.3"), "too long", FeedServer::Play::endless);
        row("byte by byte", feed("1.3"), "in time", FeedServer::Play::dripping);
        row("silent", feed("1.3"), "in time", FeedServer::Play::silent);
    }
    void believesOnlyWhatIsSignedAndCurrent()
    {
        QFETCH(QByteArray, served);
        QFETCH(QByteArray, signedFeed);
        QFETCH(int, play);
        QFETCH(QString, outcome);
        FeedServer server(served, m_key.sign(signedFeed), static_cast<FeedServer::Play>(play));
        UpdateClient client(configuration(server.url()));
        QString told;
        int answers = 0;
        const auto hear = [&](const QString& text) {
            told = text;
            ++answers;
        };
        connect(&client, &UpdateClient::found, this, [&](const UpdateFeed::Release& release) {
            hear(release.version.toString() + ' ' + release.page.toString());
        });
        connect(&client, &UpdateClient::upToDate, this, [&] { hear("up to date"); });
        connect(&client, &UpdateClient::failed, this, hear);
        client.check();
        client.check();
        QTRY_VERIFY(answers > 0 || server.letsWait());
        if (server.letsWait())
            client.findChild<QTimer*>("limit")->setInterval(0); // the time is over
        QTRY_VERIFY(answers > 0);
        QVERIFY2(told.contains(outcome), qPrintable(told));
        QCOMPARE(answers, 1);
        QVERIFY(!client.isChecking());
    }

    void anotherKeyIsNotBelieved()
    {
        const QByteArray text = feed("1.3");
        QVERIFY(Ed25519::verify(text, QByteArray::fromBase64(m_key.sign(text)), m_key.publicKey()));
        QVERIFY(!Ed25519::verify(text, QByteArray::fromBase64(SigningKey().sign(text)), m_key.publicKey()));
        QVERIFY(!Ed25519::verify(text, {}, m_key.publicKey()));
    }

    void plainAddressesElsewhereAreRefused()
    {
        UpdateClient client(configuration(QUrl("http://192.0.2.1/appcast.xml")));
        QSignalSpy failed(&client, &UpdateClient::failed);
        client.check();
        QCOMPARE(failed.count(), 1);
    }

    void onlyARealKeyConfiguresABuild_data()
    {
        QTest::addColumn<QVariant>("key");
        QTest::addColumn<bool>("configured");
        QTest::newRow("absent") << QVariant() << false;
        QTest::newRow("empty") << QVariant("") << false;
        QTest::newRow("a number") << QVariant(7) << false;
        QTest::newRow("placeholder") << QVariant("REPLACE_WITH_PUBLIC_KEY") << false;
        QTest::newRow("no key") << QVariant("a key") << false;
        QTest::newRow("half a key") << QVariant("kq5nJ1D0pM3bYfYw6Jm7Yw==") << false;
        QTest::newRow("a key") << QVariant("kq5nJ1D0pM3bYfYw6Jm7Y5K8x0m4l2n1o3p5r7t9v1A=") << true;
    }
    void onlyARealKeyConfiguresABuild()
    {
        QFETCH(QVariant, key);
        QFETCH(bool, configured);
        QCOMPARE(SparkleUpdater::isConfigured(key), configured);
    }

    void aBuildWithoutAKeyNeverStarts()
    {
        if (SparkleUpdater::isConfigured())
            QSKIP("this build has a key");
        SparkleUpdater updater;
        updater.setAutomaticallyChecksForUpdates(true);
        QVERIFY(!updater.canCheckForUpdates());
        updater.checkForUpdates();
    }

private:
    UpdateClient::Configuration configuration(const QUrl& url) const
    {
        UpdateClient::Configuration configuration;
        configuration.feed = url;
        configuration.publicKey = m_key.publicKey();
        configuration.current = QVersionNumber(1, 2);
        configuration.allowsPlainHttp = true;
        return configuration;
    }

    SigningKey m_key;
};

QTEST_GUILESS_MAIN(UpdateClientTest)
#include "UpdateClientTest.moc"
