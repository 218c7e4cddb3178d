#include "Support/Paths.h"

#include <QTest>

#include <unistd.h>

using namespace Pelgra;

class PathsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void readsFileAddressesOfThisMachineByteForByte_data()
    {
        QTest::addColumn<std::string>("address");
        QTest::addColumn<std::string>("expected"); // empty: none
        char host[256] = {};
        gethostname(host, sizeof host - 1);
        const auto row = [](const char* name, std::string address, std::string expected) {
            QTest::newRow(name) << address << expected;
        };
        row("plain", "file:///photos/a.png", "/photos/a.png");
        row("escaped", "file:///b%20c/%C5%BElu%c5%a5.png", "/b c/\xC5\xBElu\xC5\xA5.png");
        row("bytes that are no text", "file:///odd%FF%80.png", "/odd\xFF\x80.png");
        row("raw bytes", "file:///odd\xFF name.png", "/odd\xFF name.png");
        row("escaped once only", "file:///d%2541%23%3F&.png", "/d%41#?&.png");
        row("no escape at all", "file:///100%.png", "/100%.png");
        row("cut escape", "file:///a%4", "/a%4");
        row("localhost", "FILE://LocalHost/a", "/a");
        row("this machine", "file://" + std::string(host) + "/a", "/a");
        row("one slash", "file:/a", "/a");
        row("another machine", "file://elsewhere.invalid/a", "");
        row("no path", "file://", "");
        row("relative", "file:a", "");
        row("web", "http:///a", "");
        row("longer scheme", "files:///a", "");
        row("zero byte", "file:///a%00b", "");
        row("empty", "", "");
    }

    void readsFileAddressesOfThisMachineByteForByte()
    {
        QFETCH(std::string, address);
        QFETCH(std::string, expected);
        QCOMPARE(pathFromFileAddress(address).value_or("").native(), expected);
    }

    void everyByteSurvivesTheWayThereAndBack()
    {
        std::string name = "/";
        for (int byte = 1; byte < 256; ++byte)
            name.push_back(static_cast<char>(byte));
        QCOMPARE(pathFromFileAddress(fileAddressFromPath(name)).value().native(), name);
        QVERIFY(urlFromPath(name).isLocalFile());
        QCOMPARE(pathFromUrl(urlFromPath(name)).value().native(), name);
        QVERIFY(!pathFromUrl(QUrl("https://example.org/a")));
    }
};

QTEST_GUILESS_MAIN(PathsTest)
#include "PathsTest.moc"
