#include "App/TapSocket.h"

#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

using namespace Pelgra;

class TapSocketTest : public QObject {
    Q_OBJECT

    QTemporaryDir m_folder;

    sockaddr_un address() const
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        qstrncpy(address.sun_path, m_folder.filePath("pelgra-tap").toLocal8Bit().constData(), sizeof(address.sun_path));
        return address;
    }

    bool send(const QByteArray& word) const
    {
        const int descriptor = socket(AF_UNIX, SOCK_DGRAM, 0);
        const sockaddr_un there = address();
        const ssize_t sent = sendto(descriptor, word.constData(), static_cast<std::size_t>(word.size()), 0,
                                    reinterpret_cast<const sockaddr*>(&there), sizeof(there));
        close(descriptor);
        return sent == word.size();
    }

private Q_SLOTS:
    void init() { qputenv("XDG_RUNTIME_DIR", m_folder.path().toLocal8Bit()); }

    void hearsBothWordsAndNothingElse()
    {
        TapSocket socket;
        QList<WheelKind> heard;
        connect(&socket, &TapSocket::tapped, this, [&heard](WheelKind kind) { heard.append(kind); });
        QVERIFY(send("tools"));
        QVERIFY(send(""));
        QVERIFY(send("convert me and all that follows"));
        QVERIFY(send("convert"));
        QTRY_COMPARE(heard, (QList<WheelKind>{WheelKind::tools, WheelKind::convert}));
    }

    void aSocketLeftBehindIsReplacedAndOneInUseIsNot()
    {
        const int dead = socket(AF_UNIX, SOCK_DGRAM, 0);
        const sockaddr_un there = address();
        QCOMPARE(bind(dead, reinterpret_cast<const sockaddr*>(&there), sizeof(there)), 0);
        close(dead);
        QVERIFY(!send("tools"));
        {
            TapSocket first;
            TapSocket second;
            QSignalSpy heardFirst(&first, &TapSocket::tapped);
            QSignalSpy heardSecond(&second, &TapSocket::tapped);
            QVERIFY(send("tools"));
            QTRY_COMPARE(heardFirst.count(), 1);
            QCOMPARE(heardSecond.count(), 0);
        }
        QVERIFY(!QFile::exists(m_folder.filePath("pelgra-tap")));
    }
};

QTEST_GUILESS_MAIN(TapSocketTest)

#include "TapSocketTest.moc"
